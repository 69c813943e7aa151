// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// nsis_handler.cpp - lists the files that an installer's script writes and extracts them.
//
// An uninstaller is stored in two blocks. Its program is the installer's own with other icons, and the first block has
// only these, as patches; the second is what follows the program. What comes out is the file that the installer would
// write: the program as it is in front of the first header, patched, and the second block behind it.
//
// A member whose name cannot be expanded is called "unknown". Sizes are not known before decoding.
//
// Bounds: those of the script and of the data (nsis_script.cpp, nsis_data.cpp). An uninstaller's patches have 4 MiB
// and 4,096 pieces at the most, held while it is extracted; pieces that lie outside of the program are left out.
#include "formats/installers/nsis/nsis_handler.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "core/byte_order.h"
#include "core/field_reader.h"
#include "core/refuse.h"
#include "core/stream_views.h"
#include "formats/installers/nsis/nsis_data.h"
#include "formats/installers/nsis/nsis_detect.h"
#include "formats/installers/nsis/nsis_format.h"
#include "formats/installers/nsis/nsis_script.h"

namespace brix::nsis {

namespace {

constexpr uint32_t kPiece = 32768;  // bytes of the program copied at a time

// Calls `use` with each patch: its offset in the program and its bytes. Ends by the bytes and by a counter.
template <class Use>
void EachPatch(std::span<const uint8_t> patches, Use use) {
  for (uint32_t i = 0; i < kMostPatches && patches.size() >= kPatchHeaderBytes; ++i) {
    const uint32_t size = LoadLe32(patches.data());
    const uint32_t at = LoadLe32(patches.data() + 4);
    patches = patches.subspan(kPatchHeaderBytes);
    if (size == 0 || size > patches.size()) return;
    use(at, patches.first(size));
    patches = patches.subspan(size);
  }
}

class NsisHandler final : public ArchiveHandler {
 public:
  using ArchiveHandler::ArchiveHandler;

  [[nodiscard]] bool OpenArchive(char* name) override {
    name[0] = '\0';
    return LocateNsis(*read_stream_, &program_size_) && data_.Open(&packed_, program_size_) &&
           script_.Open(data_.script()) && NextMember(name);
  }

  [[nodiscard]] bool NextMember(char* name) override {
    name[0] = '\0';
    if (script_.Next(&member_, name)) return true;
    return !script_.failed() || Refuse("nsis: the script is cut");
  }

  [[nodiscard]] bool ExtractMember(Stream* out, uint32_t max_bytes, uint32_t* written) override {
    *written = max_bytes == 0 ? UINT32_MAX : max_bytes;
    return member_.is_uninstaller ? ExtractUninstaller(*out, written)
                                  : data_.Extract(member_.block, *out, written);
  }

 private:
  [[nodiscard]] bool ExtractUninstaller(Stream& out, uint32_t* limit) {
    const uint32_t wanted = *limit;
    *limit = 0;
    if (member_.patch_size > kMostPatchBytes) return Refuse("nsis: too many patches");
    MemoryStream patches;
    uint32_t produced = member_.patch_size;
    uint32_t rest = 0;
    if (!data_.Extract(member_.block, patches, &produced, &rest)) return false;
    if (!CopyProgram(patches.bytes(), out, std::min(wanted, program_size_), limit)) return false;
    RangeStream behind(&out, program_size_, UINT32_MAX - program_size_);
    produced = wanted - *limit;
    if (produced == 0) return true;
    const bool extracted = data_.Extract(rest, behind, &produced);
    *limit += produced;
    return extracted;
  }

  // Writes the first `wanted` bytes of the program, patched.
  [[nodiscard]] bool CopyProgram(std::span<const uint8_t> patches, Stream& out, uint32_t wanted,
                                 uint32_t* written) {
    if (!piece_.TryResize(kPiece)) return false;
    while (*written < wanted) {
      const uint32_t at = *written;
      const uint32_t count = std::min(kPiece, wanted - at);
      uint8_t* piece = piece_.data();
      if (!ReadExact(*read_stream_, at, piece, count)) return Refuse("nsis: program cut");
      EachPatch(patches, [&](uint32_t patch_at, std::span<const uint8_t> bytes) {
        if (!Fits(patch_at, static_cast<uint32_t>(bytes.size()), program_size_)) return;
        const uint32_t from = std::max(patch_at, at);
        const uint32_t to = std::min(patch_at + static_cast<uint32_t>(bytes.size()), at + count);
        if (from < to) std::memcpy(piece + (from - at), &bytes[from - patch_at], to - from);
      });
      if (!WriteExact(out, at, piece, count)) return false;
      *written += count;
    }
    return true;
  }

  uint32_t program_size_ = 0;  // bytes in front of the first header
  InstallerData data_;
  Script script_;
  ScriptMember member_;
  MemoryBlock piece_;
};

}  // namespace

ArchiveHandler* CreateNsisHandler(Stream* in, const HandlerArgs& args) {
  return new NsisHandler(in, args.ownership, args.type_id);
}

}  // namespace brix::nsis

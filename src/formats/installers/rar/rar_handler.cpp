// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// rar_handler.cpp - walks a RAR archive's blocks and extracts members.
//
// Only the one volume is read, never another of its set: files that go on from or into another are not shown, nor are
// directories. The archive may stand behind up to a kilobyte of something else.
//
// Kept: no checksum is verified, neither of a header nor of a file; damage shows as blocks or data that cannot be read.
// Files of 4 GiB and more show with the low halves of their sizes, and a packed size counts without its flag. The walk
// ends at the end block, or where the file ends with a block; whatever else is damage. A dictionary's size is not looked
// at (rar_decoder.cpp).
//
// Bounds: every block has a header of at least one byte, so the walk ends; offsets are checked sums. At most 511 bytes
// of a name are read. Nothing is kept or allocated for a member: the decoder is one for all (rar_chain.cpp).
#include "formats/installers/rar/rar_handler.h"

#include <algorithm>
#include <new>

#include "core/field_reader.h"
#include "core/refuse.h"
#include "core/stream_views.h"
#include "decoders/copy/copy_decoder.h"
#include "formats/installers/rar/rar_chain.h"
#include "formats/installers/rar/rar_detect.h"
#include "formats/installers/rar/rar_format.h"

namespace brix::rar {

namespace {

class RarHandler final : public ArchiveHandler {
 public:
  using ArchiveHandler::ArchiveHandler;

  [[nodiscard]] bool OpenArchive(char* name) override {
    if (!LocateRar(*read_stream_, &next_at_)) return Refuse("rar: no signature");
    if (!read_stream_->GetSize(&file_size_)) return Refuse("rar: no file size");
    NoteUnseenBefore(next_at_);
    chain_.Start(&packed_);
    ended_ = false;
    return NextMember(name);
  }

  [[nodiscard]] bool NextMember(char* name) override {
    name[0] = '\0';
    memberStatus = kMemberNormal;
    block_.file = {};
    bool shown = false;
    while (!shown && !ended_) {  // ends by the offset, which every block raises
      if (next_at_ == file_size_) return true;
      if (!ReadBlock(*read_stream_, next_at_, &block_)) return false;
      next_at_ = block_.next;
      switch (block_.type) {
        case kArchive:
          is_solid_ = (block_.flags & kArchiveSolid) != 0;
          if ((block_.flags & kArchiveEncrypted) == 0) break;
          memberStatus = kMemberEncrypted;
          return Refuse("rar: encrypted headers");
        case kFile:
          if (!ReadFile(name, &shown)) return false;
          break;
        case kEnd:
          ended_ = true;
          NoteUnseenAfter(next_at_);
          break;
        default:
          break;
      }
    }
    return true;
  }

  [[nodiscard]] bool ExtractMember(Stream* out, uint32_t max_bytes, uint32_t* written) override {
    *written = 0;
    if (memberStatus != kMemberNormal) return Refuse("rar: encrypted, or packed by another version");
    const FileBlock& file = block_.file;
    *written = max_bytes == 0 ? file.unpacked_size : std::min(max_bytes, file.unpacked_size);
    if (file.compressed()) return chain_.Extract(block_, *out, written);
    *written = std::min(*written, file.packed_size);  // stored: there is no more, whatever the size says
    RangeStream data(read_stream_, file.data_at, file.packed_size);
    return stored_.Decode(data, *out, written);
  }

  [[nodiscard]] bool GetMemberSize(uint32_t* value, uint32_t* io_size) override {
    return AnswerSize(block_.file.unpacked_size, value, io_size);
  }

  // Of the archive, whatever the member itself is.
  [[nodiscard]] uint32_t GetMemberHint() override { return is_solid_ ? kHintSolid : 0; }

 private:
  // Takes up the file's block; `*shown` is false for one that is no member.
  [[nodiscard]] bool ReadFile(char* name, bool* shown) {
    const FileBlock& file = block_.file;
    chain_.Pass(block_);
    *shown = !file.split() && !file.directory();
    if (file.split()) NoteUnseen(kUnseenContinued);
    if (!*shown) return true;
    const uint32_t name_at = (file.flags & kFileLarge) != 0 ? kFileLargeBytes : kFileBytes;
    const uint32_t count = std::min(file.name_size, kNameBufferSize - 1);
    if (!FieldReader(*read_stream_, block_.at).Bytes(name_at, reinterpret_cast<uint8_t*>(name), count)) {
      return Refuse("rar: name is cut");
    }
    name[count] = '\0';
    if (name[0] == '\0') CopyName(kUnknownName, name);
    if (file.encrypted()) {
      memberStatus = kMemberEncrypted;
    } else if (!file.supported()) {
      memberStatus = kMemberUnsupported;
    }
    return true;
  }

  uint32_t file_size_ = 0;
  uint32_t next_at_ = 0;   // the block to read next
  bool is_solid_ = false;  // says the archive's block
  bool ended_ = false;
  Block block_;  // the current member's
  Chain chain_;
  CopyDecoder stored_;
};

}  // namespace

ArchiveHandler* CreateRarHandler(Stream* in, const HandlerArgs& args) {
  return new RarHandler(in, args.ownership, args.type_id);
}

}  // namespace brix::rar

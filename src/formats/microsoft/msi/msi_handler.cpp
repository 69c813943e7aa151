// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// msi_handler.cpp - an installer database's plain streams, such as embedded cabinets, as they are stored.
//
// Tables and property sets are left out by their names. Storages are too: those of a patch hold tables.
//
// Kept: a stream whose unpacked name begins with the digit 0 is taken for a table, and one whose second
// character is an underscore is left out. A name that fills all 32 units is not unpacked: its bytes are the
// name, up to the first zero.
//
// Bounds: no entry of the directory is met twice (compound/directory_walk.h). Damage to the directory is passed
// over, so that what can be reached is shown, and fails the walk at its end.
#include "formats/microsoft/msi/msi_handler.h"

#include <algorithm>
#include <new>

#include "core/refuse.h"
#include "decoders/copy/copy_decoder.h"
#include "formats/microsoft/compound/compound_file.h"
#include "formats/microsoft/compound/directory_walk.h"
#include "formats/microsoft/msi/msi_name.h"

namespace brix::msi {

namespace {

// Writes the name under which a stream is a member; false when it is none.
bool MemberName(const PackedName& stored, char* name) {
  if (stored[0] == kPropertySet) return false;
  if (std::ranges::find(stored, u'\0') == stored.end()) {
    static_assert(sizeof stored < kNameBufferSize);
    CopyName({reinterpret_cast<const char*>(stored.data()), sizeof stored}, name);
  } else {
    UnpackName(stored, name);
    if (name[0] == '0' || (name[0] != '\0' && name[1] == '_')) return false;
  }
  if (name[0] == '\0') CopyName(kUnknownName, name);  // an empty one would end the walk
  return true;
}

class InstallerDatabaseHandler final : public ArchiveHandler {
 public:
  using ArchiveHandler::ArchiveHandler;

  [[nodiscard]] bool OpenArchive(char* name) override {
    if (!file_.Open(*read_stream_)) return false;
    walk_.Begin(file_);
    walk_.Enter(file_.root());
    return NextMember(name);
  }

  [[nodiscard]] bool NextMember(char* name) override {
    while (walk_.Next(&entry_)) {
      if (entry_.type == compound::kStream && MemberName(entry_.name, name)) return true;
    }
    name[0] = '\0';
    entry_ = {};
    return !walk_.damaged() || Refuse("msi: the directory is damaged");
  }

  [[nodiscard]] bool ExtractMember(Stream* out, uint32_t max_bytes, uint32_t* written) override {
    compound::ChainStream stream;
    file_.OpenStream(entry_, compound::ChainMemory::kCursor, &stream);
    *written = max_bytes == 0 ? entry_.size : std::min(max_bytes, entry_.size);
    return decoder_.Decode(stream, *out, written);
  }

 private:
  compound::CompoundFile file_;
  compound::DirectoryWalk walk_;
  compound::Entry entry_;  // the current member's
  CopyDecoder decoder_;
};

}  // namespace

ArchiveHandler* CreateMsiHandler(Stream* in, const HandlerArgs& args) {
  return new InstallerDatabaseHandler(in, args.ownership, args.type_id);
}

}  // namespace brix::msi

// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// cabinet_handler.cpp - walks a cabinet's file entries and extracts members from its folders.
//
// Only the one cabinet is read, never another of its set.
//
// Kept: files that are continued from or into another cabinet are counted but not shown. The names of the
// neighbouring cabinets may have 254 bytes and a member's 511; what follows a longer one is read from inside it. A
// method that is not known fails the extraction and leaves the status alone.
//
// Bounds: the walk ends by the count of files, which is 16 bits wide. Folder entries are read when a member needs
// one; opening only looks whether the last is there. Nothing is allocated for a member or a folder: one folder is
// decoded at a time (cabinet_folder.cpp, which also says what going back costs).
#include "formats/microsoft/cabinet/cabinet_handler.h"

#include <algorithm>
#include <array>
#include <new>
#include <string_view>

#include "core/byte_order.h"
#include "core/field_reader.h"
#include "core/refuse.h"
#include "formats/microsoft/cabinet/cabinet_detect.h"
#include "formats/microsoft/cabinet/cabinet_folder.h"
#include "formats/microsoft/cabinet/cabinet_format.h"

namespace brix::cabinet {

namespace {

// Moves `*at` behind a zero-terminated text of at most kTextBytes.
bool SkipText(Stream& in, uint32_t* at) {
  std::array<char, kTextBytes> bytes;
  uint32_t got = 0;
  if (!in.ReadAt(*at, reinterpret_cast<uint8_t*>(bytes.data()), kTextBytes, &got) || got == 0 ||
      got > kTextBytes) {
    return Refuse("cabinet: name of a neighbour is cut");
  }
  const std::string_view text(bytes.data(), std::min(got, kTextBytes - 1));
  return CheckedAdd(at, static_cast<uint32_t>(std::min(text.find('\0'), text.size())) + 1);
}

class CabinetHandler final : public ArchiveHandler {
 public:
  using ArchiveHandler::ArchiveHandler;

  [[nodiscard]] bool OpenArchive(char* name) override {
    if (!LocateCabinet(*read_stream_, &header_at_)) return false;
    FieldReader header(*read_stream_, header_at_);
    cabinet_end_ = header_at_ + header.U32(kCabinetSizeAt);  // at most 1 GiB and 1 KiB
    NoteUnseenBefore(header_at_);
    next_file_at_ = header.U32(kFirstFileAt);
    folder_count_ = header.U16(kFolderCountAt);
    file_count_ = header.U16(kFileCountAt);
    const uint32_t flags = header.U16(kFlagsAt);
    if (!header.ok() || !CheckedAdd(&next_file_at_, header_at_))
      return Refuse("cabinet: file list out of range");
    files_read_ = 0;
    current_folder_ = kNoFolder;
    return FindFolders(header, flags) && NextMember(name);
  }

  [[nodiscard]] bool NextMember(char* name) override {
    name[0] = '\0';
    bool shown = false;
    while (!shown) {  // ends by the count of files
      if (files_read_ >= file_count_) {
        name[0] = '\0';  // a file that was not shown left its name
        NoteUnseenAfter(cabinet_end_);
        return true;
      }
      if (!ReadEntry(name, &shown)) return false;
    }
    if (name[0] == '\0') CopyName(kUnknownName, name);
    return true;
  }

  [[nodiscard]] bool ExtractMember(Stream* out, uint32_t max_bytes, uint32_t* written) override {
    *written = 0;
    // Also for a member of no bytes, after which the former folder begins anew.
    if (member_folder_ != current_folder_ && !EnterFolder()) return false;
    const uint32_t length = max_bytes == 0 ? size_ : std::min(max_bytes, size_);
    if (length == 0) return true;
    *written = length;
    return folder_.Read(folder_offset_, written, *out);
  }

  [[nodiscard]] bool GetMemberSize(uint32_t* value, uint32_t* io_size) override {
    return AnswerSize(size_, value, io_size);
  }

  // How the name is encoded.
  [[nodiscard]] uint32_t GetMemberHint() override {
    return (attributes_ & kNameIsUtf8) != 0 ? kHintUtf8 : kHintAnsi;
  }

 private:
  // Reads what stands between the header and the folder entries.
  [[nodiscard]] bool FindFolders(FieldReader& header, uint32_t flags) {
    uint32_t folder_reserve = 0;
    uint32_t block_reserve = 0;
    folders_at_ = header_at_ + kHeaderBytes;  // the header stands in the first kilobyte
    if ((flags & kFlagReserve) != 0) {
      const uint32_t header_reserve = header.U16(kReserveInHeaderAt);
      folder_reserve = header.U8(kReserveInFolderAt);
      block_reserve = header.U8(kReserveInBlockAt);
      if (!header.ok()) return Refuse("cabinet: reserve sizes are cut");
      folders_at_ += kReserveBytes + header_reserve;
      const bool is_signed = header_reserve == kSignatureReserve &&
                             header_at_ + header.U32(kSignatureAt) == cabinet_end_;  // wraps
      if (is_signed && !CheckedAdd(&cabinet_end_, header.U32(kSignatureBytesAt))) cabinet_end_ = UINT32_MAX;
    }
    for (const uint32_t neighbour : {kFlagPrevious, kFlagNext}) {
      if ((flags & neighbour) == 0) continue;
      if (!SkipText(*read_stream_, &folders_at_) || !SkipText(*read_stream_, &folders_at_)) return false;
    }
    folder_step_ = kFolderBytes + folder_reserve;
    folder_.SetInput(&packed_, block_reserve);
    FolderEntry last;
    return ReadFolderEntry(folder_count_ - 1, &last) || Refuse("cabinet: folder entries are cut");
  }

  [[nodiscard]] bool ReadFolderEntry(uint32_t index, FolderEntry* entry) const {
    FieldReader fields(*read_stream_, folders_at_);
    const uint32_t at = index * folder_step_;  // below 2^25
    entry->first_block = fields.U32(at + kFolderFirstBlockAt);
    entry->block_count = fields.U16(at + kFolderBlockCountAt);
    entry->type = fields.U16(at + kFolderTypeAt);
    // A sum that does not fit is no place in the file.
    if (!CheckedAdd(&entry->first_block, header_at_)) entry->first_block = UINT32_MAX;
    return fields.ok();
  }

  // Reads the next file entry and its name; `*shown` is false for a file that is continued.
  [[nodiscard]] bool ReadEntry(char* name, bool* shown) {
    // The name may end with the file; the fields must all be there.
    std::array<uint8_t, kFileBytes + kNameBufferSize> bytes;
    uint32_t got = 0;
    if (!read_stream_->ReadAt(next_file_at_, bytes.data(), bytes.size(), &got) || got < kFileBytes ||
        got > bytes.size()) {
      return Refuse("cabinet: file entry is cut");
    }
    size_ = LoadLe32(bytes.data() + kFileSizeAt);
    folder_offset_ = LoadLe32(bytes.data() + kFileOffsetAt);
    attributes_ = LoadLe16(bytes.data() + kFileAttributesAt);
    member_folder_ = LoadLe16(bytes.data() + kFileFolderAt);
    *shown = member_folder_ < kFromPrevious;
    if (!*shown) NoteUnseen(kUnseenContinued);
    if (*shown && member_folder_ >= folder_count_) return Refuse("cabinet: no such folder");

    CopyName({reinterpret_cast<const char*>(bytes.data() + kFileBytes), got - kFileBytes}, name);
    const auto name_length = static_cast<uint32_t>(std::string_view(name).size());
    if (!CheckedAdd(&next_file_at_, kFileBytes + name_length + 1))
      return Refuse("cabinet: file list too long");
    ++files_read_;
    return true;
  }

  [[nodiscard]] bool EnterFolder() {
    FolderEntry entry;
    if (!ReadFolderEntry(member_folder_, &entry)) return Refuse("cabinet: folder entry cannot be read");
    folder_.Enter(entry);
    current_folder_ = member_folder_;
    return true;
  }

  static constexpr uint32_t kNoFolder = UINT32_MAX;

  uint32_t header_at_ = 0;    // offset in the input, as are all below
  uint32_t cabinet_end_ = 0;  // and that of a signature after it
  uint32_t folders_at_ = 0;
  uint32_t folder_step_ = 0;  // bytes from one folder entry to the next
  uint32_t folder_count_ = 0;
  uint32_t file_count_ = 0;
  uint32_t files_read_ = 0;  // also those not shown
  uint32_t next_file_at_ = 0;

  uint32_t size_ = 0;  // of the current member
  uint32_t folder_offset_ = 0;
  uint32_t member_folder_ = 0;
  uint32_t attributes_ = 0;

  uint32_t current_folder_ = kNoFolder;  // the one that folder_ stands in
  CabinetFolder folder_;
};

}  // namespace

ArchiveHandler* CreateCabinetHandler(Stream* in, const HandlerArgs& args) {
  return new CabinetHandler(in, args.ownership, args.type_id);
}

}  // namespace brix::cabinet

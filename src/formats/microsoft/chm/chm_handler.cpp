// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// chm_handler.cpp - presents a compiled help file as a container of the user's files.
//
// Files lie in sections. Section 0 is the file itself and holds the format's own parts, among them the names of the
// other sections; in practice there is one, compressed with LZX, that holds everything else.
//
// Kept: a help file without a compressed section is not opened, and members in section 0 are listed but cannot be
// extracted.
//
// Bounds: opening looks through a million directory entries at most. Section names are up to 65,535, one byte is
// kept for each. Opening reads the whole directory once and each member's entry once more; nothing is kept of it.
#include "formats/microsoft/chm/chm_handler.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <new>

#include "core/field_reader.h"
#include "core/memory_block.h"
#include "core/refuse.h"
#include "core/stream_views.h"
#include "decoders/copy/copy_decoder.h"
#include "formats/microsoft/chm/chm_content.h"
#include "formats/microsoft/chm/chm_detect.h"
#include "formats/microsoft/chm/chm_directory.h"
#include "formats/microsoft/chm/chm_format.h"

namespace brix::chm {

namespace {

enum SectionKind : uint8_t { kOtherSection, kUncompressed, kCompressed };

constexpr uint32_t kSectionNameLength = 12;  // of both known names, in characters
constexpr std::string_view kUncompressedSection = "Uncompressed";
constexpr std::string_view kCompressedSection = "MSCompressed";

bool IsInternal(std::string_view name) {
  const auto begins_name = [&](std::string_view prefix) { return name.starts_with(prefix); };
  return std::ranges::find(kInternalNames, name) != kInternalNames.end() ||
         std::ranges::any_of(kInternalPrefixes, begins_name);
}

// A part of the format's own, in section 0.
struct Part {
  std::string_view name;
  bool found = false;
  uint32_t section = 0;
  uint32_t at = 0;  // file offset
  uint32_t length = 0;
};

class CompiledHelpHandler final : public ArchiveHandler {
 public:
  using ArchiveHandler::ArchiveHandler;

  [[nodiscard]] bool OpenArchive(char* name) override {
    name[0] = '\0';
    Headers headers;
    if (!ReadHeaders(*read_stream_, &headers) || !ReadParts(headers)) return false;
    return directory_.Start(read_stream_, headers) && NextMember(name);
  }

  [[nodiscard]] bool NextMember(char* name) override {
    name[0] = '\0';
    memberStatus = kMemberNormal;
    for (;;) {  // ends with the directory
      switch (directory_.Next(&member_)) {
        case Step::kEnd:
          return true;
        case Step::kDamage:
          return Refuse("chm: directory damaged");
        case Step::kCircle:
          return Refuse("chm: directory goes in a circle");
        case Step::kEntry:
          break;
      }
      if (member_.length == 0 || IsInternal(member_.Name())) continue;
      CopyName(member_.Name(), name);
      if (name[0] == '\0') CopyName(kUnknownName, name);
      return true;
    }
  }

  [[nodiscard]] bool ExtractMember(Stream* out, uint32_t max_bytes, uint32_t* written) override {
    *written = 0;
    if (member_.section == 0 || member_.section >= section_count_ || member_.length == 0) {
      return Refuse("chm: section");
    }
    const uint32_t wanted = max_bytes == 0 ? member_.length : std::min(max_bytes, member_.length);
    switch (sections_.data()[member_.section]) {
      case kCompressed:
        return content_.Extract(member_.offset, wanted, *out, written);
      case kUncompressed:
        return CopyUncompressed(wanted, *out, written);
      default:
        return Refuse("chm: section kind");
    }
  }

 private:
  // Finds the format's own parts and opens the compressed section by them.
  [[nodiscard]] bool ReadParts(const Headers& headers) {
    Part name_list{kNameListName}, control_data{kControlDataName}, reset_table{kResetTableName};
    Part compressed{kCompressedName}, uncompressed{kUncompressedName};
    const std::array<Part*, 5> parts = {&name_list, &control_data, &reset_table, &compressed, &uncompressed};
    if (!directory_.Start(read_stream_, headers)) return false;
    for (uint32_t i = 0; i < kMostOpenEntries; ++i) {
      const Step step = directory_.Next(&member_);
      if (step == Step::kDamage) return Refuse("chm: directory damaged");
      if (step != Step::kEntry) break;  // a circle ends the search: every chunk was seen
      for (Part* part : parts) {
        if (member_.Name() != part->name) continue;
        part->found = true;
        part->section = member_.section;
        part->at = headers.content_base;
        part->length = member_.length;
        if (!CheckedAdd(&part->at, member_.offset)) return Refuse("chm: part out of range");
      }
    }
    if (!name_list.found || !control_data.found || !reset_table.found || !compressed.found) {
      return Refuse("chm: no compressed section");
    }
    if (name_list.section != 0) return Refuse("chm: name list not in section 0");
    uncompressed_ = uncompressed;
    return ReadSectionNames(name_list.at) &&
           content_.Open(&packed_, {control_data.at, reset_table.at, compressed.at, compressed.length});
  }

  [[nodiscard]] bool ReadSectionNames(uint32_t at) {
    FieldReader list(*read_stream_, at);
    section_count_ = list.U16(kNameListCount);
    if (!list.ok() || !sections_.TryResize(section_count_)) return Refuse("chm: name list");
    uint32_t name_at = kNameListFirst;
    for (uint32_t i = 0; i < section_count_; ++i) {
      const uint32_t length = list.U16(name_at);
      std::array<uint8_t, 2 * kSectionNameLength> wide{};
      if (length == kSectionNameLength) list.Bytes(name_at + 2, wide.data(), sizeof wide);
      if (!list.ok()) return Refuse("chm: name list cut");
      std::array<char, kSectionNameLength> low;
      for (uint32_t c = 0; c < low.size(); ++c) low[c] = static_cast<char>(wide[2 * c]);
      const std::string_view name(low.data(), low.size());
      sections_.data()[i] = name == kUncompressedSection ? kUncompressed
                            : name == kCompressedSection ? kCompressed
                                                         : kOtherSection;
      if (!CheckedAdd(&name_at, 2 + 2 * length + 2)) return Refuse("chm: name list out of range");
    }
    return true;
  }

  // Kept: the section's length bounds the count, not the range.
  [[nodiscard]] bool CopyUncompressed(uint32_t wanted, Stream& out, uint32_t* written) {
    uint32_t at = uncompressed_.at;
    if (!CheckedAdd(&at, member_.offset)) return Refuse("chm: member out of range");
    *written = std::min(wanted, uncompressed_.length);
    RangeStream data(read_stream_, at, *written);
    return copier_.Decode(data, out, written);
  }

  Directory directory_;
  Entry member_{};
  MemoryBlock sections_;  // kinds
  uint32_t section_count_ = 0;
  Part uncompressed_{kUncompressedName};
  CompressedContent content_;
  CopyDecoder copier_;
};

}  // namespace

ArchiveHandler* CreateChmHandler(Stream* in, const HandlerArgs& args) {
  return new CompiledHelpHandler(in, args.ownership, args.type_id);
}

}  // namespace brix::chm

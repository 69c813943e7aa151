// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// nsis_script.cpp - reads the entries of an installer's script for what they write.
//
// The entries are read once, from first to last, as if they ran in that order: one sets the directory, the others put
// files there. A name that does not count from the directory, as it begins with a variable or a drive, stands for
// itself. Scripts extract a plug-in for each call to it: a file of the same name, directory and data as an earlier one
// is not listed again.
//
// The entry that writes an uninstaller has another number in builds with more instructions. It is known by its
// strings: the name, and the name behind the installation directory. Without such an entry the usual number counts.
//
// Bounds: the walk ends by the count of entries, of which those that lie in the header count. 16 bytes are kept for
// each file listed, twice that just after they have grown, and at most 2 for each entry. A chain of earlier files is
// followed for 64 of them, so that a script made for the purpose shows a file twice rather than taking long.
#include "formats/installers/nsis/nsis_script.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <string_view>

#include "core/archive_handler.h"
#include "core/byte_order.h"
#include "core/field_reader.h"
#include "core/refuse.h"
#include "formats/installers/nsis/nsis_format.h"

namespace brix::nsis {

namespace {

constexpr uint32_t kParameter = 4;  // of an entry, by the size of one
constexpr uint32_t kMostSteps = 64;
constexpr uint32_t kMostCompared = 65536;  // entries whose strings are compared, of 1,024 units at the most
constexpr uint32_t kNoneListed = UINT32_MAX;

// Keys of directories: strings have their offsets, entries that join one to another their own numbers.
constexpr uint32_t kKeyOfEntry = 0x80000000;
constexpr uint32_t kKeyOfInstall = UINT32_MAX - 1;
constexpr uint32_t kKeyOfNone = UINT32_MAX;

uint32_t Parameter(const uint8_t* entry, uint32_t index) {
  return LoadLe32(entry + kParameter * (1 + index));
}

}  // namespace

bool Script::Open(std::span<const uint8_t> header) {
  header_ = header;
  next_entry_ = 0;
  listed_count_ = 0;
  failed_ = false;
  uint32_t strings = 0;
  if (!ReadTables(4, &strings) && !ReadTables(8, &strings)) return Refuse("nsis: no tables in the header");
  FindUninstallers();
  const uint32_t chains = std::bit_ceil(entry_count_ / 4 + 1);
  if (!chains_.TryResize(size_t{chains} * sizeof(uint32_t))) return false;
  std::memset(chains_.data(), 0xFF, chains_.size());
  install_directory_.text.Assign("$INSTDIR");
  install_directory_.key = kKeyOfInstall;
  install_directory_.known = true;
  directory_ = install_directory_;
  saved_in_ = Beginning::kNone;
  return true;
}

// Finds the entries and strings by the list of tables, whose offsets have that many bytes.
bool Script::ReadTables(uint32_t offset_bytes, uint32_t* strings) {
  const uint32_t step = offset_bytes + 4;
  const uint32_t tables_end = kTables + kTableCount * step;
  const auto size = static_cast<uint32_t>(header_.size());
  if (size < tables_end) return false;
  const auto offset_of = [&](uint32_t table) {
    const uint8_t* field = &header_[kTables + table * step];
    const uint64_t offset = offset_bytes == 4 ? LoadLe32(field) : LoadLe64(field);
    return offset < tables_end || offset > size ? 0 : static_cast<uint32_t>(offset);
  };
  entries_at_ = offset_of(kEntryTable);
  const uint32_t strings_at = offset_of(kStringTable);
  if (entries_at_ == 0 || strings_at == 0) return false;
  const uint32_t counted = LoadLe32(&header_[kTables + kEntryTable * step + offset_bytes]);
  entry_count_ = std::min(counted, (size - entries_at_) / kEntryBytes);
  cut_ = entry_count_ != counted;
  const uint32_t strings_end = offset_of(kLanguageTable);
  *strings = strings_end > strings_at ? strings_end - strings_at : size - strings_at;
  strings_.Open(header_.subspan(strings_at), *strings);
  return true;
}

const uint8_t* Script::Entry(uint32_t index) const { return &header_[entries_at_ + index * kEntryBytes]; }

void Script::FindUninstallers() {
  uninstaller_op_ = kOpUninstaller;
  uint32_t compared = 0;
  for (uint32_t i = 0; i < entry_count_ && compared < kMostCompared; ++i) {
    const uint8_t* entry = Entry(i);
    const uint32_t op = LoadLe32(entry);
    if (op < kOpUninstallerLeast || op > kOpUninstallerMost || Parameter(entry, 2) == 0) continue;
    ++compared;
    if (strings_.IsInstalled(Parameter(entry, 0), Parameter(entry, 3))) {
      uninstaller_op_ = op;
      return;
    }
  }
}

bool Script::Next(ScriptMember* member, char* name) {
  while (next_entry_ < entry_count_) {
    const uint8_t* entry = Entry(next_entry_++);
    const uint32_t op = LoadLe32(entry);
    const uint32_t string = Parameter(entry, 0);
    if (op == kOpCreateDirectory) {
      if (Parameter(entry, 1) != 0) ReadPath(string, &directory_);
    } else if (op == kOpAssign) {
      ReadAssignment(entry);
    } else if (op == kOpExtractFile) {
      *member = {.block = Parameter(entry, 2)};
      if (NameFile(Parameter(entry, 1), &directory_, member->block, name)) return true;
    } else if (op == uninstaller_op_) {
      *member = {.is_uninstaller = true, .block = Parameter(entry, 1), .patch_size = Parameter(entry, 2)};
      if (NameFile(string, &install_directory_, member->block, name)) return true;
    }
    if (failed_) return false;
  }
  failed_ = failed_ || cut_;
  return false;
}

const Script::Directory* Script::BaseOf(const Beginning& beginning) const {
  if (beginning.variable == Beginning::kNone) return nullptr;
  if (beginning.variable == kVariableOutputDirectory) return &directory_;
  return beginning.variable == saved_in_ ? &saved_directory_ : nullptr;
}

bool Script::MaySave(uint32_t variable) const {
  return variable == kVariableSavedDirectory ||
         (variable == kVariableSavedDirectory2 && strings_.IsVersion2());
}

void Script::ReadPath(uint32_t string, Directory* path) const {
  const Beginning beginning = strings_.BeginningOf(string);
  Directory found;
  found.key = string & ~kKeyOfEntry;
  uint32_t from = 0;
  if (const Directory* base = BaseOf(beginning); base != nullptr) {
    found = *base;
    from = beginning.units;
    if (!strings_.IsVariable(string, beginning.variable)) found.key = kKeyOfEntry | next_entry_;
  }
  found.known = found.known && strings_.Append(string, from, &found.text);
  *path = found;
}

void Script::ReadAssignment(const uint8_t* entry) {
  const uint32_t variable = Parameter(entry, 0);
  const uint32_t string = Parameter(entry, 1);
  if (Parameter(entry, 2) != 0 || Parameter(entry, 3) != 0) return;  // a piece of the text
  if (variable == kVariableOutputDirectory) ReadPath(string, &directory_);
  if (!MaySave(variable)) return;
  if (strings_.IsVariable(string, kVariableOutputDirectory)) {
    saved_directory_ = directory_;
    saved_in_ = variable;
  } else if (variable == saved_in_) {
    saved_in_ = Beginning::kNone;
  }
}

bool Script::NameFile(uint32_t string, const Directory* directory, uint32_t block, char* name) {
  const Beginning beginning = strings_.BeginningOf(string);
  std::array<char, 2 * ExpandedText::kMost + 1> joined;
  size_t size = 0;
  const auto join = [&](std::string_view piece) { size += piece.copy(&joined[size], piece.size()); };
  uint32_t key = kKeyOfNone;
  Directory path;
  if (!beginning.absolute) {
    key = directory->key;
    path.known = directory->known;
    join(directory->text.text());
    if (size != 0 && joined[size - 1] != '\\') join("\\");
  } else if (BaseOf(beginning) != nullptr) {
    key = kKeyOfEntry | next_entry_;
  }
  if (!NoteListed({key, string, block, kNoneListed})) return false;
  const bool is_known = path.known;
  ReadPath(string, &path);
  join(path.text.text());
  CopyName(is_known && path.known && size != 0 ? std::string_view(joined.data(), size) : kUnknownName, name);
  return true;
}

bool Script::NoteListed(Listed listed) {
  const auto chain_count = static_cast<uint32_t>(chains_.size() / sizeof(uint32_t));
  uint64_t hash = (uint64_t{listed.name} << 32 | listed.block) * 0x9E3779B97F4A7C15u;
  hash = (hash ^ hash >> 29 ^ listed.directory) * 0xBF58476D1CE4E5B9u;
  uint8_t* chain = chains_.data() + (hash >> 40 & (chain_count - 1)) * sizeof(uint32_t);
  listed.next = LoadLe32(chain);
  uint32_t index = listed.next;
  for (uint32_t steps = 0; index != kNoneListed && steps < kMostSteps; ++steps) {
    Listed earlier;
    std::memcpy(&earlier, listed_.data() + size_t{index} * sizeof earlier, sizeof earlier);
    if (earlier.IsSame(listed)) return false;
    index = earlier.next;
  }
  constexpr size_t kFirst = 4096;
  const size_t at = size_t{listed_count_} * sizeof listed;
  if (!listed_.TryGrow(at + sizeof listed, kFirst)) {
    failed_ = true;
    return false;
  }
  std::memcpy(listed_.data() + at, &listed, sizeof listed);
  std::memcpy(chain, &listed_count_, sizeof listed_count_);
  ++listed_count_;
  return true;
}

}  // namespace brix::nsis

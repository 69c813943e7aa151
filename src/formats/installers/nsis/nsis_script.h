// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// nsis_script.h - the files that an installer's script writes.
#pragma once

#include <cstdint>
#include <span>

#include "core/memory_block.h"
#include "formats/installers/nsis/nsis_strings.h"

namespace brix::nsis {

struct ScriptMember {
  bool is_uninstaller = false;
  uint32_t block = 0;       // where its block begins, behind the script
  uint32_t patch_size = 0;  // uninstaller: bytes of patches, which are that block; its data are the next one
};

// Walks the entries of a script in their order.
class Script {
 public:
  // `header` is the decoded script header, neither owned nor outlived. False: no tables of entries and strings.
  [[nodiscard]] bool Open(std::span<const uint8_t> header);

  // The next member, and its name. False at the end, and without memory, which failed() tells apart.
  [[nodiscard]] bool Next(ScriptMember* member, char* name);

  // True also when the table of entries is cut, which is known at its end.
  [[nodiscard]] bool failed() const { return failed_; }

 private:
  // A path in force. `key` differs for paths that may differ.
  struct Directory {
    ExpandedText text;
    uint32_t key = 0;
    bool known = true;  // false: its name is too long
  };
  // What was listed: two members that agree in all of this are one.
  struct Listed {
    uint32_t directory;
    uint32_t name;
    uint32_t block;
    uint32_t next;  // index of the one before in its chain
    [[nodiscard]] bool IsSame(const Listed& other) const {
      return directory == other.directory && name == other.name && block == other.block;
    }
  };

  [[nodiscard]] bool ReadTables(uint32_t offset_bytes, uint32_t* strings);
  void FindUninstallers();
  [[nodiscard]] const uint8_t* Entry(uint32_t index) const;
  // The directory that a path counts from when it begins with a variable that holds one.
  [[nodiscard]] const Directory* BaseOf(const Beginning& beginning) const;
  // Whether a script of this version may keep the directory in that variable.
  [[nodiscard]] bool MaySave(uint32_t variable) const;
  void ReadPath(uint32_t string, Directory* path) const;
  void ReadAssignment(const uint8_t* entry);
  // Writes a file's name and notes it. False when it was listed before.
  [[nodiscard]] bool NameFile(uint32_t string, const Directory* directory, uint32_t block, char* name);
  [[nodiscard]] bool NoteListed(Listed listed);

  std::span<const uint8_t> header_;
  ScriptStrings strings_;
  uint32_t entries_at_ = 0;
  uint32_t entry_count_ = 0;
  uint32_t next_entry_ = 0;
  uint32_t uninstaller_op_ = 0;
  bool failed_ = false;
  bool cut_ = false;

  Directory directory_;                   // where files go
  Directory saved_directory_;             // what a script keeps while it adds a folder's files,
  uint32_t saved_in_ = Beginning::kNone;  // in this variable; kNone: it does not
  Directory install_directory_;

  MemoryBlock listed_;  // records
  MemoryBlock chains_;  // for each hash, the index of the last one listed
  uint32_t listed_count_ = 0;
};

}  // namespace brix::nsis

// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// chain_stream.h - a stream of bytes whose sectors are linked by a table.
#pragma once

#include <cstdint>

#include "core/memory_block.h"
#include "formats/microsoft/compound/read_only_stream.h"
#include "formats/microsoft/compound/sector_table.h"

namespace brix::compound {

// Where sectors lie and how they are linked: those of the file, or the mini sectors inside the mini stream.
struct SectorSpace {
  Stream* bytes;       // sector n at n << shift
  SectorTable* table;  // which sector follows which
  uint32_t shift;
  uint32_t most_sectors;  // that a chain may have; ends a chain that runs in a circle
};

// What is remembered of a chain that was followed.
enum class ChainMemory {
  kCursor,  // where the last read was: reading backwards starts over; for streams that are read through once
  kAll,     // all of it: any order costs about the same; 8 bytes for each run of neighbouring sectors
};

// Reads at most `size` bytes of a chain. The chain is followed only as far as reads need it. Neighbouring
// sectors are read at once.
class ChainStream final : public ReadOnlyStream {
 public:
  void Begin(const SectorSpace& space, uint32_t first_sector, uint32_t size, ChainMemory memory);

  // Short, with true, where the chain or the file ends early; false when not even the first byte is there.
  [[nodiscard]] bool ReadAt(uint32_t offset, uint8_t* buf, uint32_t size, uint32_t* got) override;
  [[nodiscard]] bool GetSize(uint32_t* size) override;

  // Follows the chain to its end and makes it the stream's length in whole sectors. Kept: a chain of as many
  // sectors as a chain may have, as one that runs in a circle, counts as empty.
  void TakeLengthOfChain();

 private:
  // Sectors sector, sector + 1, ... that hold the stream's sectors index, index + 1, ...
  struct Run {
    uint32_t index;
    uint32_t sector;
    uint32_t length;
  };

  void StartOver();
  // Makes run_ the one that holds sector `index` of the stream, and as long as it can be up to `wanted` sectors
  // behind that.
  [[nodiscard]] bool FindRun(uint32_t index, uint64_t wanted);
  [[nodiscard]] bool NextRun();
  [[nodiscard]] bool LengthenRun(uint64_t most);
  [[nodiscard]] bool IsLastRun() const { return run_.index + run_.length == followed_; }
  [[nodiscard]] uint32_t Follow(uint64_t most);
  void TakeRoom();
  void Remember();
  [[nodiscard]] Run Remembered(uint32_t number) const;
  void GoToKnown(uint32_t index);

  SectorSpace space_{};
  uint32_t first_sector_ = 0;
  uint32_t size_ = 0;  // bytes
  ChainMemory memory_ = ChainMemory::kCursor;

  Run run_{};              // the run of the last read
  uint32_t followed_ = 0;  // sectors of the chain that are known
  uint32_t next_ = 0;      // the number behind those

  MemoryBlock runs_;  // kAll: index and sector of each run that is known
  uint32_t run_count_ = 0;
};

}  // namespace brix::compound

// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// handler_walk.h - walks a handler over bytes in memory and keeps what it found, for tests of one format.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "core/archive_handler.h"

namespace brix {

struct WalkedMember {
  std::string name;
  bool extracted = false;
  uint32_t status = 0;  // memberStatus after the extraction
  std::vector<uint8_t> data;
};

struct Walk {
  bool finished = false;  // the walk came to the empty name
  std::vector<WalkedMember> members;
};

[[nodiscard]] std::string Text(std::span<const uint8_t> bytes);
// Size and CRC-32 of `bytes`, as "19 b7e894fd".
[[nodiscard]] std::string Digest(std::span<const uint8_t> bytes);

// Opens with the handler of `type_id` without detection, extracts every member with `max_bytes` (0: no
// limit).
[[nodiscard]] Walk WalkWith(uint32_t type_id, std::span<const uint8_t> bytes, uint32_t max_bytes = 0);

// Such a walk as one line: name=content, a name without content when the extraction failed ("!2": with that
// memberStatus, unless 1), and "$" when the walk came to its end.
[[nodiscard]] std::string WalkText(uint32_t type_id, std::span<const uint8_t> bytes, uint32_t max_bytes = 0);

// The current member's size is `size`, by the buffer protocol.
void ExpectMemberSize(ArchiveHandler& handler, uint32_t size);

// The two sweeps every format gets: the valid file cut at every length, and every byte in turn set to 00 and
// FF (at most the first `max_positions`). Each walk must end, stay inside its limits and keep names
// terminated; a broken promise is a test failure.
void SweepDamage(uint32_t type_id, std::span<const uint8_t> bytes, size_t max_positions = 4096);

}  // namespace brix

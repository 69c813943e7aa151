// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// boundary_set.h - the boundary strings of a message, and the test whether a line is one of them.
#pragma once

#include <cstdint>

#include "core/memory_block.h"
#include "decoders/mail/line_reader.h"

namespace brix::mail {

inline constexpr uint32_t kMaxBoundary = 100;  // characters

enum class BoundaryLine : uint8_t {
  kNone,
  kOpening,  // a part follows
  kClosing,  // ends in "-"
  kMessage,  // "From " in a mailbox file
};

// Strings kept as a tree of their common beginnings, so that a line is compared with all of them at once. A string
// that begins with another one of the set is not kept: the shorter one matches wherever it would.
class BoundarySet {
 public:
  void Clear();

  // Adds a string, cut at kMaxBoundary characters. An empty one makes every line that begins with two dashes a
  // boundary. A set of 16 MiB is full, and adds nothing. False: no memory.
  [[nodiscard]] bool Add(Text boundary);

  // In a mailbox file a line that begins with "From ", with a header field on the next, separates messages, and ends
  // what a boundary line would.
  void SetMailbox(bool on) { mailbox_ = on; }

  // Whether a line that begins so may be a boundary line: asked first, since few do.
  [[nodiscard]] bool MayBegin(uint8_t c) const { return c == '-' || c == '(' || (c == 'F' && mailbox_); }

  // Two dashes and a string of the set, in the line as it stands or without its comments.
  [[nodiscard]] BoundaryLine Test(const Line& line) const {
    return !line.text.empty() && MayBegin(line.text[0]) ? TestCandidate(line) : BoundaryLine::kNone;
  }

 private:
  // Words and nodes go by their offset in block_.
  [[nodiscard]] uint32_t Word(uint32_t at) const;
  void SetWord(uint32_t at, uint32_t word);
  [[nodiscard]] uint32_t Link(uint32_t at) const;
  [[nodiscard]] uint32_t Length(uint32_t node) const;
  [[nodiscard]] const uint8_t* Label(uint32_t node) const;
  // Makes room for words and a label after them, which is copied. `at`: out: offset of the last word.
  [[nodiscard]] bool Append(uint32_t words, Text label, uint32_t* at);
  // The one of the siblings that `*link_at` leads to whose label begins so, 0 when there is none; `*link_at` becomes
  // the word that leads to it.
  [[nodiscard]] uint32_t FindChild(uint32_t* link_at, uint8_t first) const;
  [[nodiscard]] bool HasPrefixOf(Text text) const;
  [[nodiscard]] BoundaryLine TestCandidate(const Line& candidate) const;

  MemoryBlock block_;  // a word that leads to the first node, and the nodes
  uint32_t size_ = 0;  // bytes used of it; 0: no nodes
  bool has_empty_ = false;
  bool mailbox_ = false;
};

}  // namespace brix::mail

// boundary_set.h - the boundary strings of a message, and the test whether a line is one of them.
#pragma once

#include <cstdint>

#include "core/memory_block.h"
#include "decoders/mail/mail_text.h"

namespace brix::mail {

inline constexpr uint32_t kMaxBoundary = 100;  // characters

enum class BoundaryLine : uint8_t {
  kNone,
  kOpening,  // a part follows
  kClosing,  // ends in "-"
};

// Strings kept as a tree of their common beginnings, so that a line is compared with all of them at once. A string
// that begins with another one of the set is not kept: the shorter one matches wherever it would.
class BoundarySet {
 public:
  void Clear();

  // Adds a string, cut at kMaxBoundary characters. An empty one makes every line that begins with two dashes a
  // boundary. False: no memory, or the set is full, with 16 MiB of strings or half a million that share no beginnings.
  [[nodiscard]] bool Add(Text boundary);

  // In a mailbox file a line that begins with "From " separates messages, and ends what a boundary would.
  void SetMailbox(bool on) { mailbox_ = on; }

  // Whether a line that begins so may be a boundary line: asked first, since few do.
  [[nodiscard]] bool MayBegin(uint8_t c) const { return c == '-' || c == '(' || (c == 'F' && mailbox_); }

  // Two dashes and a string of the set, in the line as it stands or without its comments.
  [[nodiscard]] BoundaryLine Test(Text line) const {
    return !line.empty() && MayBegin(line[0]) ? TestCandidate(line) : BoundaryLine::kNone;
  }

 private:
  struct Node {
    uint32_t text_at;  // of its label, in text_
    uint32_t child;    // index of its first child; 0: none
    uint32_t sibling;  // index of the next child of its parent; 0: none
    uint16_t length;   // of its label
    uint16_t ends;     // 1: a string ends here
  };

  [[nodiscard]] Node* nodes() { return reinterpret_cast<Node*>(nodes_.data()); }
  [[nodiscard]] const Node* nodes() const { return reinterpret_cast<const Node*>(nodes_.data()); }
  // A new leaf for `label`; 0 when there is no room.
  [[nodiscard]] uint32_t NewNode(uint32_t text_at, uint32_t length);
  [[nodiscard]] bool HasPrefixOf(Text text) const;
  [[nodiscard]] BoundaryLine TestCandidate(Text line) const;

  MemoryBlock nodes_;  // the first is the root, whose label is empty
  MemoryBlock text_;
  uint32_t node_count_ = 0;
  uint32_t text_size_ = 0;
  bool mailbox_ = false;
};

}  // namespace brix::mail

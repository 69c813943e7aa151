// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// boundary_set.cpp - a tree of boundary strings in one block of bytes.
//
// A node is a word and a label, with one more word before it when the node has children:
//
//     [first child]  [next sibling, 24 bits | has children, 1 | length, 7]  label
//
// The labels on the way down to a node without children spell a string. Siblings differ in their first byte, so a step
// down looks at 256 nodes at most however many strings there are, and no choice of strings makes it slow.
//
// Bounds: strings of 100 bytes; 16 MiB in all, after which no more are kept. A string takes what it does not share with
// others, and 4 to 13 bytes more. Memory grows with the strings that the message really holds.
#include "decoders/mail/boundary_set.h"

#include <array>
#include <cstring>

#include "core/byte_order.h"

namespace brix::mail {

namespace {

constexpr uint32_t kWord = 4;             // bytes
constexpr uint32_t kLinkMask = 0xFFFFFF;  // of a word; 0: no node
constexpr uint32_t kHasChildren = 1u << 24;
constexpr uint32_t kLengthShift = 25;
constexpr uint32_t kMaxSize = 16 * 1024 * 1024;           // links have 24 bits
constexpr uint32_t kMaxAdded = 4 * kWord + kMaxBoundary;  // bytes that a string takes
constexpr uint32_t kGrowth = 256;

}  // namespace

void BoundarySet::Clear() {
  size_ = 0;
  has_empty_ = mailbox_ = false;
}

uint32_t BoundarySet::Word(uint32_t at) const { return LoadLe32(block_.data() + at); }
void BoundarySet::SetWord(uint32_t at, uint32_t word) { StoreLe32(block_.data() + at, word); }
uint32_t BoundarySet::Link(uint32_t at) const { return Word(at) & kLinkMask; }
uint32_t BoundarySet::Length(uint32_t node) const { return Word(node) >> kLengthShift; }
const uint8_t* BoundarySet::Label(uint32_t node) const { return block_.data() + node + kWord; }

bool BoundarySet::Append(uint32_t words, Text label, uint32_t* at) {
  const auto taken = static_cast<uint32_t>(words * kWord + label.size());
  const size_t needed = size_t{size_} + taken;
  if (needed > block_.size() && !block_.TryResize(needed + needed / 32 + kGrowth)) return false;
  *at = size_ + (words - 1) * kWord;
  std::copy(label.begin(), label.end(), block_.data() + *at + kWord);
  size_ += taken;
  return true;
}

uint32_t BoundarySet::FindChild(uint32_t* link_at, uint8_t first) const {
  uint32_t node = Link(*link_at);
  while (node != 0 && *Label(node) != first) {  // ends: no node is its own sibling
    *link_at = node;
    node = Link(node);
  }
  return node;
}

bool BoundarySet::Add(Text boundary) {
  Text rest = boundary.first(std::min<size_t>(boundary.size(), kMaxBoundary));
  has_empty_ |= rest.empty();
  if (HasPrefixOf(rest) || size_ > kMaxSize - kMaxAdded) return true;
  uint32_t at = 0;
  if (size_ == 0) {  // the first word leads to the first node
    if (!Append(1, {}, &at)) return false;
    SetWord(0, 0);
  }
  for (uint32_t children_at = 0;;) {  // each turn goes a node down
    uint32_t link_at = children_at;
    const uint32_t node = FindChild(&link_at, rest[0]);
    const auto size = static_cast<uint32_t>(rest.size());
    if (node == 0) {
      if (!Append(1, rest, &at)) return false;
      SetWord(at, size << kLengthShift | Link(children_at));
      SetWord(children_at, (Word(children_at) & ~kLinkMask) | at);
      return true;
    }
    const uint32_t length = Length(node);
    const uint32_t compared = std::min(length, size);
    const auto common = static_cast<uint32_t>(
        std::mismatch(rest.begin(), rest.begin() + compared, Label(node)).first - rest.begin());
    if (common == size) {  // whatever is below the node begins with the new string
      SetWord(node, common << kLengthShift | Link(node));
      return true;
    }
    children_at = node - kWord;
    if (common < length) {
      // A new node takes the common beginning; the rest of this one becomes its child.
      if (!Append(2, rest.first(common), &at)) return false;
      const uint32_t word = Word(node);
      SetWord(at, common << kLengthShift | kHasChildren | (word & kLinkMask));
      SetWord(link_at, (Word(link_at) & ~kLinkMask) | at);
      if ((word & kHasChildren) != 0) SetWord(node + common - kWord, Word(node - kWord));
      SetWord(node + common, (length - common) << kLengthShift | (word & kHasChildren));
      children_at = at - kWord;
      SetWord(children_at, node + common);
    }
    rest = rest.subspan(common);
  }
}

bool BoundarySet::HasPrefixOf(Text text) const {
  if (has_empty_ || size_ == 0) return has_empty_;
  for (uint32_t link_at = 0; !text.empty();) {  // each turn goes a node down
    const uint32_t node = FindChild(&link_at, text[0]);
    if (node == 0) return false;
    const uint32_t length = Length(node);
    if (text.size() < length || std::memcmp(text.data(), Label(node), length) != 0) return false;
    if ((Word(node) & kHasChildren) == 0) return true;
    text = text.subspan(length);
    link_at = node - kWord;
  }
  return false;
}

BoundaryLine BoundarySet::TestCandidate(const Line& candidate) const {
  const Text line = candidate.text;
  const auto kind = [](uint8_t last) {
    return last == '-' ? BoundaryLine::kClosing : BoundaryLine::kOpening;
  };
  if (line.size() < 2) return BoundaryLine::kNone;
  if (line[0] == 'F') {
    constexpr uint8_t kFrom[] = {'F', 'r', 'o', 'm', ' '};
    const bool separates = line.size() >= sizeof kFrom &&
                           std::equal(std::begin(kFrom), std::end(kFrom), line.begin()) &&
                           LooksLikeField(candidate.ahead);
    return separates ? BoundaryLine::kMessage : BoundaryLine::kNone;
  }
  if (size_ == 0 && !has_empty_) return BoundaryLine::kNone;
  if (line[0] == '-' && line[1] == '-' && HasPrefixOf(line.subspan(2))) return kind(line.back());
  if (line[0] == '-' && std::find(line.begin(), line.end(), '(') == line.end()) return BoundaryLine::kNone;
  std::array<uint8_t, kMaxBoundary + 2> start;
  size_t kept = 0;
  uint8_t last = 0;
  CommentFilter().Feed(line, [&](uint8_t c) {
    if (kept < start.size()) start[kept++] = c;
    last = c;
  });
  const bool is =
      kept >= 2 && start[0] == '-' && start[1] == '-' && HasPrefixOf(Text(start).first(kept).subspan(2));
  return is ? kind(last) : BoundaryLine::kNone;
}

}  // namespace brix::mail

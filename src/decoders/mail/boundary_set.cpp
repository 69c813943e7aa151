// boundary_set.cpp - a tree of boundary strings.
//
// Each node has a label; the labels on the way down to a node that ends a string spell it. Siblings differ in their
// first byte, so a step down looks at 256 nodes at most however many strings there are, and no choice of strings makes
// it slow.
//
// Bounds: strings of 100 bytes, 16 MiB of them, and a million nodes of 16 bytes, at most two for each string. Memory
// grows with the strings that the message really holds.
#include "decoders/mail/boundary_set.h"

#include <array>
#include <cstring>

#include "core/refuse.h"

namespace brix::mail {

namespace {

constexpr uint32_t kMaxText = 16 * 1024 * 1024;
constexpr uint32_t kMaxNodes = 1024 * 1024;
constexpr size_t kFirstNodes = 16;
constexpr size_t kFirstText = 1024;

}  // namespace

void BoundarySet::Clear() {
  node_count_ = 0;
  text_size_ = 0;
  mailbox_ = false;
}

uint32_t BoundarySet::NewNode(uint32_t text_at, uint32_t length) {
  if (!nodes_.TryGrow((size_t{node_count_} + 1) * sizeof(Node), kFirstNodes * sizeof(Node))) return 0;
  nodes()[node_count_] = {text_at, 0, 0, static_cast<uint16_t>(length), 0};
  return node_count_++;
}

bool BoundarySet::Add(Text boundary) {
  boundary = boundary.first(std::min<size_t>(boundary.size(), kMaxBoundary));
  if (node_count_ == 0 && NewNode(0, 0) == 0 && node_count_ == 0) return false;
  if (HasPrefixOf(boundary)) return true;
  if (text_size_ > kMaxText || node_count_ > kMaxNodes) return Refuse("mail: too many boundaries");
  uint32_t parent = 0;
  uint32_t done = 0;  // bytes of the string that the labels down to `parent` spell
  const auto size = static_cast<uint32_t>(boundary.size());
  while (done < size) {  // each turn goes a node down
    uint32_t child = nodes()[parent].child;
    while (child != 0 && text_.data()[nodes()[child].text_at] != boundary[done])
      child = nodes()[child].sibling;
    if (child == 0) {
      if (!text_.TryGrow(size_t{text_size_} + size - done, kFirstText)) return false;
      const uint32_t leaf = NewNode(text_size_, size - done);
      if (leaf == 0) return false;
      std::copy(&boundary[done], boundary.data() + size, text_.data() + text_size_);
      text_size_ += size - done;
      nodes()[leaf].sibling = nodes()[parent].child;
      nodes()[parent].child = leaf;
      parent = leaf;
      break;
    }
    const Node node = nodes()[child];
    const uint8_t* label = text_.data() + node.text_at;
    const uint32_t compared = std::min<uint32_t>(node.length, size - done);
    const auto common =
        static_cast<uint32_t>(std::mismatch(label, label + compared, &boundary[done]).first - label);
    if (common < node.length) {  // the node keeps the common beginning; its rest moves into a child
      const uint32_t rest = NewNode(node.text_at + common, node.length - common);
      if (rest == 0) return false;
      nodes()[rest].child = node.child;
      nodes()[rest].ends = node.ends;
      nodes()[child].length = static_cast<uint16_t>(common);
      nodes()[child].child = rest;
      nodes()[child].ends = 0;
    }
    parent = child;
    done += common;
  }
  nodes()[parent].ends = 1;
  return true;
}

bool BoundarySet::HasPrefixOf(Text text) const {
  if (node_count_ == 0) return false;
  for (uint32_t at = 0; nodes()[at].ends == 0;) {  // each turn goes a node down
    at = nodes()[at].child;
    while (at != 0 && (text.empty() || text_.data()[nodes()[at].text_at] != text[0]))
      at = nodes()[at].sibling;
    if (at == 0) return false;
    const uint32_t length = nodes()[at].length;
    if (text.size() < length || std::memcmp(text.data(), text_.data() + nodes()[at].text_at, length) != 0)
      return false;
    text = text.subspan(length);
  }
  return true;
}

BoundaryLine BoundarySet::TestCandidate(Text line) const {
  const auto kind = [](uint8_t last) {
    return last == '-' ? BoundaryLine::kClosing : BoundaryLine::kOpening;
  };
  if (line.size() < 2) return BoundaryLine::kNone;
  if (line[0] == 'F') {
    constexpr uint8_t kFrom[] = {'F', 'r', 'o', 'm', ' '};
    const bool separates =
        line.size() >= sizeof kFrom && std::equal(std::begin(kFrom), std::end(kFrom), line.begin());
    return separates ? BoundaryLine::kClosing : BoundaryLine::kNone;
  }
  if (node_count_ == 0) return BoundaryLine::kNone;
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

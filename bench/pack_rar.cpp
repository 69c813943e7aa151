// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// pack_rar.cpp - packs files into an archive of RAR 2.9, since nothing packaged makes one:
//
//   pack_rar lz|ppmd ARCHIVE FILE...
//
// lz: lazy matches over chains of equal hashes, the four repeated distances, the repeated length, matches of two bytes,
// and a new set of codes every kBlock symbols. ppmd: order 8 in 25 MiB, one run for each file.
#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <queue>
#include <string>
#include <utility>
#include <vector>

#include "core/crc32.h"
#include "support/bytes.h"
#include "support/ppmd_encoder.h"

namespace {

using Data = std::vector<uint8_t>;

constexpr uint32_t kWindow = (4 << 20) - 512;
constexpr uint32_t kBlock = 49152;
constexpr uint32_t kMostTries = 48;
constexpr uint32_t kLongest = 257;  // at a repeated distance
constexpr uint32_t kMostBits = 15;
constexpr uint32_t kHashBits = 17;

// Symbols of the main code behind the literals.
constexpr uint32_t kEnd = 256, kAgain = 258, kRepeated = 259, kShort = 263, kLength = 271;
// Of the other codes: distances, their low four bits, lengths at a repeated distance.
constexpr uint32_t kMain = 299, kDistances = 60, kLowBits = 17, kRepeatedLengths = 28;
constexpr uint32_t kCodes[] = {kMain, kDistances, kLowBits, kRepeatedLengths};
constexpr uint32_t kRepeatLow = 16;  // the low bits before, for so many distances

struct Slot {
  uint32_t base;
  uint32_t extra_bits;
};

// Slots that count on, as many of each number of extra bits as listed.
template <size_t kCount>
constexpr std::array<Slot, kCount> Slots(std::initializer_list<std::pair<uint32_t, uint32_t>> runs) {
  std::array<Slot, kCount> slots{};
  size_t at = 0;
  uint32_t base = 0;
  for (const auto& [count, extra_bits] : runs) {
    for (uint32_t i = 0; i < count; ++i, base += 1u << extra_bits) slots[at++] = {base, extra_bits};
  }
  return slots;
}
constexpr auto kLengthSlots = Slots<kRepeatedLengths>({{8, 0}, {4, 1}, {4, 2}, {4, 3}, {4, 4}, {4, 5}});
constexpr auto kShortSlots = Slots<8>({{2, 2}, {1, 3}, {1, 4}, {1, 5}, {3, 6}});
constexpr auto kDistanceSlots = Slots<kDistances>({{4, 0},
                                                   {2, 1},
                                                   {2, 2},
                                                   {2, 3},
                                                   {2, 4},
                                                   {2, 5},
                                                   {2, 6},
                                                   {2, 7},
                                                   {2, 8},
                                                   {2, 9},
                                                   {2, 10},
                                                   {2, 11},
                                                   {2, 12},
                                                   {2, 13},
                                                   {2, 14},
                                                   {2, 15},
                                                   {14, 16},
                                                   {12, 18}});
constexpr uint32_t kFirstWithLow = 10;  // distance slots from here on have a code for their low four bits

template <class Array>
uint32_t SlotOf(const Array& slots, uint32_t value) {
  uint32_t slot = 0;
  while (slot + 1 < slots.size() && slots[slot + 1].base <= value) ++slot;
  return slot;
}

// Bits, most significant first.
class Bits {
 public:
  void Put(uint32_t value, uint32_t bits) {
    for (uint32_t i = bits; i-- != 0; ++used_) {
      if (used_ % 8 == 0) bytes.push_back(0);
      bytes.back() = static_cast<uint8_t>(bytes.back() | (value >> i & 1) << (7 - used_ % 8));
    }
  }
  void Align() { used_ = 0; }
  Data bytes;

 private:
  uint32_t used_ = 0;
};

// A prefix code for symbols by how often they come, no code longer than kMostBits.
struct Code {
  explicit Code(std::vector<uint32_t> counts) : lengths(counts.size()), codes(counts.size()) {
    for (size_t s = 0; std::ranges::count_if(counts, [](uint32_t n) { return n != 0; }) < 2; ++s)
      counts[s] = std::max(counts[s], 1u);  // complete codes only
    while (!Measure(counts)) {
      for (uint32_t& n : counts) n = (n + 1) / 2;
    }
    uint32_t code = 0;
    for (uint32_t bits = 1; bits <= kMostBits; ++bits, code <<= 1) {
      for (size_t s = 0; s < lengths.size(); ++s) {
        if (lengths[s] == bits) codes[s] = code++;
      }
    }
  }
  void Put(Bits& out, uint32_t symbol) const { out.Put(codes[symbol], lengths[symbol]); }

  std::vector<uint8_t> lengths;
  std::vector<uint32_t> codes;

 private:
  [[nodiscard]] bool Measure(const std::vector<uint32_t>& counts) {
    using Node = std::pair<uint64_t, size_t>;  // how often, which
    std::priority_queue<Node, std::vector<Node>, std::greater<>> open;
    std::vector<size_t> parent(counts.size());
    for (size_t s = 0; s < counts.size(); ++s) {
      if (counts[s] != 0) open.emplace(counts[s], s);
    }
    while (open.size() > 1) {
      const Node a = open.top();
      open.pop();
      const Node b = open.top();
      open.pop();
      parent[a.second] = parent[b.second] = parent.size();
      open.emplace(a.first + b.first, parent.size());
      parent.push_back(0);
    }
    for (size_t s = 0; s < counts.size(); ++s) {
      uint32_t bits = 0;
      for (size_t at = s; counts[s] != 0 && at != parent.size() - 1; at = parent[at]) ++bits;
      if (bits > kMostBits) return false;
      lengths[s] = static_cast<uint8_t>(bits);
    }
    return true;
  }
};

// --- LZ ---

struct Match {
  uint32_t length = 0;
  uint32_t distance = 0;
};

uint32_t LengthBonus(uint32_t distance) {
  return (distance >= 0x2000 ? 1u : 0u) + (distance >= 0x40000 ? 1u : 0u);
}

class LzPacker {
 public:
  explicit LzPacker(const Data& data) : data_(data), before_(data.size()) {}

  Data Pack() {
    for (uint32_t at = 0; at < data_.size();) {
      const Match match = Best(at);
      Enter(at);
      if (match.length == 0 || (match.length < 32 && Best(at + 1).length > match.length)) {
        PutSymbol(data_[at++]);
      } else {
        PutMatch(match);
        for (uint32_t i = 1; i < match.length; ++i) Enter(at + i);
        at += match.length;
      }
      if (tokens_.size() >= kBlock) PutBlock(false);
    }
    PutBlock(true);
    return std::move(out_.bytes);
  }

 private:
  // A symbol of the main code with its extra bits; then one more, of the code `then`, with its own.
  struct Token {
    uint32_t symbol, extra, extra_bits, then, then_symbol, then_extra, then_bits;
    uint32_t low;  // four bits that have a code; kRepeatLow: none
  };

  [[nodiscard]] uint32_t Same(uint32_t at, uint32_t distance, uint32_t most) const {
    uint32_t length = 0;
    while (length < most && data_[at + length] == data_[at + length - distance]) ++length;
    return length;
  }

  [[nodiscard]] uint32_t HashAt(uint32_t at) const {
    return (data_[at] | uint32_t{data_[at + 1]} << 8 | uint32_t{data_[at + 2]} << 16) * 2654435761u >>
           (32 - kHashBits);
  }
  [[nodiscard]] uint32_t PairAt(uint32_t at) const { return data_[at] | uint32_t{data_[at + 1]} << 8; }

  void Enter(uint32_t at) {
    if (data_.size() - at < 3) return;
    before_[at] = std::exchange(heads_[HashAt(at)], at + 1);
    pairs_[PairAt(at)] = at + 1;
  }

  // The longest that pays, length 0 when there is none.
  [[nodiscard]] Match Best(uint32_t at) const {
    if (at >= data_.size() || data_.size() - at < 3) return {};
    const auto most = static_cast<uint32_t>(std::min<size_t>(kLongest, data_.size() - at));
    Match best;
    for (const uint32_t distance : old_) {
      const uint32_t length = distance == 0 || distance > at ? 0 : Same(at, distance, most);
      if (length >= 2 && length > best.length) best = {length, distance};
    }
    uint32_t better = best.length == 0 ? 2 : best.length + 1;  // a repeated distance is worth a byte
    uint32_t tries = kMostTries;
    for (uint32_t from = heads_[HashAt(at)]; from != 0 && tries-- != 0 && better < most;
         from = before_[from - 1]) {
      const uint32_t distance = at - (from - 1);
      if (distance > kWindow) break;
      if (data_[at + better] != data_[at + better - distance]) continue;
      const uint32_t length = Same(at, distance, most);
      if (length <= better || length < 3 + LengthBonus(distance)) continue;
      best = {length, distance};
      better = length;
    }
    if (best.length == 0 && pairs_[PairAt(at)] != 0 && at - (pairs_[PairAt(at)] - 1) <= 256)
      best = {2, at - (pairs_[PairAt(at)] - 1)};
    return best;
  }

  void PutSymbol(uint32_t symbol, uint32_t extra = 0, uint32_t extra_bits = 0) {
    tokens_.push_back({symbol, extra, extra_bits, 0, 0, 0, 0, kRepeatLow});
  }

  void PutMatch(const Match& match) {
    const auto old = static_cast<uint32_t>(std::ranges::find(old_, match.distance) - old_.begin());
    if (old == 0 && match.length == last_length_) return PutSymbol(kAgain);
    last_length_ = match.length;
    std::copy_backward(old_.begin(), old_.begin() + std::min(old, 3u), old_.begin() + std::min(old, 3u) + 1);
    old_[0] = match.distance;
    if (old < 4) {
      const uint32_t value = match.length - 2, slot = SlotOf(kLengthSlots, value);
      PutSymbol(kRepeated + old);
      tokens_.back().then = 3;
      tokens_.back().then_symbol = slot;
      tokens_.back().then_extra = value - kLengthSlots[slot].base;
      tokens_.back().then_bits = kLengthSlots[slot].extra_bits;
      return;
    }
    const uint32_t distance = match.distance - 1;
    if (match.length == 2) {
      const uint32_t slot = SlotOf(kShortSlots, distance);
      return PutSymbol(kShort + slot, distance - kShortSlots[slot].base, kShortSlots[slot].extra_bits);
    }
    const uint32_t value = match.length - 3 - LengthBonus(match.distance), slot = SlotOf(kLengthSlots, value);
    PutSymbol(kLength + slot, value - kLengthSlots[slot].base, kLengthSlots[slot].extra_bits);
    Token& token = tokens_.back();
    token.then = 1;
    token.then_symbol = SlotOf(kDistanceSlots, distance);
    token.then_extra = distance - kDistanceSlots[token.then_symbol].base;
    token.then_bits = kDistanceSlots[token.then_symbol].extra_bits;
    if (token.then_symbol >= kFirstWithLow) {
      token.low = token.then_extra & 15;
      token.then_extra >>= 4;
      token.then_bits -= 4;
    }
  }

  // What is coded for each token's low bits: the bits, kRepeatLow for 16 in a row that are as the one before, or
  // nothing (above that) while such a row lasts.
  [[nodiscard]] std::vector<uint32_t> LowSymbols() const {
    std::vector<uint32_t> lows(tokens_.size(), kRepeatLow + 1);
    std::vector<size_t> places;
    for (size_t i = 0; i < tokens_.size(); ++i) {
      if (tokens_[i].low != kRepeatLow) places.push_back(i);
    }
    uint32_t last = 0;
    for (size_t i = 0; i < places.size();) {
      size_t same = i;
      while (same < places.size() && same - i < 16 && tokens_[places[same]].low == last) ++same;
      last = tokens_[places[i]].low;
      lows[places[i]] = same - i == 16 ? kRepeatLow : last;
      i += same - i == 16 ? 16 : 1;
    }
    return lows;
  }

  void PutBlock(bool last) {
    const std::vector<uint32_t> lows = LowSymbols();
    std::vector<std::vector<uint32_t>> counts;
    for (const uint32_t size : kCodes) counts.emplace_back(size);
    for (size_t i = 0; i < tokens_.size(); ++i) {
      ++counts[0][tokens_[i].symbol];
      if (tokens_[i].then != 0) ++counts[tokens_[i].then][tokens_[i].then_symbol];
      if (lows[i] <= kRepeatLow) ++counts[2][lows[i]];
    }
    ++counts[0][kEnd];
    const std::vector<Code> codes(counts.begin(), counts.end());
    PutCodes(codes);
    for (size_t i = 0; i < tokens_.size(); ++i) {
      const Token& token = tokens_[i];
      codes[0].Put(out_, token.symbol);
      out_.Put(token.extra, token.extra_bits);
      if (token.then == 0) continue;
      codes[token.then].Put(out_, token.then_symbol);
      out_.Put(token.then_extra, token.then_bits);
      if (lows[i] <= kRepeatLow) codes[2].Put(out_, lows[i]);
    }
    codes[0].Put(out_, kEnd);
    last ? out_.Put(0, 2) : out_.Put(1, 1);  // the file ends; codes follow
    tokens_.clear();
  }

  // The lengths of all codes, as differences from the block before where those are shorter than runs.
  void PutCodes(const std::vector<Code>& codes) {
    Data lengths;
    for (const Code& code : codes) lengths.insert(lengths.end(), code.lengths.begin(), code.lengths.end());
    const bool keep = !lengths_.empty();
    lengths_.resize(lengths.size());
    struct Run {
      uint32_t symbol, extra, extra_bits;
    };
    std::vector<Run> runs;
    std::vector<uint32_t> counts(20);
    for (size_t i = 0; i < lengths.size();) {
      uint32_t run = 1;
      while (i + run < lengths.size() && lengths[i + run] == lengths[i] && run < 138) ++run;
      const bool repeats = i != 0 && lengths[i] == lengths[i - 1];
      if (run >= 3 && (lengths[i] == 0 || repeats)) {
        const uint32_t is_long = run >= 11 ? 1 : 0;
        runs.push_back(
            {(lengths[i] == 0 ? 18 : 16) + is_long, run - (is_long != 0 ? 11 : 3), is_long != 0 ? 7u : 3u});
      } else {
        run = 1;
        runs.push_back({(lengths[i] - uint32_t{lengths_[i]}) & 15, 0, 0});
      }
      i += run;
      ++counts[runs.back().symbol];
    }
    lengths_ = lengths;
    const Code code(counts);
    out_.Align();
    out_.Put(keep ? 1 : 0, 2);
    for (size_t i = 0; i < code.lengths.size();) {
      uint32_t zeros = 0;
      while (i + zeros < code.lengths.size() && code.lengths[i + zeros] == 0 && zeros < 17) ++zeros;
      if (zeros >= 3) {
        out_.Put(15, 4);
        out_.Put(zeros - 2, 4);
        i += zeros;
      } else {
        out_.Put(code.lengths[i], 4);
        if (code.lengths[i++] == 15) out_.Put(0, 4);
      }
    }
    for (const Run& run : runs) {
      code.Put(out_, run.symbol);
      out_.Put(run.extra, run.extra_bits);
    }
  }

  const Data& data_;
  std::vector<uint32_t> heads_ =
      std::vector<uint32_t>(1 << kHashBits);  // positions, each one more; 0 is none
  std::vector<uint32_t> pairs_ = std::vector<uint32_t>(1 << 16);
  std::vector<uint32_t> before_;  // the one before with the same hash
  std::array<uint32_t, 4> old_{};
  uint32_t last_length_ = 0;
  std::vector<Token> tokens_;
  Data lengths_;  // of the block before
  Bits out_;
};

// --- PPMd ---

constexpr uint32_t kOrder = 8, kMegabytes = 25;
constexpr uint8_t kEscape = 2, kEscapeItself = 1, kFileEnds = 2;

Data PackPpmd(const Data& data) {
  brix::PpmdEncoder encoder;
  if (!encoder.Start(kOrder, kMegabytes << 20)) return {};
  encoder.packed = {0x80 | 0x20 | (kOrder - 1), kMegabytes - 1};  // a run, with a fresh model
  for (const uint8_t byte : data) {
    encoder.Put(byte);
    if (byte == kEscape) encoder.Put(kEscapeItself);
  }
  encoder.Put(kEscape);
  encoder.Put(kFileEnds);
  encoder.Finish();
  return std::move(encoder.packed);
}

// --- The archive ---

constexpr uint32_t kMainHeader = 0x73, kFileHeader = 0x74, kEndHeader = 0x7B;

void PutHeader(brix::Bytes& out, uint32_t type, uint32_t flags, const brix::Bytes& fields) {
  brix::Bytes header;
  header.U8(type).U16(flags).U16(7 + fields.size()).Raw(fields);
  out.U16(brix::Crc32(header.data) & 0xFFFF).Raw(header);
}

void PutFile(brix::Bytes& out, const std::string& name, const Data& data, const Data& packed, bool ppmd) {
  constexpr uint32_t kUnix = 3, kStamp = 0x50210000, kVersion = 29, kAttributes = 0100644;
  constexpr uint32_t kFlags = 0x8000 | 6 << 5;  // has data; a window of 4 MiB
  brix::Bytes fields;
  fields.U32(static_cast<uint32_t>(packed.size())).U32(static_cast<uint32_t>(data.size())).U8(kUnix);
  fields.U32(brix::Crc32(data)).U32(kStamp).U8(kVersion).U8(ppmd ? '5' : '3');
  fields.U16(static_cast<uint32_t>(name.size())).U32(kAttributes).Text(name);
  PutHeader(out, kFileHeader, kFlags, fields);
  out.Raw(packed);
}

}  // namespace

int main(int argc, char** argv) {
  const bool ppmd = argc > 1 && std::strcmp(argv[1], "ppmd") == 0;
  if (argc < 4 || (!ppmd && std::strcmp(argv[1], "lz") != 0)) {
    std::fprintf(stderr, "usage: pack_rar lz|ppmd ARCHIVE FILE...\n");
    return 64;
  }
  brix::Bytes out;
  out.Text("Rar!\x1A\x07").U8(0);
  PutHeader(out, kMainHeader, 0, brix::Bytes().Fill(6, 0));
  for (int i = 3; i < argc; ++i) {
    const std::filesystem::path path = argv[i];
    const Data data = brix::FileContent(path);
    PutFile(out, path.filename().string(), data, ppmd ? PackPpmd(data) : LzPacker(data).Pack(), ppmd);
  }
  PutHeader(out, kEndHeader, 0x4000, {});
  std::FILE* const file = std::fopen(argv[2], "wb");
  if (file == nullptr) return 1;
  const bool written = std::fwrite(out.data.data(), 1, out.data.size(), file) == out.data.size();
  return std::fclose(file) == 0 && written ? 0 : 1;
}

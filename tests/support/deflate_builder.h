// deflate_builder.h - writes Deflate and Deflate64 blocks token by token, with any code the test wants.
#pragma once

#include <algorithm>
#include <cstdint>
#include <numeric>
#include <random>
#include <utility>
#include <vector>

namespace brix {

// Bits, least significant first.
class BitWriter {
 public:
  BitWriter& Put(uint64_t value, uint32_t bits) {
    for (uint32_t i = 0; i < bits; ++i) {
      if (used_ % 8 == 0) bytes_.push_back(0);
      bytes_.back() = static_cast<uint8_t>(bytes_.back() | (value >> i & 1) << used_ % 8);
      ++used_;
    }
    return *this;
  }
  // A Huffman code: its most significant bit comes first.
  BitWriter& PutCode(uint32_t code, uint32_t bits) {
    for (uint32_t i = bits; i-- != 0;) Put(code >> i & 1, 1);
    return *this;
  }
  BitWriter& Align() { return used_ % 8 == 0 ? *this : Put(0, 8 - static_cast<uint32_t>(used_ % 8)); }
  [[nodiscard]] const std::vector<uint8_t>& bytes() const { return bytes_; }

 private:
  std::vector<uint8_t> bytes_;
  uint64_t used_ = 0;
};

// Canonical codes of a set of lengths.
inline std::vector<uint32_t> CanonicalCodes(const std::vector<uint8_t>& lengths) {
  std::vector<uint32_t> codes(lengths.size());
  uint32_t code = 0;
  for (uint32_t n = 1; n <= 15; ++n, code <<= 1) {
    for (size_t s = 0; s < lengths.size(); ++s) {
      if (lengths[s] == n) codes[s] = code++;
    }
  }
  return codes;
}

// A complete random code over the first `symbols` symbols: the tree is grown by splitting random leaves.
inline std::vector<uint8_t> RandomLengths(size_t symbols, std::mt19937& random) {
  std::vector<uint8_t> leaves = {1, 1};
  while (leaves.size() < symbols) {
    const size_t i = random() % leaves.size();
    if (leaves[i] == 15) continue;
    leaves.push_back(++leaves[i]);
  }
  std::shuffle(leaves.begin(), leaves.end(), random);
  return leaves;
}

// A literal (distance 0, the byte in `length`) or a match.
struct Token {
  uint32_t length;
  uint32_t distance;
};

class DeflateBuilder {
 public:
  explicit DeflateBuilder(bool deflate64 = false) : deflate64_(deflate64) {}

  // The bytes that the blocks so far decode to.
  std::vector<uint8_t> plain;
  BitWriter bits;

  DeflateBuilder& Stored(const std::vector<uint8_t>& data, bool final, bool with_complement = true) {
    bits.Put(final ? 1 : 0, 1).Put(0, 2).Align().Put(data.size(), 16);
    if (with_complement) bits.Put(~data.size() & 0xFFFF, 16);
    for (const uint8_t byte : data) bits.Put(byte, 8);
    plain.insert(plain.end(), data.begin(), data.end());
    return *this;
  }

  DeflateBuilder& Fixed(const std::vector<Token>& tokens, bool final) {
    std::vector<uint8_t> litlen(288, 8);
    std::fill_n(litlen.begin() + 144, 112, uint8_t{9});
    std::fill_n(litlen.begin() + 256, 24, uint8_t{7});
    bits.Put(final ? 1 : 0, 1).Put(1, 2);
    PutTokens(tokens, litlen, std::vector<uint8_t>(32, 5));
    return *this;
  }

  // Code lengths as given; their own code gives every length symbol 5 bits and so needs no thought.
  DeflateBuilder& Dynamic(const std::vector<Token>& tokens, const std::vector<uint8_t>& litlen,
                          const std::vector<uint8_t>& distance, bool final) {
    bits.Put(final ? 1 : 0, 1).Put(2, 2).Put(litlen.size() - 257, 5).Put(distance.size() - 1, 5).Put(15, 4);
    PutCodeLengths(litlen, distance);
    PutTokens(tokens, litlen, distance);
    return *this;
  }

  // Random tokens with distances of every size that the output so far allows.
  std::vector<Token> RandomTokens(size_t count, std::mt19937& random) const {
    std::vector<Token> tokens;
    size_t size = plain.size();
    const uint32_t window = deflate64_ ? 65536 : 32768;
    for (size_t i = 0; i < count; ++i) {
      if (size == 0 || random() % 3 == 0) {
        tokens.push_back({static_cast<uint32_t>(random() % 256), 0});
        ++size;
        continue;
      }
      const auto reach = static_cast<uint32_t>(std::min<size_t>(size, window));
      const uint32_t limit = random() % 2 == 0 ? std::min(reach, 20u) : reach;
      const uint32_t longest = random() % 16 != 0 ? 20 : deflate64_ && random() % 16 == 0 ? 65538 : 258;
      tokens.push_back(
          {3 + static_cast<uint32_t>(random() % (longest - 2)), 1 + static_cast<uint32_t>(random() % limit)});
      size += tokens.back().length;
    }
    return tokens;
  }

 private:
  void PutCodeLengths(const std::vector<uint8_t>& litlen, const std::vector<uint8_t>& distance) {
    // Symbols 0 to 12 with 4 bits, 13 to 18 with 5: 13/16 + 6/32 = 1, a complete code.
    std::vector<uint8_t> precode(19, 4);
    std::fill(precode.begin() + 13, precode.end(), uint8_t{5});
    const std::vector<uint32_t> codes = CanonicalCodes(precode);
    for (const int s : {16, 17, 18, 0, 8, 7, 9, 6, 10, 5, 11, 4, 12, 3, 13, 2, 14, 1, 15}) {
      bits.Put(precode[static_cast<size_t>(s)], 3);
    }
    std::vector<uint8_t> all = litlen;
    all.insert(all.end(), distance.begin(), distance.end());
    for (size_t i = 0; i < all.size();) {
      size_t run = 1;
      while (i + run < all.size() && all[i + run] == all[i]) ++run;
      if (all[i] == 0 && run >= 3) {
        run = std::min<size_t>(run, 138);
        const size_t symbol = run < 11 ? 17 : 18;
        bits.PutCode(codes[symbol], precode[symbol]).Put(run - (run < 11 ? 3 : 11), run < 11 ? 3 : 7);
      } else if (i != 0 && all[i] == all[i - 1] && run >= 3) {
        run = std::min<size_t>(run, 6);
        bits.PutCode(codes[16], precode[16]).Put(run - 3, 2);
      } else {
        run = 1;
        bits.PutCode(codes[all[i]], precode[all[i]]);
      }
      i += run;
    }
  }

  // The symbol, extra bit count and extra value of a length or distance.
  struct Coded {
    uint32_t symbol, extra_bits, extra;
  };
  [[nodiscard]] Coded Length(uint32_t length) const {
    if (deflate64_ && length >= 258) return {285, 16, length - 3};
    if (length == 258) return {285, 0, 0};
    uint32_t base = 3;
    for (uint32_t s = 257;; ++s) {
      const uint32_t bits_of_s = s < 265 ? 0 : (s - 261) / 4;
      if (length < base + (1u << bits_of_s)) return {s, bits_of_s, length - base};
      base += 1u << bits_of_s;
    }
  }
  [[nodiscard]] static Coded Distance(uint32_t distance) {
    uint32_t base = 1;
    for (uint32_t s = 0;; ++s) {
      const uint32_t bits_of_s = s < 4 ? 0 : s / 2 - 1;
      if (distance < base + (1u << bits_of_s)) return {s, bits_of_s, distance - base};
      base += 1u << bits_of_s;
    }
  }

  void PutTokens(const std::vector<Token>& tokens, const std::vector<uint8_t>& litlen,
                 const std::vector<uint8_t>& distance) {
    const std::vector<uint32_t> litlen_codes = CanonicalCodes(litlen);
    const std::vector<uint32_t> distance_codes = CanonicalCodes(distance);
    for (const Token& token : tokens) {
      if (token.distance == 0) {
        bits.PutCode(litlen_codes[token.length], litlen[token.length]);
        plain.push_back(static_cast<uint8_t>(token.length));
        continue;
      }
      const Coded l = Length(token.length);
      const Coded d = Distance(token.distance);
      bits.PutCode(litlen_codes[l.symbol], litlen[l.symbol]).Put(l.extra, l.extra_bits);
      bits.PutCode(distance_codes[d.symbol], distance[d.symbol]).Put(d.extra, d.extra_bits);
      for (uint32_t i = 0; i < token.length; ++i) {
        plain.push_back(token.distance <= plain.size() ? plain[plain.size() - token.distance] : 0);
      }
    }
    bits.PutCode(litlen_codes[256], litlen[256]);
  }

  bool deflate64_;
};

}  // namespace brix

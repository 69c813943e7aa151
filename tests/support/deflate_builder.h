// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// deflate_builder.h - writes Deflate and Deflate64 blocks token by token, with any code the test wants.
#pragma once

#include <algorithm>
#include <cstdint>
#include <random>
#include <vector>

namespace brix {

// Bits, least significant first.
class BitWriter {
 public:
  BitWriter& Put(uint64_t value, uint32_t bits) {
    for (uint32_t i = 0; i < bits; ++i, ++used_) {
      if (used_ % 8 == 0) bytes_.push_back(0);
      bytes_.back() = static_cast<uint8_t>(bytes_.back() | (value >> i & 1) << used_ % 8);
    }
    return *this;
  }
  // A Huffman code: its most significant bit comes first.
  BitWriter& PutCode(uint32_t code, uint32_t bits) {
    for (uint32_t i = bits; i-- != 0;) Put(code >> i & 1, 1);
    return *this;
  }
  BitWriter& Align() { return Put(0, -used_ % 8); }
  [[nodiscard]] const std::vector<uint8_t>& bytes() const { return bytes_; }

 private:
  std::vector<uint8_t> bytes_;
  uint32_t used_ = 0;
};

// Canonical codes of a set of lengths.
inline std::vector<uint32_t> CanonicalCodes(const std::vector<uint8_t>& lengths) {
  std::vector<uint32_t> codes(lengths.size());
  uint32_t code = 0;
  for (uint32_t n = 1; n <= 20; ++n, code <<= 1) {
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
    if (leaves[i] < 15) leaves.push_back(++leaves[i]);
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
    bits.Put(final ? 1 : 0, 3).Align().Put(data.size(), 16).Put(~data.size(), with_complement ? 16 : 0);
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

  DeflateBuilder& Dynamic(const std::vector<Token>& tokens, const std::vector<uint8_t>& litlen,
                          const std::vector<uint8_t>& distance, bool final) {
    bits.Put(final ? 1 : 0, 1).Put(2, 2).Put(litlen.size() - 257, 5).Put(distance.size() - 1, 5).Put(15, 4);
    std::vector<uint8_t> all = litlen;
    all.insert(all.end(), distance.begin(), distance.end());
    PutCodeLengths(all);
    PutTokens(tokens, litlen, distance);
    return *this;
  }

  // Random tokens with distances of every size that the output so far allows.
  std::vector<Token> RandomTokens(size_t count, std::mt19937& random) const {
    std::vector<Token> tokens;
    for (size_t size = plain.size(); tokens.size() < count;) {
      if (size == 0 || random() % 3 == 0) {
        tokens.push_back({static_cast<uint32_t>(random() % 256), 0});
        ++size;
        continue;
      }
      const auto reach = static_cast<uint32_t>(std::min<size_t>(size, deflate64_ ? 65536 : 32768));
      const uint32_t limit = random() % 2 == 0 ? std::min(reach, 20u) : reach;
      const uint32_t longest = random() % 16 != 0 ? 20 : deflate64_ && random() % 16 == 0 ? 65538 : 258;
      tokens.push_back(
          {static_cast<uint32_t>(3 + random() % (longest - 2)), static_cast<uint32_t>(1 + random() % limit)});
      size += tokens.back().length;
    }
    return tokens;
  }

 private:
  void PutCodeLengths(const std::vector<uint8_t>& lengths) {
    // Symbols 0 to 12 with 4 bits, 13 to 18 with 5: 13/16 + 6/32 = 1, a complete code.
    std::vector<uint8_t> precode(19, 4);
    std::fill(precode.begin() + 13, precode.end(), uint8_t{5});
    const std::vector<uint32_t> codes = CanonicalCodes(precode);
    for (const size_t s :
         {16u, 17u, 18u, 0u, 8u, 7u, 9u, 6u, 10u, 5u, 11u, 4u, 12u, 3u, 13u, 2u, 14u, 1u, 15u}) {
      bits.Put(precode[s], 3);
    }
    for (size_t i = 0, run = 1; i < lengths.size(); i += run, run = 1) {
      while (i + run < lengths.size() && lengths[i + run] == lengths[i]) ++run;
      const auto repeat = [&](size_t symbol, uint32_t extra_bits, size_t shortest, size_t longest) {
        run = std::min(run, longest);
        bits.PutCode(codes[symbol], precode[symbol]).Put(run - shortest, extra_bits);
      };
      if (lengths[i] == 0 && run >= 3) {
        run < 11 ? repeat(17, 3, 3, 10) : repeat(18, 7, 11, 138);
      } else if (i != 0 && lengths[i] == lengths[i - 1] && run >= 3) {
        repeat(16, 2, 3, 6);
      } else {
        run = 1;
        bits.PutCode(codes[lengths[i]], precode[lengths[i]]);
      }
    }
  }

  // Puts the code of a length or distance, `value` counted from the least, and its extra bits. The first
  // two groups of symbols have none, each later group has one more than the last.
  void PutCoded(uint32_t value, uint32_t group, size_t first_symbol, const std::vector<uint32_t>& codes,
                const std::vector<uint8_t>& lengths) {
    uint32_t symbol = 0;
    uint32_t extra_bits = 0;
    for (; value >> extra_bits != 0; extra_bits = symbol < 2 * group ? 0 : symbol / group - 1) {
      value -= 1u << extra_bits;
      ++symbol;
    }
    const size_t s = first_symbol + symbol;
    bits.PutCode(codes[s], lengths[s]).Put(value, extra_bits);
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
      if (token.length >= 258) {  // the last symbol: 258 itself, or any length in 16 bits
        bits.PutCode(litlen_codes[285], litlen[285]).Put(token.length - 3, deflate64_ ? 16 : 0);
      } else {
        PutCoded(token.length - 3, 4, 257, litlen_codes, litlen);
      }
      PutCoded(token.distance - 1, 2, 0, distance_codes, distance);
      for (uint32_t i = 0; i < token.length; ++i) {
        plain.push_back(token.distance <= plain.size() ? plain[plain.size() - token.distance] : 0);
      }
    }
    bits.PutCode(litlen_codes[256], litlen[256]);
  }

  bool deflate64_;
};

}  // namespace brix

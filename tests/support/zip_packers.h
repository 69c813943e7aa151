// zip_packers.h - small packers for the old ZIP methods, which no program at hand writes any more.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "support/deflate_builder.h"

namespace brix {

// LZW; a partial clear when the table is full and, if not 0, after every `clear_every` codes.
[[nodiscard]] std::vector<uint8_t> PackShrink(std::span<const uint8_t> plain, uint32_t clear_every);

// The set of byte value v holds up to v % 33 of the bytes that follow it most often.
[[nodiscard]] std::vector<uint8_t> PackReduce(std::span<const uint8_t> plain, uint32_t factor);

// Lengths of a complete code for a power of two `symbols`. `longest` bits are reached by splitting the
// deepest code again and again, the rest comes from the shallowest; with log2(symbols) all are equal.
[[nodiscard]] std::vector<uint8_t> CompleteLengths(uint32_t symbols, uint32_t longest);

// A list of code lengths as the imploding method stores it.
void PutLengths(const std::vector<uint8_t>& lengths, BitWriter* to);

// Each symbol's code as the imploding method numbers it, left-justified to 16 bits; the highest bit is sent
// first.
[[nodiscard]] std::vector<uint32_t> ShannonFanoCodes(const std::vector<uint8_t>& lengths);

// Codes for literals (none with two trees), lengths and distances that go up to `longest` bits.
[[nodiscard]] std::vector<uint8_t> PackImplode(std::span<const uint8_t> plain, uint32_t window,
                                               uint32_t trees, uint32_t longest);

}  // namespace brix

// lzx_tables.h - sizes and symbols of the LZX method.
#pragma once

#include <array>
#include <cstdint>

#include "decoders/huffman_table.h"

namespace brix::lzx {

enum class BlockType : uint8_t { kNone = 0, kVerbatim = 1, kAligned = 2, kUncompressed = 3 };

inline constexpr uint32_t kLeastWindowBits = 15;
inline constexpr uint32_t kMostWindowBits = 21;

inline constexpr uint32_t kLiterals = 256;
inline constexpr uint32_t kMostSlots = 50;
inline constexpr uint32_t kMainSymbols = kLiterals + 8 * kMostSlots;
inline constexpr uint32_t kLengthSymbols = 249;
inline constexpr uint32_t kAlignedSymbols = 8;
inline constexpr uint32_t kPretreeSymbols = 20;

// Position slots by window size, from 15 bits up.
inline constexpr std::array<uint8_t, 7> kSlots = {30, 32, 34, 36, 38, 42, 50};

inline constexpr uint32_t kLeastMatch = 2;
inline constexpr uint32_t kLongLength = 7;  // a length header that a symbol of the length tree adds to

// Root bits of the tables. The code lengths of the trees reach 16 bits, of the pretree 15, of the aligned one 7.
inline constexpr uint32_t kMainRootBits = 11;
inline constexpr uint32_t kLengthRootBits = 10;
inline constexpr uint32_t kAlignedRootBits = 7;
inline constexpr uint32_t kPretreeRootBits = 8;

}  // namespace brix::lzx

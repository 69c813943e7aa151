// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// msi_name.h - how an installer database packs its streams' names.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include "formats/microsoft/compound/compound_format.h"

namespace brix::msi {

inline constexpr std::string_view kAlphabet =
    "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz._";

// Units of a packed name: kPair + a + 64 * b stands for two characters, kSingle + a for one.
inline constexpr char16_t kPair = 0x3800;
inline constexpr char16_t kSingle = 0x4800;
inline constexpr char16_t kTableMark = 0x4840;  // opens the name of a table; the "single" behind the last
inline constexpr char16_t kLastUnpacked = 0x487F;
inline constexpr char16_t kPropertySet = 5;  // first unit of a property set's name

using PackedName = std::array<char16_t, compound::kNameUnits>;

// Packs the name of a table, which has at most 60 characters, all of the alphabet; zeros behind its end.
constexpr PackedName PackTableName(std::string_view name) {
  PackedName packed{kTableMark};
  for (size_t i = 0; i < name.size(); i += 2) {
    const size_t first = kAlphabet.find(name[i]);
    const size_t unit =
        i + 1 < name.size() ? kPair + first + 64 * kAlphabet.find(name[i + 1]) : kSingle + first;
    packed[1 + i / 2] = static_cast<char16_t>(unit);
  }
  return packed;
}

inline constexpr std::array<PackedName, 3> kTables = {PackTableName("_Tables"), PackTableName("_StringData"),
                                                      PackTableName("_StringPool")};

// The streams that every installer database holds.
inline constexpr std::array<std::u16string_view, 3> kTableStreams = {kTables[0].data(), kTables[1].data(),
                                                                     kTables[2].data()};

// Writes the characters of a stored name to `name` (512 bytes). A table's begins with "0".
void UnpackName(const PackedName& stored, char* name);

}  // namespace brix::msi

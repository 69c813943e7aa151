// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// nsis_builder.h - writes NSIS installers: a script of entries and strings, and blocks of data.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "support/bytes.h"
#include "support/deflate_builder.h"
#include "support/pe_builder.h"

namespace brix {

enum class NsisData { kStored, kDeflated, kSolid };

struct NsisBuilder {
  NsisData data = NsisData::kDeflated;
  bool has_complement = false;  // in the headers of stored blocks
  bool wide = false;            // strings of 16-bit units
  bool long_tables = false;     // 64-bit offsets
  Bytes strings, entries, blocks;
  uint32_t entry_count = 0;

  static constexpr uint32_t kProgram = 512;  // bytes in front of the first header

  explicit NsisBuilder(bool is_wide = false) : wide(is_wide) { (void)String(u""); }

  // The string's number. Of units above 255 only the low byte is written unless strings are wide.
  uint32_t String(std::u16string_view text) {
    if (text.empty() && strings.size() != 0) return 0;
    const uint32_t at = strings.size() / (wide ? 2 : 1);
    for (const char16_t c : text) wide ? strings.U16(c) : strings.U8(c & 0xFF);
    wide ? strings.U16(0) : strings.U8(0);
    return at;
  }
  NsisBuilder& Entry(uint32_t op, const std::vector<uint32_t>& parameters) {
    entries.U32(op);
    for (size_t i = 0; i < 6; ++i) entries.U32(i < parameters.size() ? parameters[i] : 0);
    ++entry_count;
    return *this;
  }
  NsisBuilder& OutPath(std::u16string_view path) { return Entry(11, {String(path), 1}); }
  NsisBuilder& File(std::u16string_view name, uint32_t block) { return Entry(20, {0, String(name), block}); }

  // Deflate data with runs of a byte packed.
  static Bytes PackRuns(const Bytes& content) {
    std::vector<Token> tokens;
    const std::vector<uint8_t>& plain = content.data;
    for (size_t at = 0; at < plain.size();) {
      uint32_t run = 0;
      while (at > 0 && run < 258 && at + run < plain.size() && plain[at + run] == plain[at - 1]) ++run;
      tokens.push_back(run < 3 ? Token{plain[at], 0} : Token{run, 1});
      at += run < 3 ? 1 : run;
    }
    return Bytes(DeflateBuilder().Fixed(tokens, true).bits.bytes());
  }
  [[nodiscard]] Bytes Framed(const Bytes& content) const {
    if (data != NsisData::kDeflated) return Bytes().U32(content.size()).Raw(content);
    const Bytes packed(DeflateBuilder().Stored(content.data, true, has_complement).bits.bytes());
    return Bytes().U32(packed.size() | 0x80000000).Raw(packed);
  }
  // The offset of a block with this content.
  uint32_t Block(const Bytes& content) {
    const uint32_t at = blocks.size();
    blocks.Raw(Framed(content));
    return at;
  }
  uint32_t Block(std::string_view text) { return Block(Bytes().Text(text)); }

  // Flags; tables, of which only those of entries, strings and languages are there; entries; strings.
  [[nodiscard]] Bytes Script() const {
    const uint32_t strings_at = 300 + entries.size();
    const uint32_t end = strings_at + strings.size();
    const uint32_t tables[8][2] = {
        {300, 0}, {300, 0}, {300, entry_count}, {strings_at, 0}, {end, 0}, {end, 0}, {0, 0}, {0, 0}};
    Bytes script = Bytes().U32(0x80);
    for (const auto& [at, count] : tables) {
      script.U32(at);
      if (long_tables) script.U32(0);
      script.U32(count);
    }
    return script.PadTo(300).Raw(entries).Raw(strings);
  }
  [[nodiscard]] Bytes Build() const {
    const Bytes script = Script();
    Bytes file = PeHeaders({{kProgram - 256, 256}}).PadTo(kProgram);
    file.U32(0).U32(0xDEADBEEF).Text("NullsoftInst").U32(script.size()).U32(0);
    const Bytes content = Bytes(Framed(script)).Raw(blocks);
    file.Raw(data == NsisData::kSolid ? PackRuns(content) : content).U32(0);  // the checksum
    return file.PatchU32(kProgram + 24, file.size() - kProgram);
  }
};

}  // namespace brix

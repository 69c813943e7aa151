// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// cabinet_builder.h - writes a cabinet folder by folder, so that a test can spoil one field.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "support/bytes.h"
#include "support/deflate_builder.h"

namespace brix {

struct CabinetBlock {
  Bytes packed;
  uint32_t plain_size;
};

struct CabinetRun {
  uint32_t type = 0;  // method, and window bits in the high byte
  std::vector<CabinetBlock> blocks;
  std::optional<uint32_t> block_count;
};

struct CabinetFile {
  std::string name;
  uint32_t size = 0;
  uint32_t offset = 0;
  uint32_t folder = 0;
  uint32_t attributes = 0;
};

struct Cabinet {
  std::vector<CabinetRun> folders;
  std::vector<CabinetFile> files;
  Bytes prefix;
  uint32_t flags = 0;
  Bytes extra;                                     // between header and folder entries
  uint32_t folder_reserve = 0, block_reserve = 0;  // with flag 4, as `extra` must say

  // Where things stand, filled by Build.
  uint32_t header_at = 0;
  std::vector<uint32_t> folder_at, file_at, block_at;

  Bytes Build() {
    header_at = prefix.size();
    const auto offset = [&](const Bytes& b) { return b.size() - header_at; };
    Bytes out = Bytes(prefix).Text("MSCF").U32(0).U32(1000).Fill(12, 0).U16(0x0103);
    out.U16(static_cast<uint32_t>(folders.size())).U16(static_cast<uint32_t>(files.size())).U16(flags).U32(0);
    out.Raw(extra);
    for (const CabinetRun& run : folders) {
      folder_at.push_back(out.size());
      out.U32(0).U16(run.block_count.value_or(static_cast<uint32_t>(run.blocks.size()))).U16(run.type);
      out.Fill(folder_reserve, 'r');
    }
    out.PatchU32(header_at + 16, offset(out));
    for (const CabinetFile& f : files) {
      file_at.push_back(out.size());
      out.U32(f.size).U32(f.offset).U16(f.folder).U32(0).U16(f.attributes).Text(f.name).U8(0);
    }
    for (size_t i = 0; i < folders.size(); ++i) {
      out.PatchU32(folder_at[i], offset(out));
      for (const CabinetBlock& block : folders[i].blocks) {
        block_at.push_back(out.size());
        out.U32(0xBAD)
            .U16(block.packed.size())
            .U16(block.plain_size)
            .Fill(block_reserve, 'r')
            .Raw(block.packed);
      }
    }
    return out;
  }
};

// A folder of `method` (0 to 3) that holds "abcdef", "gh" and "ijklmn", one a block.
inline CabinetRun PackFolder(uint32_t method) {
  constexpr std::string_view kQuantum[] = {
      {"\xC8\x53\xED\xB8\x0F\xC0\0\0", 8}, {"\x48\xA8\0\0", 4}, {"\x3A\xAF\x2D\x4E\x12\x80\0\0", 8}};
  CabinetRun run{method == 2 ? 0x0A02u : method == 3 ? 0x0F03u : method, {}, {}};
  for (const std::string_view part : {"abcdef", "gh", "ijklmn"}) {
    const auto size = static_cast<uint32_t>(part.size());
    Bytes packed;
    if (method == 0) packed.Text(part);
    if (method == 1)
      packed.Text("CK").Raw(DeflateBuilder().Stored(Bytes().Text(part).data, true).bits.bytes());
    if (method == 2) packed.Text(kQuantum[run.blocks.size()]);
    if (method == 3) {  // a bit for no translation before the first; type 3, size, offsets
      const uint32_t bits = (3u << 29 | size << 5) >> (run.blocks.empty() ? 1 : 0);
      packed.U16(bits >> 16).U16(bits & 0xFFFF).U32(1).U32(1).U32(1).Text(part);
    }
    run.blocks.push_back({packed, size});
  }
  return run;
}

}  // namespace brix

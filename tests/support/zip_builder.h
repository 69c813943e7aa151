// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// zip_builder.h - writes a ZIP archive member by member, so that a test can make header and directory
// disagree or spoil one field.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "support/bytes.h"

namespace brix {

// One member. What is not set follows from the rest; the local header repeats the directory's record unless
// it is told otherwise.
struct ZipMember {
  std::string name;
  Bytes data;           // as it stands in the archive: compressed by the test
  uint32_t method = 0;  // stored
  uint32_t flags = 0;
  std::optional<uint32_t> compressed_size, size;  // else the length of `data`

  std::optional<std::string> local_name;
  std::optional<uint32_t> local_method, local_flags, local_compressed_size, local_size;
  Bytes local_extra;
  bool data_descriptor = false;  // flag bit 3, zeros as local sizes, and the descriptor behind the data
};

// An archive and where its records stand.
struct ZipFile {
  Bytes bytes;
  std::vector<uint32_t> local_at;   // of each member's local header
  std::vector<uint32_t> record_at;  // of each member's directory record
  uint32_t directory_at = 0;
  uint32_t end_at = 0;
};

inline ZipMember StoredMember(const std::string& name, const std::string& text) {
  ZipMember member;
  member.name = name;
  member.data.Text(text);
  return member;
}

// `prefix` stands in front of the first local header and is counted by all stored offsets.
inline ZipFile BuildZip(const std::vector<ZipMember>& members, const std::string& comment = "",
                        const Bytes& prefix = {}) {
  ZipFile zip;
  Bytes& out = zip.bytes;
  // The fields that both headers have; time and CRC-32 are 0.
  const auto common = [&](uint32_t flags, uint32_t method, uint32_t packed, uint32_t size, size_t name) {
    out.U16(20).U16(flags).U16(method).U32(0).U32(0).U32(packed).U32(size).U16(static_cast<uint32_t>(name));
  };
  out.Raw(prefix);
  for (const ZipMember& m : members) {
    const uint32_t flags = m.flags | (m.data_descriptor ? 8u : 0u);
    const uint32_t packed = m.compressed_size.value_or(m.data.size());
    const uint32_t size = m.size.value_or(m.data.size());
    const std::string name = m.local_name.value_or(m.name);
    zip.local_at.push_back(out.size());
    out.Text("PK\3\4");
    common(m.local_flags.value_or(flags), m.local_method.value_or(m.method),
           m.local_compressed_size.value_or(m.data_descriptor ? 0 : packed),
           m.local_size.value_or(m.data_descriptor ? 0 : size), name.size());
    out.U16(m.local_extra.size()).Text(name).Raw(m.local_extra).Raw(m.data);
    if (m.data_descriptor) out.Text("PK\7\x08").U32(0).U32(packed).U32(size);
  }
  zip.directory_at = out.size();
  for (size_t i = 0; i < members.size(); ++i) {
    const ZipMember& m = members[i];
    zip.record_at.push_back(out.size());
    out.Text("PK\1\2").U16(20);
    common(m.flags | (m.data_descriptor ? 8u : 0u), m.method, m.compressed_size.value_or(m.data.size()),
           m.size.value_or(m.data.size()), m.name.size());
    out.Fill(12, 0).U32(zip.local_at[i]).Text(m.name);  // no extra field, no comment
  }
  zip.end_at = out.size();
  const auto count = static_cast<uint32_t>(members.size());
  out.Text("PK\5\6").U32(0).U16(count).U16(count).U32(zip.end_at - zip.directory_at);
  out.U32(zip.directory_at).U16(static_cast<uint32_t>(comment.size())).Text(comment);
  return zip;
}

}  // namespace brix

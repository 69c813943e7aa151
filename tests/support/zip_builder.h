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
  std::optional<uint32_t> compressed_size;  // else the length of `data`
  std::optional<uint32_t> size;             // uncompressed; else the length of `data`
  Bytes extra;
  std::string comment;

  std::optional<std::string> local_name;
  std::optional<uint32_t> local_method;
  std::optional<uint32_t> local_flags;
  std::optional<uint32_t> local_compressed_size;
  std::optional<uint32_t> local_size;
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
  out.Raw(prefix);
  for (const ZipMember& m : members) {
    const uint32_t flags = m.flags | (m.data_descriptor ? 8u : 0u);
    const uint32_t compressed_size = m.compressed_size.value_or(m.data.size());
    const uint32_t size = m.size.value_or(m.data.size());
    const std::string name = m.local_name.value_or(m.name);
    zip.local_at.push_back(out.size());
    out.Text("PK\3\4").U16(20).U16(m.local_flags.value_or(flags)).U16(m.local_method.value_or(m.method));
    out.U32(0).U32(0);  // time, CRC-32
    out.U32(m.local_compressed_size.value_or(m.data_descriptor ? 0 : compressed_size));
    out.U32(m.local_size.value_or(m.data_descriptor ? 0 : size));
    out.U16(static_cast<uint32_t>(name.size())).U16(m.local_extra.size());
    out.Text(name).Raw(m.local_extra).Raw(m.data);
    if (m.data_descriptor) out.Text("PK\7\x08").U32(0).U32(compressed_size).U32(size);
  }
  zip.directory_at = out.size();
  for (size_t i = 0; i < members.size(); ++i) {
    const ZipMember& m = members[i];
    zip.record_at.push_back(out.size());
    out.Text("PK\1\2").U16(20).U16(20).U16(m.flags | (m.data_descriptor ? 8u : 0u)).U16(m.method);
    out.U32(0).U32(0);  // time, CRC-32
    out.U32(m.compressed_size.value_or(m.data.size())).U32(m.size.value_or(m.data.size()));
    out.U16(static_cast<uint32_t>(m.name.size())).U16(m.extra.size());
    out.U16(static_cast<uint32_t>(m.comment.size())).U16(0).U16(0).U32(0).U32(zip.local_at[i]);
    out.Text(m.name).Raw(m.extra).Text(m.comment);
  }
  zip.end_at = out.size();
  const auto count = static_cast<uint32_t>(members.size());
  out.Text("PK\5\6").U16(0).U16(0).U16(count).U16(count).U32(zip.end_at - zip.directory_at);
  out.U32(zip.directory_at).U16(static_cast<uint32_t>(comment.size())).Text(comment);
  return zip;
}

}  // namespace brix

// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// gzip_test.cpp - header fields, and what the one member of a gzip file shows.
#include <gtest/gtest.h>

#include "support/detect_samples.h"
#include "support/handler_walk.h"
#include "support/rows.h"

namespace brix {
namespace {

constexpr uint32_t kGzip = 7;

const auto kWalkOf = [](const Bytes& file) { return WalkText(kGzip, file.data); };
const Bytes kText = Bytes().Text("text");
Bytes Named(std::string_view name) { return GzipSample(kText, 8, Bytes().Text(name).U8(0)); }

TEST(Gzip, ReadsPastTheHeadersFields) {
  const Bytes whole = Named("a");
  const Bytes many_fields = GzipSample(kText, 14, Bytes().U16(3).Text("xxxn").U8(0).U16(9));
  const Rows<Bytes, std::string> rows = {
      {"no fields", GzipSample(kText), "unknown=text $"},
      {"an empty name", Named(""), "unknown=text $"},
      {"the longest name", Named(std::string(511, 'n')), std::string(511, 'n') + "=text $"},
      {"extra field, name and header CRC", many_fields, "n=text $"},
      {"neither trailer", Bytes(whole).CutTo(whole.size() - 8), "a=text $"},
      {"nor another gzip member is read", Bytes(whole).Raw(Named("b")), "a=text $"},
      {"data cut", Bytes(whole).CutTo(whole.size() - 9), "a=tex! $"},
      {"the extra field reaches behind the file", GzipSample(kText, 4, Bytes().U16(0xFFFF)), "unknown! $"},
      {"no name where the file ends", Named("").CutTo(10), "damaged"},
      {"cut before the extra flags", Bytes(whole).CutTo(8), "damaged"},
  };
  ExpectRows(rows, kWalkOf);
  EXPECT_EQ(WalkText(kGzip, whole.data, 2), "a=te $");
  SweepDamage(kGzip, many_fields.data);
}

TEST(Gzip, KeepsOddHeaders) {
  const Rows<Bytes, std::string> rows = {
      {"a comment shuts the file", GzipSample(kText, 16, Bytes().Text("c").U8(0)), "damaged"},
      {"the rest of a long name is data", Named(std::string(600, 'n')), std::string(511, 'n') + "! $"},
  };
  ExpectRows(rows, kWalkOf);
}

TEST(Gzip, EmptyBlocksCutNothingShort) {
  Bytes file = GzipSample(Bytes()).CutTo(10);
  for (const char* piece : {"one ", "two ", "three"}) {
    for (int i = 0; i < 1000; ++i) file.U8(0).U16(0).U16(0xFFFF);
    const Bytes data = Bytes().Text(piece);
    file.U8(0).U16(data.size()).U16(~data.size() & 0xFFFF).Raw(data);
  }
  EXPECT_EQ(kWalkOf(file.U8(3).U8(0)), "unknown=one two three $");
}

}  // namespace
}  // namespace brix

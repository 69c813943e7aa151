// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

#include <brixcore/byname.h>
#include <brixcore/catalogue.h>
#include <gtest/gtest.h>

#include <cstring>

#include "api/support.h"

namespace brix {
namespace {

// With exactly the room that is asked for, and one byte less, which leaves the buffer alone.
TEST(Catalogue, NamesAndExtensionsByPublicType) {
  const struct {
    uint32_t type;
    int32_t count;
    std::string extensions, name;
  } rows[] = {{2, 4, "gz|z|tgz|taz", "GZIP"},
              {7, 11, "mme|mim|b64|mqp|eml|nws|emf|mht|mhtml|uu|uue", "MIME"},
              {0x10018, 1, "exe", "Nullsoft Install System installer"}};  // the low 16 bits count
  for (const auto& row : rows) {
    const auto length = static_cast<uint32_t>(row.extensions.size());
    for (const uint32_t cut : {0u, 1u}) {
      std::string text(200, 'x');
      uint32_t size = length + 1 - cut;
      EXPECT_EQ(GetTypeExtension(row.type, text.data(), &size), cut == 0 ? row.count : 0);
      EXPECT_EQ(size, length + 1);
      EXPECT_STREQ(text.substr(0, size).c_str(),
                   cut == 0 ? row.extensions.c_str() : std::string(size, 'x').c_str());
      size = static_cast<uint32_t>(row.name.size()) + 1 - cut;
      EXPECT_EQ(GetTypeDescription(row.type, 0, text.data(), size), cut == 0 ? 0 : -1);
      EXPECT_EQ(text.c_str() == row.name, cut == 0);

      alignas(4) char bytes[200];
      std::memset(bytes, 'x', sizeof bytes);
      bytes[sizeof bytes - 1] = '\0';
      auto* const record = reinterpret_cast<BrixTypeInfo*>(bytes);
      size = 57 + length - cut;
      EXPECT_EQ(GetTypeInfo(row.type, record, &size), 0);
      EXPECT_EQ(size, 57 + length);
      EXPECT_EQ(bytes[0], cut == 0 ? 1 : 'x');
      EXPECT_EQ(bytes[54 + length + 1], 'x') << "nothing behind the terminator";
      EXPECT_EQ(bytes + 4 == row.name && bytes + 54 == row.extensions, cut == 0);
    }
  }
}

TEST(Catalogue, KeepsAskingForTwoBytesMoreThanItWrites) {
  uint32_t size = 68;
  alignas(4) char bytes[69] = "";
  auto* const record = reinterpret_cast<BrixTypeInfo*>(bytes);
  EXPECT_EQ(GetTypeInfo(2, record, &size), 0);
  EXPECT_EQ(size, 69u);
  EXPECT_EQ(record->valid, 0u);
  EXPECT_EQ(GetTypeInfo(2, record, &size), 0);
  EXPECT_EQ(record->valid, 1u);
}

TEST(Catalogue, UnknownTypesAndNullArguments) {
  char text[8];
  uint32_t size = 8;
  for (const uint32_t type : {0u, 3u, 8u, 12u, 23u, 25u}) {
    EXPECT_EQ(GetTypeInfo(type, nullptr, &size), -1) << type;
    EXPECT_EQ(GetTypeExtension(type, text, &size), -2) << type;
    EXPECT_EQ(GetTypeDescription(type, 0, text, size), -2) << type;
  }
  EXPECT_EQ(GetTypeInfo(1, nullptr, nullptr), -1);
  EXPECT_EQ(GetTypeExtension(1, text, nullptr), -1);
  EXPECT_EQ(GetTypeDescription(1, 0, nullptr, size), -1);
}

TEST(Catalogue, ListOfTypes) {
  const std::vector<uint32_t> all = {1, 2, 4, 5, 6, 7, 9, 10, 11, 13, 16, 14, 15, 17, 18, 19, 20, 21, 22, 24};
  std::vector<uint32_t> types(20, 99);
  uint32_t size = 79;
  EXPECT_EQ(GetArcList(types.data(), 0, &size), 0);
  EXPECT_EQ(size, 80u);
  EXPECT_EQ(types, std::vector<uint32_t>(20, 99));
  EXPECT_EQ(GetArcList(types.data(), 0, &size), 1);
  EXPECT_EQ(types, all);
  size = 1000;
  EXPECT_EQ(GetArcList(nullptr, 0, &size), 0);
  EXPECT_EQ(size, 80u);
}

TEST(Catalogue, FileTypesFromContent) {
  const TempDir dir;
  // Mail only to those who look further than the first kilobyte.
  const Bytes mail = Bytes().Text("X-A: ").Fill(1500, 'a').Text("\nSubject: b\n\nc\n");
  const struct {
    const char* name;
    Bytes content;
    uint32_t type;
  } rows[] = {{"a.txt", Szdd("x"), 6}, {"b.txt", Zip({{"a", Bytes()}, {"b", Szdd("")}}), 9},
              {"empty", Bytes(), 0},   {"long.txt", mail, 0},
              {"long.eml", mail, 7},   {"long.EMl", mail, 0}};
  for (const auto& row : rows) {
    uint32_t type = 99;
    EXPECT_EQ(GetArcFileType(dir.Write(row.name, row.content).c_str(), &type), 0) << row.name;
    EXPECT_EQ(type, row.type) << row.name;
  }
  uint32_t type = 99;
  EXPECT_EQ(GetArcFileType(dir.File("none").c_str(), &type), -3);
  EXPECT_EQ(type, 0u);
  for (const char* const path : {"", static_cast<const char*>(nullptr)})
    EXPECT_EQ(GetArcFileType(path, &type), -1);
  EXPECT_EQ(GetArcFileType("a", nullptr), -1);
}

TEST(Catalogue, LegacyTypesFromNames) {
  const std::pair<const char*, uint32_t> rows[] = {
      {"a.zip", 1},    {"A.ZIP", 1},  {"a.tar.gz", 8},     {"a.Z", 9},     {"a.iso", 19},
      {"a.EX_", 3},    {"a._", 3},    {"a_", 4},           {"a.b/zip", 4}, {"a.zip\\b", 4},
      {"x\\a.cab", 7}, {"a.zipx", 4}, {"c:\\d/e.rtf", 11}, {"zip", 4}};
  const BrixDecompression context = InitDecompression();
  for (const auto& [name, type] : rows) {
    EXPECT_EQ(GetArchiveFileType(context, name), type) << name;
    EXPECT_EQ(GetErrorValue(context), 0u);
  }
  EXPECT_EQ(GetArchiveFileType(nullptr, "a.zip"), 4u);
  EXPECT_EQ(GetArchiveFileType(context, nullptr), 4u);
  EXPECT_EQ(GetErrorValue(context), 204u);
  DeInitDecompression(context);
}

TEST(Catalogue, KeepsTheSessionFamilysQueriesFailing) {
  for (const auto query :
       {ArcTkGetArchiveTypeName, ArcTkGetArchiveTypeExtension, ArcTkGetArchiveTypeDisplayName}) {
    EXPECT_EQ(query(nullptr, 1), -1);
  }
}

}  // namespace
}  // namespace brix

#include <brixcore/byname.h>
#include <brixcore/catalogue.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>

#include "api/support.h"

namespace brix {
namespace {

// A record with room behind it, all bytes 0xEE.
struct InfoBuffer {
  alignas(4) char bytes[200];
  InfoBuffer() { std::memset(bytes, 0xEE, sizeof bytes); }
  BrixTypeInfo* record() { return reinterpret_cast<BrixTypeInfo*>(bytes); }
};

TEST(Catalogue, KeepsAskingMoreThanTypeInfoUses) {
  const struct {
    const char* label;
    uint32_t type;
    uint32_t size;
    int32_t result;
    uint32_t size_after;
    const char* extensions;  // null: not filled
  } rows[] = {
      {"fits", 2, 69, 0, 69, "gz|z|tgz|taz"},      {"one byte short", 2, 68, 0, 69, nullptr},
      {"unused number", 3, 200, -1, 200, nullptr}, {"low 16 bits count", 0x10001, 200, 0, 200, "arj"},
      {"number 0", 0, 200, -1, 200, nullptr},
  };
  for (const auto& row : rows) {
    InfoBuffer info;
    uint32_t size = row.size;
    EXPECT_EQ(GetTypeInfo(row.type, info.record(), &size), row.result) << row.label;
    EXPECT_EQ(size, row.size_after) << row.label;
    if (row.extensions != nullptr) {
      EXPECT_EQ(info.record()->valid, 1u) << row.label;
      EXPECT_STREQ(info.bytes + 54, row.extensions) << row.label;
      EXPECT_EQ(info.bytes[54 + std::strlen(row.extensions) + 1], '\xEE') << row.label;
    } else {
      EXPECT_EQ(info.bytes[0], '\xEE') << row.label;
    }
  }
  InfoBuffer info;
  uint32_t size = 0;
  EXPECT_EQ(GetTypeInfo(2, nullptr, &size), 0);
  EXPECT_EQ(size, 69u);
  EXPECT_EQ(GetTypeInfo(2, info.record(), nullptr), -1);
}

TEST(Catalogue, ExtensionsAndDescriptions) {
  const struct {
    uint32_t type;
    int32_t count;
    const char* extensions;
    const char* name;
  } rows[] = {
      {1, 1, "arj", "ARJ"},
      {6, 1,
       "?"
       "?_",
       "Microsoft compressed file"},
      {7, 11, "mme|mim|b64|mqp|eml|nws|emf|mht|mhtml|uu|uue", "MIME"},
      {0xABCD0018, 1, "exe", "Nullsoft Install System installer"},
      {8, -2, nullptr, nullptr},
  };
  for (const auto& row : rows) {
    char text[64] = "untouched";
    uint32_t size = sizeof text;
    EXPECT_EQ(GetTypeExtension(row.type, text, &size), row.count) << row.type;
    EXPECT_EQ(GetTypeDescription(row.type, 0, nullptr, 64), row.name != nullptr ? -1 : -2) << row.type;
    if (row.extensions == nullptr) continue;
    EXPECT_STREQ(text, row.extensions);
    EXPECT_EQ(size, std::strlen(row.extensions) + 1);
    std::strcpy(text, "untouched");
    size = static_cast<uint32_t>(std::strlen(row.extensions));
    EXPECT_EQ(GetTypeExtension(row.type, text, &size), 0) << "no room for the terminator";
    EXPECT_EQ(size, std::strlen(row.extensions) + 1);
    const auto length = static_cast<uint32_t>(std::strlen(row.name));
    EXPECT_EQ(GetTypeDescription(row.type, 0, text, length), -1);
    EXPECT_STREQ(text, "untouched");
    EXPECT_EQ(GetTypeDescription(row.type, 0, text, length + 1), 0);
    EXPECT_STREQ(text, row.name);
  }
  char text[8];
  EXPECT_EQ(GetTypeExtension(1, text, nullptr), -1);
}

TEST(Catalogue, ListOfTypes) {
  const std::vector<uint32_t> expected = {1,  2,  4,  5,  6,  7,  9,  10, 11, 13,
                                          16, 14, 15, 17, 18, 19, 20, 21, 22, 24};
  std::vector<uint32_t> types(20, 99);
  uint32_t size = 79;
  EXPECT_EQ(GetArcList(types.data(), 0, &size), 0);
  EXPECT_EQ(size, 80u);
  EXPECT_EQ(types, std::vector<uint32_t>(20, 99));
  EXPECT_EQ(GetArcList(types.data(), 0, &size), 1);
  EXPECT_EQ(types, expected);
  size = 1000;
  EXPECT_EQ(GetArcList(nullptr, 0, &size), 0);
  EXPECT_EQ(size, 80u);
}

TEST(Catalogue, FileTypesFromContent) {
  const TempDir dir;
  const struct {
    const char* name;
    Bytes content;
    uint32_t type;
  } rows[] = {
      {"a.txt", Szdd("x"), 6},
      {"b.txt", Zip({{"a", Bytes().Text("b")}}), 9},
      {"c.zip", Bytes().Text("plain"), 0},
      {"empty", Bytes(), 0},
      // Mail only to those who look further than the first kilobyte.
      {"long.txt", Bytes().Text("X-A: ").Fill(1500, 'a').Text("\nSubject: b\n\nc\n"), 0},
      {"long.eml", Bytes().Text("X-A: ").Fill(1500, 'a').Text("\nSubject: b\n\nc\n"), 7},
      {"long.EML", Bytes().Text("X-A: ").Fill(1500, 'a').Text("\nSubject: b\n\nc\n"), 0},
  };
  for (const auto& row : rows) {
    uint32_t type = 99;
    EXPECT_EQ(GetArcFileType(dir.Write(row.name, row.content).c_str(), &type), 0) << row.name;
    EXPECT_EQ(type, row.type) << row.name;
  }
  uint32_t type = 99;
  EXPECT_EQ(GetArcFileType(dir.File("none").c_str(), &type), -3);
  EXPECT_EQ(type, 0u);
  EXPECT_EQ(GetArcFileType("", &type), -1);
  EXPECT_EQ(GetArcFileType(nullptr, &type), -1);
  EXPECT_EQ(GetArcFileType("a", nullptr), -1);
}

TEST(Catalogue, LegacyTypesFromNames) {
  const struct {
    const char* name;
    uint32_t type;
  } rows[] = {
      {"a.zip", 1}, {"A.ZIP", 1},      {"a.tar.gz", 8},     {"a.Z", 9},     {"a.iso", 19},   {"a.msi", 12},
      {"a.EX_", 3}, {"a._", 3},        {"a_", 4},           {"a.b/zip", 4}, {"a.zip\\b", 4}, {"", 4},
      {"a.", 4},    {"dir\\a.cab", 7}, {"c:\\d/e.rtf", 11}, {"a.zipx", 4},  {"a.zi", 4},     {"zip", 4},
  };
  const BrixDecompression context = InitDecompression();
  for (const auto& row : rows) {
    EXPECT_EQ(GetArchiveFileType(nullptr, row.name), 4u);
    EXPECT_EQ(GetArchiveFileType(context, row.name), row.type) << row.name;
    EXPECT_EQ(GetErrorValue(context), 0u);
  }
  EXPECT_EQ(GetArchiveFileType(context, nullptr), 4u);
  EXPECT_EQ(GetErrorValue(context), 204u);
  DeInitDecompression(context);
}

TEST(Catalogue, KeepsTheSessionFamilysQueriesFailing) {
  char text[8];
  EXPECT_EQ(ArcTkGetArchiveTypeName(nullptr, 1, text), -1);
  EXPECT_EQ(ArcTkGetArchiveTypeExtension(text), -1);
  EXPECT_EQ(ArcTkGetArchiveTypeDisplayName(text, 2), -1);
}

}  // namespace
}  // namespace brix

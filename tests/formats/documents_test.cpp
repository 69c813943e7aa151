// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// documents_test.cpp - what the texts say is recognised and read, compared with the registry.
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <map>
#include <regex>
#include <string>

#include "formats/registry.h"

namespace brix {
namespace {

std::string Text(const char* name) {
  std::ifstream in(std::string(BRIX_FIXTURE_DIR "/../../") + name, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

// By type number, the word by which README.md's list of what is read names it.
const std::map<uint32_t, const char*> kWords = {
    {1, "ARJ"},
    {2, "BZIP2"},
    {3, "cabinets"},
    {4, "QX"},
    {5, "compiled help"},
    {6, "self-"},
    {7, "GZIP"},
    {8, "LHA"},
    {9, "mail"},
    {10, "SZDD"},
    {11, "Windows Installer"},
    {12, "RAR"},
    {13, "TAR"},
    {14, "TNEF"},
    {15, "Unix compress"},
    {16, "ZIP"},
    {17, "Word"},
    {18, "Excel"},
    {19, "PowerPoint"},
    {20, "OLE"},
    {21, "NSIS"},
};

TEST(Documents, ReadmeNamesTheFormatsThatAreRead) {
  const std::string readme = Text("README.md");
  std::smatch list;
  ASSERT_TRUE(std::regex_search(readme, list, std::regex("\nThis version reads ([^;]*);")));
  ASSERT_EQ(kWords.size(), kTypeCount);
  for (const auto& [id, word] : kWords) {
    const FormatEntry* const row = Formats().Find(id);
    ASSERT_NE(row, nullptr) << word;
    const std::regex whole_word("(^|[^A-Za-z])" + std::string(word));
    EXPECT_EQ(std::regex_search(list[1].str(), whole_word), row->create != nullptr) << word;
  }
}

TEST(Documents, TableOfFormatsAgreesWithTheRegistry) {
  const std::string formats = Text("docs/formats.md");
  const std::regex line(R"(\n\| (\d+) \| [^|]+ \| [^|]+ \| (yes|no) \| (yes|no) (?=\|))");
  uint32_t rows = 0;
  for (std::sregex_iterator at(formats.begin(), formats.end(), line), end; at != end; ++at, ++rows) {
    const FormatEntry* const row = Formats().Find(static_cast<uint32_t>(std::stoul((*at)[1])));
    EXPECT_EQ((*at)[2] == "yes", row != nullptr) << (*at)[0];
    EXPECT_EQ((*at)[3] == "yes", row != nullptr && row->create != nullptr) << (*at)[0];
  }
  EXPECT_EQ(rows, kTypeCount);
}

}  // namespace
}  // namespace brix

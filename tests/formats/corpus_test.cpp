// corpus_test.cpp - walks a folder of sample archives and compares every member with what other tools found.
//
// The samples are not part of this tree. The environment variable BRIX_CORPUS names a folder that holds
// expected.tsv (file, member, size, CRC-32, ...; unprintable bytes as \xHH, a backslash as \\) and the
// samples in zip/, nested/ and szdd/. What a handler skips or refuses by design is worked out from the
// archive's own directory; every other difference stands in a table below, with its reason, and must really
// occur.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <set>
#include <sstream>

#include "core/byte_order.h"
#include "core/crc32.h"
#include "core/memory_stream.h"
#include "formats/registry.h"
#include "support/handler_walk.h"

namespace brix {
namespace {

constexpr uint32_t kSzdd = 10;
constexpr uint32_t kZip = 16;

struct ExpectedMember {
  std::string name;  // as escaped in expected.tsv
  std::string size;  // empty: no tool could tell
  std::string crc;
};

struct Corpus {
  std::filesystem::path folder;
  std::map<std::string, std::vector<ExpectedMember>> files;

  [[nodiscard]] std::vector<uint8_t> Read(const std::string& file) const {
    std::ifstream in(folder / file, std::ios::binary);
    const std::vector<char> text{std::istreambuf_iterator<char>(in), {}};
    return {text.begin(), text.end()};
  }

  // The samples of one folder, by their names in expected.tsv.
  [[nodiscard]] std::vector<std::string> List(const std::string& area, const std::string& extension) const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder / area)) {
      if (!extension.empty() && entry.path().extension() != extension) continue;
      names.push_back(area + "/" + entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
  }
};

bool LoadCorpus(Corpus* corpus) {
  const char* folder = std::getenv("BRIX_CORPUS");
  if (folder == nullptr) return false;
  corpus->folder = folder;
  std::ifstream in(corpus->folder / "expected.tsv", std::ios::binary);
  std::string line;
  if (!std::getline(in, line)) return false;
  while (std::getline(in, line)) {
    std::istringstream fields(line);
    std::string file;
    ExpectedMember member;
    std::getline(fields, file, '\t');
    std::getline(fields, member.name, '\t');
    std::getline(fields, member.size, '\t');
    std::getline(fields, member.crc, '\t');
    corpus->files[file].push_back(member);
  }
  return true;
}

std::string Escaped(const std::string& name) {
  std::string text;
  for (const char c : name) {
    char piece[8];
    const bool plain = c >= ' ' && c <= '~' && c != '\\';
    std::snprintf(piece, sizeof piece,
                  plain       ? "%c"
                  : c == '\\' ? "\\\\"
                              : "\\x%02X",
                  static_cast<unsigned char>(c));
    text += piece;
  }
  return text;
}

// "size crc", in the columns' own form.
std::string Digest(const std::vector<uint8_t>& data) {
  char text[32];
  std::snprintf(text, sizeof text, "%zu %08x", data.size(), Crc32(data));
  return text;
}

// What the archive itself says about a member, read without the handler's help.
struct DirectoryEntry {
  uint32_t flags;
  uint32_t method;
  uint32_t compressed_size;
};

std::vector<DirectoryEntry> ReadDirectory(const std::vector<uint8_t>& file) {
  static constexpr uint8_t kEnd[] = {'P', 'K', 5, 6};
  static constexpr uint8_t kRecord[] = {'P', 'K', 1, 2};
  std::vector<DirectoryEntry> entries;
  const auto end = std::find_end(file.begin(), file.end(), std::begin(kEnd), std::end(kEnd));
  const auto end_at = static_cast<size_t>(end - file.begin());
  if (file.size() - end_at < 22) return entries;
  size_t at = end_at - LoadLe32(&file[end_at + 12]);
  while (at <= end_at && end_at - at >= 46 && std::equal(kRecord, kRecord + 4, &file[at])) {
    entries.push_back({LoadLe16(&file[at + 8]), LoadLe16(&file[at + 10]), LoadLe32(&file[at + 20])});
    at += 46u + LoadLe16(&file[at + 28]) + LoadLe16(&file[at + 30]) + LoadLe16(&file[at + 32]);
  }
  return entries;
}

enum Difference {
  kNotZip,   // the file is not recognised as ZIP; no member
  kDamaged,  // the walk ends with damage; no member
  kNamed,    // the member has another name: `value`
  kContent,  // its content is another: `value`, a size and a CRC-32
  kFails,    // it cannot be extracted
};

struct KnownDifference {
  const char* file;
  const char* member;  // its name in expected.tsv
  Difference what;
  const char* value;
  const char* reason;
};

constexpr KnownDifference kKnown[] = {
    {"", "", kNotZip, "", ""},
};

// Looks differences up and keeps count of those that occurred.
class Known {
 public:
  const KnownDifference* Find(const std::string& file, const std::string& member, Difference what) {
    for (const KnownDifference& row : kKnown) {
      if (file == row.file && member == row.member && what == row.what) {
        used_.insert(&row);
        return &row;
      }
    }
    return nullptr;
  }
  void ExpectAllUsed() const {
    for (const KnownDifference& row : kKnown) {
      EXPECT_EQ(used_.count(&row), 1u)
          << "no longer so: " << row.file << " " << row.member << ": " << row.reason;
    }
  }

 private:
  std::set<const KnownDifference*> used_;
};

void CheckMember(const std::string& file, const DirectoryEntry& entry, const ExpectedMember& expected,
                 const WalkedMember& member, Known* known) {
  const KnownDifference* named = known->Find(file, expected.name, kNamed);
  EXPECT_EQ(Escaped(member.name), named != nullptr ? named->value : expected.name);
  uint32_t status = 1;
  bool refused = false;
  if ((entry.flags & 1) != 0) {
    refused = true;
    status = 2;
  } else if (entry.method == 7 || entry.method > 9) {
    refused = true;
    status = entry.method == 98 ? 3 : 1;
  } else if (known->Find(file, expected.name, kFails) != nullptr) {
    refused = true;
  }
  EXPECT_EQ(member.extracted, !refused);
  EXPECT_EQ(member.status, status);
  if (refused) return;
  const KnownDifference* content = known->Find(file, expected.name, kContent);
  EXPECT_EQ(Digest(member.data), content != nullptr ? content->value : expected.size + " " + expected.crc);
}

void CheckZip(const Corpus& corpus, const std::string& file, Known* known) {
  SCOPED_TRACE(file);
  const std::vector<uint8_t> bytes = corpus.Read(file);
  FixedMemoryStream in(bytes);
  const bool is_zip = Formats().DetectArchiveType(in, 0) == kZip;
  EXPECT_EQ(is_zip, known->Find(file, "", kNotZip) == nullptr);
  if (!is_zip) return;
  const auto rows = corpus.files.find(file);
  const std::vector<ExpectedMember> expected =
      rows == corpus.files.end() ? std::vector<ExpectedMember>() : rows->second;
  const std::vector<DirectoryEntry> entries = ReadDirectory(bytes);
  ASSERT_EQ(entries.size(), expected.size());
  const Walk walk = WalkWith(kZip, bytes);
  EXPECT_EQ(walk.finished, known->Find(file, "", kDamaged) == nullptr);
  size_t shown = 0;
  for (size_t i = 0; i < entries.size(); ++i) {
    if (entries[i].compressed_size == 0) continue;  // never shown
    SCOPED_TRACE(expected[i].name);
    ASSERT_LT(shown, walk.members.size());
    CheckMember(file, entries[i], expected[i], walk.members[shown++], known);
  }
  EXPECT_EQ(shown, walk.members.size());
}

TEST(Corpus, Zip) {
  Corpus corpus;
  if (!LoadCorpus(&corpus)) GTEST_SKIP() << "BRIX_CORPUS names no folder with samples";
  Known known;
  for (const std::string& file : corpus.List("zip", "")) CheckZip(corpus, file, &known);
  for (const std::string& file : corpus.List("nested", ".zip")) CheckZip(corpus, file, &known);
  known.ExpectAllUsed();
}

TEST(Corpus, Szdd) {
  Corpus corpus;
  if (!LoadCorpus(&corpus)) GTEST_SKIP() << "BRIX_CORPUS names no folder with samples";
  for (const std::string& file : corpus.List("szdd", "")) {
    SCOPED_TRACE(file);
    const std::vector<uint8_t> bytes = corpus.Read(file);
    FixedMemoryStream in(bytes);
    EXPECT_EQ(Formats().DetectArchiveType(in, 0), kSzdd);
    const Walk walk = WalkWith(kSzdd, bytes);
    ASSERT_EQ(walk.members.size(), 1u);
    const ExpectedMember& expected = corpus.files[file].at(0);
    EXPECT_TRUE(walk.members[0].extracted);
    EXPECT_EQ(Digest(walk.members[0].data), expected.size + " " + expected.crc);
  }
}

}  // namespace
}  // namespace brix

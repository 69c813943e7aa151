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

// Reasons that several rows share.
constexpr char kNoEnd[] = "no end record";
constexpr char kZip64[] = "ZIP64 records stand between the directory and its end, or hold its size";
constexpr char kPrefix[] = "the stored offsets do not count the data in front";
constexpr char kBadDirectory[] = "no directory record where the end record puts the first";
constexpr char kLocalName[] = "the local header's name replaces the directory's";
constexpr char kNoHeader[] = "with the prefix added, no local header stands at the offset";
constexpr char kNoChecksum[] = "damaged data; checksums are not verified";

constexpr KnownDifference kKnown[] = {
    {"zip/commons__COMPRESS-228.zip", "", kNotZip, "", kZip64},
    {"zip/commons__COMPRESS-351.zip", "", kNotZip, "", kNoEnd},
    {"zip/commons__COMPRESS-546.zip", "", kNotZip, "", kNoEnd},
    {"zip/commons__COMPRESS-621.zip", "", kNotZip, "", kPrefix},
    {"zip/commons__invalid-zip.zip", "", kNotZip, "", kNoEnd},
    {"zip/commons__test.zip", "", kNotZip, "", kNoEnd},
    {"zip/corkami__zip64.zip", "", kNotZip, "", kZip64},
    {"zip/klauspost__test-prefix.zip", "", kNotZip, "", kPrefix},
    {"zip/klauspost__zip64.zip", "", kNotZip, "", kZip64},
    {"zip/libarchive__zip_encryption_header.zip", "", kNotZip, "", "the directory is encrypted"},
    {"zip/libarchive__zip_lzma_alone_leak.zipx", "", kNotZip, "", kNoEnd},
    {"zip/libarchive__zip_padded1.zip", "", kNotZip, "", kPrefix},
    {"zip/libarchive__zip_ppmd8_crash_1.zipx", "", kNotZip, "", kNoEnd},
    {"zip/libarchive__zip_ppmd8_crash_2.zipx", "", kNotZip, "", kNoEnd},
    {"zip/libarchive__zip_zipx_lzma_oom.zipx", "", kNotZip, "", kNoEnd},
    {"zip/libzip__incons-cdsize-large.zip", "", kNotZip, "", kBadDirectory},
    {"zip/libzip__incons-cdsize-small.zip", "", kNotZip, "", kBadDirectory},
    {"zip/libzip__incons-central-magic-bad.zip", "", kNotZip, "", kBadDirectory},
    {"zip/libzip__incons-ef-local-dupe-zip64-v1.zip", "", kNotZip, "", kZip64},
    {"zip/libzip__incons-eocd-magic-bad.zip", "", kNotZip, "", kNoEnd},
    {"zip/libzip__incons-eocd64-gap.zip", "", kNotZip, "", kZip64},
    {"zip/libzip__incons-eocd64.zip", "", kNotZip, "", kZip64},
    {"zip/libzip__incons-local-magic-bad.zip", "", kNotZip, "", "no local header at the first offset"},
    {"zip/libzip__junk-at-start.zip", "", kNotZip, "", kPrefix},
    {"zip/libzip__zip64-3mf.zip", "", kNotZip, "", kZip64},
    {"zip/libzip__zip64.zip", "", kNotZip, "", kZip64},
    {"zip/tika__testZIP_corrupted_oom.zip", "", kNotZip, "", kBadDirectory},

    {"zip/libzip__incons-central-file-comment-shorter.zip", "", kDamaged, "",
     "the comment is longer than its length says: no record and no end where the walk goes on"},

    {"zip/corkami__zip-zip1.zip", "", kNamed, "unknown", "the member has no name"},
    {"zip/libarchive__zip_7075_utf8_paths.zip", "File 2 - \\x94.txt", kNamed, "File 2 - xx.txt", kLocalName},
    {"zip/libarchive__zip_7075_utf8_paths.zip", "File 3 - \\x84.txt", kNamed, "File 3 - xx.txt", kLocalName},
    {"zip/libarchive__zip_7075_utf8_paths.zip", "File 4 - \\x86.txt", kNamed, "File 4 - xx.txt", kLocalName},
    {"zip/tika__testZip_zeroByte.zip", "dang\\x00erous.pl", kNamed, "dang",
     "a name ends at its first zero byte"},

    {"zip/commons__bla-stored-dd-contradicts-actualsize.zip", "test1.xml", kFails, "", kNoHeader},
    {"zip/commons__bla-stored-dd-nosig.zip", "test1.xml", kFails, "", kNoHeader},
    {"zip/klauspost__test-badbase.zip", "gophercolor16x16.png", kFails, "", kNoHeader},
    {"zip/libzip__incons-local-compression-method.zip", "a", kFails, "",
     "the local header says Deflate over stored data"},

    {"zip/corkami__reduced3.zip", "HELLO.TXT", kContent, "10140 ee0c3b11",
     "no tool at hand reads it; size and CRC-32 are those that the archive states"},
    {"zip/corkami__zip-zip1.zip", "", kContent, "227 3f56775f", kNoChecksum},
    {"zip/libarchive__test_read_data_into_fd_size_exceeds_declared_deflate.zip", "first", kContent,
     "10 fa8ad300", "more data than the stated size, which is the limit"},
    {"zip/libarchive__test_read_data_into_fd_size_exceeds_declared_stored.zip", "first", kContent,
     "20 131e99cd", "stored: the compressed size counts, and gives the stated CRC-32"},
    {"zip/libarchive__zip.zip", "file2", kContent, "18 3d66373a", "the stated CRC-32 is made up"},
    {"zip/libzip__incons-data.zip", "a", kContent, "1 71beeff9", kNoChecksum},
    {"zip/libzip__incons-local-filename-short.zip", "a", kContent, "1 d202ef8d",
     "the local name length is 0, so that the data begin a byte early"},
    {"zip/libzip__incons-zip64-checkcons-overflow.zip", "A", kContent, "89 c0c4804c",
     "ZIP64 sizes are not read: stored data reach to the end of the file"},
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

// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// corpus_test.cpp - detects a folder of sample archives and compares every member with what other tools found.
//
// The samples are not part of this tree. The environment variable BRIX_CORPUS names a folder with one
// subfolder per format, expected.tsv and expected-archives.tsv (file, member, size, CRC-32, ...; unprintable bytes as \xHH, a
// backslash as \\). What a handler skips or refuses by design is worked out from the archive's own directory;
// every other difference stands in a table below, with its reason, and must really occur.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <set>
#include <sstream>

#include "core/byte_order.h"
#include "core/cached_read_stream.h"
#include "core/crc32.h"
#include "core/memory_stream.h"
#include "formats/registry.h"
#include "support/bytes.h"
#include "support/handler_walk.h"

namespace brix {
namespace {

namespace fs = std::filesystem;

constexpr uint32_t kCabinet = 3;
constexpr uint32_t kChm = 5;
constexpr uint32_t kGzip = 7;
constexpr uint32_t kMail = 9;
constexpr uint32_t kRar = 12;
constexpr uint32_t kSfx = 6;
constexpr uint32_t kSzdd = 10;
constexpr uint32_t kTar = 13;
constexpr uint32_t kZip = 16;
constexpr uint32_t kNsis = 21;
constexpr uint32_t kMostOfAMember = 100u << 20;

const std::map<std::string, uint32_t> kFolders = {
    {"arj", 1},      {"bzip2", 2},    {"cab", kCabinet}, {"chm", kChm}, {"gzip", kGzip}, {"lha", 8},
    {"mime", kMail}, {"nsis", kNsis}, {"rar", kRar},     {"sfx", kSfx}, {"szdd", kSzdd}, {"tar", kTar},
    {"targz", kTar}, {"tnef", 14},    {"unixz", 15},     {"zip", kZip},
};

// Files that are not recognised. A name may have one `*`; then every file that it covers is meant.
const struct {
  const char* folder;
  const char* reason;
  const char* files;
} kUnrecognised[] = {
    {"cab", "the signature is damaged", "mspack__bad_signature.cab"},
    {"cab", "no folders or no files",
     "jsign__cf-AuthenticodeCabSignerFuzzer-57* jsign__cf-AuthenticodeCabSignerFuzzer-58* "
     "jsign__cf-AuthenticodeCabSignerFuzzer-6* mspack__bad_nofolders.cab mspack__search_tricky1.cab"},
    {"cab", "the size is out of range", "libarchive__cab_lzx_oob.cab libarchive__cab_skip_malformed.cab"},
    {"chm", "version 2",
     "mspack__cve-2018-14682-unicode-u100.chm mspack__cve-2019-1010305-name-overread.chm "
     "mspack__encints-64bit-*"},
    {"chm", "a PDF file in truth", "mspack__cve-2017-6419-lzx-negative-spaninfo.chm"},
    {"lha", "header level 2 or 3, which holds no header checksum",
     "commons__test-amiga-l2.lha commons__test-msdos-l2-attrib.lha lhasa__h2_* lhasa__h3_* lhasa__l2_* "
     "lhasa__level2.lzh lhasa__lh3.lzh lhasa__lha_os9_211c_h2_* lhasa__lha_osk_201_h2_* "
     "lhasa__lha_unix114i_h2_* lhasa__lha_x68k_213_h2_* lhasa__lharc_atari_313a_h2_* "
     "lhasa__lhmelt_16536_h2_* lhasa__lhx_long.lzh lhasa__morphos_lha_2717_h2_* "
     "libarchive__lha_filename_utf16.lzh libarchive__lha_header2.lzh libarchive__lha_header3.lzh "
     "libarchive__lha_lh7.lzh"},
    {"mime", "base64 text behind begin-base64, which is no uuencode line",
     "libarchive__test_read_filter_uudecode_base64_raw.uu mimekit__photo.b64"},
    {"mime", "a body without any header", "rustpy__msg_19.txt"},
    {"nsis", "the installer data start 2,560 bytes behind the image", "debian__win32-loader.exe"},
    {"rar", "RAR 5",
     "corkami__small5.rar libarchive__rar5_compressed.rar rarfile__ctime5.rar rarfile__rar5-crc.rar "
     "ratar__denormal-paths.rar ratar__encrypted-headers-nested-tar.rar ratar__folder-symlink.rar "
     "sharpc__Rar.multi.solid.part* sharpc__Rar5.* wuffs__archive.rar"},
    {"rar", "RAR 1.4", "corkami__hello14.rar corkami__small14.rar junrar__r14volst.* junrar__rar14-*"},
    {"rar", "a picture of more than a kilobyte stands before the archive", "sharpc__Rar.jpeg.jpg"},
    {"sfx", "the archive starts behind the 100 KiB that are searched", "rartest__testfile.rar3.dos_sfx.exe"},
    {"sfx", "no MZ",
     "lhasa__sfx.com libarchive__zip_sfx ratar__mockup-self-extracting.zip rustpy__exe_with_z64"},
    {"tar", "the checksum is wrong or no number",
     "commons__COMPRESS-178-fail.tar ratar__empty.tar tarsplit__issue10968.tar"},
    {"tar", "the size is no octal number",
     "libarchive__tar_empty_with_gnulabel.tar libarchive__tar_timestamp_overflow.tar tarsplit__neg-size.tar"},
    {"zip", "no end record",
     "commons__COMPRESS-351.zip commons__COMPRESS-546.zip commons__invalid-zip.zip commons__test.zip "
     "libarchive__zip_lzma_alone_leak.zipx libarchive__zip_ppmd8_crash_1.zipx "
     "libarchive__zip_ppmd8_crash_2.zipx libarchive__zip_zipx_lzma_oom.zipx "
     "libzip__incons-eocd-magic-bad.zip"},
    {"zip", "ZIP64 records stand between the directory and its end, or hold its size",
     "commons__COMPRESS-228.zip corkami__zip64.zip klauspost__zip64.zip "
     "libzip__incons-ef-local-dupe-zip64-v1.zip libzip__incons-eocd64* libzip__zip64*"},
    {"zip", "the stored offsets do not count the data in front",
     "commons__COMPRESS-621.zip klauspost__test-prefix.zip libarchive__zip_padded1.zip "
     "libzip__junk-at-start.zip"},
    {"zip", "the directory is encrypted", "libarchive__zip_encryption_header.zip"},
    {"zip", "no directory record where the end record puts the first",
     "libzip__incons-cdsize-* libzip__incons-central-magic-bad.zip tika__testZIP_corrupted_oom.zip"},
    {"zip", "no local header at the first offset", "libzip__incons-local-magic-bad.zip"},
};

enum Difference {
  kDamaged,  // the walk ends with damage; no member
  kNamed,    // the member has another name: `value`
  kContent,  // its content is another: `value`, a size and a CRC-32
  kFails,    // it cannot be extracted
  kMissing,  // it and those behind it are not shown
};

struct KnownDifference {
  const char* file;
  const char* member;  // its name in expected.tsv
  Difference what;
  const char* value;
  const char* reason;
};

constexpr char kLocalName[] = "the local header's name replaces the directory's";
constexpr char kNoHeader[] = "with the prefix added, no local header stands at the offset";
constexpr char kNoChecksum[] = "damaged data; checksums are not verified";
constexpr char kUtf8[] = "zip/libarchive__zip_7075_utf8_paths.zip";

constexpr char kBadLzx[] = "made to fail: a tree without lengths, matches before the first byte";

constexpr char kHeadersEncrypted[] = "encrypted headers";
constexpr char kBadPpmd[] = "made to fail: damaged PPMd data";

constexpr KnownDifference kKnown[] = {
    {"rar/junrar__corrupt-header.rar", "", kDamaged, "", "a header of no bytes"},
    {"rar/junrar__loop*", "", kDamaged, "", "a header of no bytes, or no block where the next should be"},
    {"rar/libarchive__rar_encryption_header.rar", "", kDamaged, "", kHeadersEncrypted},
    {"rar/libarchive__rar_ppmd_use_after_free.rar", "", kDamaged, "", "the file ends inside a member"},
    {"rar/sharpc__Rar.Encrypted*", "", kDamaged, "", kHeadersEncrypted},
    {"rar/sharpc__Rar.encrypted_filesAndHeader.rar", "", kDamaged, "", kHeadersEncrypted},
    {"rar/sharpc__Rar.malformed_512byte.rar", "", kDamaged, "", "the file ends inside a member"},
    {"rar/tika__test-documents-enc.rar", "", kDamaged, "", kHeadersEncrypted},
    {"rar/junrar__filter-flood.rar", "test-documents\\\\testEXCEL.xls", kFails, "", "a filter of no program"},
    {"rar/junrar__hostile-ppm-decodechar.rar", "final_payload.txt", kFails, "", kBadPpmd},
    {"rar/junrar__hostile-ppm-ps-*", "final_payload.txt", kFails, "", kBadPpmd},
    {"rar/junrar__void-dist-v29.rar", "void29", kFails, "", "made to fail: a distance before the first byte"},
    {"rar/sharpc__Rar.malformed_512byte.rar", "dist\\\\files\\\\bin\\\\res\\\\common.pak", kFails, "", "cut"},
    {"cab/jsign__cf-AuthenticodeCabSignerFuzzer-54*", "", kDamaged, "", "the file is cut"},
    {"cab/mspack__partial_*", "", kDamaged, "", "the file is cut in its header, folder or file entries"},
    {"cab/corkami__tiny_cabinet.cab", "", kNamed, "unknown", "the member has no name"},
    {"cab/mspack__cve-2015-4470-mszip-over-read.cab", "limerick", kFails, "", "the block is cut"},
    {"cab/mspack__lzx-main-tree-no-lengths.cab", "file.txt", kFails, "", kBadLzx},
    {"cab/mspack__lzx-premature-matches.cab", "file.txt", kFails, "", kBadLzx},
    {"cab/wix3__HelloWorldNonAdmin_Readme_External.cab", "Readme.txt", kContent, "509 8a669044",
     "the block's checksum is wrong, and not read"},
    {"zip/libzip__incons-central-file-comment-shorter.zip", "", kDamaged, "",
     "the comment is longer than its length says: no record and no end where the walk goes on"},
    {"zip/corkami__zip-zip1.zip", "", kNamed, "unknown", "the member has no name"},
    {kUtf8, "File 2 - \\x94.txt", kNamed, "File 2 - xx.txt", kLocalName},
    {kUtf8, "File 3 - \\x84.txt", kNamed, "File 3 - xx.txt", kLocalName},
    {kUtf8, "File 4 - \\x86.txt", kNamed, "File 4 - xx.txt", kLocalName},
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
    {"tar/ratar__denormal-paths-tarfile.tar", "", kDamaged, "", "text where the next header belongs"},
    {"targz/libarchive__test_compat_gzip_1.tgz", "f2", kMissing, "",
     "of eight gzip members only the first is read"},
    {"tar/libarchive__test_pax_filename_encoding.tar", "abc\\xCC\\x8Cmno\\xFCxyz", kNamed,
     "abc\\xCC\\x8CmnoXxyz", "the header's name; the other stands in a pax record"},
};

// Mails whose members are not those that the tools list.
const struct {
  const char* reason;
  const char* files;
} kMailDifferences[] = {
    {"no field begins with \"content-\": plain text, which the file itself shows",
     "enmime__qp-ascii-header.raw mimekit__simple.msg rubymail__bad_encoded_subject.eml "
     "rubymail__raw_email5.eml "
     "rubymail__raw_email_incorrect_header.eml rubymail__raw_email_multiple_from.eml "
     "rubymail__utf8_headers.eml "
     "rubymail__weird_to_header.eml rustpy__msg_03.txt rustpy__msg_19.txt rustpy__msg_35.txt "
     "tika__testMBOX_lengthy_x-headers.mbox tika__testRFC822_dkim.eml"},
    {"the same in an enclosed message", "mimekit__multipart-digest.txt stalwart__rfc_009.eml"},
    {"not recognised as mail, or no mail",
     "libarchive__test_read_filter_uudecode_base64_raw.uu mimekit__photo.b64"},
    {"a delivery report is one member, not one for each of its blocks",
     "enmime__delayed_dsn.raw enmime__dsn_with_multipart_alternative.raw enmime__simple_dsn.raw "
     "mimekit__bounce.txt "
     "mimekit__delivery-status* mimekit__disposition-notification* rubymail__multi_address_bounce1.eml "
     "rustpy__msg_43.txt"},
    {"of an enclosed message in place that is no mail to the recogniser, or a part of one, its whole text is "
     "the member",
     "mimekit__rfc2046.0.eml stalwart__rfc_001.eml stalwart__rfc_008.eml stalwart__thirdparty_009.eml "
     "stalwart__thirdparty_015.eml tika__testGroupWiseEml.eml"},
    {"a text that holds uuencoded blocks is not shown itself", "mimetools__uu-junk.msg stalwart__049.eml"},
    {"base64 without its last characters: the tools give up, the text comes out as far as it goes",
     "enmime__extra-base64-character.raw"},
    {"the tools leave the text encoded, as blanks stand behind the encoding's name",
     "stalwart__thirdparty_003.eml"},
    {"names stand as in the header: encoded words are not decoded, RFC 2231 is not read, a folded value ends "
     "with its line",
     "mimetools__attachment-filename-encoding-* rubymail__japanese_attachment_long_name.eml "
     "stalwart__023.eml "
     "stalwart__045.eml"},
    {"text directly behind a boundary line, which is neither blank nor a field, is no part",
     "enmime__multi-malformed.raw"},
    {"a multipart without any boundary line, of which the tools show the raw text or nothing",
     "enmime__multipart-wo-boundary.raw rubymail__empty_in_reply_to.eml rustpy__msg_42.txt "
     "stalwart__malformed_013.eml "
     "rubymail__attachment_message_rfc822_inline_image.eml"},
    {"parts that the tools miss, by a damaged header, an odd boundary or a byte order mark",
     "mimekit__issue1189.mbox.txt mimetools__double-boundary.msg mimetools__multi-digest.msg "
     "mimetools__utf8-bom-at-start.msg rustpy__msg_15.txt rustpy__msg_31.txt rustpy__msg_38.txt "
     "rustpy__msg_39.txt "
     "stalwart__malformed_004.eml stalwart__malformed_019.eml stalwart__malformed_020.eml "
     "stalwart__thirdparty_012.eml"},
    {"boundaries that begin one another: a line that begins with any of them is one",
     "mimekit__simple.mbox.txt"},
    {"a boundary line with a single dash behind it closes", "rubymail__raw_email4.eml"},
    {"an escape that is none takes three characters and yields nothing",
     "enmime__quoted-printable-invalid.raw"},
};

bool Covers(const std::string& pattern, const std::string& name) {
  const size_t star = pattern.find('*');
  if (star == std::string::npos) return pattern == name;
  return name.size() + 1 >= pattern.size() && name.starts_with(pattern.substr(0, star)) &&
         name.ends_with(pattern.substr(star + 1));
}

class Corpus : public testing::Test {
 protected:
  struct Member {
    std::string name;    // as escaped in expected.tsv
    std::string digest;  // size and CRC-32
    std::string note;
  };

  void SetUp() override {
    const char* folder = std::getenv("BRIX_CORPUS");
    if (folder == nullptr) GTEST_SKIP() << "set BRIX_CORPUS to a folder of sample archives to run this";
    folder_ = folder;
    for (const char* const table : {"expected.tsv", "expected-archives.tsv"}) {
      std::ifstream in(folder_ / table, std::ios::binary);
      std::string line;
      ASSERT_TRUE(std::getline(in, line)) << table;
      while (std::getline(in, line)) {
        std::istringstream fields(line);
        std::string column[7];
        for (std::string& text : column) std::getline(fields, text, '\t');
        members_[column[0]].push_back({column[1], column[2] + " " + column[3], column[6]});
      }
    }
  }

  // The names of a folder's files, which are some.
  [[nodiscard]] std::vector<std::string> List(const std::string& area) const {
    std::vector<std::string> names;
    for (const auto& e : fs::directory_iterator(folder_ / area))
      names.push_back(e.path().filename().string());
    EXPECT_FALSE(names.empty()) << area;
    return names;
  }
  [[nodiscard]] std::vector<uint8_t> Read(const std::string& file) const {
    return FileContent(folder_ / file);
  }

  [[nodiscard]] uint32_t TypeOf(const std::string& file) const {
    const std::vector<uint8_t> bytes = Read(file);
    FixedMemoryStream memory(bytes);
    CachedReadStream in;
    in.SetInner(&memory, 0);
    return Formats().DetectArchiveType(in, 0);
  }

  // Looks a difference up and notes that it occurred.
  const KnownDifference* Find(const std::string& file, const std::string& member, Difference what) {
    for (const KnownDifference& row : kKnown) {
      if (Covers(row.file, file) && member == row.member && what == row.what)
        return *used_.insert(&row).first;
    }
    return nullptr;
  }

  void CheckMember(const std::string& file, uint32_t flags, uint32_t method, const Member& expected,
                   const WalkedMember& member);
  void CheckZip(const std::string& file);
  // Each difference known in the folders that begin with `area` must have occurred.
  void ExpectAllUsed(const std::string& area) const {
    for (const KnownDifference& row : kKnown) {
      EXPECT_TRUE(used_.contains(&row) || !std::string(row.file).starts_with(area))
          << "no longer so: " << row.file << " " << row.member << ": " << row.reason;
    }
  }
  void CheckTar(const std::string& file);
  void CheckCabinet(const std::string& file);
  void CheckRar(const std::string& file, const Walk& walk);
  bool ShowsMailMembers(const std::string& file, const Walk& walk);

  std::map<std::string, std::vector<Member>> members_;
  std::set<const KnownDifference*> used_;

 private:
  fs::path folder_;
};

std::string Escaped(const std::string& name) {
  std::string text;
  for (const char c : name) {
    char piece[8] = {c};
    if (c < ' ' || c > '~') std::snprintf(piece, sizeof piece, "\\x%02X", static_cast<unsigned char>(c));
    text += c == '\\' ? "\\\\" : piece;
  }
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

void Corpus::CheckMember(const std::string& file, uint32_t flags, uint32_t method, const Member& expected,
                         const WalkedMember& member) {
  const KnownDifference* named = Find(file, expected.name, kNamed);
  EXPECT_EQ(Escaped(member.name), named != nullptr ? named->value : expected.name);
  const bool encrypted = (flags & 1) != 0;
  const bool unknown = method == 7 || method > 9;
  const bool refused = encrypted || unknown || Find(file, expected.name, kFails) != nullptr;
  EXPECT_EQ(member.extracted, !refused);
  EXPECT_EQ(member.status, encrypted ? 2u : method == 98 ? 3u : 1u);
  if (refused) return;
  const KnownDifference* content = Find(file, expected.name, kContent);
  EXPECT_EQ(Digest(member.data), content != nullptr ? content->value : expected.digest);
}

void Corpus::CheckZip(const std::string& file) {
  SCOPED_TRACE(file);
  if (TypeOf(file) != kZip) return;  // EachFolderIsItsFormat judges that
  const std::vector<uint8_t> bytes = Read(file);
  const std::vector<Member> expected = members_[file];
  const std::vector<DirectoryEntry> entries = ReadDirectory(bytes);
  ASSERT_EQ(entries.size(), expected.size());
  const Walk walk = WalkWith(kZip, bytes);
  EXPECT_EQ(walk.finished, Find(file, "", kDamaged) == nullptr);
  size_t shown = 0;
  for (size_t i = 0; i < entries.size(); ++i) {
    if (entries[i].compressed_size == 0) continue;  // never shown
    SCOPED_TRACE(expected[i].name);
    ASSERT_LT(shown, walk.members.size());
    CheckMember(file, entries[i].flags, entries[i].method, expected[i], walk.members[shown++]);
  }
  EXPECT_EQ(shown, walk.members.size());
}

TEST_F(Corpus, EachFolderIsItsFormat) {
  for (const auto& [folder, type_id] : kFolders) {
    std::set<std::string> unrecognised;
    const std::vector<std::string> names = List(folder);
    for (const auto& row : kUnrecognised) {
      std::istringstream patterns(folder == row.folder ? row.files : "");
      for (std::string pattern; patterns >> pattern;) {
        const auto covered = [&](const std::string& name) { return Covers(pattern, name); };
        EXPECT_TRUE(std::ranges::any_of(names, covered)) << "an exception for no file: " << pattern;
        std::ranges::copy_if(names, std::inserter(unrecognised, unrecognised.end()), covered);
      }
    }
    for (const std::string& name : names) {
      const uint32_t expected = unrecognised.contains(name) ? kTypeNone : type_id;
      EXPECT_EQ(TypeOf(folder + "/" + name), expected) << folder << "/" << name;
    }
  }
}

// Formats without a detector of their own: whatever they are, they are no mail.
TEST_F(Corpus, OtherContainersAreNeverMail) {
  for (const std::string& name : List("nested")) EXPECT_NE(TypeOf("nested/" + name), kMail) << name;
}

// Compound files of which not all can be had, and why.
const std::map<std::string, const char*> kDamagedCompound = {
    {"office/poi__cf-POIHSLFFuzzer-6614960949821440.ppt", "a sibling behind the directory"},
    {"office/poi__cf-POIHSSFFuzzer-4657005060816896.xls", "a sibling behind the directory"},
    {"office/poi__cf-POIHSSFFuzzer-6537773940867072.xls", "808 million mini FAT sectors: not recognised"},
    {"ole/poi__60256.bin", "a package stream of no known layout"},
};

// Types and members follow from the streams that other tools see.
TEST_F(Corpus, CompoundFiles) {
  const std::pair<uint32_t, const char*> types[] = {{17, "worddocument"},
                                                    {18, "workbook"},
                                                    {19, "powerpoint document"},
                                                    {20, "\\x01ole10native"},
                                                    {11, "!_tables"}};
  std::vector<std::string> files;
  for (const std::string folder : {"msi/", "office/", "ole/"}) {
    for (const std::string& name : List(folder)) files.push_back(folder + name);
  }
  for (const std::string& file : files) {
    SCOPED_TRACE(file);
    const uint32_t type_id = TypeOf(file);
    std::set<std::string> names;
    std::multiset<std::string> expected;
    for (const Member& m : members_[file]) {
      std::string lower = m.name;
      std::ranges::transform(lower, lower.begin(), [](char c) { return static_cast<char>(std::tolower(c)); });
      names.insert(lower);
      const bool is_stream = m.note.starts_with("stream") && m.name.find_first_of("![") != 0;
      if (type_id == 11 ? is_stream && m.name.find('/') == std::string::npos
                        : m.note.find("OLE1 package") != std::string::npos) {
        expected.insert((m.name.empty() ? "Unknown" : m.name) + " " + m.digest);
      }
    }
    const auto* type = std::ranges::find_if(types, [&](const auto& t) { return names.contains(t.second); });
    const bool damaged = kDamagedCompound.contains(file);
    EXPECT_TRUE(type_id == (type == std::end(types) ? 0 : type->first) || damaged);
    if (type_id == 0) continue;
    const Walk walk = WalkWith(type_id, Read(file));
    EXPECT_EQ(walk.finished, !damaged);
    std::multiset<std::string> found;
    for (const WalkedMember& m : walk.members) found.insert(Escaped(m.name) + " " + Digest(m.data));
    EXPECT_EQ(found, expected);
  }
}

TEST_F(Corpus, ZipMembers) {
  for (const std::string& name : List("zip")) CheckZip("zip/" + name);
  for (const std::string& name : List("nested")) {
    if (name.ends_with(".zip")) CheckZip("nested/" + name);
  }
  ExpectAllUsed("zip/");
}

// Whether `text` is what the header holds of `whole`, which the tools put together from it, a path prefix, and
// long-name and pax records. Sparse files of pax archives have a made-up folder in the header.
bool IsHeadersName(const std::string& text, const std::string& whole) {
  return (text.size() >= 99 && (whole.starts_with(text) || text.starts_with(whole))) ||
         ("/" + whole).ends_with("/" + text) ||
         (text.find("GNUSparseFile.") != std::string::npos && text.ends_with("/" + whole));
}

void Corpus::CheckTar(const std::string& file) {
  SCOPED_TRACE(file);
  const auto has_type = [](const Member& member) { return member.note.starts_with("type"); };
  const std::vector<Member>& members = members_[file];
  if (TypeOf(file) != kTar || std::ranges::none_of(members, has_type)) return;  // the tools do not read it
  const std::vector<uint8_t> bytes = Read(file);
  const Walk walk = WalkWith(kTar, bytes, kMostOfAMember);
  bool has_end = file.ends_with("gz") && walk.finished;  // a block of zeros
  for (size_t at = 512; at + 512 <= bytes.size(); at += 512) {
    has_end |= std::ranges::count(std::span(bytes).subspan(at, 512), 0) == 512;
  }
  EXPECT_EQ(walk.finished, has_end && Find(file, "", kDamaged) == nullptr);
  auto shown = walk.members.begin();
  for (const Member& expected : members) {
    const auto is = [&](const char* note) { return expected.note.starts_with(note); };
    if (!is("type 0") && !is("type NUL") && !is("type S")) continue;  // skipped: no file
    if (Find(file, expected.name, kMissing) != nullptr) break;
    SCOPED_TRACE(expected.name);
    ASSERT_NE(shown, walk.members.end());
    if (const std::string name = Escaped(shown->name); !IsHeadersName(name, expected.name)) {
      const KnownDifference* named = Find(file, expected.name, kNamed);
      EXPECT_EQ(name, named != nullptr ? named->value : expected.name);
    }
    // Without a digest the tools did not extract it either. The sparse maps of pax archives are not read.
    if (expected.digest != " " && !is("type 0; sparse")) {
      EXPECT_TRUE(shown->extracted);
      EXPECT_EQ(Digest(shown->data), expected.digest);
    }
    ++shown;
  }
  EXPECT_EQ(shown, walk.members.end());
}

TEST_F(Corpus, TarMembers) {
  for (const std::string& name : List("tar")) CheckTar("tar/" + name);
  for (const std::string& name : List("targz")) CheckTar("targz/" + name);
  for (const std::string& name : List("nested")) {
    if (name.ends_with(".tar") || name.ends_with(".tar.gz")) CheckTar("nested/" + name);
  }
  ExpectAllUsed("tar");
}

TEST_F(Corpus, GzipMembers) {
  for (const std::string& name : List("gzip")) {
    const Walk walk = WalkWith(kGzip, Read("gzip/" + name));
    const Member& expected = members_["gzip/" + name].at(0);
    ASSERT_EQ(walk.members.size(), 1u) << name;
    EXPECT_TRUE(walk.members[0].extracted) << name;
    EXPECT_EQ(Escaped(walk.members[0].name), expected.name.empty() ? "unknown" : expected.name);
    // The list has all gzip members in one; of several only the first is read, which the note tells.
    constexpr std::string_view kFirst = "first member alone: ";
    std::string digest = Digest(walk.members[0].data);
    const bool several = expected.note.find(kFirst) != std::string::npos;
    if (several) digest.replace(digest.find(' '), 1, " bytes crc32 ").insert(0, kFirst);
    EXPECT_NE((several ? expected.note : expected.digest).find(digest), std::string::npos) << name << digest;
  }
}

void Corpus::CheckCabinet(const std::string& file) {
  SCOPED_TRACE(file);
  if (TypeOf(file) != kCabinet) return;
  const Walk walk = WalkWith(kCabinet, Read(file));
  const bool damaged = Find(file, "", kDamaged) != nullptr;
  EXPECT_EQ(walk.finished, !damaged);
  size_t shown = 0;
  for (const Member& expected : members_[file]) {
    if (damaged || expected.note.find("continued") != std::string::npos) continue;  // not shown
    ASSERT_LT(shown, walk.members.size()) << expected.name;
    CheckMember(file, 0, 0, expected, walk.members[shown++]);
  }
  EXPECT_EQ(shown, walk.members.size());
}

TEST_F(Corpus, CabinetMembers) {
  for (const std::string& name : List("cab")) CheckCabinet("cab/" + name);
  ExpectAllUsed("cab/");
}

// What is packed by another version than 2.0 and 2.9, or encrypted, is shown and refused; directories and parts of
// volumes are not shown. The notes say which they are.
void Corpus::CheckRar(const std::string& file, const Walk& walk) {
  SCOPED_TRACE(file);
  EXPECT_EQ(walk.finished, Find(file, "", kDamaged) == nullptr);
  auto shown = walk.members.begin();
  for (const Member& expected : members_[file]) {
    const auto has = [&](const char* word) { return expected.note.find(word) != std::string::npos; };
    if (!has("unpack ") || has("; split")) continue;
    SCOPED_TRACE(expected.name);
    ASSERT_NE(shown, walk.members.end());
    EXPECT_EQ(Escaped(shown->name), expected.name);
    const bool other = !has("unpack 20 ") && !has("unpack 29 ");
    const bool refused = other || has("encrypted") || Find(file, expected.name, kFails) != nullptr;
    EXPECT_EQ(shown->extracted, !refused);
    EXPECT_EQ(shown->status, has("encrypted") ? 2u : other ? 3u : 1u);
    if (!refused) {
      EXPECT_EQ(Digest(shown->data), expected.digest);
    }
    ++shown;
  }
  EXPECT_EQ(shown, walk.members.end());
}

TEST_F(Corpus, RarMembers) {
  for (const std::string& name : List("rar")) {
    const std::string file = "rar/" + name;
    if (TypeOf(file) == kRar) CheckRar(file, WalkWith(kRar, Read(file), kMostOfAMember));
  }
  CheckRar("sfx/libarchive__rar_sfx.exe", WalkWith(kSfx, Read("sfx/libarchive__rar_sfx.exe")));
  const Walk tar = WalkWith(kTar, Read("nested/sharpc__Tar.ContainsRar.tar"));
  ASSERT_EQ(tar.members.size(), 1u);
  CheckRar("rar/sharpc__Rar.rar", WalkWith(kRar, tar.members[0].data));
  ExpectAllUsed("rar/");
}

// Whether the tools decoded the same quoted-printable text: they leave line ends as they stood, and take the one
// behind the last line for a boundary's.
bool IsQuotedPrintable(const std::string& digest, std::vector<uint8_t> text) {
  for (const size_t end : {size_t{0}, size_t{2}}) {
    text.resize(text.size() - std::min(end, text.size()));
    std::vector<uint8_t> without_cr = text;
    std::erase(without_cr, '\r');
    if (Digest(text) == digest || Digest(without_cr) == digest) return true;
  }
  return false;
}

// Whether a mail's members are those listed, in order.
bool Corpus::ShowsMailMembers(const std::string& file, const Walk& walk) {
  std::vector<Member> expected = members_[file];
  if (file.ends_with(".hqx"))
    std::erase_if(expected, [](const Member& m) { return !m.note.starts_with("both"); });
  const auto is_same = [](const Member& member, const WalkedMember& walked) {
    if (!walked.extracted || Escaped(walked.name) != (member.name.empty() ? "unknown" : member.name))
      return false;
    if (Digest(walked.data) == member.digest) return true;
    const bool quoted = member.note.find("quoted-printable") != std::string::npos;
    return quoted && IsQuotedPrintable(member.digest, walked.data);
  };
  return walk.finished && std::ranges::equal(expected, walk.members, is_same);
}

TEST_F(Corpus, MailMembers) {
  for (const std::string& name : List("mime")) {
    const Walk walk = WalkWith(kMail, Read("mime/" + name));
    EXPECT_TRUE(walk.finished) << name;
    const bool same = ShowsMailMembers("mime/" + name, walk);
    const char* reason = nullptr;
    for (const auto& row : kMailDifferences) {
      std::istringstream patterns(row.files);
      for (std::string pattern; patterns >> pattern;) {
        if (Covers(pattern, name)) reason = row.reason;
      }
    }
    EXPECT_EQ(same, reason == nullptr)
        << name << ": " << (reason == nullptr ? "no known difference" : reason);
  }
}

TEST_F(Corpus, SzddMembers) {
  for (const std::string& name : List("szdd")) {
    const Walk walk = WalkWith(kSzdd, Read("szdd/" + name));
    ASSERT_EQ(walk.members.size(), 1u) << name;
    EXPECT_TRUE(walk.members[0].extracted) << name;
    EXPECT_EQ(Digest(walk.members[0].data), members_["szdd/" + name].at(0).digest) << name;
  }
}

// Help files: the user's files alone, which is all that is not empty and not named as one of the format's own.
TEST_F(Corpus, HelpMembers) {
  const std::set<std::string> damaged = {
      "mspack__cve-2015-4468-namelen-bounds.chm",  // more free space than its chunk is long
      "tika__testChm_oom.chm",                     // ends inside the directory
  };
  for (const std::string& name : List("chm")) {
    SCOPED_TRACE(name);
    if (TypeOf("chm/" + name) != kChm) continue;  // EachFolderIsItsFormat judges that
    std::map<std::string, std::string> expected;
    for (const Member& member : members_["chm/" + name]) {
      const bool internal = member.name.starts_with("/#") || member.name.starts_with("/$");
      if (!internal && !member.digest.starts_with("0 ") && member.digest != " ")
        expected[member.name] = member.digest;
    }
    const Walk walk = WalkWith(kChm, Read("chm/" + name));
    EXPECT_EQ(walk.finished, !damaged.contains(name));
    EXPECT_EQ(walk.members.size(), expected.size());
    for (const WalkedMember& member : walk.members) {
      EXPECT_TRUE(member.extracted) << member.name;
      EXPECT_EQ(Digest(member.data), expected[Escaped(member.name)]) << member.name;
    }
  }
}

// The tools leave the installation directory out and list files in another order.
TEST_F(Corpus, InstallerMembers) {
  for (const std::string& name : List("nsis")) {
    SCOPED_TRACE(name);
    if (TypeOf("nsis/" + name) != kNsis) continue;  // EachFolderIsItsFormat judges that
    std::multiset<std::string> expected;
    for (const Member& member : members_["nsis/" + name]) {
      if (!member.name.empty()) expected.insert(member.name + " " + member.digest);
    }
    const Walk walk = WalkWith(kNsis, Read("nsis/" + name));
    EXPECT_TRUE(walk.finished);
    std::multiset<std::string> found;
    for (const WalkedMember& member : walk.members) {
      EXPECT_TRUE(member.extracted) << member.name;
      std::string text = member.name;
      if (text.starts_with("$INSTDIR\\")) text.erase(0, 9);
      std::ranges::replace(text, '\\', '/');
      found.insert(Escaped(text) + " " + Digest(member.data));
    }
    EXPECT_EQ(found, expected);
  }
}

}  // namespace
}  // namespace brix

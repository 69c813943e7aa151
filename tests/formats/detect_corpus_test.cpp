// Detection over a folder of sample archives, one subfolder per format, that BRIX_CORPUS names. Every file
// must be detected as its folder says, but for the exceptions listed here, which must be detected as nothing.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <vector>

#include "core/cached_read_stream.h"
#include "core/memory_stream.h"
#include "formats/registry.h"

namespace brix {
namespace {

namespace fs = std::filesystem;

const struct {
  const char* folder;
  uint32_t type_id;
} kFolders[] = {
    {"arj", 1},   {"bzip2", 2}, {"cab", 3},    {"chm", 5},   {"gzip", 7},
    {"lha", 8},   {"mime", 9},  {"nsis", 21},  {"rar", 12},  {"sfx", 6},
    {"szdd", 10}, {"tar", 13},  {"targz", 13}, {"tnef", 14}, {"unixz", 15},
};

const struct {
  const char* folder;
  const char* reason;
  std::set<std::string> files;
} kExceptions[] = {
    {"cab", "the signature is damaged", {"mspack__bad_signature.cab"}},
    {"cab",
     "no folders or no files",
     {"jsign__cf-AuthenticodeCabSignerFuzzer-5744544181780480",
      "jsign__cf-AuthenticodeCabSignerFuzzer-5866286405517312",
      "jsign__cf-AuthenticodeCabSignerFuzzer-6110454625206272",
      "jsign__cf-AuthenticodeCabSignerFuzzer-6561788545597440", "mspack__bad_nofolders.cab",
      "mspack__search_tricky1.cab"}},
    {"cab",
     "the size is out of range",
     {"libarchive__cab_lzx_oob.cab", "libarchive__cab_skip_malformed.cab"}},
    {"chm",
     "version 2",
     {"mspack__cve-2018-14682-unicode-u100.chm", "mspack__cve-2019-1010305-name-overread.chm",
      "mspack__encints-64bit-both.chm", "mspack__encints-64bit-lengths.chm"}},
    {"chm", "a PDF file in truth", {"mspack__cve-2017-6419-lzx-negative-spaninfo.chm"}},
    {"lha",
     "header level 2 or 3, which holds no header checksum",
     {"commons__test-amiga-l2.lha",
      "commons__test-msdos-l2-attrib.lha",
      "lhasa__h2_lh6.lzh",
      "lhasa__h2_lh7.lzh",
      "lhasa__h2_subdir.lzh",
      "lhasa__h2_symlink2.lzh",
      "lhasa__h3_lfn.lzh",
      "lhasa__h3_subdir.lzh",
      "lhasa__l2_full_subdir.lzh",
      "lhasa__l2_lh1.lzh",
      "lhasa__l2_lh5.lzh",
      "lhasa__l2_nm_lh5.lzh",
      "lhasa__level2.lzh",
      "lhasa__lh3.lzh",
      "lhasa__lha_os9_211c_h2_subdir.lzh",
      "lhasa__lha_osk_201_h2_lh0.lzh",
      "lhasa__lha_unix114i_h2_lh0.lzh",
      "lhasa__lha_unix114i_h2_lh5.lzh",
      "lhasa__lha_unix114i_h2_lh6.lzh",
      "lhasa__lha_x68k_213_h2_lh5.lzh",
      "lhasa__lha_x68k_213_h2_subdir.lzh",
      "lhasa__lharc_atari_313a_h2_lh5.lzh",
      "lhasa__lhmelt_16536_h2_lh1.lzh",
      "lhasa__lhmelt_16536_h2_subdir.lzh",
      "lhasa__lhx_long.lzh",
      "lhasa__morphos_lha_2717_h2_lh0.lzh",
      "lhasa__morphos_lha_2717_h2_lh1.lzh",
      "lhasa__morphos_lha_2717_h2_lh5.lzh",
      "lhasa__morphos_lha_2717_h2_lh6.lzh",
      "lhasa__morphos_lha_2717_h2_subdir.lzh",
      "libarchive__lha_filename_utf16.lzh",
      "libarchive__lha_header2.lzh",
      "libarchive__lha_header3.lzh",
      "libarchive__lha_lh7.lzh"}},
    {"mime",
     "base64 text behind begin-base64, which is no uuencode line",
     {"libarchive__test_read_filter_uudecode_base64_raw.uu", "mimekit__photo.b64"}},
    {"mime", "a body without any header", {"rustpy__msg_19.txt"}},
    {"nsis", "the installer data start 2,560 bytes behind the image", {"debian__win32-loader.exe"}},
    {"rar",
     "RAR 5",
     {"corkami__small5.rar", "libarchive__rar5_compressed.rar", "rarfile__ctime5.rar",
      "rarfile__rar5-crc.rar", "ratar__denormal-paths.rar", "ratar__encrypted-headers-nested-tar.rar",
      "ratar__folder-symlink.rar", "sharpc__Rar.multi.solid.part01.rar", "sharpc__Rar.multi.solid.part02.rar",
      "sharpc__Rar.multi.solid.part03.rar", "sharpc__Rar.multi.solid.part04.rar",
      "sharpc__Rar.multi.solid.part05.rar", "sharpc__Rar.multi.solid.part06.rar", "sharpc__Rar5.comment.rar",
      "sharpc__Rar5.crc_blake2.rar", "wuffs__archive.rar"}},
    {"rar",
     "RAR 1.4",
     {"corkami__hello14.rar", "corkami__small14.rar", "junrar__r14volst.r00", "junrar__r14volst.r01",
      "junrar__r14volst.r02", "junrar__r14volst.rar", "junrar__rar14-empty.rar",
      "junrar__rar14-solid-password.rar"}},
    {"rar", "a picture of more than a kilobyte stands before the archive", {"sharpc__Rar.jpeg.jpg"}},
    {"sfx",
     "the new-header offset of the DOS stub points behind the file",
     {"lhasa__lha213_sfx.exe", "lhasa__lha255e_sfx.exe", "rartest__testfile.rar3.dos_sfx.exe"}},
    {"sfx",
     "no MZ",
     {"lhasa__sfx.com", "libarchive__zip_sfx", "ratar__mockup-self-extracting.zip", "rustpy__exe_with_z64"}},
    {"tar",
     "the checksum is wrong or no number",
     {"commons__COMPRESS-178-fail.tar", "ratar__empty.tar", "tarsplit__issue10968.tar"}},
    {"tar",
     "the size is no octal number",
     {"libarchive__tar_empty_with_gnulabel.tar", "libarchive__tar_timestamp_overflow.tar",
      "tarsplit__neg-size.tar"}},
};

std::string Folder() {
  const char* folder = std::getenv("BRIX_CORPUS");
  return folder != nullptr && fs::is_directory(folder) ? folder : "";
}

uint32_t TypeOfFile(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  const std::vector<char> text{std::istreambuf_iterator<char>(file), {}};
  const std::vector<uint8_t> bytes(text.begin(), text.end());
  FixedMemoryStream memory(bytes);
  CachedReadStream in;
  in.SetInner(&memory, 0);
  return Formats().DetectArchiveType(in, 0);
}

bool IsException(const std::string& folder, const std::string& file) {
  return std::ranges::any_of(
      kExceptions, [&](const auto& row) { return row.folder == folder && row.files.contains(file); });
}

TEST(DetectCorpus, EachFolderIsItsFormat) {
  const std::string corpus = Folder();
  if (corpus.empty()) GTEST_SKIP() << "set BRIX_CORPUS to a folder of sample archives to run this";
  for (const auto& row : kFolders) {
    size_t files = 0;
    for (const auto& entry : fs::directory_iterator(fs::path(corpus) / row.folder)) {
      const std::string name = entry.path().filename().string();
      const uint32_t expected = IsException(row.folder, name) ? kTypeNone : row.type_id;
      EXPECT_EQ(TypeOfFile(entry.path()), expected) << row.folder << "/" << name;
      ++files;
    }
    EXPECT_NE(files, 0u) << row.folder;
  }
  for (const auto& row : kExceptions) {
    for (const std::string& file : row.files) {
      EXPECT_TRUE(fs::exists(fs::path(corpus) / row.folder / file)) << "an exception for no file: " << file;
    }
  }
}

// Formats whose detectors other tests cover: whatever they are, they are no mail.
TEST(DetectCorpus, OtherContainersAreNeverMail) {
  const std::string corpus = Folder();
  if (corpus.empty()) GTEST_SKIP() << "set BRIX_CORPUS to a folder of sample archives to run this";
  for (const char* folder : {"msi", "nested", "office", "ole", "zip"}) {
    for (const auto& entry : fs::directory_iterator(fs::path(corpus) / folder)) {
      EXPECT_NE(TypeOfFile(entry.path()), 9u) << entry.path().filename();
    }
  }
}

}  // namespace
}  // namespace brix

#include <gtest/gtest.h>

#include <memory>

#include "core/crc32.h"
#include "core/memory_stream.h"
#include "formats/classic/zip/zip_detect.h"
#include "formats/registry.h"
#include "support/bytes.h"
#include "support/handler_walk.h"
#include "support/zip_builder.h"
#include "support/zip_packers.h"

namespace brix {
namespace {

constexpr uint32_t kZip = 16;

std::string Text(const std::vector<uint8_t>& bytes) { return {bytes.begin(), bytes.end()}; }

// "hello" in one fixed block.
Bytes DeflatedHello() { return Bytes({0xCB, 0x48, 0xCD, 0xC9, 0xC9, 0x07, 0x00}); }

ZipMember DeflatedMember(uint32_t method = 8) {
  ZipMember member;
  member.name = "hello";
  member.data = DeflatedHello();
  member.method = method;
  member.size = 5;
  return member;
}

// The walk as one line: name=content, a name without content when the extraction failed ("!2": with that
// memberStatus, unless 1), and "$" when the walk came to its end.
std::string Summary(const Walk& walk) {
  std::string text;
  for (const WalkedMember& member : walk.members) {
    text += member.name;
    if (member.extracted || !member.data.empty()) text += "=" + Text(member.data);
    if (!member.extracted) text += "!";
    if (member.status != 1) text += std::to_string(member.status);
    text += " ";
  }
  return text + (walk.finished ? "$" : "damaged");
}

std::string WalkOf(const Bytes& bytes, uint32_t max_bytes = 0) {
  return Summary(WalkWith(kZip, bytes.data, max_bytes));
}
std::string WalkOf(const ZipMember& member) { return WalkOf(BuildZip({member}).bytes); }

bool Detected(const Bytes& bytes, zip::Directory* found = nullptr) {
  FixedMemoryStream in(bytes.data);
  zip::Directory ignored;
  const bool located = zip::LocateDirectory(in, found != nullptr ? found : &ignored);
  EXPECT_EQ(Formats().DetectArchiveType(in, 0) == kZip, located);
  return located;
}

TEST(Zip, FindsTheEndRecordFromTheEndOfTheFile) {
  const ZipFile plain = BuildZip({StoredMember("a", "text")});
  const auto with_tail = [&](size_t tail, uint8_t value) { return Bytes(plain.bytes).Fill(tail, value); };
  const struct {
    const char* label;
    Bytes file;
    bool detected;
  } rows[] = {
      {"as written", plain.bytes, true},
      {"one byte behind it", with_tail(1, 'x'), true},
      {"the longest tail", with_tail(65978, 'x'), true},
      {"one byte more", with_tail(65979, 'x'), false},
      {"a tail of first signature bytes", with_tail(65978, 'P'), true},
      {"end record cut by a byte", Bytes(plain.bytes).CutTo(plain.bytes.size() - 1), false},
      {"a later signature with too little behind it", with_tail(4, 0).Text("PK\5\6").Fill(17, 0), true},
      {"shorter than an end record", Bytes().Text("PK\5\6").Fill(17, 0), false},
      {"an end record alone", Bytes().Text("PK\5\6").Fill(18, 0), false},
      {"empty", Bytes(), false},
  };
  for (const auto& row : rows) EXPECT_EQ(Detected(row.file), row.detected) << row.label;
}

TEST(Zip, TheLastEndRecordCountsWhereverAPieceIsCut) {
  // Every distance of the signature from the end around the seams of the 16 KiB pieces, which are read
  // backwards from 18 bytes before the end with 3 bytes in common.
  const ZipFile zip = BuildZip({StoredMember("a", "text")});
  for (uint32_t seam = 1; seam <= 4; ++seam) {
    for (uint32_t around = 0; around < 40; ++around) {
      const uint32_t tail = seam * (16384 - 3) - 20 + around;
      EXPECT_TRUE(Detected(Bytes(zip.bytes).Fill(tail, 'K'))) << tail;
    }
  }
  // Two signatures so near that one step of the search sees both.
  for (uint32_t tail = 1; tail <= 16; ++tail) {
    Bytes near(std::vector<uint8_t>(zip.bytes.data.begin(), zip.bytes.data.begin() + zip.end_at));
    near.Text("PK\5\6").Fill(4, 0).Text("PK\5\6").Fill(8, 0).U32(zip.end_at - zip.directory_at + 8);
    EXPECT_TRUE(Detected(near.U32(zip.directory_at).U16(0).Fill(tail, 0))) << tail;
  }
  // A former end record, as an archive that was appended to has, must not win.
  zip::Directory found;
  const Bytes two = Bytes(zip.bytes).Fill(100, 0);
  ZipFile second = BuildZip({StoredMember("b", "more")}, "comment", two);
  ASSERT_TRUE(Detected(second.bytes, &found));
  EXPECT_EQ(found.position, second.directory_at);
}

TEST(Zip, TheDirectoryMustStandWhereItsEndPutsIt) {
  const ZipFile zip = BuildZip({StoredMember("a", "text")});
  const uint32_t end = zip.end_at;
  const uint32_t record = zip.record_at[0];
  const struct {
    const char* label;
    Bytes file;
    bool detected;
  } rows[] = {
      {"directory size a byte too large", Bytes(zip.bytes).PatchU32(end + 12, end - record + 1), false},
      {"directory size beyond the start of the file", Bytes(zip.bytes).PatchU32(end + 12, end + 1), false},
      {"directory size all ones", Bytes(zip.bytes).PatchU32(end + 12, 0xFFFFFFFF), false},
      {"a negative directory size, so that its record stands behind its end",
       Bytes(zip.bytes).PatchU32(end + 12, 0u - 22).Text("PK\1\2").Fill(42, 0), false},
      {"directory signature differs", Bytes(zip.bytes).PatchU8(record + 3, 3), false},
      {"local signature differs", Bytes(zip.bytes).PatchU8(0, 'Q'), false},
      {"local offset behind the end of the file", Bytes(zip.bytes).PatchU32(record + 42, 0xFFFFFFFF), false},
      {"stored directory offset is not looked at", Bytes(zip.bytes).PatchU32(end + 16, 0xFFFFFFFF), true},
      {"nor the counts of members", Bytes(zip.bytes).PatchU32(end + 8, 0), true},
      {"no record at all", BuildZip({}).bytes, false},
  };
  for (const auto& row : rows) EXPECT_EQ(Detected(row.file), row.detected) << row.label;
}

TEST(Zip, APrefixThatOffsetsCountNeedsNoCorrection) {
  const ZipFile zip = BuildZip({StoredMember("a", "text")}, "", Bytes().Fill(77, 'x'));
  zip::Directory found;
  ASSERT_TRUE(Detected(zip.bytes, &found));
  EXPECT_EQ(found.prefix_length, 0u);
  EXPECT_EQ(WalkOf(zip.bytes), "a=text $");
}

TEST(Zip, KeepsTheFirstLocalHeaderLookedForWithoutThePrefix) {
  // The data in front are themselves an archive, so its first header stands at the stored offset 0; the
  // offsets do not count it.
  const ZipFile front = BuildZip({StoredMember("front", "1")});
  ZipFile behind = BuildZip({StoredMember("behind", "2")});
  const Bytes joined = Bytes(front.bytes).Raw(behind.bytes);
  zip::Directory found;
  ASSERT_TRUE(Detected(joined, &found));
  EXPECT_EQ(found.prefix_length, front.bytes.size());
  EXPECT_EQ(WalkOf(joined), "behind=2 $");
  // With other data in front it is not a ZIP at all.
  EXPECT_FALSE(Detected(Bytes().Fill(front.bytes.size(), 'x').Raw(behind.bytes)));
}

TEST(Zip, WalksMembersAndSkipsThoseWithoutData) {
  const ZipMember folder = StoredMember("folder/", "");
  const ZipMember a = StoredMember("a", "first");
  const struct {
    const char* label;
    std::vector<ZipMember> members;
    const char* walk;
  } rows[] = {
      {"one", {a}, "a=first $"},
      {"empty ones between", {folder, a, folder, DeflatedMember(), folder}, "a=first hello=hello $"},
      {"only folders and empty files", {folder, StoredMember("empty", "")}, "$"},
      {"no names at all", {StoredMember("", "x")}, "unknown=x $"},
      {"a name that begins with a zero byte", {StoredMember(std::string("\0evil", 5), "x")}, "unknown=x $"},
      {"the same inflater for several members",
       {DeflatedMember(), DeflatedMember(9), DeflatedMember()},
       "hello=hello hello=hello hello=hello $"},
  };
  for (const auto& row : rows) EXPECT_EQ(WalkOf(BuildZip(row.members).bytes), row.walk) << row.label;
}

TEST(Zip, TheLocalNameReplacesTheDirectorys) {
  ZipMember other = StoredMember("directory", "x");
  other.local_name = "local";
  ZipMember none = StoredMember("directory", "x");
  none.local_name = "";
  EXPECT_EQ(WalkOf(other), "local=x $");
  EXPECT_EQ(WalkOf(none), "directory=x $");

  // The second header is not there: only its name is lost, and the data with it.
  const ZipFile zip = BuildZip({StoredMember("a", "1"), other});
  EXPECT_EQ(WalkOf(Bytes(zip.bytes).PatchU8(zip.local_at[1], 'Q')), "a=1 directory! $");
  // It would lie behind the end of the file: that is damage.
  EXPECT_EQ(WalkOf(Bytes(zip.bytes).PatchU32(zip.record_at[1] + 42, zip.bytes.size() - 3)), "a=1 damaged");
  // The name in it reaches behind the end of the file.
  const Bytes cut_name = Bytes(zip.bytes).Text("PK\3\4").Fill(22, 0).U16(200).U16(0).Text("name");
  EXPECT_EQ(WalkOf(Bytes(cut_name).PatchU32(zip.record_at[1] + 42, zip.bytes.size())), "a=1 unknown! $");
}

TEST(Zip, NamesAreCutTo511Bytes) {
  for (const size_t length : {510u, 511u, 512u, 600u, 65535u}) {
    const std::string name(length, 'n');
    ZipMember local_only = StoredMember("short", "x");
    local_only.local_name = name;
    for (const ZipMember& member : {StoredMember(name, "x"), local_only}) {
      const ZipFile zip = BuildZip({member, StoredMember("next", "y")});
      EXPECT_EQ(WalkOf(zip.bytes), name.substr(0, 511) + "=x next=y $");
    }
  }
}

TEST(Zip, DamagedRecordsStopTheWalk) {
  const ZipFile zip = BuildZip({StoredMember("a", "1"), StoredMember("b", "2")});
  const uint32_t second = zip.record_at[1];
  const struct {
    const char* label;
    Bytes file;
    const char* walk;
  } rows[] = {
      {"second signature", Bytes(zip.bytes).PatchU8(second, 'Q'), "a=1 damaged"},
      {"comment length of the first", Bytes(zip.bytes).PatchU16(zip.record_at[0] + 32, 1), "a=1 damaged"},
      {"extra fields behind the end of the file", Bytes(zip.bytes).PatchU16(second + 30, 0xFFFF),
       "a=1 b=2 damaged"},
      {"name behind the end of the file", Bytes(zip.bytes).PatchU16(second + 28, 100), "a=1 damaged"},
      {"no end signature where the walk ends", Bytes(zip.bytes).PatchU16(zip.record_at[1] + 32, 1),
       "a=1 b=2 damaged"},
      // A record that begins in the end record: its fixed part is cut.
      {"record cut in its fixed part",
       Bytes(zip.bytes).PatchU16(second + 32, 18).PatchU32(zip.end_at + 18, 0x02014B50), "a=1 b=2 damaged"},
  };
  for (const auto& row : rows) EXPECT_EQ(WalkOf(row.file), row.walk) << row.label;
}

TEST(Zip, ALocalOffsetThatWrapsWithThePrefixIsDamage) {
  const ZipFile zip = BuildZip({StoredMember("a", "1"), StoredMember("b", "2")});
  // A stored directory offset one too small makes a prefix of 1.
  const Bytes shifted = Bytes(zip.bytes)
                            .PatchU32(zip.end_at + 16, zip.directory_at - 1)
                            .PatchU32(zip.record_at[1] + 42, 0xFFFFFFFF);
  EXPECT_EQ(WalkOf(shifted), "a! damaged");
}

TEST(Zip, TellsWhyAMemberIsRefused) {
  ZipMember encrypted = DeflatedMember();
  encrypted.flags = 1;
  ZipMember encrypted_ppmd = DeflatedMember(98);
  encrypted_ppmd.flags = 1;
  ZipMember encrypted_unknown = DeflatedMember(99);
  encrypted_unknown.flags = 1;
  ZipMember local_encrypted = DeflatedMember();
  local_encrypted.local_flags = 1;
  ZipMember local_tokenized = DeflatedMember();
  local_tokenized.local_method = 7;
  const struct {
    const char* label;
    ZipMember member;
    const char* walk;
  } rows[] = {
      {"encrypted", encrypted, "hello!2 $"},
      {"encrypted comes before PPMd", encrypted_ppmd, "hello!2 $"},
      {"and before an unknown method", encrypted_unknown, "hello!2 $"},
      {"only the directory's flag counts", local_encrypted, "hello=hello $"},
      {"PPMd", DeflatedMember(98), "hello!3 $"},
      {"an unknown method", DeflatedMember(12), "hello! $"},
      {"tokenized", DeflatedMember(7), "hello! $"},
      {"tokenized by the local header", local_tokenized, "hello! $"},
  };
  for (const auto& row : rows) EXPECT_EQ(WalkOf(row.member), row.walk) << row.label;
  // The status belongs to one member.
  EXPECT_EQ(WalkOf(BuildZip({encrypted, StoredMember("a", "1")}).bytes), "hello!2 a=1 $");
}

TEST(Zip, TheLocalHeaderCorrectsMethodAndSizes) {
  const auto changed = [](auto change) {
    ZipMember member = DeflatedMember();
    change(member);
    return member;
  };
  const struct {
    const char* label;
    ZipMember member;
    const char* walk;
  } rows[] = {
      {"method", changed([](ZipMember& m) { m.method = 1, m.local_method = 8; }), "hello=hello $"},
      {"a method of 10 or more does not", changed([](ZipMember& m) { m.local_method = 12; }),
       "hello=hello $"},
      {"uncompressed size", changed([](ZipMember& m) { m.local_size = 3; }), "hello=hel $"},
      {"an uncompressed size of 0 does not", changed([](ZipMember& m) { m.local_size = 0; }),
       "hello=hello $"},
      {"nor one of all ones", changed([](ZipMember& m) { m.size = 3, m.local_size = 0xFFFFFFFF; }),
       "hello=hel $"},
      {"compressed size", changed([](ZipMember& m) { m.compressed_size = 1, m.local_compressed_size = 7; }),
       "hello=hello $"},
      {"a compressed size of 0 does not", changed([](ZipMember& m) { m.local_compressed_size = 0; }),
       "hello=hello $"},
      {"nor any behind a data descriptor flag",
       changed([](ZipMember& m) { m.local_flags = 8, m.local_size = 3; }), "hello=hello $"},
      {"the directory's descriptor flag does not count",
       changed([](ZipMember& m) { m.flags = 8, m.local_flags = 0, m.local_size = 3; }), "hello=hel $"},
      {"sizes behind the data", changed([](ZipMember& m) { m.data_descriptor = true; }), "hello=hello $"},
      {"extra fields in front of the data", changed([](ZipMember& m) { m.local_extra.Fill(9, 'x'); }),
       "hello=hello $"},
      {"no uncompressed size anywhere", changed([](ZipMember& m) { m.size = 0; }), "hello=hello $"},
      {"an uncompressed size beyond the data", changed([](ZipMember& m) { m.size = 6; }), "hello=hello $"},
      {"compressed data cut short", changed([](ZipMember& m) { m.compressed_size = 3; }), "hello=he! $"},
  };
  for (const auto& row : rows) EXPECT_EQ(WalkOf(row.member), row.walk) << row.label;
}

TEST(Zip, KeepsTheCheckForSizesElsewhereToDeflate64) {
  ZipMember member = DeflatedMember(9);
  EXPECT_EQ(WalkOf(member), "hello=hello $");
  member.size = 0xFFFFFFFF;
  EXPECT_EQ(WalkOf(member), "hello! $");
  member.size = 5;
  member.compressed_size = 0xFFFFFFFF;
  member.local_compressed_size = 7;  // would mend it, but comes too late
  EXPECT_EQ(WalkOf(member), "hello! $");
  member.method = 8;
  EXPECT_EQ(WalkOf(member), "hello=hello $");
  member.size = 0xFFFFFFFF;
  member.local_compressed_size.reset();
  EXPECT_EQ(WalkOf(member), "hello=hello $");
}

TEST(Zip, StoredMembersReachToTheEndOfACutFile) {
  ZipMember member = StoredMember("a", "text");
  const auto sized = [&](std::optional<uint32_t> compressed, std::optional<uint32_t> size) {
    member.compressed_size = compressed;
    member.size = size;
    return BuildZip({member});
  };
  EXPECT_EQ(WalkOf(sized({}, 1).bytes), "a=text $") << "the compressed size counts";
  EXPECT_EQ(WalkOf(sized({}, 0).bytes), "a=text $");
  EXPECT_EQ(WalkOf(sized(2, 4).bytes), "a=te $");
  const ZipFile zip = sized(0xFFFFFFFF, 0xFFFFFFFF);
  EXPECT_EQ(WalkOf(zip.bytes), "a=" + Text({zip.bytes.data.begin() + 31, zip.bytes.data.end()}) + " $");
  EXPECT_EQ(WalkOf(zip.bytes, 2), "a=te $");
  // Nothing is left of it: the local header's lengths put the data behind the end.
  EXPECT_EQ(WalkOf(Bytes(zip.bytes).PatchU16(28, 0xFFFF)), "a! $");
}

TEST(Zip, LimitsAndSizes) {
  const ZipFile zip = BuildZip({DeflatedMember(), StoredMember("a", "text")});
  EXPECT_EQ(WalkOf(zip.bytes, 3), "hello=hel a=tex $");
  EXPECT_EQ(WalkOf(zip.bytes, 5), "hello=hello a=text $");

  FixedMemoryStream in(zip.bytes.data);
  const std::unique_ptr<ArchiveHandler> handler(Formats().CreateArchiveHandlerAnyType(&in, 0, 0));
  ASSERT_NE(handler, nullptr);
  EXPECT_EQ(handler->GetTypeId(), kZip);
  char name[kNameBufferSize];
  ASSERT_TRUE(handler->OpenArchive(name));
  uint32_t size = 0;
  uint32_t io_size = 3;
  EXPECT_FALSE(handler->GetMemberSize(&size, &io_size));
  EXPECT_EQ(io_size, 4u);
  EXPECT_TRUE(handler->GetMemberSize(&size, &io_size));
  EXPECT_EQ(size, 5u);
  // The end stays the end.
  ASSERT_TRUE(handler->NextMember(name));
  for (int i = 0; i < 2; ++i) {
    ASSERT_TRUE(handler->NextMember(name));
    EXPECT_STREQ(name, "");
  }
}

TEST(Zip, KeepsTheHeaderOffsetMovedSoThatASecondExtractionFails) {
  const ZipFile zip = BuildZip({DeflatedMember()});
  FixedMemoryStream in(zip.bytes.data);
  const std::unique_ptr<ArchiveHandler> handler(Formats().CreateArchiveHandlerAnyType(&in, 0, 0));
  ASSERT_NE(handler, nullptr);
  char name[kNameBufferSize];
  ASSERT_TRUE(handler->OpenArchive(name));
  MemoryStream out;
  uint32_t written = 0;
  EXPECT_TRUE(handler->ExtractMember(&out, 0, &written));
  EXPECT_EQ(written, 5u);
  EXPECT_FALSE(handler->ExtractMember(&out, 0, &written));
  EXPECT_EQ(written, 0u);
}

TEST(Zip, MethodAndFlagsChooseTheDecoder) {
  std::string plain;
  for (int i = 0; i < 300; ++i) plain += "member " + std::to_string(i * 7) + (i % 3 == 0 ? "\n" : ", ");
  const auto bytes = Bytes().Text(plain);
  std::vector<ZipMember> members;
  const auto add = [&](uint32_t method, uint32_t flags, const std::vector<uint8_t>& packed) {
    ZipMember member;
    member.name = std::to_string(method) + "/" + std::to_string(flags);
    member.data = Bytes(packed);
    member.method = method;
    member.flags = flags;
    member.size = bytes.size();
    members.push_back(member);
  };
  // Twice, since the decoders are used again.
  for (int round = 0; round < 2; ++round) {
    add(1, 0, PackShrink(bytes.data, 0));
    for (uint32_t factor = 1; factor <= 4; ++factor) add(1 + factor, 0, PackReduce(bytes.data, factor));
    add(6, 0, PackImplode(bytes.data, 4096, 2, 9));
    add(6, 2, PackImplode(bytes.data, 8192, 2, 9));
    add(6, 4, PackImplode(bytes.data, 4096, 3, 9));
    add(6, 6, PackImplode(bytes.data, 8192, 3, 9));
  }
  const Walk walk = WalkWith(kZip, BuildZip(members).bytes.data);
  ASSERT_EQ(walk.members.size(), members.size());
  for (const WalkedMember& member : walk.members) {
    EXPECT_TRUE(member.extracted) << member.name;
    EXPECT_EQ(Text(member.data), plain) << member.name;
  }
}

TEST(Zip, ReadsWhatCommonToolsWrite) {
  const struct {
    const char* file;
    const char* walk;  // name, size, CRC-32, or the status of a member that is refused
  } rows[] = {
      {"plain.zip", "folder/inner.txt 19 b7e894fd, text.txt 3708 a97c774a, "},
      {"streamed.zip", "text.txt 3708 a97c774a, "},
      {"deflate64.zip", "text.txt 3708 a97c774a, "},
      {"ppmd.zip", "text.txt refused 3, "},
      {"encrypted.zip", "folder/inner.txt refused 2, "},
      {"prefixed.zip", "folder/inner.txt 19 b7e894fd, "},
  };
  for (const auto& row : rows) {
    const std::vector<uint8_t> file = Fixture(std::string("zip/") + row.file);
    EXPECT_TRUE(Detected(Bytes(file))) << row.file;
    const Walk walk = WalkWith(kZip, file);
    EXPECT_TRUE(walk.finished) << row.file;
    std::string text;
    for (const WalkedMember& member : walk.members) {
      char piece[64];
      std::snprintf(piece, sizeof piece, " %zu %08x, ", member.data.size(), Crc32(member.data));
      text += member.name + (member.extracted ? piece : " refused " + std::to_string(member.status) + ", ");
    }
    EXPECT_EQ(text, row.walk) << row.file;
  }
}

TEST(Zip, SurvivesDamage) {
  ZipMember descriptor = DeflatedMember(9);
  descriptor.data_descriptor = true;
  SweepDamage(kZip, BuildZip({StoredMember("a", "text"), DeflatedMember(), StoredMember("folder/", ""),
                              descriptor, DeflatedMember(98)},
                             "comment")
                        .bytes.data);
}

}  // namespace
}  // namespace brix

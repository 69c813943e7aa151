// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// zip_test.cpp - archives with one field spoiled, and what a walk over them shows.
#include <gtest/gtest.h>

#include <concepts>
#include <memory>

#include "core/memory_stream.h"
#include "formats/classic/zip/zip_detect.h"
#include "formats/registry.h"
#include "support/bytes.h"
#include "support/handler_walk.h"
#include "support/rows.h"
#include "support/zip_builder.h"
#include "support/zip_codes.h"

namespace brix {
namespace {

constexpr uint32_t kZip = 16;

using Data = std::vector<uint8_t>;

// "hello" in one fixed block, `change`d.
template <std::invocable<ZipMember&> Change>
ZipMember Hello(Change change) {
  ZipMember member;
  member.name = "hello";
  member.data = Bytes({0xCB, 0x48, 0xCD, 0xC9, 0xC9, 0x07, 0x00});
  member.method = 8;
  member.size = 5;
  change(member);
  return member;
}
ZipMember Hello(uint32_t method = 8) {
  return Hello([=](ZipMember& m) { m.method = method; });
}

std::string WalkOf(const Bytes& bytes, uint32_t max_bytes = 0) {
  return WalkText(kZip, bytes.data, max_bytes);
}
std::string WalkOf(const std::vector<ZipMember>& members) { return WalkOf(BuildZip(members).bytes); }
std::string WalkOf(const ZipMember& member) { return WalkOf(std::vector{member}); }

const auto kWalkOf = [](const auto& input) { return WalkOf(input); };

bool Locate(const Bytes& bytes, zip::Directory* found) {
  FixedMemoryStream in(bytes.data);
  const bool located = zip::LocateDirectory(in, found);
  EXPECT_EQ(Formats().DetectArchiveType(in, 0) == kZip, located);
  return located;
}
bool Detected(const Bytes& bytes) {
  zip::Directory found;
  return Locate(bytes, &found);
}

TEST(Zip, FindsTheEndRecordFromTheEndOfTheFile) {
  const Bytes plain = BuildZip({StoredMember("a", "text")}).bytes;
  const auto with_tail = [&](size_t tail, uint8_t value) { return Bytes(plain).Fill(tail, value); };
  const Rows<Bytes, bool> rows = {
      {"as written", plain, true},
      {"one byte behind it", with_tail(1, 'x'), true},
      {"the longest tail", with_tail(65978, 'x'), true},
      {"one byte more", with_tail(65979, 'x'), false},
      {"a tail of first signature bytes", with_tail(65978, 'P'), true},
      {"end record cut by a byte", Bytes(plain).CutTo(plain.size() - 1), false},
      {"a later signature with too little behind it", with_tail(4, 0).Text("PK\5\6").Fill(17, 0), true},
      {"shorter than an end record", Bytes().Text("PK\5\6").Fill(17, 0), false},
      {"empty", Bytes(), false},
  };
  ExpectRows(rows, Detected);
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
    Bytes near = Bytes(zip.bytes).CutTo(zip.end_at).Text("PK\5\6").Fill(4, 0).Text("PK\5\6").Fill(8, 0);
    near.U32(zip.end_at - zip.directory_at + 8).U32(zip.directory_at).U16(0).Fill(tail, 0);
    EXPECT_TRUE(Detected(near)) << tail;
  }
  // A former end record, as an archive that was appended to has, must not win.
  const ZipFile second = BuildZip({StoredMember("b", "more")}, "comment", Bytes(zip.bytes).Fill(100, 0));
  zip::Directory found;
  ASSERT_TRUE(Locate(second.bytes, &found));
  EXPECT_EQ(found.position, second.directory_at);
}

TEST(Zip, TheDirectoryMustStandWhereItsEndPutsIt) {
  const ZipFile zip = BuildZip({StoredMember("a", "text")});
  const uint32_t end = zip.end_at;
  const uint32_t record = zip.record_at[0];
  const auto patched = [&](uint32_t at, uint32_t value) { return Bytes(zip.bytes).PatchU32(at, value); };
  const Rows<Bytes, bool> rows = {
      {"directory size a byte too large", patched(end + 12, end - record + 1), false},
      {"directory size beyond the start of the file", patched(end + 12, end + 1), false},
      {"directory size all ones", patched(end + 12, 0xFFFFFFFF), false},
      {"a negative size, so that the record stands behind its end",
       patched(end + 12, 0u - 22).Text("PK\1\2").Fill(42, 0), false},
      {"directory signature differs", Bytes(zip.bytes).PatchU8(record + 3, 3), false},
      {"local signature differs", Bytes(zip.bytes).PatchU8(0, 'Q'), false},
      {"local offset behind the end of the file", patched(record + 42, 0xFFFFFFFF), false},
      {"stored directory offset is not looked at", patched(end + 16, 0xFFFFFFFF), true},
      {"nor the counts of members", patched(end + 8, 0), true},
      {"no record at all", BuildZip({}).bytes, false},
  };
  ExpectRows(rows, Detected);
}

TEST(Zip, KeepsTheFirstLocalHeaderLookedForWithoutThePrefix) {
  // The data in front are themselves an archive, so its first header stands at the stored offset 0; the
  // offsets do not count it.
  const Bytes front = BuildZip({StoredMember("front", "1")}).bytes;
  const Bytes behind = BuildZip({StoredMember("behind", "2")}).bytes;
  zip::Directory found;
  ASSERT_TRUE(Locate(Bytes(front).Raw(behind), &found));
  EXPECT_EQ(found.prefix_length, front.size());
  EXPECT_EQ(WalkOf(Bytes(front).Raw(behind)), "behind=2 $");
  // With other data in front it is not a ZIP at all.
  EXPECT_FALSE(Detected(Bytes().Fill(front.size(), 'x').Raw(behind)));
}

TEST(Zip, KeepsMembersWithoutDataOutOfTheWalk) {
  const ZipMember folder = StoredMember("folder/", "");
  const ZipMember a = StoredMember("a", "first");
  const Rows<std::vector<ZipMember>, const char*> rows = {
      {"empty ones between", {folder, a, folder, Hello(), folder}, "a=first hello=hello $"},
      {"only folders and empty files", {folder, StoredMember("empty", "")}, "$"},
      {"no names at all", {StoredMember("", "x")}, "unknown=x $"},
      {"a name that begins with a zero byte", {StoredMember(std::string("\0evil", 5), "x")}, "unknown=x $"},
      {"the same inflater again", {Hello(), Hello(9), Hello()}, "hello=hello hello=hello hello=hello $"},
  };
  ExpectRows(rows, kWalkOf);
}

TEST(Zip, TheLocalNameReplacesTheDirectorys) {
  ZipMember other = StoredMember("directory", "x");
  other.local_name = "";
  EXPECT_EQ(WalkOf(other), "directory=x $");
  other.local_name = "local";
  const ZipFile zip = BuildZip({StoredMember("a", "1"), other});
  const auto with_header_at = [&](Bytes file, uint32_t at) {
    return file.PatchU32(zip.record_at[1] + 42, at);
  };
  const Bytes cut_name = Bytes(zip.bytes).Text("PK\3\4").Fill(22, 0).U16(200).U16(0).Text("name");
  const Rows<Bytes, const char*> rows = {
      {"as written", zip.bytes, "a=1 local=x $"},
      {"no such header: its name is lost, and the data", Bytes(zip.bytes).PatchU8(zip.local_at[1], 'Q'),
       "a=1 directory! $"},
      {"a header that the end of the file cuts", with_header_at(zip.bytes, zip.bytes.size() - 3),
       "a=1 directory! $"},
      {"a name that reaches behind it", with_header_at(cut_name, zip.bytes.size()), "a=1 unknown! $"},
  };
  ExpectRows(rows, kWalkOf);
}

TEST(Zip, NamesAreCutTo511Bytes) {
  for (const size_t length : {510u, 511u, 512u, 65535u}) {
    const std::string name(length, 'n');
    ZipMember local_only = StoredMember("short", "x");
    local_only.local_name = name;
    for (const ZipMember& member : {StoredMember(name, "x"), local_only}) {
      EXPECT_EQ(WalkOf({member, StoredMember("next", "y")}), name.substr(0, 511) + "=x next=y $");
    }
  }
}

TEST(Zip, DamagedRecordsStopTheWalk) {
  const ZipFile zip = BuildZip({StoredMember("a", "1"), StoredMember("b", "2")});
  const uint32_t second = zip.record_at[1];
  const auto patched = [&](uint32_t at, uint32_t value) { return Bytes(zip.bytes).PatchU16(at, value); };
  const Rows<Bytes, const char*> rows = {
      {"second signature", patched(second, 'Q'), "a=1 damaged"},
      {"comment length of the first", patched(zip.record_at[0] + 32, 1), "a=1 damaged"},
      {"extra fields behind the end of the file", patched(second + 30, 0xFFFF), "a=1 b=2 damaged"},
      {"name behind the end of the file", patched(second + 28, 100), "a=1 damaged"},
      // A record that begins in the end record: its fixed part is cut.
      {"record cut in its fixed part", patched(second + 32, 18).PatchU32(zip.end_at + 18, 0x02014B50),
       "a=1 b=2 damaged"},
  };
  ExpectRows(rows, kWalkOf);
}

TEST(Zip, KeepsFollowingRecordsToAnEndSignature) {
  const ZipFile zip = BuildZip({StoredMember("a", "1"), StoredMember("b", "2")});
  const uint32_t second = zip.record_at[1];
  const auto patched = [&](uint32_t at, uint32_t value) { return Bytes(zip.bytes).PatchU32(at, value); };
  const Bytes until_end = Bytes(zip.bytes).CutTo(zip.end_at);
  const Bytes end(std::vector<uint8_t>(zip.bytes.data.begin() + zip.end_at, zip.bytes.data.end()));
  const Rows<Bytes, const char*> rows = {
      {"a count of one", patched(zip.end_at + 8, 0x00010001), "a=1 b=2 $"},
      {"a count of three", patched(zip.end_at + 8, 0x00030003), "a=1 b=2 $"},
      {"an earlier end signature", patched(second, 0x06054B50), "a=1 $"},
      {"none", patched(second + 30, 0x00010000), "a=1 b=2 damaged"},
      {"a ZIP64 record before it, whose size is counted",
       Bytes(until_end).Text("PK\6\6").Fill(52, 0).Raw(end).PatchU32(zip.end_at + 56 + 12,
                                                                     zip.end_at - zip.directory_at + 56),
       "a=1 b=2 damaged"},
  };
  ExpectRows(rows, kWalkOf);
}

TEST(Zip, ARecordOfNoLocalHeaderIsAMemberThatFails) {
  const ZipFile zip = BuildZip({StoredMember("a", "1"), StoredMember("b", "2"), StoredMember("c", "3")});
  const auto second_at = [&](uint32_t offset) {
    return Bytes(zip.bytes).PatchU32(zip.record_at[1] + 42, offset);
  };
  Bytes unnamed =
      Bytes(zip.bytes).PatchU32(zip.record_at[1] + 42, 0x7FFFFFF0).PatchU8(zip.record_at[1] + 46, 0);
  const Rows<Bytes, const char*> rows = {
      {"at the end of the file", second_at(zip.bytes.size()), "a=1 b! c=3 $"},
      {"far outside", second_at(0x7FFFFFF0), "a=1 b! c=3 $"},
      {"the last offset of all", second_at(0xFFFFFFFF), "a=1 b! c=3 $"},
      {"without a name", unnamed, "a=1 unknown! c=3 $"},
      // A stored directory offset one too small makes a prefix of 1, which all others miss their headers by.
      {"a sum with the prefix that does not fit",
       second_at(0xFFFFFFFF).PatchU32(zip.end_at + 16, zip.directory_at - 1), "a! b! c! $"},
  };
  ExpectRows(rows, kWalkOf);
}

TEST(Zip, TellsWhyAMemberIsRefused) {
  const auto encrypted = [](uint32_t method) {
    return Hello([=](ZipMember& m) { m.flags = 1, m.method = method; });
  };
  const Rows<std::vector<ZipMember>, const char*> rows = {
      {"the status belongs to one member", {encrypted(8), StoredMember("a", "1")}, "hello!2 a=1 $"},
      {"encrypted comes before PPMd", {encrypted(98)}, "hello!2 $"},
      {"and before an unknown method", {encrypted(99)}, "hello!2 $"},
      {"only the directory's flag counts", {Hello([](auto& m) { m.local_flags = 1; })}, "hello=hello $"},
      {"PPMd", {Hello(98)}, "hello!3 $"},
      {"an unknown method", {Hello(12)}, "hello! $"},
      {"tokenized", {Hello(7)}, "hello! $"},
      {"tokenized by the local header", {Hello([](auto& m) { m.local_method = 7; })}, "hello! $"},
  };
  ExpectRows(rows, kWalkOf);
}

TEST(Zip, TheLocalHeaderCorrectsMethodAndSizes) {
  const Rows<ZipMember, const char*> rows = {
      {"method", Hello([](auto& m) { m.method = 1, m.local_method = 8; }), "hello=hello $"},
      {"a method of 10 does not", Hello([](auto& m) { m.local_method = 10; }), "hello=hello $"},
      {"uncompressed size", Hello([](auto& m) { m.local_size = 3; }), "hello=hel $"},
      {"a size of 0 does not", Hello([](auto& m) { m.local_size = 0; }), "hello=hello $"},
      {"nor one of all ones", Hello([](auto& m) { m.size = 3, m.local_size = ~0u; }), "hello=hel $"},
      {"compressed", Hello([](auto& m) { m.compressed_size = 1, m.local_compressed_size = 7; }),
       "hello=hello $"},
      {"a compressed size of 0 does not", Hello([](auto& m) { m.local_compressed_size = 0; }),
       "hello=hello $"},
      {"nor any behind a data descriptor flag", Hello([](auto& m) { m.local_flags = 8, m.local_size = 3; }),
       "hello=hello $"},
      {"the directory's descriptor flag does not count",
       Hello([](auto& m) { m.flags = 8, m.local_flags = 0, m.local_size = 3; }), "hello=hel $"},
      {"sizes behind the data", Hello([](auto& m) { m.data_descriptor = true; }), "hello=hello $"},
      {"extra fields in front of the data", Hello([](auto& m) { m.local_extra.Fill(9, 'x'); }),
       "hello=hello $"},
      {"no uncompressed size anywhere", Hello([](auto& m) { m.size = 0; }), "hello=hello $"},
      {"an uncompressed size beyond the data", Hello([](auto& m) { m.size = 6; }), "hello=hello $"},
      {"compressed data cut short", Hello([](auto& m) { m.compressed_size = 3; }), "hello=he! $"},
  };
  ExpectRows(rows, kWalkOf);
}

TEST(Zip, KeepsTheCheckForSizesElsewhereToDeflate64) {
  for (const uint32_t method : {8u, 9u}) {
    ZipMember member = Hello(method);
    const char* const walk = method == 9 ? "hello! $" : "hello=hello $";
    member.size = 0xFFFFFFFF;
    EXPECT_EQ(WalkOf(member), walk) << method;
    member.size = 5;
    member.compressed_size = 0xFFFFFFFF;
    member.local_compressed_size = 7;  // would mend it, but comes too late
    EXPECT_EQ(WalkOf(member), walk) << method;
  }
}

TEST(Zip, StoredMembersReachToTheEndOfACutFile) {
  const auto sized = [&](std::optional<uint32_t> compressed, uint32_t size) {
    ZipMember member = StoredMember("a", "text");
    member.compressed_size = compressed;
    member.size = size;
    return BuildZip({member}).bytes;
  };
  const Bytes ones = sized(0xFFFFFFFF, 0xFFFFFFFF);
  const Rows<Bytes, std::string> rows = {
      {"the compressed size counts", sized({}, 1), "a=text $"},
      {"also when there is no other", sized({}, 0), "a=text $"},
      {"also when it is less", sized(2, 4), "a=te $"},
      {"to the end", ones, "a=" + Text(std::span(ones.data).subspan(31)) + " $"},
      {"the local header's lengths put the data behind the end", Bytes(ones).PatchU16(28, 0xFFFF), "a! $"},
  };
  ExpectRows(rows, kWalkOf);
  EXPECT_EQ(WalkOf(ones, 2), "a=te $");
}

TEST(Zip, LimitsAndSizes) {
  const ZipFile zip = BuildZip({Hello(), StoredMember("a", "text")});
  EXPECT_EQ(WalkOf(zip.bytes, 3), "hello=hel a=tex $");
  EXPECT_EQ(WalkOf(zip.bytes, 5), "hello=hello a=text $");

  FixedMemoryStream in(zip.bytes.data);
  const std::unique_ptr<ArchiveHandler> handler(Formats().CreateArchiveHandlerAnyType(&in, 0, 0));
  ASSERT_NE(handler, nullptr);
  char name[kNameBufferSize];
  ASSERT_TRUE(handler->OpenArchive(name));
  ExpectMemberSize(*handler, 5u);
  // The end stays the end.
  ASSERT_TRUE(handler->NextMember(name));
  for (int i = 0; i < 2; ++i) {
    ASSERT_TRUE(handler->NextMember(name));
    EXPECT_STREQ(name, "");
  }
}

TEST(Zip, KeepsASecondExtractionFailing) {
  // The second's data begin with a local header, too.
  const Bytes inner = BuildZip({StoredMember("in", "first member")}).bytes;
  const ZipFile zip = BuildZip({Hello(), StoredMember("inner.zip", Text(inner.data))});
  FixedMemoryStream in(zip.bytes.data);
  const std::unique_ptr<ArchiveHandler> handler(Formats().CreateArchiveHandlerAnyType(&in, 0, 0));
  ASSERT_NE(handler, nullptr);
  char name[kNameBufferSize];
  ASSERT_TRUE(handler->OpenArchive(name));
  for (const uint32_t size : {5u, inner.size()}) {
    MemoryStream out;
    uint32_t written = 0;
    EXPECT_TRUE(handler->ExtractMember(&out, 0, &written));
    EXPECT_EQ(written, size);
    EXPECT_FALSE(handler->ExtractMember(&out, 0, &written)) << size;
    EXPECT_EQ(written, 0u);
    ASSERT_TRUE(handler->NextMember(name));
  }
}

TEST(Zip, MethodAndFlagsChooseTheDecoder) {
  std::vector<ZipMember> members;
  const auto add = [&](uint32_t method, uint32_t flags, const std::string& digest, const Data& packed) {
    ZipMember member = StoredMember(digest, "");  // named for what it gives
    member.data = Bytes(packed);
    member.method = method;
    member.flags = flags;
    member.size = static_cast<uint32_t>(std::stoul(digest));
    members.push_back(member);
  };
  // Twice, since the decoders are used again.
  for (int round = 0; round < 2; ++round) {
    add(1, 0, "45056 cfb109c8", Fixture("zip/shrink-partial-clear.bin"));
    add(5, 0, "45056 cfb109c8", Fixture("zip/reduce-4.bin"));
    for (uint32_t factor = 1; factor <= 4; ++factor) {
      // 0x70 has one bit more for the distance, which then is 257 or more, and one less for the length.
      BitWriter w;
      for (int i = 0; i < 256; ++i) w.Put(0, 6);
      w.Put('z', 8).Put(144, 8).Put(0x70, 8).Put(0, 8).Put('y', 8);
      const Bytes plain =
          Bytes().Text("z").Fill((0x70 & 0xFF >> factor) + 3, factor == 1 ? 'z' : 0).Text("y");
      add(1 + factor, 0, Digest(plain.data), w.bytes());
    }
    for (const uint32_t flags : {0u, 2u, 4u, 6u}) {
      const uint32_t trees = (flags & 4) != 0 ? 3 : 2;
      const Bytes plain = Bytes().Fill(trees, 0).Text("y");
      add(6, flags, Digest(plain.data), FarthestMatch((flags & 2) != 0 ? 8192 : 4096, trees));
    }
  }
  const Walk walk = WalkWith(kZip, BuildZip(members).bytes.data);
  ASSERT_EQ(walk.members.size(), members.size());
  for (size_t i = 0; i < members.size(); ++i) {
    EXPECT_TRUE(walk.members[i].extracted) << members[i].method << "/" << members[i].flags;
    EXPECT_EQ(Digest(walk.members[i].data), members[i].name) << members[i].method << "/" << members[i].flags;
  }
}

TEST(Zip, ReadsWhatCommonToolsWrite) {
  const Rows<const char*, const char*> rows = {
      // Name, size, CRC-32, or the status of a member that is refused.
      {"folders", "plain.zip", "folder/inner.txt 19 b7e894fd, text.txt 3708 a97c774a, "},
      {"descriptors", "streamed.zip", "text.txt 3708 a97c774a, "},
      {"Deflate64", "deflate64.zip", "text.txt 3708 a97c774a, "},
      {"PPMd", "ppmd.zip", "text.txt refused 3, "},
      {"encryption", "encrypted.zip", "folder/inner.txt refused 2, "},
      {"a prefix", "prefixed.zip", "folder/inner.txt 19 b7e894fd, "},
  };
  ExpectRows(rows, [](const std::string& file) {
    const Bytes bytes(Fixture("zip/" + file));
    EXPECT_TRUE(Detected(bytes)) << file;
    const Walk walk = WalkWith(kZip, bytes.data);
    EXPECT_TRUE(walk.finished) << file;
    std::string text;
    for (const WalkedMember& m : walk.members) {
      text += m.name + " " + (m.extracted ? Digest(m.data) : "refused " + std::to_string(m.status)) + ", ";
    }
    return text;
  });
}

TEST(Zip, SurvivesDamage) {
  const ZipMember descriptor = Hello([](auto& m) { m.method = 9, m.data_descriptor = true; });
  const ZipMember folder = StoredMember("folder/", "");
  SweepDamage(
      kZip,
      BuildZip({StoredMember("a", "text"), Hello(), folder, descriptor, Hello(98)}, "comment").bytes.data);
}

}  // namespace
}  // namespace brix

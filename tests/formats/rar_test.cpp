// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

#include <gtest/gtest.h>

#include <cstring>
#include <memory>

#include "core/memory_stream.h"
#include "formats/registry.h"
#include "support/bytes.h"
#include "support/handler_walk.h"
#include "support/rar_builder.h"
#include "support/recording_stream.h"
#include "support/rows.h"

namespace brix {
namespace {

constexpr uint32_t kRar = 12;

std::string WalkOf(const Bytes& archive) { return WalkText(kRar, archive.data); }

std::unique_ptr<ArchiveHandler> Handler(Stream& in) {
  return std::unique_ptr<ArchiveHandler>(Formats().Find(kRar)->create(&in, {kRar, 0, 0, Formats()}));
}

// A compressed member, which goes on from the one before unless it is the first.
RarMember Chained(const std::string& name, const std::string& text, bool first = false) {
  RarPacked packed;
  if (first) packed.Header();
  packed.Text(text).End(3);
  return {name, packed.bits.bytes(), static_cast<uint32_t>(text.size()), 29, '3', first ? 0x8000u : 0x8010u};
}

// Its text is that of the member before, too.
RarMember Same(const std::string& name, uint32_t size) {
  RarPacked packed;
  packed.window.resize(size);
  packed.Match(size, size).End(3);
  return {name, packed.bits.bytes(), size, 29, '3', 0x8010};
}

RarMember With(RarMember member, uint32_t more_flags, uint32_t version = 29) {
  member.flags |= more_flags;
  member.version = version;
  return member;
}

TEST(Rar, ReadsRealArchives) {
  const Rows<const char*, std::string> rows = {
      {"a last volume: the file that goes on is not shown", "rar/lz.rar",
       "\xE2\xA5\xE1\xE2.txt 15498 9bd160fa 1, $"},
      {"PPMd, the second member with the first one's model", "ppmd/solid.rar",
       "testfile.png 87 afb0ac62 1, testfile.jpg 220 da70b16c 1, $"},
      {"names in two forms, of which the first counts", "rar/unicode.rar",
       "\xD1\x83\xD0\xB8\xD0\xB8\xD0\xBE\xD0\xBE\xD1\x82\xD0\xB8\xD0\xB2\xD0\xBB.txt 2 6751fc53 1, "
       "\xF0\x9D\x90\x80\xF0\x9D\x90\x81\xF0\x9D\x90\x81\xF0\x9D\x90\x82.txt 2 6751fc53 1, $"},
      {"method 2.0, and a block of the owner's name", "rar/rar20.rar", "file.txt 4 7e3265a8 1, $"},
      {"encrypted", "rar/encrypted.rar", "foo.txt 0 00000000 2, bar.txt 0 00000000 2, $"},
  };
  ExpectRows(rows, [](const char* file) {
    const Walk walk = WalkWith(kRar, Fixture(file));
    std::string text;
    for (const WalkedMember& m : walk.members) {
      text += m.name + " " + Digest(m.data) + " " + std::to_string(m.status) + ", ";
      EXPECT_EQ(m.extracted, m.status == 1);
    }
    return text + (walk.finished ? "$" : "damaged");
  });
}

TEST(Rar, WalksTheBlocks) {
  const Bytes a = RarStored("a", "1");
  const Bytes b = RarStored("b", "2");
  const auto after = [](const Bytes& block) { return RarStart().Raw(block); };
  const auto patched = [&](uint32_t at, uint32_t value) {
    return after(RarStored("a", "1")).Raw(b).PatchU16(RarStart().size() + at, value);
  };
  const auto file = [&](RarMember member) { return after(RarFile(member)).Raw(b); };
  const RarMember stored{"f", {'x'}, 1, 29, '0'};
  const Bytes noise = Bytes().U16(0).U8(0x7A).U16(0x8000).U16(11).U32(5).Fill(5, 'x');
  const std::string long_name(600, 'n');
  const Rows<Bytes, std::string> rows = {
      {"nothing but an end", after(RarEnd()), "$"},
      {"other blocks with data", after(a).Raw(noise).Raw(b).Raw(noise), "a=1 b=2 $"},
      {"behind 600 bytes", Bytes().Fill(600, 'x').Raw(after(a)), "a=1 $"},
      {"behind 1016 bytes", Bytes().Fill(1016, 'x').Raw(after(a)), "a=1 $"},
      {"behind 1017 bytes", Bytes().Fill(1017, 'x').Raw(after(a)), "damaged"},
      {"cut in a block", after(a).Raw(b).Raw(a.data), "a=1 b=2 a=1 $"},
      {"cut in a header", after(a).Raw(Bytes(b).CutTo(20)), "a=1 damaged"},
      {"cut in a name", after(a).Raw(Bytes(b).CutTo(32)), "a=1 damaged"},
      {"cut in the data", after(a).Raw(Bytes(b).CutTo(33)), "a=1 b! damaged"},
      {"an unknown block", after(a).Raw(Bytes(noise).PatchU8(2, 0x7C)), "a=1 damaged"},
      {"another", after(a).Raw(Bytes(noise).PatchU8(2, 0x71)), "a=1 damaged"},
      {"a header of no bytes", after(a).Raw(Bytes(noise).PatchU8(5, 0)), "a=1 damaged"},
      {"a block that ends behind 4 GiB", after(a).Raw(Bytes(noise).PatchU32(7, UINT32_MAX)), "a=1 damaged"},
      {"a file that does", patched(9, 0xFFFF), "a=1 damaged"},
      {"no name", file({"", {'x'}, 1, 20, '0'}), "unknown=x b=2 $"},
      {"a name that begins with a zero byte", file({std::string("\0f", 2), {'x'}, 1, 20, '0'}),
       "unknown=x b=2 $"},
      {"a name with one", file({std::string("f\0g", 3), {'x'}, 1, 20, '0'}), "f=x b=2 $"},
      {"a long name", file({long_name, {'x'}, 1, 20, '0'}), long_name.substr(0, 511) + "=x b=2 $"},
      {"from the volume before", file(With(stored, 1)), "b=2 $"},
      {"into the next volume", file(With(stored, 2)), "b=2 $"},
      {"a directory", file(With(stored, 0xE0)), "b=2 $"},
      {"encrypted", file(With(stored, 4)), "f!2 b=2 $"},
      {"version 1.5", file(With(stored, 0, 15)), "f!3 b=2 $"},
      {"version 2.6", file(With(stored, 0, 26)), "f!3 b=2 $"},
      {"version 3.6", file(With(stored, 0, 36)), "f!3 b=2 $"},
      {"a method that is none", file({"f", {'x'}, 1, 29, '6'}), "f!3 b=2 $"},
      {"no method", file({"f", {'x'}, 1, 29, '/'}), "f!3 b=2 $"},
      {"stored data longer than they are said to be", file({"f", {'x', 'y'}, 1, 29, '0'}), "f=x b=2 $"},
      {"stored data shorter", file({"f", {'x'}, 2, 29, '0'}), "f=x b=2 $"},
      {"and cut by the end of the file",
       after(RarFile({"f", {'x', 'y'}, 3, 29, '0'})).CutTo(RarStart().size() + 34), "f=x! damaged"},
  };
  ExpectRows(rows, WalkOf);
}

TEST(Rar, KeepsWhatIsSaidOfSizesAndSumsUnread) {
  const Bytes a = RarStored("a", "1");
  const Bytes b = RarStored("b", "2");
  const auto after = [](const Bytes& block) { return RarStart().Raw(block); };
  const RarMember large{"f", {'x'}, 1, 29, '0', 0x8100};
  const RarMember no_flag{"f", {'x'}, 1, 29, '0', 0};
  RarPacked far;  // the flags' dictionary is one of 64 KiB
  far.Header().Text("far");
  while (far.plain.size() < 70000) far.Match(1, 200);
  far.Match(static_cast<uint32_t>(far.plain.size()), 4).End();
  const auto size = static_cast<uint32_t>(far.plain.size());
  const Bytes real(
      Fixture("rar/unicode.rar"));  // with true checksums, of headers at 20 and 91, of data at 36 and 107
  const std::string real_walk = WalkOf(real);
  const Rows<Bytes, std::string> rows = {
      {"whatever follows the end block", after(a).Raw(b).Raw(RarEnd()).Fill(9, 'x'), "a=1 b=2 $"},
      {"an archive that ends without one", after(a).Raw(b), "a=1 b=2 $"},
      {"a packed size without the flag for it", after(RarFile(no_flag)).Raw(b), "f=x b=2 $"},
      {"high halves of sizes", after(RarFile(large).PatchU32(32, 1).PatchU32(36, 1)).Raw(b), "f=x b=2 $"},
      {"a dictionary's size", after(RarFile({"far", far.bits.bytes(), size})),
       "far=" + Text(far.plain) + " $"},
      {"headers' checksums", Bytes(real).PatchU16(20, 0).PatchU16(91, 0), real_walk},
      {"files' checksums", Bytes(real).PatchU32(36, 0).PatchU32(107, 0), real_walk},
  };
  ExpectRows(rows, WalkOf);
  EXPECT_EQ(std::ranges::count(real_walk, '='), 2);
}

TEST(Rar, EncryptedHeadersEndTheListing) {
  const Bytes archive = RarStart(0x80).Raw(RarStored("a", "1"));
  FixedMemoryStream in(archive.data);
  char name[kNameBufferSize];
  const auto handler = Handler(in);
  EXPECT_FALSE(handler->OpenArchive(name));
  EXPECT_EQ(handler->memberStatus, kMemberEncrypted);
}

TEST(Rar, AnswersQueries) {
  for (const uint32_t flags :
       {0u, 8u}) {  // the archive's, which the hint tells; the second member is always solid
    const Bytes archive =
        RarStart(flags).Raw(RarFile(Chained("a", "text", true))).Raw(RarFile(Chained("b", "more")));
    FixedMemoryStream in(archive.data);
    char name[kNameBufferSize];
    const auto handler = Handler(in);
    ASSERT_TRUE(handler->OpenArchive(name));
    ExpectMemberSize(*handler, 4u);
    EXPECT_EQ(handler->GetMemberHint(), flags == 8 ? 3u : 0u);
    ASSERT_TRUE(handler->NextMember(name));
    EXPECT_EQ(handler->GetMemberHint(), flags == 8 ? 3u : 0u);
    ASSERT_TRUE(handler->NextMember(name));
    EXPECT_TRUE(handler->NextMember(name) && name[0] == '\0');
  }
}

TEST(Rar, ChainsNeedAStart) {
  const RarMember first = Chained("a", "text", true);
  const RarMember second = Chained("b", "more");
  const RarMember third = Same("c", 4);
  RarMember damaged = second;
  damaged.packed.assign(3, 0xFF);
  const auto archive = [](std::initializer_list<RarMember> members) {
    Bytes bytes = RarStart(8);
    for (const RarMember& m : members) bytes.Raw(RarFile(m));
    return bytes;
  };
  const RarMember stored{"s", {'x'}, 1, 20, '0', 0x8010};
  RarMember empty = first;
  empty.unpacked_size = 0;
  const Rows<Bytes, std::string> rows = {
      {"whole", archive({first, second, third}), "a=text b=more c=more $"},
      {"a stored member does not belong to it", archive({first, stored, second, third}),
       "a=text s=x b=more c=more $"},
      {"one said to be empty does", archive({empty, second, third}), "a= b=more c=more $"},
      {"the first of all begins one", archive({With(first, 0x10), second}), "a=text b=more $"},
      {"two", archive({first, third, With(first, 0), second}), "a=text c=text a=text b=more $"},
      {"a first member from another volume", archive({With(first, 1), second, third}), "b! c! $"},
      {"an encrypted one", archive({With(first, 4), second, third}), "a!2 b! c! $"},
      {"one of another version", archive({With(first, 0, 15), second, third}), "a!3 b! c! $"},
      {"damage in the middle, and a new start", archive({first, damaged, third, first, second}),
       "a=text b! c! a=text b=more $"},
  };
  ExpectRows(rows, WalkOf);
}

TEST(Rar, MembersPassedOverAreDecodedOnceWhenTheyAreNeeded) {
  constexpr uint32_t kMembers = 1000;
  const std::string text(100, 't');
  Bytes archive = RarStart(8).Raw(RarFile(Chained("first", text, true)));
  for (uint32_t i = 1; i < kMembers; ++i) archive.Raw(RarFile(Same(std::to_string(i), 100)));
  for (const uint32_t step : {1u, 3u, 499u, 999u}) {
    for (const int how : {0, 1, 2}) {  // whole, one byte, or into a stream that is full
      SCOPED_TRACE(step);
      RecordingStream in;
      uint32_t written = 0;
      ASSERT_TRUE(in.memory.WriteAt(0, archive.data.data(), archive.size(), &written));
      const auto handler = Handler(in);
      char name[kNameBufferSize];
      ASSERT_TRUE(handler->OpenArchive(name));
      for (uint32_t i = 0; name[0] != '\0'; ++i) {
        if (i != 0 && i % step == 0) {
          MemoryStream out;
          RecordingStream full;
          full.fails = true;
          const bool last = i + step >= kMembers;
          const bool whole = how == 0 || last;
          EXPECT_EQ(handler->ExtractMember(how == 2 && !last ? static_cast<Stream*>(&full) : &out,
                                           whole ? 0 : 1, &written),
                    whole || how == 1);
          if (whole) {
            EXPECT_EQ(Text(out.bytes()), text) << i;
          }
          EXPECT_FALSE(how == 0 && handler->ExtractMember(&out, 0, &written)) << "a solid member twice";
        }
        ASSERT_TRUE(handler->NextMember(name));
      }
      uint64_t read = 0;
      for (const auto& [offset, size] : in.reads) read += size;
      EXPECT_LT(read, 100 * archive.size());
      EXPECT_LT(in.reads.size(), 5 * kMembers);
    }
  }
}

TEST(Rar, DamageSweeps) {
  testing::internal::CaptureStdout();  // damaged filters are said there
  SweepDamage(kRar, Fixture("ppmd/solid.rar"));
  SweepDamage(kRar, Fixture("rar/unicode.rar"));
  RarPacked packed;
  packed.Header()
      .Filter({0, 12, RarPrograms()[5], 0, {{0, 2}}})
      .Text("some text and")
      .Match(7, 20)
      .Last()
      .End();
  SweepDamage(kRar, RarStart().Raw(RarFile({"lz", packed.bits.bytes(), 53})).Raw(RarEnd()).data);
  RarPacked sound(true);
  sound.AudioHeader(2);
  for (uint32_t i = 0; i < 90; ++i) sound.Sample(i);
  SweepDamage(kRar, RarStart().Raw(RarFile({"sound", sound.bits.bytes(), 90, 20})).Raw(RarEnd()).data, 300);
  (void)testing::internal::GetCapturedStdout();
}

}  // namespace
}  // namespace brix

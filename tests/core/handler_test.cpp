// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <tuple>

#include "api/host_stream.h"
#include "api/toolkit.h"
#include "core/archive_handler.h"
#include "core/format_table.h"
#include "core/memory_stream.h"
#include "formats/registry.h"

namespace brix {
namespace {

class BareHandler final : public ArchiveHandler {
 public:
  using ArchiveHandler::AnswerSize;
  using ArchiveHandler::ArchiveHandler;
  bool OpenArchive(char*) override { return false; }
  bool NextMember(char*) override { return false; }
  bool ExtractMember(Stream*, uint32_t, uint32_t*) override { return false; }
};

TEST(ArchiveHandler, SizeAnswerFollowsTheBufferProtocol) {
  uint32_t value = 7;
  uint32_t size = 3;
  EXPECT_FALSE(BareHandler::AnswerSize(100, &value, &size));
  EXPECT_EQ(size, 4u);
  EXPECT_EQ(value, 7u);
  EXPECT_FALSE(BareHandler::AnswerSize(100, nullptr, &size));
  size = 8;
  EXPECT_TRUE(BareHandler::AnswerSize(100, &value, &size));
  EXPECT_EQ(value, 100u);
  EXPECT_EQ(size, 4u);
}

TEST(ArchiveHandler, NamesAreCutAt511BytesAndAtAZero) {
  char name[kNameBufferSize];
  std::memset(name, 'x', sizeof name);
  CopyName(std::string(600, 'n'), name);
  EXPECT_EQ(std::string(name), std::string(511, 'n'));
  CopyName(std::string_view("a\0b", 3), name);
  EXPECT_STREQ(name, "a");
}

TEST(ArchiveHandler, KeepsSlot13Unused) {
  FixedMemoryStream in({});
  for (uint32_t type_id = 1; type_id <= kTypeCount; ++type_id) {
    const FormatEntry* const row = Formats().Find(type_id);
    if (row->create == nullptr) continue;
    const std::unique_ptr<ArchiveHandler> handler(row->create(&in, {type_id, 0, 0, Formats()}));
    EXPECT_FALSE(handler != nullptr && handler->Reserved13()) << type_id;
  }
}

TEST(FormatTable, TheFirstRowWinsAndADisabledTypeIsNotPassedOver) {
  static uint32_t created = 0;
  const auto yes = [](Stream&, uint32_t, const FormatTable&) { return true; };
  const auto no = [](Stream&, uint32_t, const FormatTable&) { return false; };
  const auto create = [](Stream* in, const HandlerArgs& args) -> ArchiveHandler* {
    created = args.type_id;
    return new BareHandler(in, args.ownership, args.type_id);
  };
  const FormatEntry rows[] = {{3, no, create}, {9, yes, create}, {4, yes, create}};
  const FormatTable table(rows);
  const uint8_t byte = 0;
  FixedMemoryStream in({&byte, 1});
  FixedMemoryStream empty({});
  EXPECT_EQ(table.DetectArchiveType(in, 0), 9u);
  EXPECT_EQ(table.DetectArchiveType(empty, 2), 0u);
  uint32_t enabled[kTypeCount];
  std::fill_n(enabled, kTypeCount, 1u);
  enabled[9 - 1] = 0;
  EXPECT_EQ(table.CreateArchiveHandler(&in, enabled, 0, 0), nullptr);
  EXPECT_EQ(created, 0u);
  const std::unique_ptr<ArchiveHandler> handler(table.CreateArchiveHandlerAnyType(&in, 0, 0));
  ASSERT_NE(handler, nullptr);
  EXPECT_EQ(handler->GetTypeId(), 9u);

  const FormatEntry recognised_only[] = {{5, yes, nullptr}, {4, yes, create}};
  EXPECT_EQ(FormatTable(recognised_only).CreateArchiveHandler(&in, nullptr, 0, 0), nullptr);
}

TEST(HostStream, AnswersThatCannotBeAreFailures) {
  static int32_t result;
  static uint32_t count;
  ArcStream record{};
  record.read = [](void*, uint32_t, void*, uint32_t, uint32_t* got) { return *got = count, result; };
  HostStream stream(record);
  const std::tuple<int32_t, uint32_t, bool> rows[] = {
      {0, 4, true}, {0, 5, false}, {1, 4, false}, {-1, 4, false}};
  for (const auto& [row_result, row_count, ok] : rows) {
    result = row_result;
    count = row_count;
    uint8_t buf[8];
    uint32_t got = 9;
    EXPECT_EQ(stream.ReadAt(0, buf, 4, &got), ok) << result << " " << count;
    EXPECT_EQ(got, ok ? 4u : 0u);
  }
}

TEST(Limits, ChainFollowsTheSmallestContainer) {
  const std::tuple<const char*, ChainSizes, ChainSizes> rows[] = {
      {"outermost", ChainSizes::Outermost(100), {100, 100, 100}},
      {"larger inside", ChainSizes::Outermost(100).Nested(150), {250, 100, 100}},
      {"as large inside", ChainSizes::Outermost(100).Nested(100), {200, 100, 100}},
      {"smaller inside", ChainSizes::Outermost(100).Nested(40), {140, 40, 100}},
      {"larger inside smaller", ChainSizes::Outermost(100).Nested(40).Nested(60), {200, 40, 100}},
      {"smaller twice", ChainSizes::Outermost(100).Nested(40).Nested(10), {150, 10, 140}},
  };
  for (const auto& [label, made, expected] : rows) {
    EXPECT_EQ(std::memcmp(&made, &expected, sizeof made), 0) << label;
  }
}

TEST(Limits, KeepsTheAllowancesSinglePrecisionAndEndsWhereTheRatioIsReached) {
  // Max ratio, allowance, and whether one byte less does not reach the ratio.
  const std::tuple<const char*, ChainSizes, uint32_t, uint32_t, bool> rows[] = {
      {"outermost", {100, 100, 100}, 10, 1000, true},
      {"what was taken on the way counts", {140, 40, 100}, 10, 360, true},
      {"product of exactly 2^32", {65536, 65536, 65536}, 65536, UINT32_MAX, true},
      {"just below 2^32", {65536, 65536, 65536}, 65535, 65536U * 65535U, true},
      {"rounds up to 2^32 in single precision", {65537, 65537, 65537}, 65535, UINT32_MAX, true},
      {"nothing left: wraps, and the test refuses", {1000, 10, 100}, 10, UINT32_MAX - 799, false},
      {"no ratio", {100, 100, 100}, 0, 0, false},
  };
  for (const auto& [label, sizes, max_ratio, expected, below_passes] : rows) {
    const uint32_t allowance = sizes.RatioAllowance(max_ratio);
    EXPECT_EQ(allowance, expected) << label;
    EXPECT_EQ(MemberLimit({500, max_ratio, 10}, sizes), std::min(allowance, 500u)) << label;
    EXPECT_TRUE(sizes.RatioReached(allowance, max_ratio) || allowance == UINT32_MAX) << label;
    EXPECT_EQ(allowance != 0 && !sizes.RatioReached(allowance - 1, max_ratio), below_passes) << label;
  }
  EXPECT_TRUE((ChainSizes{0, 0, 0}.RatioReached(0, 1000))) << "no division by zero";
}

TEST(Limits, KeepsTheMailEndingsSubtractingCaseStep) {
  const std::pair<const char*, bool> rows[] = {
      {"mail.eml", true}, {".eml", true}, {"MAIL.EML", false},  {"mail.Eml", false},  {"mail.emL", false},
      {"eml", false},     {"", false},    {"mail.eml ", false}, {"mail.emlx", false}, {"mailNeml", true},
  };
  for (const auto& [path, is_mail] : rows) EXPECT_EQ(HasMailEnding(path), is_mail) << path;
}

}  // namespace
}  // namespace brix

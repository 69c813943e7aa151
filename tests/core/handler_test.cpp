#include <gtest/gtest.h>

#include <cstring>
#include <memory>

#include "core/archive_handler.h"
#include "core/format_table.h"
#include "core/memory_stream.h"

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

TEST(ArchiveHandler, BaseOperationsRefuse) {
  FixedMemoryStream in({});
  BareHandler handler(&in, 0, 21);
  uint32_t value = 7;
  uint32_t size = 9;
  char text[12] = "untouched";
  EXPECT_EQ(handler.memberStatus, 1u);
  EXPECT_EQ(handler.GetTypeId(), 21u);
  EXPECT_TRUE(handler.SetContext(5));
  EXPECT_FALSE(handler.GetMemberSize(&value, &size) || handler.GetMemberType(text, &size) ||
               handler.GetMemberHeader(0, text, text, &size) || handler.GetMemberProperty("x", text, &size) ||
               handler.AddMember(&in, 0, nullptr, 0) || handler.ReleaseMember() || handler.ResetMembers() ||
               handler.Reserved13());
  EXPECT_EQ(handler.GetMemberHint(), 0u);
  EXPECT_STREQ(text, "untouched");
}

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

}  // namespace
}  // namespace brix

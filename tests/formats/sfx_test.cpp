// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// Self-extracting executables: that the archive's own handler does the work.
#include <gtest/gtest.h>

#include <memory>

#include "core/memory_stream.h"
#include "formats/registry.h"
#include "support/detect_samples.h"
#include "support/handler_walk.h"
#include "support/pe_builder.h"
#include "support/zip_builder.h"

namespace brix {
namespace {

constexpr uint32_t kSfx = 6;

Bytes Program(const Bytes& archive) { return PeHeaders({{100, 400}}).PadTo(500).Raw(archive); }

std::unique_ptr<ArchiveHandler> Open(Stream& in, char* name) {
  std::unique_ptr<ArchiveHandler> handler(Formats().CreateArchiveHandlerAnyType(&in, 0, 0));
  if (handler != nullptr && !handler->OpenArchive(name)) handler.reset();
  return handler;
}

TEST(Sfx, SpeaksForTheArchiveInside) {
  ZipMember secret = StoredMember("secret", "s3cr3t");
  secret.flags = 1;
  ZipMember unnamed = StoredMember("", "no name");
  const Bytes program = Program(BuildZip({StoredMember("a.txt", "alpha"), secret, unnamed}).bytes);
  FixedMemoryStream in(program.data);
  char name[kNameBufferSize];
  const auto handler = Open(in, name);
  ASSERT_NE(handler, nullptr);
  EXPECT_EQ(handler->GetTypeId(), kSfx);
  uint32_t size = 0;
  uint32_t io_size = sizeof size;
  EXPECT_TRUE(handler->GetMemberSize(&size, &io_size) && size == 5);
  EXPECT_TRUE(handler->SetContext(1));
  EXPECT_FALSE(handler->GetMemberType(name, &io_size) || handler->GetMemberHint() != 0 ||
               handler->GetMemberHeader(0, nullptr, name, &io_size) ||
               handler->GetMemberProperty("", name, &io_size) || handler->ReleaseMember() ||
               handler->ResetMembers() || handler->AddMember(&in, 0, nullptr, 0));

  const Walk walk = WalkWith(kSfx, program.data);
  ASSERT_TRUE(walk.finished);
  ASSERT_EQ(walk.members.size(), 3u);
  EXPECT_EQ(Text(walk.members[0].data), "alpha");
  EXPECT_EQ(walk.members[1].status, kMemberEncrypted);
  EXPECT_EQ(walk.members[2].name, "unknown");
  SweepDamage(kSfx, program.data);
}

TEST(Sfx, IsNoArchiveWhereTheInnerFormatHasNoHandler) {
  const Bytes program = Program(LhaSample());
  FixedMemoryStream in(program.data);
  EXPECT_EQ(Formats().DetectArchiveType(in, 0), kSfx);
  char name[kNameBufferSize];
  EXPECT_EQ(Open(in, name), nullptr);
}

}  // namespace
}  // namespace brix

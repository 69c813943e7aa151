// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// reopen_test.cpp - opening a container once more, wherever the walk was, begins it anew.
#include <gtest/gtest.h>

#include <memory>

#include "core/memory_stream.h"
#include "formats/registry.h"
#include "support/bytes.h"
#include "support/handler_walk.h"

namespace brix {
namespace {

// From OpenArchive on, `most` members: names and contents.
std::string Members(ArchiveHandler& handler, size_t most) {
  std::string line;
  char name[kNameBufferSize];
  bool ok = handler.OpenArchive(name);
  for (size_t i = 0; ok && name[0] != '\0' && i < most; ++i) {
    MemoryStream out;
    uint32_t written = 0;
    const bool extracted = handler.ExtractMember(&out, 0, &written);
    line += std::string(name) + " " + Digest(out.bytes()) + (extracted ? "\n" : "!\n");
    ok = handler.NextMember(name);
  }
  return line + (ok ? "" : "damaged");
}

TEST(Reopen, BeginsTheWalkAnew) {
  for (const char* file :
       {"cabinet/mszip.cab", "cabinet/quantum.cab", "chm/manual.chm", "msi/two-streams.msi",
        "nested/setup.exe", "office/nested.xls", "office/objects.ppt", "office/package.doc",
        "office/package.ole", "szdd/nested.tx_", "zip/plain.zip", "nsis/zlib.exe", "nsis/bzip2-solid.exe",
        "rar/lz.rar", "ppmd/solid.rar"}) {
    const std::vector<uint8_t> bytes = Fixture(file);
    FixedMemoryStream in(bytes);
    const std::unique_ptr<ArchiveHandler> handler(Formats().CreateArchiveHandlerAnyType(&in, 0, 0));
    ASSERT_NE(handler, nullptr) << file;
    const std::string whole = Members(*handler, SIZE_MAX);
    EXPECT_NE(whole, "") << file;
    EXPECT_EQ(Members(*handler, 1), whole.substr(0, whole.find('\n') + 1)) << file << " after its end";
    EXPECT_EQ(Members(*handler, SIZE_MAX), whole) << file << " after its first member";
  }
}

}  // namespace
}  // namespace brix

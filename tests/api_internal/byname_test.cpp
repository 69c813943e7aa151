// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// What no exported function brings about: the error value that stops a walk.
#include "api/byname_archive.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>

namespace brix {
namespace {

TEST(NameBasedInternals, ErrorValue15StopsTheNextNameOnly) {
  const char* const path = "byname_internal.tmp";
  std::ofstream(path, std::ios::binary) << std::string(
      "SZDD\x88\xF0\x27\x33"
      "A\0\1\0\0\0\xFF"
      "x",
      16);
  {
    BrixDecompressionRecord context;
    BrixNamedArchiveRecord archive(context);
    ASSERT_TRUE(archive.OpenOutermost(path));
    context.error = BRIX_ERROR_STOPPED;
    EXPECT_EQ(archive.NextName(), nullptr);
    EXPECT_EQ(context.error, 15u) << "it stands";
    context.error = 0;
    EXPECT_STREQ(archive.NextName(), "unknown") << "the walk did not move";
  }
  std::remove(path);
}

}  // namespace
}  // namespace brix

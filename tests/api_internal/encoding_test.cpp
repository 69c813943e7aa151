#include <gtest/gtest.h>

#include "api/arc_archive.h"

namespace brix {
namespace {

TEST(Encoding, HandlersHintsAreTranslatedForHosts) {
  const struct {
    uint32_t hint;
    uint8_t encoding;
  } rows[] = {{0, 0}, {1, 3}, {2, 4}, {3, 2}, {4, 1}, {5, 0}, {UINT32_MAX, 0}};
  for (const auto& row : rows) EXPECT_EQ(EncodingOf(row.hint), row.encoding) << row.hint;
}

}  // namespace
}  // namespace brix

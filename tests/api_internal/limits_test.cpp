#include "api/limits.h"

#include <gtest/gtest.h>

#include "api/toolkit.h"

namespace brix {
namespace {

TEST(Limits, ChainFollowsTheSmallestContainer) {
  const struct {
    const char* label;
    ChainSizes sizes;
    ChainSizes expected;
  } rows[] = {
      {"outermost", ChainSizes::Outermost(100), {100, 100, 100}},
      {"larger inside", ChainSizes::Outermost(100).Nested(150), {250, 100, 100}},
      {"as large inside", ChainSizes::Outermost(100).Nested(100), {200, 100, 100}},
      {"smaller inside", ChainSizes::Outermost(100).Nested(40), {140, 40, 100}},
      {"larger inside smaller", ChainSizes::Outermost(100).Nested(40).Nested(60), {200, 40, 100}},
      {"smaller twice", ChainSizes::Outermost(100).Nested(40).Nested(10), {150, 10, 140}},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(row.sizes.total, row.expected.total) << row.label;
    EXPECT_EQ(row.sizes.smallest, row.expected.smallest) << row.label;
    EXPECT_EQ(row.sizes.total_at_smallest, row.expected.total_at_smallest) << row.label;
  }
}

TEST(Limits, AllowanceEndsWhereTheRatioIsReached) {
  const struct {
    const char* label;
    ChainSizes sizes;
    uint32_t max_ratio;
    uint32_t allowance;
  } rows[] = {
      {"outermost", {100, 100, 100}, 10, 1000},
      {"what was taken on the way counts", {140, 40, 100}, 10, 360},
      {"product of exactly 2^32", {65536, 65536, 65536}, 65536, UINT32_MAX},
      {"just below 2^32", {65536, 65536, 65536}, 65535, 65536U * 65535U},
      {"rounds up to 2^32 in single precision", {65537, 65537, 65537}, 65535, UINT32_MAX},
      {"nothing left: wraps, and the test refuses", {1000, 10, 100}, 10, UINT32_MAX - 799},
      {"no ratio", {100, 100, 100}, 0, 0},
  };
  for (const auto& row : rows) {
    const uint32_t allowance = row.sizes.RatioAllowance(row.max_ratio);
    EXPECT_EQ(allowance, row.allowance) << row.label;
    EXPECT_EQ(MemberLimit({500, row.max_ratio, 10}, row.sizes), std::min(allowance, 500u)) << row.label;
    EXPECT_TRUE(row.sizes.RatioReached(allowance, row.max_ratio) || allowance == UINT32_MAX) << row.label;
    const bool below = allowance != 0 && !row.sizes.RatioReached(allowance - 1, row.max_ratio);
    EXPECT_EQ(below, row.max_ratio != 0 && allowance != UINT32_MAX - 799) << row.label;
  }
  EXPECT_TRUE((ChainSizes{0, 0, 0}.RatioReached(0, 1000))) << "no division by zero";
}

TEST(Limits, KeepsTheMailEndingsSubtractingCaseStep) {
  const struct {
    const char* path;
    bool is_mail;
  } rows[] = {
      {"mail.eml", true}, {".eml", true}, {"MAIL.EML", false},  {"mail.Eml", false},  {"mail.emL", false},
      {"eml", false},     {"", false},    {"mail.eml ", false}, {"mail.emlx", false}, {"mailNeml", true},
  };
  for (const auto& row : rows) EXPECT_EQ(HasMailEnding(row.path), row.is_mail) << row.path;
}

}  // namespace
}  // namespace brix

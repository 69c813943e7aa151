// inflating_stream_test.cpp - reads in any order show what one decoding shows.
#include "decoders/deflate/inflating_stream.h"

#include <gtest/gtest.h>

#include "core/memory_stream.h"
#include "support/deflate_builder.h"

namespace brix {
namespace {

// 400,000 bytes, of which the decoder can hold 128 KiB.
DeflateBuilder Packed() {
  std::mt19937 random(7);
  DeflateBuilder builder;
  while (builder.plain.size() < 400000) {
    builder.Fixed(builder.RandomTokens(5000, random), false).Stored({}, false);
  }
  builder.Stored({}, true);
  return builder;
}

TEST(InflatingStream, ReadsAnywhere) {
  const DeflateBuilder packed = Packed();
  const std::vector<uint8_t>& plain = packed.plain;
  FixedMemoryStream parent(packed.bits.bytes());
  InflatingStream in(&parent, 0, static_cast<uint32_t>(packed.bits.bytes().size()));
  const auto expect_read = [&](size_t offset, uint32_t size) {
    const size_t at = std::min(offset, plain.size());
    const std::span<const uint8_t> expected =
        std::span(plain).subspan(at, std::min<size_t>(size, plain.size() - at));
    std::vector<uint8_t> buffer(size);
    uint32_t got = 0;
    EXPECT_TRUE(in.ReadAt(static_cast<uint32_t>(offset), buffer.data(), size, &got)) << offset;
    EXPECT_TRUE(std::ranges::equal(std::span(buffer).first(got), expected)) << offset << " " << size;
  };
  expect_read(1, 40000);
  expect_read(0, 100);                // back, within the buffer
  expect_read(300000, 1000);          // skips forward
  expect_read(290000, 20000);         // partly back
  expect_read(10, 1000);              // begins anew
  expect_read(plain.size() - 5, 10);  // cut at the end
  expect_read(plain.size(), 10);
  expect_read(UINT32_MAX, 10);
  expect_read(0, 500000);
  std::mt19937 random(8);
  for (int i = 0; i < 200; ++i) expect_read(random() % 400000, static_cast<uint32_t>(random() % 70000));
  uint32_t size = 0;
  EXPECT_FALSE(in.GetSize(&size));
}

TEST(InflatingStream, EndsWhereDamageBegins) {
  const DeflateBuilder packed = Packed();
  FixedMemoryStream parent(packed.bits.bytes());
  const auto half = static_cast<uint32_t>(packed.bits.bytes().size() / 2);
  InflatingStream in(&parent, 0, half);
  std::vector<uint8_t> all(packed.plain.size());
  uint32_t got = 0;
  ASSERT_TRUE(in.ReadAt(0, all.data(), static_cast<uint32_t>(all.size()), &got));
  EXPECT_GT(got, all.size() / 3);
  EXPECT_TRUE(std::equal(all.data(), all.data() + got, packed.plain.data()));
  for (int i = 0; i < 2; ++i) {
    MemoryStream out;
    uint32_t limit = got + 1;
    EXPECT_FALSE(in.CopyTo(out, 0, &limit));
    EXPECT_EQ(limit, got);
    EXPECT_TRUE(std::equal(out.bytes().begin(), out.bytes().end(), packed.plain.data()));
    uint32_t more = 0;
    EXPECT_FALSE(in.ReadAt(got, all.data(), 1, &more));  // and again
  }
}

}  // namespace
}  // namespace brix

// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

#include <gtest/gtest.h>

#include <string>
#include <tuple>

#include "core/cached_read_stream.h"
#include "core/chunk_buffer.h"
#include "core/crc32.h"
#include "core/field_reader.h"
#include "core/memory_stream.h"
#include "core/stream_views.h"
#include "support/bytes.h"
#include "support/recording_stream.h"

namespace brix {
namespace {

std::string Text(std::span<const uint8_t> bytes) { return {bytes.begin(), bytes.end()}; }

std::vector<uint8_t> Counting(size_t size) {
  std::vector<uint8_t> bytes(size);
  for (size_t i = 0; i < size; ++i) bytes[i] = static_cast<uint8_t>(i * 7 + i / 256);
  return bytes;
}

using Reads = std::vector<std::pair<uint32_t, uint32_t>>;

TEST(MemoryStream, GrowsFillsGapsWithZerosAndRefusesToWrap) {
  MemoryStream stream;
  uint32_t n = 0;
  ASSERT_TRUE(WriteExact(stream, 5, reinterpret_cast<const uint8_t*>("ab"), 2));
  EXPECT_EQ(Text(stream.bytes()), std::string("\0\0\0\0\0ab", 7));
  ASSERT_TRUE(stream.SetSize(6));
  ASSERT_TRUE(stream.SetSize(8));
  EXPECT_EQ(Text(stream.bytes()), std::string("\0\0\0\0\0a\0\0", 8));
  uint8_t byte = 0;
  EXPECT_FALSE(stream.WriteAt(UINT32_MAX, &byte, 1, &n));
  EXPECT_TRUE(stream.ReadAt(100, &byte, 1, &n));
  EXPECT_EQ(n, 0u);
}

TEST(RangeStream, KeepsCuttingReadsButRefusingWrites) {
  MemoryStream parent;
  ASSERT_TRUE(WriteExact(parent, 0, Counting(100).data(), 100));
  RangeStream range(&parent, 90, 5);
  uint8_t buf[16];
  uint32_t n = 7;
  EXPECT_TRUE(range.ReadAt(3, buf, 10, &n));
  EXPECT_EQ(n, 2u);
  EXPECT_TRUE(range.ReadAt(5, buf, 1, &n));
  EXPECT_EQ(n, 0u);
  EXPECT_FALSE(range.ReadAt(6, buf, 1, &n));
  EXPECT_FALSE(range.WriteAt(4, buf, 2, &n));
  EXPECT_TRUE(range.WriteAt(4, buf, 1, &n));
  EXPECT_FALSE(range.SetSize(11));
  EXPECT_TRUE(range.SetSize(10));
  range.Reframe(4, 6);
  ASSERT_TRUE(range.GetSize(&n));
  EXPECT_EQ(n, 12u);
  ASSERT_TRUE(range.ReadAt(0, buf, 1, &n));
  EXPECT_EQ(buf[0], parent.bytes()[94]);
  RangeStream wrapping(&parent, UINT32_MAX - 1, 10);
  EXPECT_FALSE(wrapping.ReadAt(2, buf, 1, &n) || wrapping.WriteAt(2, buf, 1, &n));
}

TEST(CachedReadStream, ServesNeighboursFromBlocksAndLargeReadsFromBelow) {
  RecordingStream inner;
  const std::vector<uint8_t> bytes = Counting(10000);
  ASSERT_TRUE(WriteExact(inner, 0, bytes.data(), 10000));
  CachedReadStream cache;
  cache.SetInner(&inner, 0);
  uint8_t buf[2048];
  const std::tuple<const char*, uint32_t, uint32_t, uint32_t, Reads> rows[] = {
      {"first block", 10, 4, 4, {{0, 1024}}},
      {"same block", 1000, 24, 24, {}},
      {"a block's size over two blocks", 512, 1024, 1024, {{1024, 1024}}},
      {"one more goes below", 512, 1025, 1025, {{512, 1025}}},
      {"third and fourth block", 3000, 100, 100, {{2048, 1024}, {3072, 1024}}},
      {"first block becomes the latest", 10, 1, 1, {}},
      {"fifth evicts the oldest", 5000, 1, 1, {{4096, 1024}}},
      {"which was the second", 1024, 1, 1, {{1024, 1024}}},
      {"while the first is kept", 10, 1, 1, {}},
      {"cut at the end", 9990, 20, 10, {{9216, 1024}}},
      {"behind the end falls back", 10000, 1, 0, {{10000, 1}}},
      {"nothing", 20000, 0, 0, {}},
  };
  for (const auto& [label, offset, size, expected, reads] : rows) {
    inner.reads.clear();
    uint32_t got = 99;
    EXPECT_TRUE(cache.ReadAt(offset, buf, size, &got)) << label;
    EXPECT_EQ(got, expected) << label;
    EXPECT_EQ(inner.reads, reads) << label;
    EXPECT_TRUE(std::equal(buf, buf + got, bytes.begin() + std::min(offset, 10000u))) << label;
  }
}

TEST(CachedReadStream, RetriesAfterAFailureAndSeesItsOwnWrites) {
  RecordingStream inner;
  ASSERT_TRUE(inner.SetSize(3000));
  CachedReadStream cache;
  cache.SetInner(&inner, 0);
  uint8_t byte = 0;
  inner.fails = true;
  EXPECT_FALSE(ReadExact(cache, 1, &byte, 1));
  inner.fails = false;
  EXPECT_TRUE(ReadExact(cache, 1, &byte, 1));
  const uint8_t changed = static_cast<uint8_t>(byte + 1);
  EXPECT_TRUE(WriteExact(cache, 1, &changed, 1));
  EXPECT_TRUE(ReadExact(cache, 1, &byte, 1));
  EXPECT_EQ(byte, changed);
}

TEST(CachedReadStream, DeletesWhatItOwns) {
  bool first = false;
  bool second = false;
  {
    CachedReadStream cache;
    cache.SetInner(new RecordingStream(&first), 1);
    cache.SetInner(new RecordingStream(&second), 1);
    EXPECT_TRUE(first && !second);
  }
  EXPECT_TRUE(second);
}

TEST(NullStream, KeepsTheWrittenCountUntouchedAndReadsZerosAnywhere) {
  NullStream null;
  uint8_t buf[3] = {1, 2, 3};
  uint32_t count = 77;
  EXPECT_TRUE(null.WriteAt(0, buf, 1, &count));
  EXPECT_EQ(count, 77u);
  EXPECT_TRUE(null.ReadAt(UINT32_MAX, buf, 3, &count));
  EXPECT_EQ(count, 3u);
  EXPECT_EQ(buf[0] | buf[1] | buf[2], 0);
}

TEST(FieldReader, TheFirstFailureSticks) {
  const Bytes bytes = Bytes().U8(1).U16(0x0302).U32(0x07060504);
  FixedMemoryStream in(bytes.data);
  FieldReader whole(in, 0);
  EXPECT_EQ(whole.U8(0), 1u);
  EXPECT_EQ(whole.U16(1), 0x0302u);
  EXPECT_EQ(whole.U32(3), 0x07060504u);
  EXPECT_TRUE(whole.ok());
  EXPECT_EQ(whole.U32(4), 0u) << "one byte short";
  EXPECT_EQ(whole.U8(0), 0u);
  EXPECT_FALSE(whole.ok());
  FieldReader wrapping(in, UINT32_MAX);
  EXPECT_EQ(wrapping.U8(1), 0u);
  EXPECT_FALSE(wrapping.ok());
}

TEST(ChunkBuffer, AppendsAssignsAndTruncatesAcrossChunks) {
  ChunkBuffer buffer;
  const auto text = [&buffer] {
    std::string all;
    for (uint32_t i = 0; i < buffer.Length(); ++i) all.push_back(static_cast<char>(*buffer.ByteAt(i)));
    return all;
  };
  EXPECT_EQ(text(), "");
  EXPECT_EQ(*buffer.ByteAt(0), 0);
  ASSERT_TRUE(buffer.Append("hello", 0) && buffer.Append(", wide", 2) && buffer.Append("world", 0));
  ASSERT_TRUE(buffer.Append("", 0));
  EXPECT_EQ(text(), "hello, world");
  ASSERT_TRUE(buffer.Append(buffer));
  EXPECT_EQ(text(), "hello, worldhello, world");
  buffer.Truncate(8);
  ASSERT_TRUE(buffer.Append("!", 1));
  EXPECT_EQ(text(), "hello, w!");
  buffer.Truncate(100);
  EXPECT_EQ(buffer.Length(), 9u);
  ASSERT_TRUE(buffer.Assign(buffer.ByteAt(8), 1));  // its own bytes, of a chunk that is freed
  EXPECT_EQ(text(), "!");
  ASSERT_TRUE(buffer.Assign("bye", 3));
  EXPECT_EQ(text(), "bye");
  buffer.Truncate(0);
  EXPECT_EQ(text(), "");
  ASSERT_TRUE(buffer.Append("again", 0));
  EXPECT_EQ(text(), "again");
}

TEST(ChunkBuffer, ALongChainIsFreedWithoutDeepCalls) {
  ChunkBuffer buffer;
  for (int i = 0; i < 200000; ++i) ASSERT_TRUE(buffer.Append("x", 1));
  EXPECT_EQ(buffer.Length(), 200000u);
}

TEST(Crc32, GivesTheStandardCheckValue) { EXPECT_EQ(Crc32(Bytes().Text("123456789").data), 0xCBF43926u); }

}  // namespace
}  // namespace brix

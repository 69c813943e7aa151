#include <gtest/gtest.h>

#include <string>

#include "core/cached_read_stream.h"
#include "core/chunk_buffer.h"
#include "core/crc32.h"
#include "core/field_reader.h"
#include "core/memory_stream.h"
#include "core/stream_views.h"
#include "support/bytes.h"

namespace brix {
namespace {

std::vector<uint8_t> Counting(size_t size) {
  std::vector<uint8_t> bytes(size);
  for (size_t i = 0; i < size; ++i) bytes[i] = static_cast<uint8_t>(i * 7 + i / 256);
  return bytes;
}

// A memory stream that counts what reaches it and can be told to fail.
class ProbeStream final : public Stream {
 public:
  explicit ProbeStream(std::vector<uint8_t> bytes) : bytes_(std::move(bytes)) {}
  ~ProbeStream() override {
    if (deleted != nullptr) *deleted = true;
  }
  bool ReadAt(uint32_t offset, uint8_t* buf, uint32_t size, uint32_t* got) override {
    reads.push_back({offset, size});
    if (fail) return false;
    FixedMemoryStream in(bytes_);
    return in.ReadAt(offset, buf, size, got);
  }
  bool WriteAt(uint32_t offset, const uint8_t* buf, uint32_t size, uint32_t* written) override {
    std::copy_n(buf, size, bytes_.begin() + offset);
    *written = size;
    return true;
  }
  bool GetSize(uint32_t* size) override {
    *size = static_cast<uint32_t>(bytes_.size());
    return true;
  }
  bool SetSize(uint32_t size) override {
    bytes_.resize(size);
    return true;
  }

  std::vector<std::pair<uint32_t, uint32_t>> reads;
  bool fail = false;
  bool* deleted = nullptr;

 private:
  std::vector<uint8_t> bytes_;
};

TEST(MemoryStream, GrowsFillsGapsWithZerosAndRefusesToWrap) {
  MemoryStream stream;
  uint32_t n = 0;
  ASSERT_TRUE(WriteExact(stream, 5, reinterpret_cast<const uint8_t*>("ab"), 2));
  EXPECT_EQ(std::string(stream.bytes().begin(), stream.bytes().end()), std::string("\0\0\0\0\0ab", 7));
  ASSERT_TRUE(stream.SetSize(6));
  ASSERT_TRUE(stream.SetSize(8));
  EXPECT_EQ(std::string(stream.bytes().begin(), stream.bytes().end()), std::string("\0\0\0\0\0a\0\0", 8));
  uint8_t byte = 0;
  EXPECT_FALSE(stream.WriteAt(UINT32_MAX, &byte, 1, &n));
  EXPECT_TRUE(stream.ReadAt(100, &byte, 1, &n));
  EXPECT_EQ(n, 0u);
}

TEST(RangeStream, CutsReadsRefusesWritesAndMovesItsEnds) {
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
  EXPECT_FALSE(wrapping.ReadAt(2, buf, 1, &n));
  EXPECT_FALSE(wrapping.WriteAt(2, buf, 1, &n));
}

TEST(CachedReadStream, ServesNeighboursFromBlocksAndLargeReadsFromBelow) {
  ProbeStream inner(Counting(10000));
  const std::vector<uint8_t> bytes = Counting(10000);
  CachedReadStream cache;
  cache.SetInner(&inner, 0);
  uint8_t buf[2048];
  const struct {
    const char* label;
    uint32_t offset, size, got;
    std::vector<std::pair<uint32_t, uint32_t>> reads;
  } rows[] = {
      {"first block", 10, 4, 4, {{0, 1024}}},
      {"same block", 1000, 24, 24, {}},
      {"a block's size over two blocks", 512, 1024, 1024, {{1024, 1024}}},
      {"one more goes below", 512, 1025, 1025, {{512, 1025}}},
      {"third and fourth block", 3000, 100, 100, {{2048, 1024}, {3072, 1024}}},
      {"fifth evicts the oldest", 5000, 1, 1, {{4096, 1024}}},
      {"which was the first", 10, 1, 1, {{0, 1024}}},
      {"while the fourth is kept", 3100, 1, 1, {}},
      {"cut at the end", 9990, 20, 10, {{9216, 1024}}},
      {"behind the end falls back", 10000, 1, 0, {{10000, 1}}},
      {"nothing", 20000, 0, 0, {}},
  };
  for (const auto& row : rows) {
    inner.reads.clear();
    uint32_t got = 99;
    EXPECT_TRUE(cache.ReadAt(row.offset, buf, row.size, &got)) << row.label;
    EXPECT_EQ(got, row.got) << row.label;
    EXPECT_EQ(inner.reads, row.reads) << row.label;
    EXPECT_TRUE(std::equal(buf, buf + got, bytes.begin() + std::min<uint32_t>(row.offset, 10000)))
        << row.label;
  }
}

TEST(CachedReadStream, RetriesAfterAFailureAndSeesItsOwnWrites) {
  ProbeStream inner(Counting(3000));
  CachedReadStream cache;
  cache.SetInner(&inner, 0);
  uint8_t byte = 0;
  uint32_t got = 0;
  inner.fail = true;
  EXPECT_FALSE(cache.ReadAt(1, &byte, 1, &got));
  inner.fail = false;
  EXPECT_TRUE(cache.ReadAt(1, &byte, 1, &got));
  const uint8_t changed = static_cast<uint8_t>(byte + 1);
  EXPECT_TRUE(cache.WriteAt(1, &changed, 1, &got));
  EXPECT_TRUE(cache.ReadAt(1, &byte, 1, &got));
  EXPECT_EQ(byte, changed);
}

TEST(CachedReadStream, DeletesWhatItOwns) {
  bool first = false;
  bool second = false;
  auto* one = new ProbeStream({});
  auto* two = new ProbeStream({});
  one->deleted = &first;
  two->deleted = &second;
  {
    CachedReadStream cache;
    cache.SetInner(one, 1);
    cache.SetInner(two, 1);
    EXPECT_TRUE(first);
    EXPECT_FALSE(second);
  }
  EXPECT_TRUE(second);
}

TEST(NullStream, ReadsZerosAnywhereAndKeepsNothing) {
  NullStream null;
  uint8_t buf[3] = {1, 2, 3};
  uint32_t n = 0;
  EXPECT_TRUE(null.ReadAt(UINT32_MAX, buf, 3, &n));
  EXPECT_EQ(n, 3u);
  EXPECT_EQ(buf[0] | buf[1] | buf[2], 0);
}

TEST(NullStream, KeepsTheWrittenCountUntouched) {
  NullStream null;
  const uint8_t byte = 1;
  uint32_t written = 77;
  EXPECT_TRUE(null.WriteAt(0, &byte, 1, &written));
  EXPECT_EQ(written, 77u);
}

TEST(FieldReader, TheFirstFailureSticks) {
  Bytes bytes = Bytes().U8(1).U16(0x0302).U32(0x07060504);
  FixedMemoryStream in(bytes.data);
  FieldReader whole(in, 0);
  EXPECT_EQ(whole.U8(0), 1u);
  EXPECT_EQ(whole.U16(1), 0x0302u);
  EXPECT_EQ(whole.U32(3), 0x07060504u);
  EXPECT_TRUE(whole.ok());
  EXPECT_EQ(whole.U32(4), 0u);  // one byte short
  EXPECT_EQ(whole.U8(0), 0u);
  EXPECT_FALSE(whole.ok());
  FieldReader wrapping(in, UINT32_MAX);
  EXPECT_EQ(wrapping.U8(1), 0u);
  EXPECT_FALSE(wrapping.ok());
}

std::string Text(const ChunkBuffer& buffer) {
  std::string text;
  for (uint32_t i = 0; i < buffer.Length(); ++i) text.push_back(static_cast<char>(*buffer.ByteAt(i)));
  return text;
}

TEST(ChunkBuffer, AppendsAssignsAndTruncatesAcrossChunks) {
  ChunkBuffer buffer;
  EXPECT_EQ(buffer.Length(), 0u);
  EXPECT_EQ(*buffer.ByteAt(0), 0);
  ASSERT_TRUE(buffer.Append("hello", 0));
  ASSERT_TRUE(buffer.Append(", wide", 2));
  ASSERT_TRUE(buffer.Append("world", 0));
  ASSERT_TRUE(buffer.Append("", 0));
  EXPECT_EQ(Text(buffer), "hello, world");
  ASSERT_TRUE(buffer.Append(buffer));
  EXPECT_EQ(Text(buffer), "hello, worldhello, world");
  buffer.Truncate(8);
  EXPECT_EQ(Text(buffer), "hello, w");
  ASSERT_TRUE(buffer.Append("!", 1));
  EXPECT_EQ(Text(buffer), "hello, w!");
  buffer.Truncate(100);
  EXPECT_EQ(buffer.Length(), 9u);
  ASSERT_TRUE(buffer.Assign(buffer.ByteAt(8), 1));  // its own bytes, of a chunk that is freed
  EXPECT_EQ(Text(buffer), "!");
  ASSERT_TRUE(buffer.Assign("bye", 3));
  EXPECT_EQ(Text(buffer), "bye");
  buffer.Truncate(0);
  EXPECT_EQ(buffer.Length(), 0u);
  ASSERT_TRUE(buffer.Append("again", 0));
  EXPECT_EQ(Text(buffer), "again");
}

TEST(ChunkBuffer, ALongChainIsFreedWithoutDeepCalls) {
  ChunkBuffer buffer;
  for (int i = 0; i < 200000; ++i) ASSERT_TRUE(buffer.Append("x", 1));
  EXPECT_EQ(buffer.Length(), 200000u);
}

TEST(Crc32, GivesTheStandardCheckValue) { EXPECT_EQ(Crc32(Bytes().Text("123456789").data), 0xCBF43926u); }

}  // namespace
}  // namespace brix

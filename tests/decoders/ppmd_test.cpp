// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// PPMd by a real archive, by streams whose sums other programs confirmed, and by round trips; the fuzz target ppmd
// makes more of those.
#include "decoders/ppmd/ppmd_decoder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <tuple>

#include "core/memory_stream.h"
#include "support/bytes.h"
#include "support/handler_walk.h"
#include "support/ppmd_encoder.h"

namespace brix {
namespace {

using Data = std::vector<uint8_t>;
using Run = PpmdDecoder::Run;

// Hands out a byte at a time.
class Drip final : public Stream {
 public:
  explicit Drip(const Data& bytes) : whole_(bytes) {}
  bool ReadAt(uint32_t offset, uint8_t* buf, uint32_t size, uint32_t* got) override {
    return whole_.ReadAt(offset, buf, std::min(size, 1u), got);
  }
  bool WriteAt(uint32_t, const uint8_t*, uint32_t, uint32_t*) override { return false; }
  bool GetSize(uint32_t* size) override { return whole_.GetSize(size); }
  bool SetSize(uint32_t) override { return false; }

 private:
  FixedMemoryStream whole_;
};

// Words of a small alphabet, noise, and runs: all that makes contexts grow, run out of memory and be halved.
Data Sample(uint32_t size, uint32_t seed) {
  Data data;
  while (data.size() < size) {
    seed = seed * 1103515245 + 12345;
    const uint32_t kind = seed >> 16 & 15;
    const uint32_t word = kind == 0 ? seed >> 20 : seed >> 27;
    for (uint32_t i = 0; i < (kind == 1 ? 300 : 3 + word % 6); ++i)
      data.push_back(static_cast<uint8_t>(kind == 1 ? word : 'a' + word * (i + 7) % (kind == 0 ? 251 : 26)));
  }
  return data;
}

// Members of a solid archive, the second with the model of the first. There an escape byte stands before each code:
// 1 for the escape byte itself, 2 for the end, 5 for the last byte as often as the next says, and 4 times more.
TEST(Ppmd, ReadsARealSolidArchive) {
  const Data archive = Fixture("ppmd/solid.rar");
  ASSERT_EQ(archive.size(), 381u);
  PpmdDecoder decoder;
  ASSERT_TRUE(decoder.Start(8, 25 << 20));
  const std::tuple<size_t, size_t, uint8_t, const char*> members[] = {{66, 148, 2, "87 afb0ac62"},
                                                                      {194, 374, 0x15, "220 da70b16c"}};
  for (const auto& [begin, end, escape, digest] : members) {
    const Data packed(archive.begin() + static_cast<ptrdiff_t>(begin),
                      archive.begin() + static_cast<ptrdiff_t>(end));
    FixedMemoryStream stream(packed);
    InputOver in(stream);
    ASSERT_TRUE(decoder.StartRange(in));
    Data plain(1000);
    uint8_t* at = plain.data();
    int code = 1;
    while (code != 2 && decoder.DecodeUntil(escape, &at, plain.data() + plain.size()) == Run::kStopped) {
      code = decoder.DecodeSymbol();
      if (code == 1) *at++ = escape;
      if (code == 5) at = std::fill_n(at, decoder.DecodeSymbol() + 4, at[-1]);
    }
    EXPECT_EQ(code, 2);
    EXPECT_EQ(Digest(std::span(plain).first(static_cast<size_t>(at - plain.data()))), digest);
  }
}

struct Made {
  uint32_t order;
  uint32_t memory;
  const char* packed;  // its sum
};

// Archives of this sample with the orders at 1 MiB were unpacked by bsdtar 3.6.2 and unar 1.10; with orders 16 and 32
// 7-Zip 26.02 packed it, under a coder of its own, into what this model unpacked.
TEST(Ppmd, PacksAndUnpacksTheSameInAnyPieces) {
  const Data plain = Sample(150'000, 1);
  const Made rows[] = {
      {2, 1 << 20, "8247 f9523b3b"},   {6, 1 << 20, "7825 39aa89a7"},   {16, 1 << 20, "8081 a4223132"},
      {64, 1 << 20, "9073 ce1d4f01"},  {2, 2048, "28100 9e76c95d"},     {5, 10'000, "16834 2ab06843"},
      {16, 100'000, "10782 a095a072"}, {32, 100'000, "11073 e2fcd73f"},
  };
  PpmdDecoder decoder;  // one for all: nothing of a stream may show in the next
  for (const Made& row : rows) {
    PpmdEncoder encoder;
    ASSERT_TRUE(encoder.Start(row.order, row.memory));
    for (const uint8_t byte : plain) encoder.Put(byte);
    encoder.Finish();
    EXPECT_EQ(Digest(encoder.packed), row.packed) << row.order << " " << row.memory;
    encoder.packed.push_back(0xEE);

    FixedMemoryStream whole(encoder.packed);
    Drip drip(encoder.packed);
    for (Stream* stream : {static_cast<Stream*>(&whole), static_cast<Stream*>(&drip)}) {
      InputOver in(*stream);
      ASSERT_TRUE(decoder.Start(row.order, row.memory) && decoder.StartRange(in));
      Data out;
      while (out.size() < plain.size()) {
        const int symbol = decoder.DecodeSymbol();
        ASSERT_GE(symbol, 0) << row.order << " " << row.memory << " at " << out.size();
        out.push_back(static_cast<uint8_t>(symbol));
      }
      EXPECT_EQ(Digest(out), Digest(plain)) << row.order << " " << row.memory;
      in.Fill();
      ASSERT_EQ(in.left(), 1u);
      EXPECT_EQ(*in.next, 0xEE) << "the position is the byte behind the run";
    }
  }
}

TEST(Ppmd, FailsForGoodBehindTheEnd) {
  const Data plain = Sample(3000, 2);
  PpmdEncoder encoder;
  ASSERT_TRUE(encoder.Start(4, 1 << 20));
  for (const uint8_t byte : plain) encoder.Put(byte);
  encoder.Finish();
  PpmdDecoder decoder;
  for (size_t size = 0; size < encoder.packed.size(); size += 1 + size / 8) {
    const Data cut(encoder.packed.begin(), encoder.packed.begin() + static_cast<ptrdiff_t>(size));
    FixedMemoryStream stream(cut);
    InputOver in(stream);
    ASSERT_TRUE(decoder.Start(4, 1 << 20));
    EXPECT_EQ(decoder.StartRange(in), size != 0) << size;
    int symbol = 0;
    for (uint32_t left = 100'000; left != 0 && symbol >= 0; --left) symbol = decoder.DecodeSymbol();
    EXPECT_EQ(symbol, -1) << size;
    EXPECT_FALSE(decoder.started());
    InputOver again(stream);
    EXPECT_FALSE(decoder.StartRange(again));
    uint8_t byte = 0;
    uint8_t* at = &byte;
    EXPECT_EQ(decoder.DecodeUntil(0, &at, &byte + 1), Run::kFailed);
  }
}

TEST(Ppmd, RefusesOrdersAndSizesOutOfRange) {
  PpmdDecoder decoder;
  const std::tuple<uint32_t, uint32_t, bool> rows[] = {{0, 1 << 20, false},
                                                       {1, 1 << 20, false},
                                                       {2, 1 << 20, true},
                                                       {64, 1 << 20, true},
                                                       {65, 1 << 20, false},
                                                       {6, 0, false},
                                                       {6, 2044, false},
                                                       {6, 2048, true},
                                                       {6, 2050, false},
                                                       {6, 256 << 20, true},
                                                       {6, (256 << 20) + 4, false},
                                                       {6, UINT32_MAX, false}};
  for (const auto& [order, memory, starts] : rows) {
    EXPECT_EQ(decoder.Start(order, memory), starts) << order << " " << memory;
    EXPECT_EQ(decoder.started(), starts);
  }
  ASSERT_TRUE(decoder.Start(6, 1 << 20));
  EXPECT_EQ(decoder.DecodeSymbol(), -1) << "no run has begun";
  decoder.Free();
  EXPECT_FALSE(decoder.started());
}

}  // namespace
}  // namespace brix

// inflate_bench.cpp - our inflater through its own interface against the fastest open ones, in one run.
//
// Ours reads a memory stream and writes a memory stream, or a stream that discards. The peers get whole
// buffers, which is the most that they can be given. All decode the same stream, made by zlib at level 6.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "bench_data.h"
#include "core/memory_stream.h"
#include "decoders/deflate/deflate_decoder.h"
#ifdef BRIX_PEER_ZLIB
#include <zlib.h>
#endif
#ifdef BRIX_PEER_LIBDEFLATE
#include <libdeflate.h>
#endif
#ifdef BRIX_PEER_LIBISAL
#include <isa-l.h>
#endif

namespace {

struct Input {
  std::vector<uint8_t> plain;
  std::vector<uint8_t> deflated;            // raw Deflate
  std::vector<std::vector<uint8_t>> small;  // the same cut into pieces of 2 KiB, each a stream of its own
  size_t small_plain = 0;
};

constexpr size_t kSmallPiece = 2048;
constexpr size_t kSmallPieces = 4000;

// Counts what it is given and forgets it.
class DiscardStream final : public brix::Stream {
 public:
  bool ReadAt(uint32_t, uint8_t*, uint32_t, uint32_t* got) override { return *got = 0, false; }
  bool WriteAt(uint32_t, const uint8_t* buf, uint32_t size, uint32_t* written) override {
    benchmark::DoNotOptimize(buf[0]);
    *written = size;
    return true;
  }
  bool GetSize(uint32_t* size) override { return *size = 0, true; }
  bool SetSize(uint32_t) override { return true; }
};

#ifdef BRIX_PEER_ZLIB
std::vector<uint8_t> Deflated(const uint8_t* data, size_t size) {
  z_stream z{};
  deflateInit2(&z, 6, Z_DEFLATED, -15, 8, Z_DEFAULT_STRATEGY);
  std::vector<uint8_t> out(deflateBound(&z, size));
  z.next_in = const_cast<uint8_t*>(data);
  z.avail_in = static_cast<uInt>(size);
  z.next_out = out.data();
  z.avail_out = static_cast<uInt>(out.size());
  deflate(&z, Z_FINISH);
  out.resize(z.total_out);
  deflateEnd(&z);
  return out;
}
#endif

const Input& TheInput() {
  static const Input input = [] {
    Input made;
    std::string description;
    made.plain = brix::BenchData(&description);
#ifdef BRIX_PEER_ZLIB
    made.deflated = Deflated(made.plain.data(), made.plain.size());
    for (size_t i = 0; i < kSmallPieces && (i + 1) * kSmallPiece <= made.plain.size(); ++i) {
      made.small.push_back(Deflated(made.plain.data() + i * kSmallPiece, kSmallPiece));
      made.small_plain += kSmallPiece;
    }
#endif
    std::fprintf(stderr, "data: %s, %zu bytes, deflated %zu\n", description.c_str(), made.plain.size(),
                 made.deflated.size());
    return made;
  }();
  return input;
}

void Check(benchmark::State& state, bool ok) {
  if (!ok) state.SkipWithError("wrong output");
}

void SetBytes(benchmark::State& state, size_t bytes) {
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(bytes));
}

template <typename Out>
void BM_Brix(benchmark::State& state) {
  const Input& input = TheInput();
  brix::DeflateDecoder decoder;
  Out out;
  for (auto _ : state) {
    brix::FixedMemoryStream in(input.deflated);
    decoder.Reset();
    auto limit = static_cast<uint32_t>(input.plain.size());
    if (!decoder.Decode(in, out, &limit) || limit != input.plain.size()) return state.SkipWithError("failed");
  }
  if constexpr (std::is_same_v<Out, brix::MemoryStream>) {
    Check(state, std::memcmp(out.bytes().data(), input.plain.data(), input.plain.size()) == 0);
  }
  SetBytes(state, input.plain.size());
}
BENCHMARK(BM_Brix<DiscardStream>)->Name("inflate/brix/discard");
BENCHMARK(BM_Brix<brix::MemoryStream>)->Name("inflate/brix/memory");

void BM_BrixSmall(benchmark::State& state) {
  const Input& input = TheInput();
  brix::DeflateDecoder decoder;
  DiscardStream out;
  for (auto _ : state) {
    for (const auto& stream : input.small) {
      brix::FixedMemoryStream in(stream);
      decoder.Reset();
      uint32_t limit = kSmallPiece;
      if (!decoder.Decode(in, out, &limit) || limit != kSmallPiece) return state.SkipWithError("failed");
    }
  }
  SetBytes(state, input.small_plain);
}
BENCHMARK(BM_BrixSmall)->Name("small/brix/discard");

#ifdef BRIX_PEER_LIBDEFLATE
void BM_Libdeflate(benchmark::State& state) {
  const Input& input = TheInput();
  libdeflate_decompressor* d = libdeflate_alloc_decompressor();
  std::vector<uint8_t> out(input.plain.size());
  for (auto _ : state) {
    size_t got = 0;
    libdeflate_deflate_decompress(d, input.deflated.data(), input.deflated.size(), out.data(), out.size(),
                                  &got);
    benchmark::DoNotOptimize(got);
  }
  Check(state, out == input.plain);
  SetBytes(state, input.plain.size());
  libdeflate_free_decompressor(d);
}
BENCHMARK(BM_Libdeflate)->Name("inflate/libdeflate");

void BM_LibdeflateSmall(benchmark::State& state) {
  const Input& input = TheInput();
  libdeflate_decompressor* d = libdeflate_alloc_decompressor();
  std::vector<uint8_t> out(kSmallPiece);
  for (auto _ : state) {
    for (const auto& stream : input.small) {
      size_t got = 0;
      libdeflate_deflate_decompress(d, stream.data(), stream.size(), out.data(), out.size(), &got);
      benchmark::DoNotOptimize(got);
    }
  }
  SetBytes(state, input.small_plain);
  libdeflate_free_decompressor(d);
}
BENCHMARK(BM_LibdeflateSmall)->Name("small/libdeflate");
#endif

#ifdef BRIX_PEER_LIBISAL
bool IsalInflate(const std::vector<uint8_t>& in, std::vector<uint8_t>& out) {
  inflate_state s;
  isal_inflate_init(&s);
  s.next_in = const_cast<uint8_t*>(in.data());
  s.avail_in = static_cast<uint32_t>(in.size());
  s.next_out = out.data();
  s.avail_out = static_cast<uint32_t>(out.size());
  return isal_inflate_stateless(&s) == ISAL_DECOMP_OK;
}

void BM_Isal(benchmark::State& state) {
  const Input& input = TheInput();
  std::vector<uint8_t> out(input.plain.size());
  for (auto _ : state) benchmark::DoNotOptimize(IsalInflate(input.deflated, out));
  Check(state, out == input.plain);
  SetBytes(state, input.plain.size());
}
BENCHMARK(BM_Isal)->Name("inflate/isal");

void BM_IsalSmall(benchmark::State& state) {
  const Input& input = TheInput();
  std::vector<uint8_t> out(kSmallPiece);
  for (auto _ : state) {
    for (const auto& stream : input.small) benchmark::DoNotOptimize(IsalInflate(stream, out));
  }
  SetBytes(state, input.small_plain);
}
BENCHMARK(BM_IsalSmall)->Name("small/isal");
#endif

#ifdef BRIX_PEER_ZLIB
void BM_Zlib(benchmark::State& state) {
  const Input& input = TheInput();
  std::vector<uint8_t> out(input.plain.size());
  z_stream z{};
  inflateInit2(&z, -15);
  for (auto _ : state) {
    inflateReset(&z);
    z.next_in = const_cast<uint8_t*>(input.deflated.data());
    z.avail_in = static_cast<uInt>(input.deflated.size());
    z.next_out = out.data();
    z.avail_out = static_cast<uInt>(out.size());
    inflate(&z, Z_FINISH);
  }
  inflateEnd(&z);
  Check(state, out == input.plain);
  SetBytes(state, input.plain.size());
}
BENCHMARK(BM_Zlib)->Name("inflate/zlib");
#endif

}  // namespace

int main(int argc, char** argv) {
#ifndef BRIX_PEER_ZLIB
  std::fprintf(stderr, "skipped: zlib is not installed, which makes the input\n");
  return 0;
#endif
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
}

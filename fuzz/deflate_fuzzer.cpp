// The inflater: the first byte chooses mode, stored flag and the size of the calls.
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "core/memory_stream.h"
#include "decoders/deflate/deflate_decoder.h"

namespace {

constexpr uint32_t kMaxOutput = 1 << 17;

struct Result {
  bool ok;
  std::vector<uint8_t> data;
};

Result Decode(brix::DeflateDecoder& decoder, std::span<const uint8_t> bytes, uint32_t piece) {
  brix::FixedMemoryStream in(bytes);
  brix::MemoryStream out;
  uint32_t total = 0;
  uint32_t got = 0;
  bool ok = true;
  do {
    got = std::min(piece, kMaxOutput - total);
    const uint32_t asked = got;
    ok = decoder.Decode(in, out, &got);
    if (got > asked) std::abort();
    total += got;
  } while (ok && got != 0);
  if (out.bytes().size() != total) std::abort();
  return {ok, {out.bytes().begin(), out.bytes().end()}};
}

}  // namespace

// How the output is cut into calls must not show in it.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0 || size > (1 << 16)) return 0;
  const uint32_t piece = 1 + (data[0] >> 2) * 61u;
  // One decoder of each kind serves all inputs: nothing of a stream may show in the next.
  static brix::DeflateDecoder decoders[] = {brix::DeflateDecoder(brix::DeflateMode::kDeflate, 0),
                                            brix::DeflateDecoder(brix::DeflateMode::kDeflate64, 0),
                                            brix::DeflateDecoder(brix::DeflateMode::kDeflate, 1),
                                            brix::DeflateDecoder(brix::DeflateMode::kDeflate64, 1)};
  brix::DeflateDecoder& decoder = decoders[data[0] & 3];
  decoder.Reset();
  const std::span<const uint8_t> bytes(data + 1, size - 1);
  const Result whole = Decode(decoder, bytes, kMaxOutput);
  decoder.Reset();
  const Result pieces = Decode(decoder, bytes, piece);
  if (whole.ok != pieces.ok || whole.data != pieces.data) std::abort();
  return 0;
}

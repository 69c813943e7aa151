// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// long_streams.cpp - our LZMA and bzip2 decoders through their own interface against the libraries of these methods.
//
// Ours reads a memory stream and writes a memory stream, or a stream that discards. The libraries get the whole input
// and the whole output in one buffer each, which is the most that they can be given. 7zz, a program, also starts and
// writes to nowhere.
#include <memory>

#include "contenders.h"
#include "core/byte_order.h"
#include "core/memory_stream.h"
#include "decoders/bzip2/bzip2_decoder.h"
#include "decoders/lzma/lzma_decoder.h"
#include "sink_stream.h"
#ifdef BRIX_PEER_LIBLZMA
#include <lzma.h>
#endif
#ifdef BRIX_PEER_BZIP2
#include <bzlib.h>
#endif

namespace bench {
namespace {

using Prepare =
    std::function<brix::ResumableDecoder*(ByteSpan file)>;  // ready for the stream; null: it is none

struct Input {
  std::string name;
  Bytes file;
  size_t stream_at;
  uint32_t plain;
};

Area Compare(const Data& data, const std::string& title, const std::shared_ptr<Input>& input,
             const Prepare& prepare, const char* library, const std::function<bool(uint8_t* out)>& decode,
             double floor) {
  constexpr const char* kStream = "brix to a stream";
  constexpr const char* kMemory = "brix to memory";
  Area area{title,
            {},
            {{Measure::kSpeed, kStream, library, floor, 1.30},
             {Measure::kSpeed, kMemory, library, floor, 1.30},
             {Measure::kSpeed, kStream, "7zz", 1.00, 1.11}},
            data.Expected(input->name)};
  const auto run = [=](brix::Stream& out) {
    if (input->file.size() < input->stream_at) return false;
    brix::ResumableDecoder* const decoder = prepare(input->file);
    brix::FixedMemoryStream in(ByteSpan(input->file).subspan(input->stream_at));
    uint32_t limit = input->plain;
    return decoder != nullptr && decoder->Decode(in, out, &limit) && limit == input->plain;
  };
  area.contenders.push_back({kStream, [=](Sink& sink) {
                               SinkStream out(sink);
                               if (!run(out)) return false;
                               sink.EndMember();
                               return true;
                             }});
  area.contenders.push_back({kMemory, [=, out = std::make_shared<brix::MemoryStream>()](Sink& sink) {
                               if (!out->SetSize(0) || !run(*out)) return false;
                               sink.Member(out->bytes().data(), out->bytes().size());
                               return true;
                             }});
  if (decode != nullptr) {
    area.contenders.push_back({library, [=, out = std::make_shared<Bytes>(input->plain)](Sink& sink) {
                                 if (!decode(out->data())) return false;
                                 sink.Member(out->data(), out->size());
                                 return true;
                               }});
  }
  area.contenders.push_back(Program("7zz", "7zz x -so -mmt1 {}", data.Path(input->name), Writes::kMembers));
  return area;
}

std::shared_ptr<Input> Read(const Data& data, const char* name, size_t stream_at) {
  const auto expected = data.Expected(name);
  const auto plain = static_cast<uint32_t>(expected ? expected->bytes : 0);
  return std::make_shared<Input>(Input{name, data.Read(name), stream_at, plain});
}

}  // namespace

Area Lzma(const Data& data) {
  constexpr size_t kHeader = 13;  // properties, size
  const auto input = Read(data, "corpus.lzma", kHeader);
  std::function<bool(uint8_t*)> decode;
#ifdef BRIX_PEER_LIBLZMA
  const auto z = std::make_shared<lzma_stream>();  // zeros, as its initialiser has them
  decode = [=](uint8_t* out) {
    if (lzma_alone_decoder(z.get(), UINT64_MAX) != LZMA_OK) return false;
    z->next_in = input->file.data();
    z->avail_in = input->file.size();
    z->next_out = out;
    z->avail_out = input->plain;
    return lzma_code(z.get(), LZMA_FINISH) == LZMA_STREAM_END && z->avail_out == 0;
  };
#endif
  const auto decoder = std::make_shared<brix::LzmaDecoder>();
  const Prepare prepare = [=](ByteSpan file) {
    return decoder->Begin(file.first<brix::LzmaDecoder::kPropertyBytes>()) ? decoder.get() : nullptr;
  };
  return Compare(data, "LZMA, one stream of 48 MB", input, prepare, "liblzma", decode, 1.10);
}

Area Bzip2(const Data& data) {
  const auto input = Read(data, "corpus.bz2", 0);
  std::function<bool(uint8_t*)> decode;
#ifdef BRIX_PEER_BZIP2
  decode = [=](uint8_t* out) {
    unsigned size = input->plain;
    return BZ2_bzBuffToBuffDecompress(reinterpret_cast<char*>(out), &size,
                                      reinterpret_cast<char*>(input->file.data()),
                                      static_cast<unsigned>(input->file.size()), 0, 0) == BZ_OK &&
           size == input->plain;
  };
#endif
  const auto decoder = std::make_shared<brix::Bzip2Decoder>();
  const Prepare prepare = [=](ByteSpan) {
    decoder->Reset();
    return decoder.get();
  };
  return Compare(data, "bzip2, one stream of 48 MB", input, prepare, "libbz2", decode, 1.00);
}

}  // namespace bench

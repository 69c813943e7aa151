// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// inflate.cpp - our inflater through its own interface against whole-buffer inflaters.
//
// Ours reads a memory stream and writes a memory stream, or a stream that discards. The peers get the whole input and
// the whole output in one buffer each, which is the most that they can be given.
#include <memory>

#include "contenders.h"
#include "core/byte_order.h"
#include "core/memory_stream.h"
#include "decoders/deflate/deflate_decoder.h"
#include "sink_stream.h"
#ifdef BRIX_PEER_LIBDEFLATE
#include <libdeflate.h>
#endif
#ifdef BRIX_PEER_LIBISAL
#include <isa-l.h>
#endif
#ifdef BRIX_PEER_ZLIB
#include <zlib.h>
#endif

namespace bench {
namespace {

// One raw Deflate stream and how much it yields.
struct Stream {
  std::span<const uint8_t> bytes;
  uint32_t plain = 0;
};

struct Streams {
  Bytes file;
  std::vector<Stream> all;
  uint32_t largest = 0;
};

bool Decode(brix::DeflateDecoder& decoder, const Stream& stream, brix::Stream& out) {
  brix::FixedMemoryStream in(stream.bytes);
  decoder.Reset();
  uint32_t limit = stream.plain;
  return decoder.Decode(in, out, &limit) && limit == stream.plain;
}

Contender BrixToStream(const std::shared_ptr<Streams>& streams) {
  const auto decoder = std::make_shared<brix::DeflateDecoder>();
  return {"brix to a stream", [=](Sink& sink) {
            SinkStream out(sink);
            for (const Stream& stream : streams->all) {
              if (!Decode(*decoder, stream, out)) return false;
              sink.EndMember();
            }
            return !streams->all.empty();
          }};
}

Contender BrixToMemory(const std::shared_ptr<Streams>& streams) {
  const auto decoder = std::make_shared<brix::DeflateDecoder>();
  const auto out = std::make_shared<brix::MemoryStream>();
  return {"brix to memory", [=](Sink& sink) {
            for (const Stream& stream : streams->all) {
              if (!out->SetSize(0) || !Decode(*decoder, stream, *out)) return false;
              sink.Member(out->bytes().data(), out->bytes().size());
            }
            return !streams->all.empty();
          }};
}

// A peer that decodes one stream into a buffer of the exact size.
template <typename DecodeOne>
Contender Peer(const char* name, const std::shared_ptr<Streams>& streams, DecodeOne decode) {
  const auto out = std::make_shared<Bytes>(streams->largest);
  return {name, [=](Sink& sink) {
            for (const Stream& stream : streams->all) {
              if (!decode(stream, out->data())) return false;
              sink.Member(out->data(), stream.plain);
            }
            return !streams->all.empty();
          }};
}

std::vector<Contender> Contenders(const std::shared_ptr<Streams>& streams) {
  std::vector<Contender> all = {BrixToStream(streams), BrixToMemory(streams)};
#ifdef BRIX_PEER_LIBDEFLATE
  all.push_back(
      Peer("libdeflate", streams, [d = libdeflate_alloc_decompressor()](const Stream& in, uint8_t* out) {
        return libdeflate_deflate_decompress(d, in.bytes.data(), in.bytes.size(), out, in.plain, nullptr) ==
               LIBDEFLATE_SUCCESS;
      }));
#endif
#ifdef BRIX_PEER_LIBISAL
  all.push_back(Peer("ISA-L", streams, [](const Stream& in, uint8_t* out) {
    inflate_state s;
    isal_inflate_init(&s);
    s.next_in = const_cast<uint8_t*>(in.bytes.data());
    s.avail_in = static_cast<uint32_t>(in.bytes.size());
    s.next_out = out;
    s.avail_out = in.plain;
    return isal_inflate_stateless(&s) == ISAL_DECOMP_OK && s.avail_out == 0;
  }));
#endif
#ifdef BRIX_PEER_ZLIB
  const auto z = std::make_shared<z_stream>();
  inflateInit2(z.get(), -15);
  all.push_back(Peer("zlib", streams, [z](const Stream& in, uint8_t* out) {
    inflateReset(z.get());
    z->next_in = const_cast<uint8_t*>(in.bytes.data());
    z->avail_in = static_cast<uInt>(in.bytes.size());
    z->next_out = out;
    z->avail_out = in.plain;
    return inflate(z.get(), Z_FINISH) == Z_STREAM_END && z->avail_out == 0;
  }));
#endif
  return all;
}

}  // namespace

Area Inflate(const Data& data) {
  constexpr size_t kHeader = 10, kTrailer = 8;  // of a GZIP file without a name
  const auto streams = std::make_shared<Streams>();
  streams->file = data.Read("corpus.gz");
  if (const size_t size = streams->file.size(); size > kHeader + kTrailer) {
    streams->largest = brix::LoadLe32(&streams->file[size - 4]);
    streams->all.push_back(
        {std::span(streams->file).subspan(kHeader, size - kHeader - kTrailer), streams->largest});
  }
  return {"Inflate, one stream of 48 MB",
          Contenders(streams),
          {{Measure::kSpeed, "brix to a stream", "libdeflate", 0.90, 1.00},
           {Measure::kSpeed, "brix to memory", "libdeflate", 0.90, 1.00}},
          data.Expected("corpus.gz")};
}

// The members of a ZIP that zipfile wrote: local headers one behind the other, sizes in them.
Area InflateSmall(const Data& data) {
  constexpr size_t kHeader = 30, kLocalHeader = 0x04034B50;
  const auto streams = std::make_shared<Streams>();
  streams->file = data.Read("many-small.zip");
  const std::span<const uint8_t> file = streams->file;
  for (size_t at = 0; at + kHeader < file.size() && brix::LoadLe32(&file[at]) == kLocalHeader;) {
    const uint32_t packed = brix::LoadLe32(&file[at + 18]), plain = brix::LoadLe32(&file[at + 22]);
    at += kHeader + brix::LoadLe16(&file[at + 26]) + brix::LoadLe16(&file[at + 28]);
    streams->all.push_back({file.subspan(at, packed), plain});
    streams->largest = std::max(streams->largest, plain);
    at += packed;
  }
  return {"Inflate, 20,000 streams of 2 KB with one decoder",
          Contenders(streams),
          {{Measure::kSpeed, "brix to a stream", "libdeflate", 0.90, 1.05},
           {Measure::kSpeed, "brix to memory", "libdeflate", 0.90, 1.05}},
          data.Expected("many-small.zip")};
}

}  // namespace bench

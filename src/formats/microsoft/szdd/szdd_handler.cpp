// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// szdd_handler.cpp - presents an SZDD file as a container of one member, which has no stored name.
//
// Layout, little-endian: "SZDD" 88 F0 27 33, mode (1, not read), last character of the name (1, not read),
// uncompressed length (4), LZSS data to the end of the file.
//
// Bounds: the length field is only ever an output limit; the decoder's memory does not depend on it.
#include "formats/microsoft/szdd/szdd_handler.h"

#include <algorithm>
#include <array>
#include <new>

#include "core/field_reader.h"
#include "core/refuse.h"
#include "core/stream_views.h"
#include "decoders/lzss/szdd_decoder.h"

namespace brix::szdd {

namespace {

constexpr std::array<uint8_t, 8> kMagic = {'S', 'Z', 'D', 'D', 0x88, 0xF0, 0x27, 0x33};
constexpr uint32_t kLengthAt = 10;
constexpr uint32_t kDataAt = 14;
constexpr uint32_t kUnknownInputSize = 0x7FFFFFFF;

class CompressExpandHandler final : public ArchiveHandler {
 public:
  using ArchiveHandler::ArchiveHandler;

  [[nodiscard]] bool OpenArchive(char* name) override {
    if (!FieldReader(*read_stream_, 0).Is(0, kMagic)) return Refuse("szdd: magic differs");
    CopyName(kUnknownName, name);
    return true;
  }

  [[nodiscard]] bool NextMember(char* name) override {
    name[0] = '\0';
    return true;
  }

  [[nodiscard]] bool ExtractMember(Stream* out, uint32_t max_bytes, uint32_t* written) override {
    *written = 0;
    FieldReader header(*read_stream_, 0);
    const uint32_t length = header.U32(kLengthAt);
    if (!header.ok()) return Refuse("szdd: no length field");
    uint32_t size = 0;
    if (!read_stream_->GetSize(&size)) size = kUnknownInputSize;
    RangeStream data(read_stream_, kDataAt, size - std::min(size, kDataAt));
    *written = max_bytes == 0 ? length : std::min(max_bytes, length);
    return decoder_.Decode(data, *out, written);
  }

 private:
  SzddDecoder decoder_;
};

}  // namespace

bool DetectSzdd(Stream& in, uint32_t, const FormatTable&) { return FieldReader(in, 0).Is(0, kMagic); }

ArchiveHandler* CreateSzddHandler(Stream* in, const HandlerArgs& args) {
  return new CompressExpandHandler(in, args.ownership, args.type_id);
}

}  // namespace brix::szdd

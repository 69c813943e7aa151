// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// nsis_data.cpp - decodes the script header and the blocks of files.
//
// Behind the first header stands the script header, and behind that the files, block after block. Either each of them
// is compressed by itself, or all of it is one stream ("solid"), in which every block has its length in front as well.
// No field says which of the two it is, nor the method: the data are tried until the script header comes out with the
// length that the first header states.
//
// Bounds: the archive has the length that the first header states, which counts from there, or what the file has of it;
// what follows it, such as a signature, is not data. A script header has 32 MiB at the most, in memory that grows with
// what comes out. A block of compressed or stored data must end inside the archive. Solid data are decoded forward; a
// block further back makes them begin anew. The allowance of the container's input bounds how often.
#include "formats/installers/nsis/nsis_data.h"

#include <algorithm>
#include <array>

#include "core/byte_order.h"
#include "core/field_reader.h"
#include "core/refuse.h"
#include "core/stream_views.h"
#include "formats/installers/nsis/nsis_format.h"

namespace brix::nsis {

namespace {
constexpr uint8_t kLzmaPropertiesMost = 9 * 5 * 5 - 1;
constexpr uint8_t kBzip2Block = 0x31;
constexpr uint32_t kMostBzip2Row = 900'000;
}  // namespace

bool InstallerData::Open(DecoderInput* in, uint32_t first_header) {
  in_ = in;
  FieldReader header(*in, first_header);
  script_length_ = header.U32(kHeaderLength);
  const uint32_t archive_length = header.U32(kArchiveLength);
  uint32_t size = 0;
  if (!header.ok() || !in->GetSize(&size) || !Fits(first_header, kFirstHeaderBytes, size)) {
    return Refuse("nsis: first header cut");
  }
  if (archive_length < kFirstHeaderBytes + kBlockLengthBytes) return Refuse("nsis: archive length");
  end_ = first_header + std::min(archive_length, size - first_header);
  data_.at = first_header + kFirstHeaderBytes;
  data_.length = end_ - data_.at;
  if (script_length_ == 0 || script_length_ > kLongestHeader) return Refuse("nsis: script header length");
  // LZMA first: its solid data may begin like a block, but no block like them.
  return OpenSolid(Method::kLzma) || OpenSolid(Method::kFilteredLzma) || OpenBlocks() ||
         OpenSolid(Method::kBzip2) || OpenSolid(Method::kDeflate) ||
         Refuse("nsis: script header cannot be decoded");
}

bool InstallerData::OpenBlocks() {
  solid_.reset();
  FieldReader fields(*in_, data_.at);
  const uint32_t word = fields.U32(0);
  if (!fields.ok() || data_.length < kBlockLengthBytes) return false;
  if (data_.length - kBlockLengthBytes < (word & kBlockLengthMask)) return false;
  const Packed packed{data_.at + kBlockLengthBytes, word & kBlockLengthMask};
  if ((word & kBlockCompressed) == 0) {
    method_ = Method::kStored;
    return OpenFirstBlock();
  }
  return std::ranges::any_of(kMethods, [&](Method method) {
    method_ = method;
    return LooksLike(method, packed) && OpenFirstBlock();
  });
}

bool InstallerData::OpenFirstBlock() {
  blocks_ = data_.at;
  uint32_t produced = script_length_;
  uint32_t next = 0;
  if (!script_.SetSize(0) || !ExtractBlock(0, script_, &produced, &next) || produced != script_length_) {
    return false;
  }
  blocks_ += next;  // which lies inside the archive
  return true;
}

bool InstallerData::OpenSolid(Method method) {
  Packed packed = data_;
  if (!LooksLike(method, packed)) return false;
  ResumableDecoder* decoder = Begin(method, &packed);
  if (decoder == nullptr) return false;
  solid_.emplace(*decoder, in_, packed.at, packed.length);
  blocks_ = 0;
  FieldReader fields(*solid_, 0);
  if (fields.U32(0) != script_length_ || !fields.ok()) return false;
  uint32_t produced = script_length_;
  return script_.SetSize(0) && ExtractSolid(0, script_, &produced, &blocks_) && produced == script_length_;
}

bool InstallerData::LooksLike(Method method, Packed packed) const {
  if (method == Method::kDeflate) return true;
  std::array<uint8_t, 1 + LzmaDecoder::kPropertyBytes + 1> bytes{};
  uint32_t got = 0;
  const auto size = static_cast<uint32_t>(bytes.size());
  if (!in_->ReadAt(packed.at, bytes.data(), std::min(size, packed.length), &got)) return false;
  // The mark of a block, and the most significant byte of a number below 900,000.
  if (method == Method::kBzip2) return bytes[0] == kBzip2Block && bytes[1] <= kMostBzip2Row >> 16;
  // With filters a byte that says whether this one is used; properties; a dictionary of a multiple of 64 KiB; and the
  // coder's first byte, which is 0.
  const bool has_filter = method == Method::kFilteredLzma;
  const uint8_t* lzma = &bytes[has_filter ? 1 : 0];
  return got == size && bytes[0] <= (has_filter ? 1 : kLzmaPropertiesMost) &&
         lzma[0] <= kLzmaPropertiesMost && lzma[1] == 0 && lzma[2] == 0 && lzma[5] == 0;
}

InstallerData::Method InstallerData::FindMethod(Packed packed) const {
  return *std::ranges::find_if(kMethods, [&](Method method) { return LooksLike(method, packed); });
}

ResumableDecoder* InstallerData::Begin(Method method, Packed* packed) {
  if (method == Method::kDeflate) {
    deflate_.Reset();
    return &deflate_;
  }
  if (method == Method::kBzip2) {
    bzip2_.Reset();
    return &bzip2_;
  }
  FieldReader fields(*in_, packed->at);
  uint32_t taken = 0;
  const bool filtered = method == Method::kFilteredLzma && fields.U8(taken++) != 0;
  std::array<uint8_t, LzmaDecoder::kPropertyBytes> properties{};
  fields.Bytes(taken, properties.data(), LzmaDecoder::kPropertyBytes);
  taken += LzmaDecoder::kPropertyBytes;
  if (!fields.ok() || taken > packed->length || !lzma_.Begin(properties)) return nullptr;
  packed->at += taken;
  packed->length -= taken;
  if (!filtered) return &lzma_;
  filtered_lzma_.Reset();
  return &filtered_lzma_;
}

bool InstallerData::Extract(uint32_t offset, Stream& out, uint32_t* limit, uint32_t* next) {
  return solid_.has_value() ? ExtractSolid(offset, out, limit, next) : ExtractBlock(offset, out, limit, next);
}

bool InstallerData::ExtractBlock(uint32_t offset, Stream& out, uint32_t* limit, uint32_t* next) {
  const uint32_t wanted = *limit;
  *limit = 0;
  Packed packed{blocks_, 0};
  if (!CheckedAdd(&packed.at, offset)) return Refuse("nsis: block out of range");
  FieldReader fields(*in_, packed.at);
  const uint32_t word = fields.U32(0);
  if (!fields.ok()) return Refuse("nsis: block cut");
  packed.at += kBlockLengthBytes;  // inside the file, if not the archive
  packed.length = word & kBlockLengthMask;
  if (!Fits(packed.at, packed.length, end_)) return Refuse("nsis: block goes on after the archive's end");
  if (next != nullptr) *next = offset + kBlockLengthBytes + packed.length;
  if ((word & kBlockCompressed) == 0) {
    *limit = std::min(wanted, packed.length);
    RangeStream data(in_, packed.at, packed.length);
    return copier_.Decode(data, out, limit);
  }
  ResumableDecoder* decoder = Begin(method_ == Method::kStored ? FindMethod(packed) : method_, &packed);
  if (decoder == nullptr) return Refuse("nsis: block without its properties");
  RangeStream data(in_, packed.at, packed.length);
  *limit = wanted;
  const bool ok = decoder->Decode(data, out, limit);
  in_->ChargeTables(decoder->TakeTablesBuilt());
  return ok;
}

bool InstallerData::ExtractSolid(uint32_t offset, Stream& out, uint32_t* limit, uint32_t* next) {
  const uint32_t wanted = *limit;
  *limit = 0;
  uint32_t at = blocks_;
  if (!CheckedAdd(&at, offset)) return Refuse("nsis: block out of range");
  FieldReader fields(*solid_, at);
  const uint32_t length = fields.U32(0) & kBlockLengthMask;
  if (!fields.ok() || !CheckedAdd(&at, kBlockLengthBytes)) return Refuse("nsis: block cut");
  if (next != nullptr) *next = offset + kBlockLengthBytes + length;  // wraps
  *limit = std::min(wanted, length);
  return solid_->CopyTo(out, at, limit);
}

}  // namespace brix::nsis

// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// tar_handler.cpp - walks the header blocks of a tar archive, plain or inside gzip, and extracts its files.
//
// A member is a header block, for a sparse file the extension blocks of its map, and its data up to the next whole
// block. Only regular and sparse files are reported.
//
// Kept: long-name and pax records are skipped like folders and links, so their members show under the first 100 bytes
// that the header holds; the path prefix of ustar is not read either. A sparse member's size is the stored one, and its
// data the whole file. A block of zeros at the very start is no end but a header with a bad checksum.
//
// A sparse member whose map asks for more than its stored size is damaged: what is stored comes out, and then it fails.
// The bytes after these are other members'; a map that reached them would make the inflater go back for the next header.
//
// Bounds: every header raises the header offset by at least a block. The sum is checked: a member whose stated size
// reaches beyond 4 GiB is reported, and the walk ends with damage behind it. Sizes are never sizes of memory but for
// the sparse map, which sparse_map.cpp bounds. Inside gzip all reads go forward, from the header to its member's data
// to the next header, so a walk decodes every byte once; only extracting a member again begins anew.
#include "formats/classic/tar/tar_handler.h"

#include <algorithm>
#include <memory>
#include <new>

#include "core/field_reader.h"
#include "core/refuse.h"
#include "core/stream_views.h"
#include "decoders/copy/copy_decoder.h"
#include "decoders/decoding_stream.h"
#include "decoders/deflate/deflate_decoder.h"
#include "formats/classic/tar/sparse_map.h"
#include "formats/classic/tar/tar_detect.h"
#include "formats/classic/tar/tar_header.h"

namespace brix::tar {

namespace {

constexpr uint32_t kNoHeader = UINT32_MAX;  // a header offset that cannot be; others are multiples of a block

// The offset of the block behind `size` bytes of data.
uint32_t BlockBehind(uint32_t data_offset, uint32_t size) {
  const uint64_t blocks = (uint64_t{size} + kBlockBytes - 1) / kBlockBytes;
  return static_cast<uint32_t>(std::min<uint64_t>(data_offset + blocks * kBlockBytes, kNoHeader));
}

class TarHandler final : public ArchiveHandler {
 public:
  using ArchiveHandler::ArchiveHandler;

  [[nodiscard]] bool OpenArchive(char* name) override {
    Place place;
    if (!LocateTar(*read_stream_, &place)) return false;
    tar_stream_ = read_stream_;
    inflated_.reset();
    if (place.in_gzip) {
      inflated_.reset(new (std::nothrow) Inflated(&packed_, place.packed_at, place.packed_size));
      NeedMemory(inflated_ != nullptr && inflated_->decoder.TakeMemory());
      tar_stream_ = &inflated_->stream;
    }
    header_offset_ = 0;
    return NextMember(name);
  }

  [[nodiscard]] bool NextMember(char* name) override {
    memberStatus = kMemberNormal;
    do {
      name[0] = '\0';
      Block block;
      if (!ReadBlock(&block)) return Refuse("tar: no header block");
      if (header_offset_ != 0 && IsZero(block)) {
        header_ = {0, kOldFile};
        if (inflated_ == nullptr) NoteUnseenAfter(header_offset_);
        return true;
      }
      if (!ParseHeader(block, &header_)) return false;
      if (header_.type == kSparse && !ReadSparseMap(block)) return false;
      data_offset_ = header_offset_;
      if (!CheckedAdd(&data_offset_, kBlockBytes)) return Refuse("tar: data out of range");
      header_offset_ = BlockBehind(data_offset_, header_.size);
      const bool has_name = block[0] != 0;
      CopyName(has_name ? StoredName(block) : kUnknownName, name);
    } while (header_.type != kOldFile && header_.type != kFile && header_.type != kSparse);
    return true;
  }

  [[nodiscard]] bool ExtractMember(Stream* out, uint32_t max_bytes, uint32_t* written) override {
    const uint32_t size = header_.type == kSparse ? real_size_ : header_.size;
    const uint32_t limit = max_bytes == 0 ? size : std::min(max_bytes, size);
    *written = 0;
    if (limit == 0) return true;
    if (header_.type == kSparse) return ExtractSparse(*out, limit, written);
    *written = limit;
    if (inflated_ != nullptr) return inflated_->stream.CopyTo(*out, data_offset_, written);
    RangeStream data(tar_stream_, data_offset_, header_.size);
    return copier_.Decode(data, *out, written);
  }

  [[nodiscard]] bool GetMemberSize(uint32_t* value, uint32_t* io_size) override {
    return AnswerSize(header_.size, value, io_size);
  }

 private:
  struct Inflated {
    Inflated(DecoderInput* parent, uint32_t start, uint32_t length)
        : stream(decoder, parent, start, length) {}
    DeflateDecoder decoder;
    DecodingStream stream;
  };

  [[nodiscard]] bool ReadBlock(Block* block) {
    return header_offset_ % kBlockBytes == 0 &&
           ReadExact(*tar_stream_, header_offset_, block->data(), kBlockBytes);
  }

  // Reads the map of a sparse member, whose header is in `block` and stands at the header offset; moves that to the
  // last of the extension blocks.
  [[nodiscard]] bool ReadSparseMap(const Block& block) {
    map_.Clear();
    if (!map_.Add(block, kSparseMapAt, kSparseMapEntries)) return false;
    if (!ParseSize(block, kRealSizeAt, &real_size_)) return Refuse("tar: real size is no number");
    // Ends by the header offset.
    for (bool extended = block[kSparseExtendedAt] != 0; extended;) {
      Block extension;
      if (!CheckedAdd(&header_offset_, kBlockBytes) || !ReadBlock(&extension)) {
        return Refuse("tar: no extension block");
      }
      if (!map_.Add(extension, 0, kExtensionEntries)) return false;
      extended = extension[kExtensionExtendedAt] != 0;
    }
    return true;
  }

  // Appends `count` bytes of `from` to the `*written` that `out` holds.
  [[nodiscard]] bool Append(Stream& from, Stream& out, uint32_t count, uint32_t* written) {
    RangeStream behind(&out, *written, count);
    const bool ok = copier_.Decode(from, behind, &count);
    *written += count;  // stays at most the limit
    return ok;
  }

  // The chunks in stored order, each behind zeros up to its offset where that is still ahead, and zeros up to the
  // limit. Ends by the output, which every chunk makes longer.
  [[nodiscard]] bool ExtractSparse(Stream& out, uint32_t limit, uint32_t* written) {
    NullStream zeros;
    uint32_t stored_offset = data_offset_;
    uint32_t stored = header_.size;  // from there on
    for (const Chunk& chunk : map_.chunks()) {
      const uint32_t hole_end = std::min(chunk.offset, limit);
      if (*written < hole_end && !Append(zeros, out, hole_end - *written, written)) return false;
      const uint32_t length = std::min(chunk.length, limit - *written);
      if (length == 0) return true;
      const uint32_t there = std::min(length, stored);
      RangeStream data(tar_stream_, stored_offset, there);
      if (!Append(data, out, there, written)) return false;
      if (there < length) return Refuse("tar: a chunk beyond the stored size");
      if (!CheckedAdd(&stored_offset, there)) return Refuse("tar: chunks out of range");
      stored -= there;
    }
    if (map_.cut() && *written < limit) return Refuse("tar: more chunks than are kept");
    return *written == limit || Append(zeros, out, limit - *written, written);
  }

  uint32_t header_offset_ = 0;    // of the next header
  Stream* tar_stream_ = nullptr;  // the read stream, or the one below
  std::unique_ptr<Inflated> inflated_;
  uint32_t data_offset_ = 0;  // of the current member
  Header header_;
  uint32_t real_size_ = 0;  // of a sparse member: the file's length
  SparseMap map_;
  CopyDecoder copier_;
};

}  // namespace

ArchiveHandler* CreateTarHandler(Stream* in, const HandlerArgs& args) {
  return new TarHandler(in, args.ownership, args.type_id);
}

}  // namespace brix::tar

// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// zip_handler.cpp - walks a ZIP archive's central directory and extracts members by their local headers.
//
// The directory says which members there are; the local header in front of a member's data has the last word
// on its name, method and sizes.
//
// Kept: the walk goes from record to record until an end signature is where the next would begin; anything else
// there is damage. The end record's counts are not looked at.
//
// Kept: members of compressed size 0 (folders, empty files) are never shown. A member is extracted once: that
// replaces the header offset by the data offset, and a second extraction fails.
//
// A record whose local header is not in the file is a member all the same: it has the directory's name, and its
// extraction fails.
//
// Bounds: every offset is a checked sum; a local offset whose sum does not fit in 32 bits is outside the file, any
// other such sum is damage. Lengths in records are 16 bits wide and only the first 511 bytes of a name are read,
// straight into the caller's buffer. A member costs six small cached reads to list and nothing is allocated for it:
// decoders are made for the first member that needs them and kept.
#include "formats/classic/zip/zip_handler.h"

#include <algorithm>
#include <array>
#include <new>

#include "core/byte_order.h"
#include "core/field_reader.h"
#include "core/refuse.h"
#include "core/stream_views.h"
#include "formats/classic/zip/zip_detect.h"
#include "formats/classic/zip/zip_format.h"
#include "formats/classic/zip/zip_methods.h"

namespace brix::zip {

namespace {

constexpr uint32_t kUnknownSize = 0x7FFFFFFF;

// Reads the first 511 of a name's `length` bytes. False, with the name empty, when they cannot be read.
bool ReadName(FieldReader& record, uint32_t at, uint32_t length, char* name) {
  const uint32_t count = std::min(length, kNameBufferSize - 1);
  const bool ok = record.Bytes(at, reinterpret_cast<uint8_t*>(name), count);
  name[ok ? count : 0] = '\0';
  return ok;
}

class ZipHandler final : public ArchiveHandler {
 public:
  using ArchiveHandler::ArchiveHandler;

  [[nodiscard]] bool OpenArchive(char* name) override {
    Directory directory;
    if (!LocateDirectory(*read_stream_, &directory)) return false;
    directory_position_ = directory.position;
    prefix_length_ = directory.prefix_length;
    if (!read_stream_->GetSize(&stream_size_)) return Refuse("zip: no stream size");
    return NextMember(name);
  }

  [[nodiscard]] bool NextMember(char* name) override {
    name[0] = '\0';
    memberStatus = kMemberNormal;
    // Ends by the directory position: every record moves it on by at least 46 bytes and it cannot wrap.
    do {
      FieldReader record(*read_stream_, directory_position_);
      Signature signature;
      if (!record.Bytes(0, signature.data(), sizeof signature))
        return Refuse("zip: the directory has no end");
      if (signature == kEndSignature) {
        name[0] = '\0';  // a member that was skipped left its name
        NoteUnseenBefore(first_local_);
        NoteUnseenAfter(directory_position_ + kEndBytes + record.U16(kEndCommentLength));
        return true;
      }
      if (signature != kDirectorySignature) return Refuse("zip: not a directory record");
      if (!ReadRecord(record, name)) return false;
    } while (compressed_size_ == 0);
    if (name[0] == '\0') CopyName(kUnknownName, name);
    return true;
  }

  [[nodiscard]] bool ExtractMember(Stream* out, uint32_t max_bytes, uint32_t* written) override {
    *written = 0;
    if (!MayExtract() || !ReadLocalHeader()) return false;
    Decoder* const decoder = decoders_.Prepare(method_kind_, flags_);
    if (decoder == nullptr) return Refuse("zip: no decoder");
    if (method_kind_ == kStored) CutStoredSizes();
    RangeStream data(&packed_, header_offset_, compressed_size_);
    const uint32_t size = uncompressed_size_ == 0 ? kUnknownSize : uncompressed_size_;
    *written = max_bytes == 0 ? size : std::min(max_bytes, size);
    const bool ok = decoder->Decode(data, *out, written);
    packed_.ChargeTables(decoder->TakeTablesBuilt());
    return ok;
  }

  [[nodiscard]] bool GetMemberSize(uint32_t* value, uint32_t* io_size) override {
    return AnswerSize(uncompressed_size_, value, io_size);
  }

 private:
  // Reads the directory record at the directory position, whose signature was checked, and the member's name,
  // and moves on to the next record.
  [[nodiscard]] bool ReadRecord(FieldReader& record, char* name) {
    // All 46 bytes hold fields that are needed or stand in front of one, so they are read at once. The
    // signature is read apart: an end record is shorter.
    std::array<uint8_t, kRecordBytes> fixed;
    constexpr uint32_t kRest = sizeof(Signature);
    if (!record.Bytes(kRest, fixed.data() + kRest, kRecordBytes - kRest)) return Refuse("zip: record is cut");
    flags_ = LoadLe16(fixed.data() + kRecordFlags);
    method_kind_ = KindOf(LoadLe16(fixed.data() + kRecordMethod));
    compressed_size_ = LoadLe32(fixed.data() + kRecordCompressedSize);
    uncompressed_size_ = LoadLe32(fixed.data() + kRecordUncompressedSize);
    header_offset_ = LoadLe32(fixed.data() + kRecordLocalOffset);
    at_data_ = false;
    if (!CheckedAdd(&header_offset_, prefix_length_)) header_offset_ = UINT32_MAX;  // no place in a file
    first_local_ = std::min(first_local_, header_offset_);
    const uint32_t name_length = LoadLe16(fixed.data() + kRecordNameLength);
    if (!ReadName(record, kRecordBytes, name_length, name)) return Refuse("zip: name is cut");
    if (!ReadLocalName(name)) return false;
    const uint32_t variable = name_length + LoadLe16(fixed.data() + kRecordExtraLength) +
                              LoadLe16(fixed.data() + kRecordCommentLength);  // three 16-bit lengths
    if (!CheckedAdd(&directory_position_, kRecordBytes + variable)) return Refuse("zip: directory too long");
    return true;
  }

  // Lets the name in the local header replace the directory's. A header that is not there, or not wholly in the
  // file, leaves the directory's; a name in it that cannot be read gives "unknown".
  [[nodiscard]] bool ReadLocalName(char* name) const {
    if (!Fits(header_offset_, kLocalBytes, stream_size_)) return true;
    FieldReader local(*read_stream_, header_offset_);
    Signature signature;
    if (!local.Bytes(0, signature.data(), sizeof signature))
      return Refuse("zip: local header cannot be read");
    if (signature != kLocalSignature) return true;
    const uint32_t length = local.U16(kLocalNameLength);
    if (!local.ok()) return Refuse("zip: local header cannot be read");
    if (length != 0 && !ReadName(local, kLocalBytes, length, name)) CopyName(kUnknownName, name);
    return true;
  }

  // Whether the directory's record lets the member be extracted; sets memberStatus.
  [[nodiscard]] bool MayExtract() {
    if ((flags_ & kFlagEncrypted) != 0) {
      memberStatus = kMemberEncrypted;  // also when the method is not known
      return Refuse("zip: encrypted");
    }
    if (method_kind_ == kPpmd) {
      memberStatus = kMemberUnsupported;
      return Refuse("zip: PPMd");
    }
    if (method_kind_ == kOtherMethod) return Refuse("zip: method not known");
    // Kept: asked of Deflate64 only; with every other method a size of all ones is taken as it stands.
    if (method_kind_ == kDeflated64 &&
        (compressed_size_ == kSizeElsewhere || uncompressed_size_ == kSizeElsewhere)) {
      return Refuse("zip: Deflate64 with sizes elsewhere");
    }
    return true;
  }

  // Lets the local header correct method and sizes, and moves the header offset to the data after it: once, since
  // data may begin with a local header, too.
  [[nodiscard]] bool ReadLocalHeader() {
    if (at_data_) return Refuse("zip: a member is extracted once");
    std::array<uint8_t, kLocalBytes> local;
    if (!FieldReader(*read_stream_, header_offset_).Bytes(0, local.data(), kLocalBytes)) {
      return Refuse("zip: local header is cut");
    }
    if (!std::equal(kLocalSignature.begin(), kLocalSignature.end(), local.begin())) {
      return Refuse("zip: no local header");
    }
    uint32_t data_offset = header_offset_;
    const uint32_t variable = uint32_t{LoadLe16(local.data() + kLocalNameLength)} +
                              LoadLe16(local.data() + kLocalExtraLength);  // two 16-bit lengths
    if (!CheckedAdd(&data_offset, kLocalBytes + variable)) return Refuse("zip: data out of range");
    header_offset_ = data_offset;
    at_data_ = true;
    const uint32_t method = LoadLe16(local.data() + kLocalMethod);
    if (method < kKnownMethods) method_kind_ = method;
    if ((LoadLe16(local.data() + kLocalFlags) & kFlagDataDescriptor) == 0) {
      Correct(LoadLe32(local.data() + kLocalCompressedSize), &compressed_size_);
      Correct(LoadLe32(local.data() + kLocalUncompressedSize), &uncompressed_size_);
    }
    return true;
  }

  static void Correct(uint32_t local_size, uint32_t* size) {
    if (local_size != 0 && local_size != kSizeElsewhere) *size = local_size;
  }

  // A stored member of a file that was cut reaches to the end of the file.
  void CutStoredSizes() {
    compressed_size_ = std::min(compressed_size_, stream_size_ - std::min(header_offset_, stream_size_));
    uncompressed_size_ = compressed_size_;
  }

  uint32_t stream_size_ = 0;
  uint32_t directory_position_ = 0;    // of the next record
  uint32_t first_local_ = UINT32_MAX;  // the lowest local header of all records so far
  uint32_t prefix_length_ = 0;         // added to every stored local offset
  uint16_t flags_ = 0;                 // of the current member, from the directory
  uint32_t header_offset_ = 0;         // of its local header, or, once extracted, of its data:
  bool at_data_ = false;
  uint32_t compressed_size_ = 0;
  uint32_t uncompressed_size_ = 0;
  uint32_t method_kind_ = kStored;
  MethodDecoders decoders_;
};

}  // namespace

ArchiveHandler* CreateZipHandler(Stream* in, const HandlerArgs& args) {
  return new ZipHandler(in, args.ownership, args.type_id);
}

}  // namespace brix::zip

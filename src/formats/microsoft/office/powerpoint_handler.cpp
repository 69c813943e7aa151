// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// powerpoint_handler.cpp - packages among the embedded objects of a presentation.
//
// A presentation is a stream of records. A record of the right type holds an object's storage, a compound file
// of its own, compressed or as it is; the package is a stream in that one's root. Records inside others are
// looked at too: a record that holds records is entered, and left where its own length ends, whatever the
// lengths inside it say.
//
// An object is whole when it inflates to exactly the stated size, also when its data have no end, as some
// writers leave it, and when the record's length reaches past its container or the stream. The next record is
// looked for at the container's end then.
//
// Bounds: each record moves on by at least 8 bytes. A compressed object has less than 20 MiB, in memory that
// grows with what is really there; all of them together may have 4 GiB, then the walk fails. Compressed data are
// read once, except past a record's container, where other records may lie, too: what is read there, with all that
// such objects inflate to, may be the stream's size and 64 MiB. From then on objects are cut at their containers,
// and the walk fails at its end. Objects that are not compressed are always cut there. Records that cannot be read
// as what they say are passed over.
#include <algorithm>
#include <array>
#include <memory>
#include <new>
#include <optional>

#include "core/byte_order.h"
#include "core/field_reader.h"
#include "core/memory_stream.h"
#include "core/refuse.h"
#include "core/stream_views.h"
#include "decoders/deflate/deflate_decoder.h"
#include "formats/microsoft/compound/compound_file.h"
#include "formats/microsoft/office/office_format.h"
#include "formats/microsoft/office/office_handler.h"
#include "formats/microsoft/office/package_handler.h"

namespace brix::office {

namespace {

constexpr uint32_t kMostDepth = 16;  // records inside records; what is deeper is passed over
constexpr uint32_t kMostInflated = UINT32_MAX;
constexpr uint32_t kSpareOvershoot = 64 << 20;  // bytes beside the stream's size; see above

// A record that holds a storage: where its data lie in the stream.
struct ObjectRecord {
  uint32_t at;
  uint32_t size;    // bytes, cut at the end of the stream
  uint32_t inside;  // of those, the ones inside the record's container
};

// The objects' records of a presentation, one after the other.
class RecordScan {
 public:
  void Begin(Stream* records, uint32_t size) {
    *this = {};
    records_ = records;
    ends_[0] = size;
  }

  // The next record that holds a storage. False at the end, and when a record cannot be read, which failed() tells
  // apart.
  [[nodiscard]] bool Next(ObjectRecord* object) {
    for (;;) {  // ends by the position, which moves on by a header at least, or by the depth, which falls
      const uint32_t end = ends_[depth_];
      if (end - position_ < kRecordHeaderBytes) {
        position_ = end;
        if (depth_ == 0) return false;
        --depth_;
        continue;
      }
      std::array<uint8_t, kRecordHeaderBytes> header;
      if (!ReadExact(*records_, position_, header.data(), kRecordHeaderBytes)) {
        failed_ = true;
        return Refuse("powerpoint: a record cannot be read");
      }
      const uint32_t data_at = position_ + kRecordHeaderBytes;
      const uint32_t length = LoadLe32(&header[kRecordLength]);
      const uint32_t inside = std::min(length, end - data_at);
      const bool is_object = LoadLe16(&header[kRecordType]) == kObjectStorage;
      const bool is_container = (LoadLe16(&header[kRecordVersion]) & kVersionMask) == kContainer;
      if (is_container && !is_object && depth_ + 1 < kMostDepth) {
        position_ = data_at;
        if (inside == length) ends_[++depth_] = data_at + length;
        continue;
      }
      position_ = data_at + inside;
      if (!is_object) continue;
      *object = {data_at, std::min(length, ends_[0] - data_at), inside};
      return true;
    }
  }

  [[nodiscard]] bool failed() const { return failed_; }

 private:
  Stream* records_ = nullptr;
  uint32_t position_ = 0;                    // of the next record
  std::array<uint32_t, kMostDepth> ends_{};  // of the records that the position is in; first: of the stream
  uint32_t depth_ = 0;
  bool failed_ = false;
};

// A range that knows how far into it was read.
class ObservedRange final : public RangeStream {
 public:
  using RangeStream::RangeStream;

  [[nodiscard]] bool ReadAt(uint32_t offset, uint8_t* buf, uint32_t size, uint32_t* got) override {
    const bool ok = RangeStream::ReadAt(offset, buf, size, got);
    if (ok) read_to_ = std::max(read_to_, offset + std::min(*got, size));
    return ok;
  }
  [[nodiscard]] uint32_t read_to() const { return read_to_; }

 private:
  uint32_t read_to_ = 0;
};

class PowerPointHandler final : public PackageHandler {
 public:
  using PackageHandler::PackageHandler;

  [[nodiscard]] bool OpenArchive(char* name) override {
    name[0] = '\0';
    compound::Entry stream;
    if (!file_.Open(*read_stream_) || !file_.FindInRoot(kPresentationStream, compound::kStream, &stream)) {
      return Refuse("powerpoint: no presentation");
    }
    // Objects that are not compressed are compound files inside this stream, which read it in any order.
    file_.OpenStream(stream, compound::ChainMemory::kAll, &records_);
    scan_.Begin(&records_, stream.size);
    inflated_ = 0;
    overshoot_left_ = uint64_t{stream.size} + kSpareOvershoot;
    return NextMember(name);
  }

  [[nodiscard]] bool NextMember(char* name) override {
    name[0] = '\0';
    DropPackage();
    ObjectRecord record;
    while (scan_.Next(&record)) {
      object_.reset();
      if (OpenObject(record) && TakeObject(name)) return true;
      if (inflated_ > kMostInflated) return Refuse("powerpoint: too much to inflate");
    }
    if (overshoot_left_ == 0) return Refuse("powerpoint: too much past the ends of containers");
    return !scan_.failed();
  }

 private:
  // Opens a record's data as a compound file, in place or inflated.
  [[nodiscard]] bool OpenObject(const ObjectRecord& record) {
    FieldReader fields(records_, record.at);
    const bool is_plain = record.inside >= compound::kSignature.size() && fields.Is(0, compound::kSignature);
    if (!is_plain && !Inflate(record)) return false;
    object_.reset(new (std::nothrow) compound::CompoundFile);
    NeedMemory(object_ != nullptr);
    if (!is_plain) return object_->Open(inflated_object_);
    return object_->Open(plain_object_.emplace(&records_, record.at, record.inside));
  }

  [[nodiscard]] bool TakeObject(char* name) {
    compound::Entry stream;
    return object_->FindInRoot(kPackageStream, compound::kStream, &stream) &&
           TakePackage(*object_, stream, name);
  }

  [[nodiscard]] bool Inflate(const ObjectRecord& record) {
    FieldReader fields(records_, record.at);
    const uint32_t declared = fields.U32(0);
    const uint32_t size = overshoot_left_ != 0 ? record.size : record.inside;
    if (size < kObjectPrefix || !fields.ok()) return Refuse("powerpoint: object record is cut");
    if (declared == 0 || declared >= kObjectSizeLimit) return Refuse("powerpoint: object size out of range");
    if (!inflated_object_.SetSize(0)) return false;
    ObservedRange data(&records_, record.at + kObjectPrefix, size - kObjectPrefix);
    decoder_.Reset();
    NeedMemory(decoder_.TakeMemory());
    // A byte more than stated may come, so that more than stated shows. How the data end does not matter.
    uint32_t produced = declared + 1;
    (void)decoder_.Decode(data, inflated_object_, &produced);
    inflated_ += produced;
    const uint32_t read = kObjectPrefix + data.read_to();
    if (read > record.inside) {
      overshoot_left_ -= std::min(overshoot_left_, uint64_t{read - record.inside} + produced);
    }
    return produced == declared || Refuse("powerpoint: object has another size than stated");
  }

  compound::CompoundFile file_;
  compound::ChainStream records_;
  RecordScan scan_;

  // The current object, which the package is read from.
  DeflateDecoder decoder_;
  uint64_t inflated_ = 0;        // bytes so far
  uint64_t overshoot_left_ = 0;  // bytes, for objects that reach past their containers
  MemoryStream inflated_object_;
  std::optional<RangeStream> plain_object_;
  std::unique_ptr<compound::CompoundFile> object_;
};

}  // namespace

ArchiveHandler* CreatePowerPointHandler(Stream* in, const HandlerArgs& args) {
  return new PowerPointHandler(in, args.ownership, args.type_id);
}

}  // namespace brix::office

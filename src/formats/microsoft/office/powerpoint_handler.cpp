// powerpoint_handler.cpp - packages among the embedded objects of a presentation.
//
// A presentation is a stream of records. A record of the right type holds an object's storage, a compound file
// of its own, compressed or as it is; the package is a stream in that one's root. Records inside others are
// looked at too: a record that holds records is entered, and left where its own length ends, whatever the
// lengths inside it say.
//
// An object is whole when it inflates to exactly the stated size, also when its data have no end, as some
// writers leave it.
//
// Bounds: each record moves on by at least 8 bytes. A compressed object has less than 20 MiB, in memory that
// grows with what is really there; all of them together may have 4 GiB, then the walk fails. Records that
// cannot be read as what they say are passed over.
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

// The objects' records of a presentation, one after the other.
class RecordScan {
 public:
  void Begin(Stream* records, uint32_t size) {
    records_ = records;
    ends_[0] = size;
  }

  // The next record that holds a storage: where its data lie. False at the end, and when a record cannot be
  // read, which failed() tells apart.
  [[nodiscard]] bool Next(uint32_t* data_at, uint32_t* data_size) {
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
      *data_at = position_ + kRecordHeaderBytes;
      *data_size = LoadLe32(&header[kRecordLength]);
      const bool fits = Fits(*data_at, *data_size, end);
      const bool is_object = LoadLe16(&header[kRecordType]) == kObjectStorage;
      const bool is_container = (LoadLe16(&header[kRecordVersion]) & kVersionMask) == kContainer;
      if (is_container && !is_object && depth_ + 1 < kMostDepth) {
        position_ = *data_at;
        if (fits) ends_[++depth_] = *data_at + *data_size;
        continue;
      }
      position_ = fits ? *data_at + *data_size : end;
      if (fits && is_object) return true;
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
    return NextMember(name);
  }

  [[nodiscard]] bool NextMember(char* name) override {
    name[0] = '\0';
    DropPackage();
    uint32_t at = 0;
    uint32_t size = 0;
    while (scan_.Next(&at, &size)) {
      object_.reset();
      if (OpenObject(at, size) && TakeObject(name)) return true;
      if (inflated_ > kMostInflated) return Refuse("powerpoint: too much to inflate");
    }
    return !scan_.failed();
  }

 private:
  // Opens a record's data as a compound file, in place or inflated.
  [[nodiscard]] bool OpenObject(uint32_t at, uint32_t size) {
    FieldReader fields(records_, at);
    const bool is_plain = size >= compound::kSignature.size() && fields.Is(0, compound::kSignature);
    if (!is_plain && !Inflate(at, size)) return false;
    object_.reset(new (std::nothrow) compound::CompoundFile);
    NeedMemory(object_ != nullptr);
    if (!is_plain) return object_->Open(inflated_object_);
    return object_->Open(plain_object_.emplace(&records_, at, size));
  }

  [[nodiscard]] bool TakeObject(char* name) {
    compound::Entry stream;
    return object_->FindInRoot(kPackageStream, compound::kStream, &stream) &&
           TakePackage(*object_, stream, name);
  }

  [[nodiscard]] bool Inflate(uint32_t at, uint32_t size) {
    FieldReader fields(records_, at);
    const uint32_t declared = fields.U32(0);
    if (size < kObjectPrefix || !fields.ok()) return Refuse("powerpoint: object record is cut");
    if (declared == 0 || declared >= kObjectSizeLimit) return Refuse("powerpoint: object size out of range");
    if (!inflated_object_.SetSize(0)) return false;
    RangeStream data(&records_, at + kObjectPrefix, size - kObjectPrefix);
    decoder_.Reset();
    NeedMemory(decoder_.TakeMemory());
    // A byte more than stated may come, so that more than stated shows. How the data end does not matter.
    uint32_t produced = declared + 1;
    (void)decoder_.Decode(data, inflated_object_, &produced);
    inflated_ += produced;
    return produced == declared || Refuse("powerpoint: object has another size than stated");
  }

  compound::CompoundFile file_;
  compound::ChainStream records_;
  RecordScan scan_;

  // The current object, which the package is read from.
  DeflateDecoder decoder_;
  uint64_t inflated_ = 0;  // bytes so far
  MemoryStream inflated_object_;
  std::optional<RangeStream> plain_object_;
  std::unique_ptr<compound::CompoundFile> object_;
};

}  // namespace

ArchiveHandler* CreatePowerPointHandler(Stream* in, const HandlerArgs& args) {
  return new PowerPointHandler(in, args.ownership, args.type_id);
}

}  // namespace brix::office

// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// binhex_decoder.cpp - BinHex 4.0: six-bit groups, then runs, then a header and two forks.
//
//     (This file must be converted with BinHex 4.0)
//     :$f*TEQKPH#jdH@... :
//     name length, name and version, 10 bytes of type and flags, fork lengths (4 and 4, most significant byte
//     first), CRC, data fork, CRC, resource fork, CRC
//
// Kept: both forks come out as one, and none of the three CRCs is compared. Colons are foreign characters; the
// data need not begin with one.
//
// Bounds: a run repeats a byte 254 times at most; the forks' lengths only count down.
#include <algorithm>

#include "decoders/mail/mail_decoders.h"
#include "decoders/mail/six_bit.h"

namespace brix::mail {

namespace {

constexpr uint8_t kRunMark = 0x90;

// Undoes the runs and takes the forks' bytes out of what remains.
class BinHexSink {
 public:
  explicit BinHexSink(MailOutput* out) : out_(out) {}

  void Put(uint8_t byte) {
    if (!in_run_) {
      in_run_ = byte == kRunMark;
      if (!in_run_) Repeat(byte, 1);
      return;
    }
    in_run_ = false;
    if (byte == 0) {
      Repeat(kRunMark, 1);
    } else {
      Repeat(last_, byte - 1u);
    }
  }

  // Whether any byte went to the output.
  [[nodiscard]] bool has_data() const { return has_data_; }

 private:
  enum Stage : uint8_t {
    kNameLength,
    kName,
    kType,
    kDataLength,
    kResourceLength,
    kHeaderCrc,
    kData,
    kDataCrc,
    kResource,
    kEnd
  };

  void Repeat(uint8_t byte, uint32_t times) {
    last_ = byte;
    while (times != 0) {  // each turn uses up some of them, or comes to a later stage
      SkipFinishedStages();
      if (stage_ == kEnd) return;
      const uint32_t used = std::min(times, left_);
      if (stage_ == kData || stage_ == kResource) {
        if (!out_->Room(MailOutput::kMaxRoom)) return;
        std::memset(out_->at(), byte, used);
        out_->Advance(used);
        has_data_ = true;
      }
      for (uint32_t i = 0; i < used && (stage_ == kDataLength || stage_ == kResourceLength); ++i) {
        uint32_t& length = stage_ == kDataLength ? data_length_ : resource_length_;
        length = length << 8 | byte;
      }
      if (stage_ == kNameLength) name_length_ = byte;
      left_ -= used;
      times -= used;
    }
  }

  void SkipFinishedStages() {
    while (left_ == 0 && stage_ != kEnd) {
      stage_ = static_cast<Stage>(stage_ + 1);
      const uint32_t lengths[] = {1, name_length_ + 1, 10, 4, 4, 2, data_length_, 2, resource_length_, 0};
      left_ = lengths[stage_];
    }
  }

  MailOutput* out_;
  Stage stage_ = kNameLength;
  uint32_t left_ = 1;  // bytes of the stage still to come
  uint32_t name_length_ = 0;
  uint32_t data_length_ = 0;
  uint32_t resource_length_ = 0;
  uint8_t last_ = 0;
  bool in_run_ = false;
  bool has_data_ = false;
};

}  // namespace

bool DecodeBinHex(MailBody* body, MailOutput* out) {
  SixBits bits;
  BinHexSink sink(out);
  Line line;
  while (out->Room(MailOutput::kMaxRoom) && body->lines.Take(&line)) {
    if (body->EndsEncoded(line)) {
      body->lines.Seek(line.at);
      break;
    }
    if (line.starts && BeginsWith(line.text, kBinHexNote)) continue;
    if (line.starts && line.text.empty() && sink.has_data()) break;
    for (const uint8_t c : line.text) {
      uint8_t byte = 0;
      if (kBinHex[c] != kForeign && bits.Put(kBinHex[c], &byte)) sink.Put(byte);
    }
  }
  return out->Finish() && !body->lines.failed();
}

}  // namespace brix::mail

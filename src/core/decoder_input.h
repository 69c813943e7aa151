// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// decoder_input.h - the stream from which the decoders of one container read, and the allowance for what they read.
//
// Members may share their compressed bytes, and one may lie so that everything before it must be decoded again. Then a
// small file keeps a decoder busy without end, and no limit on output applies, because there is hardly any. So the
// work on one container is counted, in compressed bytes:
//
//   what decoders take      1 for each byte
//   tables                  256 for each set of Huffman tables that was built: a block may need hardly any bytes
//   output for nobody       1/16 for each byte that was decoded before the decoder had to begin again, or that is
//                           decoded only to come to a later one
//
// 64 times the container's size and 64 MiB are allowed, far more than a walk over a sensible file needs. After that
// reads fail, and the member counts as damaged. The same file gives the same result on every machine.
#pragma once

#include <cstdint>

#include "core/refuse.h"
#include "core/stream.h"

namespace brix {

class DecoderInput final : public Stream {
 public:
  static constexpr uint64_t kAllowanceForByte = 64;
  static constexpr uint64_t kBaseAllowance = 64 << 20;  // bytes
  static constexpr uint32_t kTablesCost = 256;          // compressed bytes
  static constexpr uint32_t kUnwantedPerByte = 16;      // bytes of output

  // `inner` is the container, neither owned nor outlived.
  explicit DecoderInput(Stream* inner) : inner_(inner) {}

  [[nodiscard]] bool ReadAt(uint32_t offset, uint8_t* buf, uint32_t size, uint32_t* got) override {
    *got = 0;
    return inner_->ReadAt(offset, buf, size, got) && Charge(*got);
  }

  // What shows in no read. When the allowance does not reach so far, the next read fails.
  void ChargeTables(uint32_t sets) { spent_ += uint64_t{sets} * kTablesCost; }
  // False when it does not; then it need not be decoded.
  [[nodiscard]] bool ChargeUnwanted(uint64_t output_bytes) { return Charge(output_bytes / kUnwantedPerByte); }

  // How many bytes of output may still be decoded for nobody.
  [[nodiscard]] uint64_t UnwantedLeft();

  [[nodiscard]] bool GetSize(uint32_t* size) override { return inner_->GetSize(size); }
  [[nodiscard]] bool WriteAt(uint32_t, const uint8_t*, uint32_t, uint32_t* written) override {
    *written = 0;
    return false;
  }
  [[nodiscard]] bool SetSize(uint32_t) override { return false; }

 private:
  [[nodiscard]] bool Charge(uint64_t compressed_bytes) {
    spent_ += compressed_bytes;  // at most 2^36 at a time
    return spent_ <= kBaseAllowance || spent_ <= Allowance() ||
           Refuse("more work than the container's size allows");
  }
  [[nodiscard]] uint64_t Allowance();

  Stream* inner_;
  uint64_t spent_ = 0;
  uint64_t allowance_ = 0;  // 0: the size was not asked yet
};

}  // namespace brix

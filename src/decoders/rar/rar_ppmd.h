// rar_ppmd.h - the PPMd model of a solid chain, and the bytes of a member as it reads them.
#pragma once

#include <cstdint>

#include "decoders/byte_source.h"
#include "decoders/ppmd/ppmd_decoder.h"
#include "decoders/rar/rar_bits.h"

namespace brix::rar {

inline constexpr uint8_t kFirstEscape = 2;

// The bytes behind those that the bits' cursor has taken.
class PpmdInput final : public ByteSource {
 public:
  explicit PpmdInput(Bits& bits) : bits_(bits) {}

  // Bytes from the cursor on, which stands between two of them.
  void Take() {
    bits_.GiveBackBytes();
    next = bits_.next;
    end = bits_.end();
  }
  // Lets the cursor go on behind the bytes taken.
  void GiveBack() { bits_.next = next; }

  [[nodiscard]] bool NextPiece() override {
    bits_.next = next;
    const bool more = bits_.NextPiece();
    next = bits_.next;
    end = bits_.end();
    return more;
  }

 private:
  Bits& bits_;
};

struct Ppmd {
  explicit Ppmd(Bits& bits) : input(bits) {}

  PpmdInput input;
  PpmdDecoder decoder;
  bool has_model = false;  // of this chain of members
};

}  // namespace brix::rar

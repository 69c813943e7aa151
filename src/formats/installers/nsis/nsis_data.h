// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// nsis_data.h - the data behind an installer's first header: the script header and the blocks of files.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>

#include "core/decoder_input.h"
#include "core/memory_stream.h"
#include "decoders/bzip2/bzip2_decoder.h"
#include "decoders/copy/copy_decoder.h"
#include "decoders/decoding_stream.h"
#include "decoders/deflate/deflate_decoder.h"
#include "decoders/filters/x86_filter.h"
#include "decoders/lzma/lzma_decoder.h"

namespace brix::nsis {

class InstallerData {
 public:
  // Takes the first header at `first_header` and decodes the script header, which is there until the next call. False:
  // it cannot be read in any of the known ways.
  [[nodiscard]] bool Open(DecoderInput* in, uint32_t first_header);
  [[nodiscard]] std::span<const uint8_t> script() const { return script_.bytes(); }

  // Decodes up to `*limit` bytes of the block at `offset` behind the script into `out` from its offset 0; `*limit`
  // receives the count, also after a failure. `next`, when not null, receives the offset of the block behind.
  [[nodiscard]] bool Extract(uint32_t offset, Stream& out, uint32_t* limit, uint32_t* next = nullptr);

 private:
  // In the order in which data are tried: those that are told by more come first.
  enum class Method : uint8_t { kStored, kLzma, kFilteredLzma, kBzip2, kDeflate };
  static constexpr Method kMethods[] = {Method::kLzma, Method::kFilteredLzma, Method::kBzip2,
                                        Method::kDeflate};
  struct Packed {
    uint32_t at;  // in the file
    uint32_t length;
  };

  // Takes the script header as one of a row of blocks, or out of a solid stream.
  [[nodiscard]] bool OpenBlocks();
  [[nodiscard]] bool OpenFirstBlock();
  [[nodiscard]] bool OpenSolid(Method method);

  // Whether data may begin as the method's do.
  [[nodiscard]] bool LooksLike(Method method, Packed packed) const;
  // The method that data may be of.
  [[nodiscard]] Method FindMethod(Packed packed) const;
  // The decoder, ready for data that begin there; `*packed` becomes what it reads. Null: no such data, or no memory.
  [[nodiscard]] ResumableDecoder* Begin(Method method, Packed* packed);

  [[nodiscard]] bool ExtractBlock(uint32_t offset, Stream& out, uint32_t* limit, uint32_t* next);
  [[nodiscard]] bool ExtractSolid(uint32_t offset, Stream& out, uint32_t* limit, uint32_t* next);

  DecoderInput* in_ = nullptr;
  uint32_t end_ = 0;  // of the archive, in the file
  Packed data_{};     // all of it after the first header
  uint32_t script_length_ = 0;
  uint32_t blocks_ = 0;  // where offsets count from, in the file or in the solid data
  MemoryStream script_;

  Method method_ = Method::kStored;  // of compressed blocks; kStored: found for each of them
  DeflateDecoder deflate_{DeflateMode::kDeflate, DeflateDecoder::kFindStoredForm};
  LzmaDecoder lzma_;
  X86FilteredDecoder filtered_lzma_{lzma_};
  Bzip2Decoder bzip2_{Bzip2Variant::kNullsoft};
  CopyDecoder copier_;

  std::optional<DecodingStream> solid_;
};

}  // namespace brix::nsis

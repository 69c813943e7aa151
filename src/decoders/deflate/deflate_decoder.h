// deflate_decoder.h - the inflater, for Deflate (RFC 1951) and Deflate64 (ZIP method 9).
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <span>

#include "core/memory_block.h"
#include "decoders/bit_reader.h"
#include "decoders/decoder.h"
#include "decoders/deflate/deflate_tables.h"

namespace brix {

enum class DeflateMode { kDeflate, kDeflate64 };

// Decodes one stream over as many calls as its owner likes: the window, the tables of a block in progress and
// what was decoded beyond a call's limit are kept from call to call. Reset prepares it for the next stream
// without giving back memory.
//
// Memory, taken by the first call: 32 KiB of input, and history plus pending output: 32 + 96 KiB (Deflate) or
// 64 + 192 KiB (Deflate64), of which only what is used is ever touched.
class DeflateDecoder final : public Decoder {
 public:
  // raw_stored_length  non-zero: the header of a stored block is LEN alone; zero: NLEN follows and must
  //                    be its complement.
  explicit DeflateDecoder(DeflateMode mode = DeflateMode::kDeflate, uint32_t raw_stored_length = 0);
  ~DeflateDecoder() override;

  // Produces up to `*limit` bytes more of the stream: written to `out` behind those of the calls before, and
  // counted in `*limit`. Fewer than asked, with true, means that the stream has ended. `in` holds the whole
  // stream from its first byte at offset 0 at every call; data behind the final block are not looked at. A
  // failure shows when all that was decoded before it has been delivered, and sticks.
  [[nodiscard]] bool Decode(Stream& in, Stream& out, uint32_t* limit) override;

  // In Decode's stead, for who reads the output where it lies: decodes about `wanted` bytes more, at most 32 KiB a
  // call; `wanted` is not 0. `*added`: how many joined the end of buffered(); 0 with true: the stream has ended.
  // What was decoded before a failure is added first; then it shows, and sticks.
  [[nodiscard]] bool DecodeMore(Stream& in, uint32_t wanted, uint32_t* added);

  // The same for a run of blocks whose input stands whole in memory, with kInputSlack zeros behind it: LendInput after
  // a reset, which fails without memory, then calls without a stream.
  static constexpr uint32_t kInputSlack = LsbBitReader::kSlack;
  [[nodiscard]] bool LendInput(std::span<const uint8_t> input);
  [[nodiscard]] bool DecodeMore(uint32_t wanted, uint32_t* added);

  // The output that is still in memory, oldest byte first: at least a window of it, or all. Valid until the next call.
  [[nodiscard]] std::span<const uint8_t> buffered() const { return {buffer_.data(), out_}; }

  // For chained runs of blocks, between two of them: takes back the last `count` bytes of buffered(), or adds as
  // many zeros, at most a window, in the place of a run that was lost. The latter is false without memory.
  void ForgetLast(uint32_t count);
  [[nodiscard]] bool AppendZeros(uint32_t count);

  // Begins a new stream: input from offset 0, output from offset 0, no history.
  void Reset() override;

  // Begins a new run of blocks with the history of the former one, as cabinets chain their blocks: input from
  // offset 0, at a block header; output goes on behind what was produced so far, or from offset 0 with
  // `restart_output`.
  void ResetKeepingHistory(bool restart_output);

  // True once the final block was decoded and everything was delivered.
  [[nodiscard]] bool finished() const { return ended_ && Pending() == 0; }

 private:
  enum class BlockState : uint8_t { kStored = 0, kFixed = 1, kDynamic = 2, kHeader = 3 };

  struct Tables {
    deflate::BlockTables dynamic;
    deflate::BlockTables fixed;
    bool fixed_built = false;
  };

  [[nodiscard]] bool deflate64() const { return mode_ == DeflateMode::kDeflate64; }
  [[nodiscard]] uint32_t Pending() const { return static_cast<uint32_t>(out_ - delivered_); }

  [[nodiscard]] bool TakeMemory();
  // Moves the history to the front of the buffer when there is no room left behind it; all was delivered.
  void Slide();
  // Decodes until at least `wanted` bytes are pending, the buffer is full, or the stream ends. False: damage.
  [[nodiscard]] bool DecodeSome(uint32_t wanted);
  [[nodiscard]] bool ReadBlockHeader();
  [[nodiscard]] bool ReadStoredHeader();
  [[nodiscard]] bool ReadDynamicTables();
  [[nodiscard]] bool ReadCodeLengths(uint32_t symbols, uint8_t* lengths);
  [[nodiscard]] bool BuildFixedTables();
  [[nodiscard]] bool BuildTables(const uint8_t* litlen_lengths, uint32_t litlen_symbols,
                                 const uint8_t* distance_lengths, uint32_t distance_symbols,
                                 deflate::BlockTables* tables) const;
  [[nodiscard]] bool CopyStored(const uint8_t* out_stop);
  [[nodiscard]] bool DecodeCoded(uint8_t* out_stop);

  const DeflateMode mode_;
  const uint32_t raw_stored_length_;
  const bool has_bmi2_;

  LsbBitReader input_;
  BlockState block_state_ = BlockState::kHeader;
  bool final_block_ = false;
  bool ended_ = false;
  bool failed_ = false;
  uint32_t stored_left_ = 0;  // bytes of the stored block still to copy
  uint32_t out_offset_ = 0;   // in the output stream, of the byte at `delivered_`

  std::unique_ptr<Tables> tables_;
  MemoryBlock buffer_;            // history, pending output, slack
  uint8_t* out_ = nullptr;        // next byte to decode into
  uint8_t* delivered_ = nullptr;  // all before it was written to the output stream
};

}  // namespace brix

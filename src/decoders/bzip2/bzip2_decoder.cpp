// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// bzip2_decoder.cpp - the frame around bzip2's blocks, and the runs in their text.
//
// A block decodes as a whole to a text, in which four bytes alike are followed by the count of more of them. The text is
// expanded a call at a time.
//
// Kept: data behind a stream that are not the header of another one are not looked at. Randomised blocks, which writers
// before 1996 made of repetitive data, are read.
//
// Bounds: a block has at most 900,000 bytes of text, which become at most 52 times as much. Headers and blocks take bits
// from the input; a stream without a block takes ten bytes.
#include "decoders/bzip2/bzip2_decoder.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>

#include "core/refuse.h"
#include "decoders/bzip2/bzip2_crc.h"
#include "decoders/bzip2/bzip2_rotations.h"

namespace brix {

namespace {

constexpr uint32_t kStreamMark = 0x425A68;  // "BZh"
constexpr uint64_t kBlockMark = 0x314159265359;
constexpr uint64_t kEndMark = 0x177245385090;
constexpr uint32_t kShortBlockMark = 0x31;
constexpr uint32_t kShortEndMark = 0x17;
constexpr uint32_t kLevelBytes = 100'000;
constexpr uint32_t kMostLevel = 9;
constexpr uint32_t kRunLength = 4;  // bytes alike that a count follows
constexpr uint32_t kMostRepeats = 255;

constexpr uint32_t kRun = 32768;   // most bytes decoded by a call, but for the rest of a run
constexpr uint32_t kKept = 32768;  // bytes of output that stay in memory
constexpr uint32_t kBuffer = 4 * kRun;

// Distances between the bytes of a randomised block whose lowest bit was inverted.
constexpr std::array<uint16_t, 512> kRandomSteps = {
    619, 720, 127, 481, 931, 816, 813, 233, 566, 247, 985, 724, 205, 454, 863, 491, 741, 242, 949, 214, 733,
    859, 335, 708, 621, 574, 73,  654, 730, 472, 419, 436, 278, 496, 867, 210, 399, 680, 480, 51,  878, 465,
    811, 169, 869, 675, 611, 697, 867, 561, 862, 687, 507, 283, 482, 129, 807, 591, 733, 623, 150, 238, 59,
    379, 684, 877, 625, 169, 643, 105, 170, 607, 520, 932, 727, 476, 693, 425, 174, 647, 73,  122, 335, 530,
    442, 853, 695, 249, 445, 515, 909, 545, 703, 919, 874, 474, 882, 500, 594, 612, 641, 801, 220, 162, 819,
    984, 589, 513, 495, 799, 161, 604, 958, 533, 221, 400, 386, 867, 600, 782, 382, 596, 414, 171, 516, 375,
    682, 485, 911, 276, 98,  553, 163, 354, 666, 933, 424, 341, 533, 870, 227, 730, 475, 186, 263, 647, 537,
    686, 600, 224, 469, 68,  770, 919, 190, 373, 294, 822, 808, 206, 184, 943, 795, 384, 383, 461, 404, 758,
    839, 887, 715, 67,  618, 276, 204, 918, 873, 777, 604, 560, 951, 160, 578, 722, 79,  804, 96,  409, 713,
    940, 652, 934, 970, 447, 318, 353, 859, 672, 112, 785, 645, 863, 803, 350, 139, 93,  354, 99,  820, 908,
    609, 772, 154, 274, 580, 184, 79,  626, 630, 742, 653, 282, 762, 623, 680, 81,  927, 626, 789, 125, 411,
    521, 938, 300, 821, 78,  343, 175, 128, 250, 170, 774, 972, 275, 999, 639, 495, 78,  352, 126, 857, 956,
    358, 619, 580, 124, 737, 594, 701, 612, 669, 112, 134, 694, 363, 992, 809, 743, 168, 974, 944, 375, 748,
    52,  600, 747, 642, 182, 862, 81,  344, 805, 988, 739, 511, 655, 814, 334, 249, 515, 897, 955, 664, 981,
    649, 113, 974, 459, 893, 228, 433, 837, 553, 268, 926, 240, 102, 654, 459, 51,  686, 754, 806, 760, 493,
    403, 415, 394, 687, 700, 946, 670, 656, 610, 738, 392, 760, 799, 887, 653, 978, 321, 576, 617, 626, 502,
    894, 679, 243, 440, 680, 879, 194, 572, 640, 724, 926, 56,  204, 700, 707, 151, 457, 449, 797, 195, 791,
    558, 945, 679, 297, 59,  87,  824, 713, 663, 412, 693, 342, 606, 134, 108, 571, 364, 631, 212, 174, 643,
    304, 329, 343, 97,  430, 751, 497, 314, 983, 374, 822, 928, 140, 206, 73,  263, 980, 736, 876, 478, 430,
    305, 170, 514, 364, 692, 829, 82,  855, 953, 676, 246, 369, 970, 294, 750, 807, 827, 150, 790, 288, 923,
    804, 378, 215, 828, 592, 281, 565, 555, 710, 82,  896, 831, 547, 261, 524, 462, 293, 465, 502, 56,  661,
    821, 976, 991, 658, 869, 905, 758, 745, 193, 768, 550, 608, 933, 378, 286, 215, 979, 792, 961, 61,  688,
    793, 644, 986, 403, 106, 366, 905, 644, 372, 567, 466, 434, 645, 210, 389, 550, 919, 135, 780, 773, 635,
    389, 707, 100, 626, 958, 165, 504, 920, 176, 193, 713, 857, 265, 203, 50,  668, 108, 645, 990, 626, 197,
    510, 357, 358, 850, 858, 364, 936, 638};

void Derandomise(std::span<uint8_t> text) {
  uint32_t step = 0;
  uint32_t next = kRandomSteps[0];  // ends by the text, in steps of at least 50
  while (next - 2 < text.size()) {
    text[next - 2] ^= 1;
    step = (step + 1) % kRandomSteps.size();
    next += kRandomSteps[step];
  }
}

}  // namespace

bool Bzip2Decoder::TakeMemory() {
  if (buffer_.size() != 0) return true;
  if (!input_.Allocate() || !symbols_.Allocate() || !buffer_.TryResize(kBuffer)) return false;
  Reset();
  return true;
}

void Bzip2Decoder::Reset() {
  RestartDelivery(true);
  input_.Restart();
  bits_ = MsbBits(input_);
  state_ = standard() ? State::kStreamHeader : State::kBlockHeader;
  first_stream_ = true;
  failed_ = false;
  block_bytes_ = kMostLevel * kLevelBytes;
  stream_crc_ = 0;
  text_ = {};
  out_ = 0;
}

bool Bzip2Decoder::DecodeMore(Stream& in, uint32_t wanted, uint32_t* added) {
  *added = 0;
  if (!TakeMemory()) return false;
  if (!failed_ && state_ != State::kEnd) {
    input_.Attach(&in);
    if (out_ > kBuffer - kRun - kMostRepeats) {
      std::memmove(buffer_.data(), buffer_.data() + out_ - kKept, kKept);
      out_ = kKept;
    }
    const size_t before = out_;
    failed_ = !DecodeSome(std::min(wanted, kRun));
    *added = static_cast<uint32_t>(out_ - before);
  }
  return *added != 0 || !failed_;
}

bool Bzip2Decoder::DecodeSome(uint32_t wanted) {
  const size_t out_stop = out_ + wanted;
  // Ends by the output, or the input, of which each header and block takes some.
  while (out_ < out_stop && state_ != State::kEnd) {
    bool ok = true;
    switch (state_) {
      case State::kStreamHeader:
        ok = ReadStreamHeader();
        break;
      case State::kBlockHeader:
        ok = ReadBlockHeader();
        break;
      case State::kText:
        Expand(out_stop);
        ok = !text_.empty() || EndBlock();
        break;
      case State::kEnd:
        break;
    }
    if (!ok) return false;
  }
  return true;
}

bool Bzip2Decoder::ReadStreamHeader() {
  const uint32_t mark = bits_.Read(24);
  const uint32_t level = bits_.Read(8) - '0';
  if (!bits_.ok() || mark != kStreamMark || level < 1 || level > kMostLevel) {
    if (first_stream_) return Refuse("bzip2: no stream header");
    state_ = State::kEnd;
    return true;
  }
  first_stream_ = false;
  block_bytes_ = level * kLevelBytes;
  stream_crc_ = 0;
  state_ = State::kBlockHeader;
  return true;
}

bool Bzip2Decoder::ReadBlockHeader() {
  if (standard()) {
    const uint64_t mark = uint64_t{bits_.Read(24)} << 24 | bits_.Read(24);
    block_crc_ = bits_.Read(32);
    if (!bits_.ok()) return Refuse("bzip2: input ends before a block");
    if (mark == kEndMark) return EndStream();
    return mark == kBlockMark ? ReadBlock() : Refuse("bzip2: no block mark");
  }
  const uint32_t mark = bits_.Read(8);
  if (!bits_.ok()) return Refuse("bzip2: input ends before a block");
  if (mark == kShortEndMark) {
    state_ = State::kEnd;
    return true;
  }
  return mark == kShortBlockMark ? ReadBlock() : Refuse("bzip2: no block mark");
}

bool Bzip2Decoder::EndStream() {
  if (block_crc_ != stream_crc_) return Refuse("bzip2: the stream's checksum differs");
  bits_.SkipToByte();
  state_ = State::kStreamHeader;
  return true;
}

bool Bzip2Decoder::ReadBlock() {
  const bool randomised = standard() && bits_.Read(1) != 0;
  const uint32_t first_row = bits_.Read(24);
  ++tables_built_;
  if (!symbols_.Read(bits_, block_bytes_, &column_)) return false;
  if (first_row >= column_.size) return Refuse("bzip2: first row out of range");
  std::span<uint8_t> text;
  if (!bzip2::InvertRotations(column_, first_row, rows_, &text)) return false;
  if (randomised) Derandomise(text);
  text_ = text;
  alike_ = 0;
  crc_ = UINT32_MAX;
  state_ = State::kText;
  return true;
}

bool Bzip2Decoder::EndBlock() {
  state_ = State::kBlockHeader;
  if (!standard()) return true;
  stream_crc_ = std::rotl(stream_crc_, 1) ^ ~crc_;
  return block_crc_ == ~crc_ || Refuse("bzip2: the block's checksum differs");
}

// Eight bytes are copied at once when no four alike begin among them.
void Bzip2Decoder::Expand(size_t out_stop) {
  uint8_t* out = buffer_.data() + out_;
  const uint8_t* const begin = out;
  const uint8_t* const stop = buffer_.data() + out_stop;
  const uint8_t* next = text_.data();
  const uint8_t* const end = next + text_.size();
  uint32_t alike = alike_;
  uint8_t last = last_;
  while (out < stop && next != end) {
    if (alike == kRunLength) {
      const uint8_t repeats = *next++;
      std::memset(out, last, repeats);
      out += repeats;
      alike = 0;
      continue;
    }
    // A run that began before counts here: then bytes are taken one by one until it is over.
    while (alike <= 1 && stop - out >= 8 && end - next >= 16 && (alike == 0 || *next != last)) {
      const uint64_t here = LoadLe64(next);
      const uint64_t differ =
          (here ^ LoadLe64(next + 1)) | (here ^ LoadLe64(next + 2)) | (here ^ LoadLe64(next + 3));
      constexpr uint64_t kOnes = 0x0101010101010101;
      if (((differ - kOnes) & ~differ & kOnes << 7) != 0) break;
      std::memcpy(out, &here, 8);
      out += 8;
      next += 8;
      alike = 0;
    }
    if (next == end || out >= stop) break;
    const uint8_t byte = *next++;
    alike = alike != 0 && byte == last ? alike + 1 : 1;
    last = byte;
    *out++ = byte;
  }
  alike_ = alike;
  last_ = last;
  text_ = {next, end};
  out_ += static_cast<size_t>(out - begin);
  if (standard()) crc_ = bzip2::AddToCrc(crc_, {begin, out});
}

}  // namespace brix

// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// format_table.h - the ordered table of formats: type detection and the handler factory.
//
// Core knows rows, never formats. The rows stand in formats/registry.cpp.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "core/archive_handler.h"
#include "core/stream.h"

namespace brix {

// Internal container type numbers, 0 meaning not an archive.
inline constexpr uint32_t kTypeNone = 0;
inline constexpr uint32_t kTypeCount = 21;  // numbers 1 to 21

// Bits of the detection flags.
inline constexpr uint32_t kDetectGateway = 1;   // the host runs as a gateway
inline constexpr uint32_t kDetectMailHint = 2;  // the file's name says mail: look at the whole header block

class FormatTable;

struct HandlerArgs {
  uint32_t type_id;    // 1..21; one class may serve several numbers
  uint32_t ownership;  // non-zero: the handler deletes the input stream
  uint32_t detect_flags;
  const FormatTable& formats;  // for containers that open other formats
};

// Bytes that stand at a fixed place near the start of every file of a format. `bytes` empty: there are none such.
struct Magic {
  std::string_view bytes;
  uint32_t at = 0;
};

// One recognisable format.
struct FormatEntry {
  uint32_t type_id;
  // Whether the data are of this format; a failed or short read means no. `formats` is for containers that
  // confirm an inner format.
  bool (*detect)(Stream& in, uint32_t detect_flags, const FormatTable& formats);
  // A new handler; null when there is none for these data after all, as for a self-extractor around a format without
  // handler. Throws std::bad_alloc. Null itself: the format is recognised but has no handler yet.
  ArchiveHandler* (*create)(Stream* in, const HandlerArgs& args);
  // What `detect` surely refuses a file without: most files are told by this, without a call.
  Magic magic = {};
  // Formats that share a file structure stand next to each other with the same function here: it reads the
  // structure once and tells which of them the data are, 0 for none. Detection then asks it once in place of
  // their `detect`, which agrees with it.
  uint32_t (*identify)(Stream& in) = nullptr;
};

class FormatTable {
 public:
  constexpr explicit FormatTable(std::span<const FormatEntry> rows) : rows_(rows) {}

  // The row of a type number, null when the table has none.
  [[nodiscard]] const FormatEntry* Find(uint32_t type_id) const;

  // The number of the first row that answers yes, in table order; 0 when none does or the stream is empty.
  [[nodiscard]] uint32_t DetectArchiveType(Stream& in, uint32_t detect_flags) const;

  // Detects and makes the handler. Null, with `in` left to the caller, when the data are no known type, the
  // type is disabled (`enabled` holds 21 flags by type number - 1; null enables all), or it has no handler.
  // Detection never falls through to a later type because the detected one is disabled. Throws std::bad_alloc,
  // with `in` left to the caller, when memory runs out, also in a detector: that says nothing about the data.
  [[nodiscard]] ArchiveHandler* CreateArchiveHandler(Stream* in, const uint32_t* enabled, uint32_t ownership,
                                                     uint32_t detect_flags) const;

  // The same with every type enabled.
  [[nodiscard]] ArchiveHandler* CreateArchiveHandlerAnyType(Stream* in, uint32_t ownership,
                                                            uint32_t detect_flags) const;

 private:
  std::span<const FormatEntry> rows_;
};

}  // namespace brix

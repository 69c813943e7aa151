// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// archive_handler.h - the one interface through which every container format is read.
//
// A handler is made by the factory (format_table.h) over a caller's stream, walks the members in stored order
// and decodes the current one into an output stream. Iteration is forward only. Calling order: construct,
// OpenArchive (which stands on the first member), then queries and at most one ExtractMember a member,
// NextMember, ... until the name comes back empty. A handler whose OpenArchive or NextMember failed is good
// for destruction only.
//
// Operations return false on failure and carry no text; memberStatus tells why a member was refused. A
// handler is used by one thread at a time.
#pragma once

#include <cstdint>
#include <string_view>

#include "core/cached_read_stream.h"
#include "core/decoder_input.h"
#include "core/stream.h"

namespace brix {

// Why the current member cannot be extracted.
enum MemberStatus : uint32_t {
  kMemberNormal = 1,
  kMemberEncrypted = 2,
  kMemberUnsupported = 3,  // a known compression method that is not supported
};

// What a handler passes over without a failure; bits.
enum Unseen : uint32_t {
  kUnseenContinued = 1,  // a member that begins or goes on in another volume
  kUnseenNothing = 2,    // a container that holds nothing to show, of a format where that is odd
  kUnseenData = 4,       // data that belong to no member
};

// One property of a member that is added to a container being built.
struct Property {
  const char* name;  // zero-terminated
  const void* value;
  uint32_t value_size;  // bytes
};

// Members' names travel in a caller's buffer of this size: at most 511 bytes and a terminator.
inline constexpr uint32_t kNameBufferSize = 512;

class ArchiveHandler {
 public:
  // `input` is read through a cache of the handler's own; a non-zero `ownership` makes the handler delete it.
  ArchiveHandler(Stream* input, uint32_t ownership, uint32_t type_id);
  ArchiveHandler(const ArchiveHandler&) = delete;
  ArchiveHandler& operator=(const ArchiveHandler&) = delete;

  // The virtual operations stand in slot order, which is part of the contract.
  virtual ~ArchiveHandler();  // slot 0

  // Parses the container's header or directory, stands on the first member and writes its name. An empty name
  // with true: no members.
  [[nodiscard]] virtual bool OpenArchive(char* name) = 0;

  // Moves to the next member and writes its name: empty, with true, at the end; false: the directory is
  // damaged.
  [[nodiscard]] virtual bool NextMember(char* name) = 0;

  // Decodes the current member into `out` from offset 0: at most `max_bytes`, 0 meaning no limit of the
  // caller's.
  // `*written` receives the bytes produced, also after a failure, when they stay in `out`.
  [[nodiscard]] virtual bool ExtractMember(Stream* out, uint32_t max_bytes, uint32_t* written) = 0;

  // Attaches an opaque value.
  [[nodiscard]] virtual bool SetContext(uint64_t value);

  // Adds a member to a container being built.
  [[nodiscard]] virtual bool AddMember(Stream* data, uint32_t size, const Property* props, uint32_t count);

  // Queries. Buffer protocol: the caller passes its buffer's size in `*io_size`; the size needed or used
  // always comes back there; false when the buffer is null or too small, or the container does not know.
  [[nodiscard]] virtual bool GetMemberSize(uint32_t* value, uint32_t* io_size);  // uncompressed bytes
  [[nodiscard]] virtual bool GetMemberType(char* text, uint32_t* io_size);  // a word for the member's kind
  [[nodiscard]] virtual uint32_t GetMemberHint();                           // a small code, 0: none
  [[nodiscard]] virtual bool GetMemberHeader(uint32_t index, char* name, char* text, uint32_t* io_size);
  [[nodiscard]] virtual bool GetMemberProperty(const char* name, char* text, uint32_t* io_size);

  [[nodiscard]] virtual bool ReleaseMember();
  [[nodiscard]] virtual bool ResetMembers();
  [[nodiscard]] virtual bool Reserved13();  // Kept: overridden by no class; holds slot 13
  [[nodiscard]] virtual uint32_t GetTypeId();

  // Makes the next extraction begin at the member's start where it would go on after the last. The exported functions
  // call it before each, so that a second extraction gives the same bytes, or fails.
  virtual void RestartMember() {}

  // What was passed over so far.
  [[nodiscard]] uint32_t unseen() const { return unseen_; }

  // Why the current member cannot be extracted; rewritten when the handler moves.
  uint32_t memberStatus = kMemberNormal;  // NOLINT(readability-identifier-naming): the family's own word

 protected:
  void NoteUnseen(uint32_t bits) { unseen_ |= bits; }
  // Notes data that belong to no member when the container has any but zeros from `offset` on. Looks at 1 MiB of
  // zeros at the most, and takes more of them for data.
  void NoteUnseenAfter(uint32_t offset);
  // The same for what is before `offset`, where the archive begins, unless that is a program.
  void NoteUnseenBefore(uint32_t offset);

  // GetMemberSize for formats that know: the protocol for a 4-byte answer.
  [[nodiscard]] static bool AnswerSize(uint32_t size, uint32_t* value, uint32_t* io_size);

  Stream* read_stream_;   // what all format code reads from: the cache below
  Stream* input_stream_;  // the caller's stream

 private:
  CachedReadStream read_cache_;

 protected:
  uint32_t ownership_;
  uint32_t unseen_ = 0;
  uint64_t context_value_ = 0;
  uint32_t type_id_;
  DecoderInput packed_{
      &read_cache_};  // what decoders read compressed data from: counts the work on this container
};

// The name of a member that stores none.
inline constexpr std::string_view kUnknownName = "unknown";

// Writes `text` into a name buffer: cut at its first zero byte and at 511 bytes.
void CopyName(std::string_view text, char* name);

}  // namespace brix

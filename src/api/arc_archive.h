// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// arc_archive.h - one open archive of the Arc family: a handler over a host's stream, and where it stands.
//
// The handler is asked for its first member by the first step, not on opening, so that a damaged directory is the
// walk's failure and not the opening's. A handler that failed is good for destruction only: the failure is told
// once, then the walk is at its end. So a damaged nested archive cannot hide what lies behind it.
#pragma once

#include <cstdint>
#include <memory>

#include "api/host_stream.h"
#include "brixcore/archive.h"
#include "core/archive_handler.h"
#include "io/write_streams.h"

// The record behind an ArcArchive. Results are the family's statuses.
struct ArcArchiveRecord {
 public:
  ArcArchiveRecord(const ArcArchiveRecord&) = delete;
  ArcArchiveRecord& operator=(const ArcArchiveRecord&) = delete;
  ~ArcArchiveRecord();

  // `output` is null for reading only. The streams' records are copied; what they stand for stays the caller's.
  [[nodiscard]] static int32_t Open(const ArcStream* stream, const ArcStream* output, uint32_t flags,
                                    std::unique_ptr<ArcArchiveRecord>* archive);

  // Writes out what was changed; called once, before the destruction. A host's exception ends here.
  [[nodiscard]] int32_t Finish();

  [[nodiscard]] int32_t NextMember();
  [[nodiscard]] int32_t CopyName(char* name, uint32_t* size) const;
  [[nodiscard]] int32_t ExtractMember(const ArcStream& output);

  [[nodiscard]] int32_t NamedProperty(ArcMemberProp* record);
  [[nodiscard]] int32_t IndexedProperty(uint32_t index, ArcMemberProp* record);

  // Remembers what this archive interrupts, which it owns from now on.
  void Interrupts(ArcArchiveRecord* suspended, ArcStream* stream, void* user_value);
  // Gives it back; null when there is none, and then the outputs are unchanged.
  [[nodiscard]] ArcArchiveRecord* Resume(ArcStream** stream, void** user_value);

  [[nodiscard]] brix::ArchiveHandler& handler() { return *handler_; }

 private:
  enum class State {
    kFresh,     // the handler was not asked for a member yet
    kOnMember,  // the handler stands on a member
    kEnded,     // behind the last member, or the handler failed
  };

  // What stands between the handler and the host's output.
  struct Output {
    explicit Output(const ArcStream& record) : host(record) {}
    brix::HostStream host;
    brix::BufferedWriteStream buffer{&host};
  };

  explicit ArcArchiveRecord(const ArcStream& stream) : input_(stream) {}

  [[nodiscard]] bool HandlerProperty(ArcMemberProp* record);

  brix::HostStream input_;
  std::unique_ptr<Output> output_;  // null: opened for reading only
  std::unique_ptr<brix::ArchiveHandler> handler_;
  State state_ = State::kFresh;
  char name_[brix::kNameBufferSize] = "";

  std::unique_ptr<ArcArchiveRecord> suspended_;
  ArcStream* interrupting_stream_ = nullptr;
  void* user_value_ = nullptr;
};

namespace brix {

// Hosts' word for a handler's hint about a member.
[[nodiscard]] constexpr uint8_t EncodingOf(uint32_t hint) {
  constexpr uint8_t kEncodings[] = {0, 3, 4, 2, 1};
  return hint < sizeof kEncodings ? kEncodings[hint] : 0;
}

}  // namespace brix

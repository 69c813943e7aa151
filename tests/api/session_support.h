// session_support.h - what the tests of the stream-based families share: a factory that misbehaves on demand, and a
// walk that writes down what it saw.
#pragma once

#include <memory>

#include "api/support.h"

namespace brix {

// Makes HostFiles and keeps them, so that a test can look at them when the library has closed them.
struct HostFactory {
  enum Fault { kFail, kEmptyRecord, kNoRead, kBadStream };

  std::vector<std::unique_ptr<HostFile>> made;
  Fault fault = kFail;
  int fault_at = 0;  // the call, counted from 1, that goes wrong in the way of `fault`; 0: none
  int calls = 0;

  ArcStreamFactory Record() {
    ArcStreamFactory record{};
    record.context = this;
    record.create = [](void* self, ArcStream* stream) {
      auto& factory = *static_cast<HostFactory*>(self);
      const bool fails = ++factory.calls == factory.fault_at;
      if (fails && factory.fault == kFail) return -1;
      if (fails && factory.fault == kEmptyRecord) return 0;
      factory.made.push_back(std::make_unique<HostFile>());
      *stream = factory.made.back()->Record();
      if (fails && factory.fault == kNoRead) stream->read = nullptr;
      if (fails && factory.fault == kBadStream) {
        factory.made.back()->fault_at = 1;
        factory.made.back()->keeps_failing = true;
      }
      return 0;
    };
    return record;
  }

  // Whether each stream was closed, and only once.
  [[nodiscard]] bool AllClosed() const {
    for (const auto& file : made) {
      if (file->closes != 1) return false;
    }
    return true;
  }
};

inline std::string ReadAll(const ArcStream& stream) {
  uint32_t size = 0;
  if (stream.get_size(stream.context, &size) != 0 || size > 1 << 20) return "no size";
  std::string text(size + 1, '\0');
  uint32_t got = 0;
  if (stream.read(stream.context, 0, text.data(), size + 1, &got) != 0) return "not readable";
  text.resize(got);
  return text;
}

struct Session {
  ArcTkSession handle = nullptr;
  int32_t status;  // of opening
  Session(const ArcStream& stream, const ArcStreamFactory& factory)
      : status(ArcTkOpenArchive(&stream, &factory, &handle)) {}
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;
  ~Session() {
    if (handle != nullptr) (void)ArcTkCloseArchive(&handle);
  }

  std::string Name() {
    char name[512] = "";
    ArcMemberProp record{"filename", name, sizeof name, 0};
    (void)ArcTkGetNamedMemberProp(handle, &record);
    return name;
  }
};

// Walks to the end. A line a step: depth, name, status, and the first bytes of a text that was handed over.
inline std::vector<std::string> SessionLines(Session& session, bool descend) {
  constexpr size_t kMaxSteps = 1000;
  std::vector<std::string> lines;
  int32_t status = session.status;
  while (lines.size() < kMaxSteps && session.handle != nullptr) {
    ArcStream member{};
    status = ArcTkExtractNextMember(session.handle, descend ? 1 : 0, &member);
    if (status == BRIX_NO_MORE_MEMBERS) break;
    std::string line =
        std::to_string(ArcTkGetDepth(session.handle)) + " " + session.Name() + " " + std::to_string(status);
    if (status == BRIX_OK || status == BRIX_SIZE_LIMIT) line += " " + ReadAll(member).substr(0, 4);
    lines.push_back(line);
  }
  lines.push_back(std::to_string(status));
  return lines;
}

}  // namespace brix

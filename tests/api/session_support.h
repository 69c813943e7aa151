// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// session_support.h - a factory that misbehaves on demand, and a session's walk that writes down what it saw.
#pragma once

#include <algorithm>
#include <memory>

#include "api/support.h"

namespace brix {

// Makes HostFiles and keeps them, so that a test can look at them when the library has closed them.
struct HostFactory {
  std::vector<std::unique_ptr<HostFile>> made;
  bool fills_in = false;       // when it goes wrong: a stream that cannot be read, instead of a failure
  int fault_at = 0;            // the call, counted from 1, that goes wrong; 0: none
  bool keeps_failing = false;  // and so do all later ones
  int calls = 0;

  ArcStreamFactory Record() {
    const auto create = [](void* self, ArcStream* stream) {
      auto& factory = *static_cast<HostFactory*>(self);
      ++factory.calls;
      const bool fails =
          factory.calls == factory.fault_at || (factory.keeps_failing && factory.calls > factory.fault_at);
      if (fails && !factory.fills_in) return -1;
      factory.made.push_back(std::make_unique<HostFile>());
      *stream = factory.made.back()->Record();
      if (fails) stream->read = nullptr;
      return 0;
    };
    return {this, create, nullptr};
  }

  // Whether each stream was closed, and only once.
  [[nodiscard]] bool AllClosed() const {
    return std::all_of(made.begin(), made.end(), [](const auto& file) { return file->closes == 1; });
  }
};

inline std::string ReadAll(const ArcStream& stream) {
  std::string text(1 << 16, '\0');
  uint32_t got = 0;
  if (stream.read(stream.context, 0, text.data(), 1 << 16, &got) != 0) return "not readable";
  return text.substr(0, got);
}

struct TkSession {
  ArcTkSession handle = nullptr;
  int32_t status;  // of opening
  TkSession(const ArcStream& stream, const ArcStreamFactory& factory, const ArcStream* output = nullptr)
      : status(ArcTkOpenModifyArchive(&stream, output, &factory, &handle)) {}
  TkSession(const TkSession&) = delete;
  TkSession& operator=(const TkSession&) = delete;
  ~TkSession() { (void)ArcTkCloseArchive(&handle); }
};

// Walks to the end. A line a step: depth, name, status, and the first bytes of a text that was handed over.
inline std::vector<std::string> SessionLines(TkSession& session, bool descend) {
  std::vector<std::string> lines;
  int32_t status = session.status;
  while (lines.size() < 100 && session.handle != nullptr) {
    ArcStream member{};
    status = ArcTkExtractNextMember(session.handle, descend ? 1 : 0, &member);
    if (status == BRIX_NO_MORE_MEMBERS) break;
    char name[512] = "";
    ArcMemberProp record{"filename", name, sizeof name, 0};
    (void)ArcTkGetNamedMemberProp(session.handle, &record);
    lines.push_back(std::to_string(ArcTkGetDepth(session.handle)) + " " + name + " " +
                    std::to_string(status));
    if (member.read != nullptr) lines.back() += " " + ReadAll(member).substr(0, 4);
  }
  lines.push_back(std::to_string(status));
  return lines;
}

}  // namespace brix

// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// walk.h - walks all that is nested inside one file.
//
// Every command is a visitor of this one walk, so they agree on what a member is called, what stopped it and
// which exit code that means.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "brixcore/brixcore.h"
#include "commands.h"
#include "open_file.h"
#include "report.h"

namespace brix::tool {

enum class MemberResult { kOk, kEncrypted, kUnsupported, kDamaged, kSizeLimit, kRatioLimit, kDepthLimit };

// The word for JSON, the sentence for a reader, and the exit code.
struct ResultText {
  const char* word;
  const char* sentence;
  ExitCode code;
};
[[nodiscard]] const ResultText& TextOf(MemberResult result);

struct Member {
  std::string_view name;  // as stored in its container
  std::string_view path;  // the names of the containers on the way, and its own, joined by '/'
  uint32_t depth;         // 0: in the file itself
  uint32_t container;     // type number of the container it stands in
  MemberResult result;
  uint32_t size;        // bytes extracted; of a damaged member those before the damage that OnData was given
  const uint8_t* data;  // `size` bytes; null unless asked for and there are any results
};

// What the library passed over without a failure: the word for JSON and the sentence for a reader.
struct UnseenText {
  uint32_t bit;
  const char* word;
  const char* sentence;
};

class Visitor {
 public:
  enum class Want {
    kSkip,    // do not extract it and do not look inside
    kSize,    // extract and look inside, without a copy of the data
    kData,    // with one; a damaged member's bytes come to OnData
    kStream,  // hand the bytes to OnData as they are decoded; do not look inside
  };

  virtual ~Visitor() = default;
  virtual Want Choose(std::string_view /*path*/) { return Want::kSize; }
  // False ends the walk.
  virtual bool OnMember(const Member& member) = 0;
  // The next bytes of a member, before OnMember tells of it. False: extract no further. Throws nothing: the library
  // calls it.
  virtual bool OnData(const void* /*data*/, size_t /*size*/) noexcept { return true; }
  // The member told last is a container of this type; its members come next.
  virtual void OnEnter(uint32_t /*type*/) {}
  // The list of members of the container at `path` is damaged, or encrypted; empty: of the file itself.
  virtual void OnBrokenContainer(std::string_view /*path*/, uint32_t /*depth*/, bool /*is_encrypted*/) {}
  // At the end of a walk that the visitor did not end.
  virtual void OnUnseen(const UnseenText& /*text*/) {}
};

// Walks an open file. Problems go to the report, each as one line with the file, the member and the reason.
void WalkArchive(OpenFile* input, const Limits& limits, Visitor* visitor, Report* report);

}  // namespace brix::tool

// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// toolkit.h - what a toolkit holds, and what an archive copies from it when it is opened.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "api/limits.h"
#include "brixcore/toolkit.h"
#include "core/format_table.h"

namespace brix {

// Flags by type number - 1; zero forbids the type.
using TypeFlags = std::array<uint32_t, kTypeCount>;

}  // namespace brix

// The record behind an ArcTk2Toolkit. Copied from on open, so later changes do not reach open archives.
struct ArcTk2ToolkitRecord {
  brix::Limits limits;
  std::unique_ptr<std::string> temp_directory;  // null: none was set
  uint32_t aggressive_mode = 1;
  std::unique_ptr<brix::TypeFlags> type_flags;  // null until a type is set; then all are enabled at first
};

namespace brix {

// Whether an archive of this name is looked at longer to recognise it as mail: its last four bytes, after a
// case step, are ".eml".
//
// Kept: the case step takes 32 from the letters A to Z, where adding 32 would make them lower-case. So ".EML"
// does not match, and "Neml" does, because N less 32 is a full stop.
[[nodiscard]] inline bool HasMailEnding(std::string_view path) {
  constexpr std::string_view kEnding = ".eml";
  if (path.size() < kEnding.size()) return false;
  const std::string_view last = path.substr(path.size() - kEnding.size());
  for (size_t i = 0; i < kEnding.size(); ++i) {
    const char c = last[i];
    if ((c >= 'A' && c <= 'Z' ? c - 32 : c) != kEnding[i]) return false;
  }
  return true;
}

}  // namespace brix

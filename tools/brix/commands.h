// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// commands.h - what the program can do; one file each. All return the program's exit code.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace brix::tool {

struct Limits {
  uint32_t max_depth = 9;        // levels of containers that are walked, the file itself being the first
  uint32_t max_size = 52428800;  // bytes a member may yield
  uint32_t max_ratio = 1000;     // bytes out for each byte of the smallest container on the way
};

struct Options {
  std::vector<std::string> files;
  Limits limits;
  unsigned jobs = 1;
  bool json = false;
  bool verbose = false;
  std::string target;  // x: the directory to write to
  std::string member;  // cat: the member's path
  uint32_t nth = 1;    // cat: which of the members with that path
};

[[nodiscard]] int RunId(const Options& options);
[[nodiscard]] int RunList(const Options& options);
[[nodiscard]] int RunExtract(const Options& options);
[[nodiscard]] int RunCat(const Options& options);

}  // namespace brix::tool

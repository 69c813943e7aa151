// commands.h - what the program can do; one file each. All return the program's exit code.
#pragma once

#include <string>
#include <vector>

#include "walk.h"

namespace brix::tool {

struct Options {
  std::vector<std::string> files;
  Limits limits;
  unsigned jobs = 1;
  bool json = false;
  bool verbose = false;
  std::string target;  // x: the directory to write to
  std::string member;  // cat: the member's path
};

[[nodiscard]] int RunId(const Options& options);
[[nodiscard]] int RunList(const Options& options);
[[nodiscard]] int RunExtract(const Options& options);
[[nodiscard]] int RunCat(const Options& options);

}  // namespace brix::tool

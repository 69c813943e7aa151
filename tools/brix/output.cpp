// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

#include "output.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <system_error>

#include "report.h"
#include "system.h"

namespace brix::tool {

namespace {

FILE* output = nullptr;             // null: there is none
std::atomic<int> output_error = 0;  // errno of the first failure

// Runs one operation on the stream; false from the first that failed on.
template <class Operation>
bool Try(Operation operation) {
  if (output_error != 0) return false;
  errno = EBADF;  // what a stream that is not there would say
  if (output == nullptr || !operation()) output_error = errno;
  return output_error == 0;
}

}  // namespace

void OpenOutput() { output = TakeStandardOutput(); }

bool WriteOutput(std::string_view bytes) {
  return Try([&] { return std::fwrite(bytes.data(), 1, bytes.size(), output) == bytes.size(); });
}

bool FlushOutput() {
  return Try([] { return std::fflush(output) == 0; });
}

bool OutputFailed() { return output_error != 0; }

bool OutputIsTerminal() { return output != nullptr && IsTerminal(output); }

int CloseOutput(int exit_code) {
  if (output != nullptr) {
    FlushOutput();  // some run times' fclose says nothing of what it could not write
    Try([] { return std::fclose(output) == 0; });
  }
  if (!OutputFailed()) return exit_code;
  std::fprintf(stderr, "brix: cannot write standard output: %s\n",
               std::generic_category().message(output_error).c_str());
  return std::max<int>(exit_code, kExitCannotRead);
}

}  // namespace brix::tool

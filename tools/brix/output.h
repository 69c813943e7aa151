// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// output.h - the program's own standard output.
//
// The library prints two prescribed messages to the standard output of the process. They must not get among what the
// program writes there, so it keeps the stream it was given for itself, and what anything else prints goes to standard
// error.
#pragma once

#include <string_view>

namespace brix::tool {

// Call first, and once.
void OpenOutput();

// Bytes as they are, on every system. False from the first that could not be written on. One thread at a time.
bool WriteOutput(std::string_view bytes);
bool FlushOutput();

// Whether any bytes could not be written so far. Any thread.
[[nodiscard]] bool OutputFailed();

[[nodiscard]] bool OutputIsTerminal();

// Call last. Writes what is left and says so when standard output could not take everything; the exit code of the
// program, whose own is given.
[[nodiscard]] int CloseOutput(int exit_code);

}  // namespace brix::tool

// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// load.cpp - start and end of the process's log. Everything that this touches is ready before the language's own
// statics are made, and still there when they are gone.
#include "api/load.h"

#include "api/log.h"
#include "io/unique_file.h"
#include "platform/platform.h"

namespace brix {

void OnLoad() noexcept {
  char directory[kPathBufferSize];  // a longer one can hold no log
  if (!platform::ReadEnvironment("ARCLOGPATH", directory, sizeof directory)) return;
  if (directory[0] != '\0') OpenLog(directory);
}

void OnUnload() noexcept { CloseLog(); }

}  // namespace brix

// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// entry.cpp - the system's calls when it loads and unloads the library.
#include "api/load.h"

namespace {

[[gnu::constructor]] void Load() { brix::OnLoad(); }
[[gnu::destructor]] void Unload() { brix::OnUnload(); }

}  // namespace

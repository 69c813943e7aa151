// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// load.h - what happens when a process loads and unloads the library.
#pragma once

namespace brix {

// Starts the log when the environment asks for one.
void OnLoad() noexcept;
void OnUnload() noexcept;

}  // namespace brix

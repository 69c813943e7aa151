// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// entry.cpp - the system's calls when it loads and unloads the library. They come behind the run time's own start and
// in front of its end.
#include <windows.h>

#include "api/load.h"

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID reserved);

BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID) {
  if (reason == DLL_PROCESS_ATTACH) {
    DisableThreadLibraryCalls(instance);
    brix::OnLoad();
  }
  if (reason == DLL_PROCESS_DETACH) brix::OnUnload();
  return TRUE;
}

// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

#include "core/refuse.h"

#ifdef BRIX_TRACE_REFUSALS
namespace brix {
thread_local const char* last_refusal = "";
}  // namespace brix
#endif

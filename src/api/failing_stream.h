// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// failing_stream.h - operations for the slots of a stream record that a kind of stream does not have.
#pragma once

#include <cstdint>

#include "brixcore/status.h"
#include "brixcore/stream.h"

namespace brix {

inline int32_t FailClose(void*) { return BRIX_FAILED; }
inline int32_t FailRead(void*, uint32_t, void*, uint32_t, uint32_t*) { return BRIX_FAILED; }
inline int32_t FailWrite(void*, uint32_t, const void*, uint32_t) { return BRIX_FAILED; }
inline int32_t FailGetSize(void*, uint32_t*) { return BRIX_FAILED; }
inline int32_t FailSetSize(void*, uint32_t, uint32_t) { return BRIX_FAILED; }
inline int32_t FailGetFileName(void*, char*, uint32_t) { return BRIX_FAILED; }

inline constexpr ArcStream kFailingStream = {nullptr,     FailClose,   FailRead,       FailWrite,
                                             FailGetSize, FailSetSize, FailGetFileName};

}  // namespace brix

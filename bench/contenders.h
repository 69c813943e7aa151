// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// contenders.h - what areas.cpp puts together: walks through an archive in memory, and areas with a file of their own.
#pragma once

#include <span>

#include "rounds.h"

namespace bench {

using ByteSpan = std::span<const uint8_t>;

// --- walks.cpp, mspack_walk.cpp, mail.cpp. A peer that was not there at build time gives false ---
//
// The leaves are handed out. Members whose name ends in ".zip" are the containers of a nest: each walker descends into
// them and hands them to nobody; ours only when they go to memory.

// By the exported functions, each member into a host stream that discards, or into a block of memory.
enum class Target { kStream, kMemory };
bool WalkWithBrix(ByteSpan archive, Target target, Sink& sink);

bool WalkWithLibarchive(ByteSpan archive, Sink& sink);
// Thin hosts: find the members themselves and decode each into one buffer, used again. They trust their input, as no
// host may.
bool WalkZipWithLibdeflate(ByteSpan archive, Sink& sink);
std::function<bool(ByteSpan, Sink&)> WalkGzipWithLibdeflate();
bool WalkCabinetWithMspack(ByteSpan archive, Sink& sink);
bool WalkHelpWithMspack(ByteSpan archive, Sink& sink);
bool WalkMailWithGmime(ByteSpan message, Sink& sink);
// Finds uuencoded blocks by a search for their first lines.
bool WalkBlocksWithGmime(ByteSpan message, Sink& sink);

// The limit: the archive's bytes copied piece by piece into a buffer that stays in the cache.
Contender Memcpy(const Data& data, const std::string& archive);

// --- inflate.cpp, long_streams.cpp, detect.cpp, mail.cpp ---

Area Inflate(const Data& data);
Area InflateSmall(const Data& data);
Area Lzma(const Data& data);
Area Bzip2(const Data& data);
Area DetectFiles(const Data& data);
Area DetectMemory(const Data& data);
Area DetectProcess(const Data& data);
Area MailGrowth(const Data& data);

}  // namespace bench

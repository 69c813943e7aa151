// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// The TAR handler: the input as it is, and stored inside gzip.
#include <vector>

#include "formats/registry.h"
#include "walk_all.h"

namespace {

constexpr uint32_t kTar = 13;
constexpr size_t kMaxWrapped = 60000;  // one stored block

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  brix::WalkAll(brix::Formats(), kTar, data, size);
  if (size > kMaxWrapped) return 0;
  const auto low = static_cast<uint8_t>(size);
  const auto high = static_cast<uint8_t>(size >> 8);
  std::vector<uint8_t> file = {0x1F, 0x8B, 8, 0, 0, 0, 0, 0, 0, 0, 1};
  for (const int byte : {+low, +high, ~low, ~high}) file.push_back(static_cast<uint8_t>(byte));
  if (size != 0) file.insert(file.end(), data, data + size);
  brix::WalkAll(brix::Formats(), kTar, file.data(), file.size());
  return 0;
}

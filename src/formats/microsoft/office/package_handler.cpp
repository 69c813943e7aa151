// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

#include "formats/microsoft/office/package_handler.h"

#include <algorithm>

#include "core/stream_views.h"

namespace brix::office {

bool PackageHandler::TakePackage(compound::CompoundFile& file, const compound::Entry& stream, char* name) {
  DropPackage();
  file.OpenStream(stream, compound::ChainMemory::kCursor, &stream_);
  if (!ParsePackage(stream_, &package_, name)) return false;
  RestartMember();
  return true;
}

void PackageHandler::RestartMember() {
  data_offset_ = package_.data_offset;
  remaining_ = package_.data_size;
}

bool PackageHandler::ExtractMember(Stream* out, uint32_t max_bytes, uint32_t* written) {
  *written = std::min(max_bytes == 0 ? package_.data_size : max_bytes, remaining_);
  RangeStream data(&stream_, data_offset_, remaining_);
  const bool ok = decoder_.Decode(data, *out, written);
  remaining_ -= *written;
  if (max_bytes != 0) data_offset_ += *written;
  return ok;
}

}  // namespace brix::office

// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// package_handler.h - what all handlers of Office documents share: the current package and its extraction.
#pragma once

#include <cstdint>

#include "core/archive_handler.h"
#include "decoders/copy/copy_decoder.h"
#include "formats/microsoft/compound/compound_file.h"
#include "formats/microsoft/office/package.h"

namespace brix::office {

class PackageHandler : public ArchiveHandler {
 public:
  using ArchiveHandler::ArchiveHandler;

  // Kept: an extraction with a limit is continued by the next one; after one without a limit, nothing is left
  // to extract.
  [[nodiscard]] bool ExtractMember(Stream* out, uint32_t max_bytes, uint32_t* written) override;
  void RestartMember() override;

 protected:
  // Makes the package in this stream of `file` the current member and writes its name. False when it holds
  // none; the former member is then lost. `file` must live as long as the package is current.
  [[nodiscard]] bool TakePackage(compound::CompoundFile& file, const compound::Entry& stream, char* name);
  void DropPackage() {
    package_ = {};
    remaining_ = 0;
  }

 private:
  compound::ChainStream stream_;  // the package stream
  Package package_;
  uint32_t data_offset_ = 0;  // in the stream, of what is still to be extracted
  uint32_t remaining_ = 0;    // bytes
  CopyDecoder decoder_;
};

}  // namespace brix::office

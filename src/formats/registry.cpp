// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// registry.cpp - the only file that includes every format.
#include "formats/registry.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "formats/classic/arj/arj_detect.h"
#include "formats/classic/bzip2/bzip2_detect.h"
#include "formats/classic/gzip/gzip_detect.h"
#include "formats/classic/gzip/gzip_handler.h"
#include "formats/classic/lha/lha_detect.h"
#include "formats/classic/qxzip/qxzip_detect.h"
#include "formats/classic/tar/tar_detect.h"
#include "formats/classic/tar/tar_handler.h"
#include "formats/classic/unixz/unixz_detect.h"
#include "formats/classic/zip/zip_detect.h"
#include "formats/classic/zip/zip_handler.h"
#include "formats/installers/nsis/nsis_detect.h"
#include "formats/installers/nsis/nsis_handler.h"
#include "formats/installers/rar/rar_detect.h"
#include "formats/installers/rar/rar_handler.h"
#include "formats/mail/mime/mime_detect.h"
#include "formats/mail/mime/mime_handler.h"
#include "formats/mail/tnef/tnef_detect.h"
#include "formats/microsoft/cabinet/cabinet_detect.h"
#include "formats/microsoft/cabinet/cabinet_handler.h"
#include "formats/microsoft/chm/chm_detect.h"
#include "formats/microsoft/chm/chm_handler.h"
#include "formats/microsoft/compound/compound_file.h"
#include "formats/microsoft/msi/msi_handler.h"
#include "formats/microsoft/msi/msi_name.h"
#include "formats/microsoft/office/office_format.h"
#include "formats/microsoft/office/office_handler.h"
#include "formats/microsoft/sfx/sfx_detect.h"
#include "formats/microsoft/sfx/sfx_handler.h"
#include "formats/microsoft/szdd/szdd_handler.h"

namespace brix {

namespace {

// Which of the formats in compound files the data are, by the streams in the root: the first Office type whose
// stream is there, or an installer database, which has all of its tables.
uint32_t IdentifyCompound(Stream& in) {
  constexpr size_t kOffice = office::kTypeStreams.size();
  constexpr uint32_t kTables = (1u << msi::kTableStreams.size()) - 1;
  std::array<std::u16string_view, kOffice + msi::kTableStreams.size()> names;
  for (size_t n = 0; n < kOffice; ++n) names[n] = office::kTypeStreams[n].name;
  std::ranges::copy(msi::kTableStreams, names.begin() + kOffice);
  compound::CompoundFile file;
  if (!file.Open(in)) return kTypeNone;
  const uint32_t held = file.StreamsInRoot(names);
  for (size_t n = 0; n < kOffice; ++n) {
    if ((held >> n & 1) != 0) return office::kTypeStreams[n].type_id;
  }
  return held >> kOffice == kTables ? msi::kInstallerDatabase : kTypeNone;
}

template <uint32_t kTypeId>
bool DetectCompound(Stream& in, uint32_t, const FormatTable&) {
  return IdentifyCompound(in) == kTypeId;
}

template <uint32_t kTypeId>
constexpr FormatEntry Compound(ArchiveHandler* (*create)(Stream*, const HandlerArgs&)) {
  return {kTypeId, DetectCompound<kTypeId>, create, {"\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1"}, IdentifyCompound};
}

// The order is a contract: the first row that answers yes wins.
constexpr std::array kRows = {
    FormatEntry{16, zip::DetectZip,
                zip::CreateZipHandler},  // before SFX: a stub with an intact directory is a ZIP
    FormatEntry{6, sfx::DetectSfx, sfx::CreateSfxHandler, {"MZ"}},
    FormatEntry{5, chm::DetectChm, chm::CreateChmHandler, {"ITSF"}},
    FormatEntry{1, arj::DetectArj, nullptr},
    FormatEntry{8, lha::DetectLha, nullptr, {"-l", 2}},
    FormatEntry{13, tar::DetectTar, tar::CreateTarHandler},  // before GZIP: a tar inside gzip is a tar
    FormatEntry{7, gzip::DetectGzip, gzip::CreateGzipHandler, {"\x1F\x8B\x08"}},
    FormatEntry{2, bzip2::DetectBzip2, nullptr, {"BZh"}},
    FormatEntry{15, unixz::DetectUnixZ, nullptr, {"\x1F\x9D"}},
    FormatEntry{14, tnef::DetectTnef, nullptr, {"\x78\x9F\x3E\x22"}},
    FormatEntry{10, szdd::DetectSzdd, szdd::CreateSzddHandler, {"SZDD"}},
    FormatEntry{4, qxzip::DetectQxZip, nullptr, {"QXZIP\x04"}},
    // The formats in compound files, whose order IdentifyCompound keeps.
    Compound<17>(office::CreateOfficeHandler),
    Compound<18>(office::CreateOfficeHandler),
    Compound<19>(office::CreatePowerPointHandler),
    Compound<20>(office::CreateOfficeHandler),
    Compound<11>(msi::CreateMsiHandler),
    FormatEntry{21, nsis::DetectNsis, nsis::CreateNsisHandler, {"MZ"}},
    // Signatures that may stand anywhere in the first kilobyte come late, mail, the weakest test, last.
    FormatEntry{3, cabinet::DetectCabinet, cabinet::CreateCabinetHandler},
    FormatEntry{12, rar::DetectRar, rar::CreateRarHandler},
    FormatEntry{9, mime::DetectMime, mime::CreateMimeHandler},
};

consteval bool IdsAreUnique() {
  for (size_t i = 0; i < kRows.size(); ++i) {
    if (kRows[i].type_id == kTypeNone || kRows[i].type_id > kTypeCount) return false;
    for (size_t j = 0; j < i; ++j) {
      if (kRows[i].type_id == kRows[j].type_id) return false;
    }
  }
  return true;
}
static_assert(IdsAreUnique());

constexpr FormatTable kFormats{kRows};

}  // namespace

const FormatTable& Formats() { return kFormats; }

}  // namespace brix

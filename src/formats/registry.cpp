// registry.cpp - the only file that includes every format.
#include "formats/registry.h"

#include <array>

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
#include "formats/installers/rar/rar_detect.h"
#include "formats/mail/mime/mime_detect.h"
#include "formats/mail/mime/mime_handler.h"
#include "formats/mail/tnef/tnef_detect.h"
#include "formats/microsoft/cabinet/cabinet_detect.h"
#include "formats/microsoft/chm/chm_detect.h"
#include "formats/microsoft/sfx/sfx_detect.h"
#include "formats/microsoft/sfx/sfx_handler.h"
#include "formats/microsoft/szdd/szdd_handler.h"

namespace brix {

namespace {

// The order is a contract: the first row that answers yes wins.
constexpr std::array kRows = {
    FormatEntry{16, zip::DetectZip,
                zip::CreateZipHandler},  // before SFX: a stub with an intact directory is a ZIP
    FormatEntry{6, sfx::DetectSfx, sfx::CreateSfxHandler, {"MZ"}},
    FormatEntry{5, chm::DetectChm, nullptr, {"ITSF"}},
    FormatEntry{1, arj::DetectArj, nullptr},
    FormatEntry{8, lha::DetectLha, nullptr, {"-l", 2}},
    FormatEntry{13, tar::DetectTar, tar::CreateTarHandler},  // before GZIP: a tar inside gzip is a tar
    FormatEntry{7, gzip::DetectGzip, gzip::CreateGzipHandler, {"\x1F\x8B\x08"}},
    FormatEntry{2, bzip2::DetectBzip2, nullptr, {"BZh"}},
    FormatEntry{15, unixz::DetectUnixZ, nullptr, {"\x1F\x9D"}},
    FormatEntry{14, tnef::DetectTnef, nullptr, {"\x78\x9F\x3E\x22"}},
    FormatEntry{10, szdd::DetectSzdd, szdd::CreateSzddHandler, {"SZDD"}},
    FormatEntry{4, qxzip::DetectQxZip, nullptr, {"QXZIP\x04"}},
    // The compound-file formats stand here: Word, Excel, PowerPoint, package, installer database.
    FormatEntry{21, nsis::DetectNsis, nullptr, {"MZ"}},
    // Signatures that may stand anywhere in the first kilobyte come late, mail, the weakest test, last.
    FormatEntry{3, cabinet::DetectCabinet, nullptr},
    FormatEntry{12, rar::DetectRar, nullptr},
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

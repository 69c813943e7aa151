// registry.cpp - the only file that includes every format.
#include "formats/registry.h"

#include <array>

#include "formats/classic/zip/zip_detect.h"
#include "formats/classic/zip/zip_handler.h"
#include "formats/microsoft/szdd/szdd_handler.h"

namespace brix {

namespace {

// The order is a contract: the first row that answers yes wins.
constexpr std::array kRows = {
    FormatEntry{16, zip::DetectZip, zip::CreateZipHandler},  // a stub with an intact directory is a ZIP
    FormatEntry{10, szdd::DetectSzdd, szdd::CreateSzddHandler},
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

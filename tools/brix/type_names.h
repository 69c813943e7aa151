// type_names.h - the words that the program shows for the library's container type numbers.
#pragma once

#include <array>
#include <cstdint>

#include "brixcore/status.h"

namespace brix::tool {

struct TypeName {
  const char* word;         // in listings and JSON
  const char* description;  // for a reader
};

inline constexpr std::array<TypeName, 22> kTypeNames = {{
    {"none", "not an archive"},
    {"arj", "ARJ archive"},
    {"bzip2", "BZIP2 compressed file"},
    {"cabinet", "Microsoft cabinet"},
    {"qxzip", "QX Zip archive"},
    {"chm", "compiled HTML help"},
    {"sfx", "self-extracting executable"},
    {"gzip", "GZIP compressed file"},
    {"lha", "LHA archive"},
    {"mime", "mail message"},
    {"szdd", "Microsoft compressed file"},
    {"msi", "Windows Installer database"},
    {"rar", "RAR archive"},
    {"tar", "TAR archive"},
    {"tnef", "TNEF attachment"},
    {"unixz", "Unix compress file"},
    {"zip", "ZIP archive"},
    {"word", "Word document"},
    {"excel", "Excel workbook"},
    {"powerpoint", "PowerPoint presentation"},
    {"ole-package", "OLE package"},
    {"nsis", "NSIS installer"},
}};
static_assert(kTypeNames.size() == BRIX_TYPE_NSIS + 1);

constexpr const TypeName& NameOfType(uint32_t type) {
  return kTypeNames[type < kTypeNames.size() ? type : 0];
}

}  // namespace brix::tool

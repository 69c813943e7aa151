// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// type_names.h - the words that the program shows for the library's container types.
#pragma once

#include <array>
#include <cstdint>

#include "brixcore/status.h"

namespace brix::tool {

struct TypeName {
  const char* word;               // in listings and JSON
  const char* description;        // for a reader
  uint32_t public_type;           // of catalogue.h; 0: it has none
  const char* note = "not read";  // of a file that is recognised, but that this version does not read
};

// By the type numbers of status.h.
inline constexpr std::array<TypeName, 22> kTypeNames = {{
    {"none", "not an archive", 0},
    {"arj", "ARJ archive", 1},
    {"bzip2", "BZIP2 compressed file", 15},
    {"cabinet", "Microsoft cabinet", 5},
    {"qxzip", "QX Zip archive", 14, "layout not described, not read"},
    {"chm", "compiled HTML help", 19},
    {"sfx", "self-extracting executable", 17, "holds an archive that is not read"},
    {"gzip", "GZIP compressed file", 2},
    {"lha", "LHA archive", 4},
    {"mime", "mail message", 7},
    {"szdd", "Microsoft compressed file", 6},
    {"msi", "Windows Installer database", 18},
    {"rar", "RAR archive", 10},
    {"tar", "TAR archive", 16},
    {"tnef", "TNEF attachment", 13},
    {"unixz", "Unix compress file", 11},
    {"zip", "ZIP archive", 9},
    {"word", "Word document", 20},
    {"excel", "Excel workbook", 21},
    {"powerpoint", "PowerPoint presentation", 22},
    {"ole-package", "OLE package", 0},
    {"nsis", "NSIS installer", 24},
}};
static_assert(kTypeNames.size() == BRIX_TYPE_NSIS + 1);

inline constexpr const TypeName& kNoType = kTypeNames[BRIX_TYPE_NONE];

constexpr const TypeName& NameOfType(uint32_t type) {
  return type < kTypeNames.size() ? kTypeNames[type] : kNoType;
}

constexpr const TypeName& NameOfPublicType(uint32_t public_type) {
  for (const TypeName& name : kTypeNames) {
    if (name.public_type == public_type) return name;  // of 0, the first
  }
  return kNoType;
}

}  // namespace brix::tool

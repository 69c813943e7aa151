// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// catalogue.h - the constant table that joins public type numbers to internal ones, and the older one from extensions
// to legacy numbers.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include "brixcore/catalogue.h"

namespace brix {

struct CatalogueRow {
  uint32_t public_type;
  std::string_view name;
  std::string_view extensions;  // joined by '|'
  uint32_t type_id;             // internal
};

// The order is a contract: hosts are given it, and the first row of an internal type wins.
inline constexpr std::array<CatalogueRow, BRIX_CATALOGUE_TYPES> kCatalogue = {{
    {1, "ARJ", "arj", 1},
    {2, "GZIP", "gz|z|tgz|taz", 7},
    {4, "LHA", "lzh|lha|ice", 8},
    {5, "Microsoft cabinet file", "cab", 3},
    {6, "Microsoft compressed file", "??_", 10},
    {7, "MIME", "mme|mim|b64|mqp|eml|nws|emf|mht|mhtml|uu|uue", 9},
    {9, "ZIP or JAVA archive", "zip|jar", 16},
    {10, "RAR", "rar", 12},
    {11, "Unix compressed file (.Z)", "Z", 15},
    {13, "TNEF encapsulated eMail files", "tnef|tnf|dat", 14},
    {16, "TAR", "tar", 13},
    {14, "QX Zip", "qxz", 4},
    {15, "BZIP", "bz2", 2},
    {17, "self extracting archive", "exe", 6},
    {18, "Microsoft installer", "msi", 11},
    {19, "Microsoft compiled help", "chm", 5},
    {20, "Microsoft Word document", "doc|docx", 17},
    {21, "Microsoft Excel document", "xls|xlsx", 18},
    {22, "Microsoft Powerpoint document", "ppt|pptx", 19},
    {24, "Nullsoft Install System installer", "exe", 21},
}};

// The row of a public type, of which only the low 16 bits count; null when there is none.
[[nodiscard]] const CatalogueRow* FindPublicType(uint32_t public_type);

// The public number of an internal type; 0 when it has none.
[[nodiscard]] uint32_t PublicTypeOf(uint32_t type_id);

// The legacy number for a file's path.
[[nodiscard]] uint32_t LegacyTypeOf(std::string_view path);

}  // namespace brix

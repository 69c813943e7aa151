// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

#include "api/catalogue.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "api/byname_context.h"
#include "formats/registry.h"
#include "io/file_stream.h"

using brix::CatalogueRow;
using brix::FindPublicType;
using brix::kCatalogue;
using brix::Traced;

static_assert(offsetof(BrixTypeInfo, valid) == 0 && offsetof(BrixTypeInfo, name) == 4 &&
              offsetof(BrixTypeInfo, extensions) == 54 && sizeof(BrixTypeInfo) == 56);
static_assert(std::all_of(kCatalogue.begin(), kCatalogue.end(), [](const CatalogueRow& row) {
  return row.name.size() < sizeof(BrixTypeInfo::name);
}));

namespace {

constexpr uint32_t kLegacyCompressedFile = 3;
constexpr uint32_t kLegacyNoArchive = 4;

struct LegacyRow {
  std::string_view extension;
  uint32_t type;
};
constexpr LegacyRow kLegacyTypes[] = {
    {"zip", 1},  {"arj", 2},  {"mim", 5},  {"uue", 5},  {"uu", 5},   {"b64", 5},  {"lha", 6},  {"lzh", 6},
    {"cab", 7},  {"gz", 8},   {"z", 9},    {"rar", 10}, {"rtf", 11}, {"tnf", 14}, {"bz2", 16}, {"tar", 17},
    {"chm", 18}, {"msi", 12}, {"doc", 13}, {"xls", 13}, {"ppt", 13}, {"qxz", 15}, {"iso", 19},
};

constexpr char Lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c; }

bool EqualWithoutCase(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](char x, char y) { return Lower(x) == Lower(y); });
}

void CopyText(std::string_view text, char* to) {
  std::memcpy(to, text.data(), text.size());
  to[text.size()] = '\0';
}

// Kept: every function of the catalogue is traced, not only GetTypeInfo. They have no context: their messages go to the
// log file alone.
template <class Body>
int32_t TracedQuery(const char* function, Body&& body) {
  return Traced(nullptr, function, int32_t{BRIX_FAILED}, body);
}

}  // namespace

namespace brix {

const CatalogueRow* FindPublicType(uint32_t public_type) {
  constexpr uint32_t kCounts = 0xFFFF;
  const auto row = std::find_if(kCatalogue.begin(), kCatalogue.end(), [&](const CatalogueRow& candidate) {
    return candidate.public_type == (public_type & kCounts);
  });
  return row != kCatalogue.end() ? &*row : nullptr;
}

uint32_t PublicTypeOf(uint32_t type_id) {
  const auto row = std::find_if(kCatalogue.begin(), kCatalogue.end(),
                                [&](const CatalogueRow& candidate) { return candidate.type_id == type_id; });
  return row != kCatalogue.end() ? row->public_type : 0;
}

uint32_t LegacyTypeOf(std::string_view path) {
  const std::string_view name = BaseName(path);
  const size_t dot = name.rfind('.');
  if (dot == std::string_view::npos) return kLegacyNoArchive;
  const std::string_view extension = name.substr(dot + 1);
  for (const LegacyRow& row : kLegacyTypes) {
    if (EqualWithoutCase(extension, row.extension)) return row.type;
  }
  return extension.ends_with('_') ? kLegacyCompressedFile : kLegacyNoArchive;
}

}  // namespace brix

int32_t GetTypeInfo(uint32_t public_type, BrixTypeInfo* record, uint32_t* size) {
  return TracedQuery(__func__, [&]() -> int32_t {
    brix::Emit({}, brix::kLevelQuery, "dwType = %u", public_type);
    const CatalogueRow* const row = FindPublicType(public_type);
    if (size == nullptr || row == nullptr) return -1;
    // Kept: the record as it is declared and the list with its terminator, two bytes more than are used: 69 for GZIP.
    const auto needed = static_cast<uint32_t>(sizeof(BrixTypeInfo) + row->extensions.size() + 1);
    if (record == nullptr || *size < needed) {
      *size = needed;
      return 0;
    }
    record->valid = 1;
    CopyText(row->name, record->name);
    CopyText(row->extensions, reinterpret_cast<char*>(record) + offsetof(BrixTypeInfo, extensions));
    return 0;
  });
}

int32_t GetTypeExtension(uint32_t public_type, char* buffer, uint32_t* size) {
  return TracedQuery(__func__, [&]() -> int32_t {
    const CatalogueRow* const row = FindPublicType(public_type);
    if (row == nullptr) return -2;
    if (size == nullptr) return -1;
    const uint32_t room = *size;
    *size = static_cast<uint32_t>(row->extensions.size()) + 1;
    if (buffer == nullptr || room < *size) return 0;
    CopyText(row->extensions, buffer);
    return 1 + static_cast<int32_t>(std::count(row->extensions.begin(), row->extensions.end(), '|'));
  });
}

int32_t GetTypeDescription(uint32_t public_type, uint32_t, char* buffer, uint32_t size) {
  return TracedQuery(__func__, [&]() -> int32_t {
    const CatalogueRow* const row = FindPublicType(public_type);
    if (row == nullptr) return -2;
    if (buffer == nullptr || size <= row->name.size()) return -1;
    CopyText(row->name, buffer);
    return 0;
  });
}

int32_t GetArcList(uint32_t* buffer, uint32_t, uint32_t* size) {
  return TracedQuery(__func__, [&]() -> int32_t {
    constexpr uint32_t kBytes = BRIX_CATALOGUE_TYPES * sizeof(uint32_t);
    if (size == nullptr) return 0;
    const bool fits = buffer != nullptr && *size >= kBytes;
    *size = kBytes;
    if (!fits) return 0;
    for (const CatalogueRow& row : kCatalogue) *buffer++ = row.public_type;
    return 1;
  });
}

int32_t GetArcFileType(const char* path, uint32_t* public_type) {
  return TracedQuery(__func__, [&]() -> int32_t {
    if (path == nullptr || path[0] == '\0' || public_type == nullptr) return -1;
    *public_type = 0;
    brix::FileStream file;
    if (!file.Open(path, brix::platform::OpenMode::kRead)) return -3;
    brix::CachedReadStream cache;
    cache.SetInner(&file, 0);
    const uint32_t flags = brix::EndsInEml(path) ? brix::kDetectMailHint : 0;
    *public_type = brix::PublicTypeOf(brix::Formats().DetectArchiveType(cache, flags));
    return 0;
  });
}

uint32_t GetArchiveFileType(BrixDecompression context, const char* file_name) {
  return Traced(context, __func__, kLegacyNoArchive, [&] {
    if (context == nullptr) return kLegacyNoArchive;
    context->error = file_name != nullptr ? BRIX_ERROR_NONE : BRIX_ERROR_NULL_ARGUMENT;
    return file_name != nullptr ? brix::LegacyTypeOf(file_name) : kLegacyNoArchive;
  });
}

// Kept: the session family's own questions about types have no answer.
int32_t ArcTkGetArchiveTypeName(void*, ...) { return -1; }
int32_t ArcTkGetArchiveTypeExtension(void*, ...) { return -1; }
int32_t ArcTkGetArchiveTypeDisplayName(void*, ...) { return -1; }

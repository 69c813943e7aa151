/* SPDX-FileCopyrightText: brixcore developers
 * SPDX-License-Identifier: Apache-2.0 */

/* catalogue.h - the archive types by public number: their names, their usual extensions, and what a file is.
 *
 * Public numbers stay the same from release to release. They are not the internal numbers of status.h, nor the legacy
 * numbers of GetArchiveFileType.
 *
 *   uint32_t types[BRIX_CATALOGUE_TYPES];
 *   uint32_t size = sizeof types;
 *   if (GetArcList(types, 0, &size) == 1) {
 *     for (uint32_t i = 0; i < BRIX_CATALOGUE_TYPES; ++i) {
 *       char text[50];
 *       if (GetTypeDescription(types[i], 0, text, sizeof text) == 0) puts(text);
 *     }
 *   }
 *
 * Of a public type given as an argument only the low 16 bits count. Texts are zero-terminated; brixcore.h says what paths
 * may be. The functions keep nothing and can be called by any thread at any time. Each call is noted in the log file, when
 * there is one (byname.h).
 */
#ifndef BRIXCORE_CATALOGUE_H_
#define BRIXCORE_CATALOGUE_H_

#include <stdint.h>

#include "brixcore/export.h"

/* How many types the catalogue has. */
#define BRIX_CATALOGUE_TYPES 20

/* What GetTypeInfo fills. The extensions go on behind the end of this declaration: GetTypeInfo asks
 * for 56 bytes and room for their text with its terminator. */
typedef struct BrixTypeInfo {
  uint32_t valid;     /* offset 0: 1 when filled */
  char name[50];      /* offset 4: the display name */
  char extensions[2]; /* offset 54: without dots, joined by '|' */
} BrixTypeInfo;

/* Fills a record.
 *
 * record  out     null asks for the size only.
 * size    in/out  in: bytes at record. out: bytes needed, when record is null or too small; else unchanged. 69 for GZIP,
 *                 whose extensions are "gz|z|tgz|taz": two more than are written, and asked for all the same.
 *
 * Returns 0, also when the record was not filled: set `valid` to 0 before and look at it afterwards. -1: size is
 * null, or the type is not known. */
BRIX_API int32_t GetTypeInfo(uint32_t public_type, BrixTypeInfo* record, uint32_t* size);

/* Copies the extensions of a type, such as "gz|z|tgz|taz".
 *
 * buffer  out     null asks for the size only.
 * size    in/out  in: bytes at buffer. out: bytes needed or used, terminator included. Not null.
 *
 * Returns how many extensions were copied; 0 when buffer is null or too small (size is set, buffer untouched);
 * -2 unknown type; -1 size is null. */
BRIX_API int32_t GetTypeExtension(uint32_t public_type, char* buffer, uint32_t* size);

/* Copies the display name of a type, at most 50 bytes with its terminator.
 *
 * reserved  not used.
 * buffer    out  not null.
 * size      in   bytes at buffer.
 *
 * Returns 0; -2 unknown type; -1 buffer is null or too small. */
BRIX_API int32_t GetTypeDescription(uint32_t public_type, uint32_t reserved, char* buffer, uint32_t size);

/* Writes all public types.
 *
 * buffer    out     BRIX_CATALOGUE_TYPES numbers; null asks for the size only.
 * reserved  not used.
 * size      in/out  in: bytes at buffer. out: always 80. Null: nothing is written.
 *
 * Returns 1 when the numbers were written, else 0. */
BRIX_API int32_t GetArcList(uint32_t* buffer, uint32_t reserved, uint32_t* size);

/* Tells the type of a file from its content. A path that ends in ".eml" is looked at longer to recognise mail.
 *
 * path         in   the file, opened for reading and closed again.
 * public_type  out  0 when the content is of no type of the catalogue, and when the file cannot be opened.
 *
 * Returns 0; -3 the file cannot be opened; -1 a null argument, an empty path, or no memory. */
BRIX_API int32_t GetArcFileType(const char* path, uint32_t* public_type);

/* Always return -1, whatever the arguments; use the functions above. */
BRIX_API int32_t ArcTkGetArchiveTypeName(void* session, ...);
BRIX_API int32_t ArcTkGetArchiveTypeExtension(void* session, ...);
BRIX_API int32_t ArcTkGetArchiveTypeDisplayName(void* session, ...);

#endif /* BRIXCORE_CATALOGUE_H_ */

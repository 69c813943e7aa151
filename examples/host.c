/* SPDX-FileCopyrightText: brixcore developers
 * SPDX-License-Identifier: Apache-2.0 */

/* host.c - lists an archive and everything nested inside it: depth, name and size of each member.
 *
 *   host archive.zip
 */
#include <brixcore/brixcore.h>
#include <stdio.h>

/* What became of one member, in a word. */
static const char* Remark(int32_t status) {
  switch (status) {
    case BRIX_OK:
      return "";
    case BRIX_SIZE_LIMIT:
      return " (cut at the size limit)";
    case BRIX_RATIO_LIMIT:
      return " (compressed beyond the ratio limit)";
    default:
      return " (could not be extracted)";
  }
}

static int Walk(ArcTk2Archive* archive) {
  char name[512];
  int32_t status;
  /* A container inside that is damaged ends with BRIX_PART_FAILED; the walk goes on after it. */
  while ((status = ArcTk2_GetNextFile(archive, name, sizeof name)) == BRIX_OK || status == BRIX_PART_FAILED ||
         status == BRIX_OUT_OF_MEMORY) {
    void* data;
    uint32_t size;
    uint32_t depth;
    if (status != BRIX_OK) {
      printf("a nested archive %s\n", status == BRIX_PART_FAILED ? "is damaged" : "finds no memory");
      continue;
    }
    if (ArcTk2_GetDepth(archive, &depth) != BRIX_OK) return 1;
    status = ArcTk2_ExtractToMemory(archive, &data, &size);
    /* A scanner would look at `size` bytes at `data` here: of a member that was cut, at what came of it. */
    printf("%u %s %u%s\n", (unsigned)depth, name, (unsigned)size, Remark(status));
    ArcTk2_FreeMemory(data);
  }
  if (status == BRIX_NO_MORE_MEMBERS) return 0;
  fprintf(stderr, "the archive is damaged (%d)\n", (int)status);
  return 1;
}

int main(int argc, char** argv) {
  ArcTk2Toolkit toolkit;
  ArcTk2Archive archive;
  int32_t status;
  int result = 1;
  if (argc != 2) {
    fprintf(stderr, "usage: host <archive>\n");
    return 2;
  }
  if (ArcTk2_Init(&toolkit) != BRIX_OK) return 1;
  status = ArcTk2_OpenArchive(&toolkit, argv[1], &archive);
  if (status == BRIX_OK) {
    result = Walk(&archive);
    ArcTk2_CloseArchive(&archive);
  } else {
    fprintf(stderr, "%s: %s (%d)\n", argv[1],
            status == BRIX_NOT_AN_ARCHIVE ? "not an archive" : "cannot be opened", (int)status);
  }
  ArcTk2_Close(&toolkit);
  return result;
}

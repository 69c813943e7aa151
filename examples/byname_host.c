/* SPDX-FileCopyrightText: brixcore developers
 * SPDX-License-Identifier: Apache-2.0 */

/* byname_host.c - lists an archive file and everything nested inside it through temporary files: level, container,
 * name and size of each member.
 *
 *   byname_host archive.zip [directory for temporary files]
 */
#include <brixcore/byname.h>
#include <stdio.h>

/* Bytes in a file; -1 when it cannot be read. A scanner would look at the content here. */
static long SizeOf(const char* path) {
  FILE* file = fopen(path, "rb");
  long size = -1;
  if (file == NULL) return -1;
  if (fseek(file, 0, SEEK_END) == 0) size = ftell(file);
  fclose(file);
  return size;
}

static const char* Remark(uint32_t error) {
  switch (error) {
    case BRIX_ERROR_LIMIT:
      return "too large, or compressed too well";
    case BRIX_ERROR_ENCRYPTED:
      return "encrypted";
    default:
      return "could not be extracted";
  }
}

static int Walk(BrixDecompression context, BrixNamedArchive archive) {
  const char* name = GetFirstFileName(archive);
  while (name != NULL) {
    /* The name stays only until the next call on the archive, so it is printed before. */
    const char* path;
    printf("%s", name);
    printf(" in %s, level %u: ", GetArchiveName(archive), (unsigned)GetArchiveLevel(archive));
    path = ExtractCurrentFile(archive);
    if (path != NULL) {
      printf("%ld bytes\n", SizeOf(path));
    } else {
      printf("%s\n", Remark(GetErrorValue(context)));
    }
    RemoveCurrentFile(archive); /* deletes the file, or enters it */
    name = GetNextFileName(archive);
  }
  if (GetErrorValue(context) == BRIX_ERROR_NONE) return 0;
  fprintf(stderr, "the archive is damaged (%u)\n", (unsigned)GetErrorValue(context));
  return 1;
}

int main(int argc, char** argv) {
  int result = 1;
  BrixDecompression context;
  BrixNamedArchive archive;
  if (argc < 2) {
    fprintf(stderr, "usage: byname_host <archive> [directory]\n");
    return 2;
  }
  context = InitDecompression();
  if (context == NULL) return 1;
  if (argc > 2) SetTemporaryDirectory(context, argv[2]);
  archive = OpenArchiveFileNew(context, argv[1]);
  if (archive != BRIX_NO_ARCHIVE) {
    result = Walk(context, archive);
    CloseArchiveFile(archive);
  } else {
    fprintf(stderr, "%s: %s\n", argv[1],
            GetErrorValue(context) == BRIX_ERROR_NOT_AN_ARCHIVE ? "not an archive" : "cannot be opened");
  }
  DeInitDecompression(context);
  return result;
}

/* SPDX-FileCopyrightText: brixcore developers
 * SPDX-License-Identifier: Apache-2.0 */

/* arc_host.c - lists one archive with the Arc family and writes one of its members to a file.
 *
 *   arc_host archive.zip                   name and size of each member
 *   arc_host archive.zip member out.bin    extracts the member
 */
#include <brixcore/brixcore.h>
#include <stdio.h>
#include <string.h>

static int Extract(ArcArchive archive, const char* path) {
  ArcStream file;
  int32_t status = ArcTkOpenFile(path, BRIX_FILE_CREATE, &file);
  if (status == BRIX_OK) {
    status = ArcExtractMember(archive, &file);
    file.close(file.context);
  }
  if (status == BRIX_OK) return 0;
  fprintf(stderr, "%s could not be written (%d)\n", path, (int)status);
  return 1;
}

static int Walk(ArcArchive archive, const char* wanted, const char* path) {
  int32_t status;
  while ((status = ArcNextMember(archive)) == BRIX_OK) {
    char name[512];
    uint32_t name_size = sizeof name;
    uint32_t length = 0;
    uint32_t length_size = sizeof length;
    if (ArcGetMemberName(archive, name, &name_size) != BRIX_OK) return 1;
    if (wanted != NULL) {
      if (strcmp(name, wanted) == 0) return Extract(archive, path);
    } else if (ArcGetMemberProp(archive, "filelength", &length, &length_size) == BRIX_OK) {
      printf("%s %u\n", name, (unsigned)length);
    } else {
      printf("%s\n", name); /* this container does not say how long its member is */
    }
  }
  if (status == BRIX_NO_MORE_MEMBERS && wanted == NULL) return 0;
  fprintf(stderr, status == BRIX_NO_MORE_MEMBERS ? "no such member\n" : "the archive is damaged\n");
  return 1;
}

int main(int argc, char** argv) {
  ArcStream file;
  ArcArchive archive;
  int result = 1;
  if (argc != 2 && argc != 4) {
    fprintf(stderr, "usage: arc_host <archive> [<member> <file>]\n");
    return 2;
  }
  if (ArcTkOpenFile(argv[1], BRIX_FILE_READ, &file) != BRIX_OK) {
    fprintf(stderr, "%s: cannot be opened\n", argv[1]);
    return 1;
  }
  if (ArcOpenArchive(&file, &archive) == BRIX_OK) {
    result = argc == 2 ? Walk(archive, NULL, NULL) : Walk(archive, argv[2], argv[3]);
    ArcCloseArchive(archive);
  } else {
    fprintf(stderr, "%s: not an archive\n", argv[1]);
  }
  file.close(file.context); /* whoever opened it closes it */
  return result;
}

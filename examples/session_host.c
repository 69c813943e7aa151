/* SPDX-FileCopyrightText: brixcore developers
 * SPDX-License-Identifier: Apache-2.0 */

/* session_host.c - walks an archive and everything nested inside it with a session: depth, name, size.
 *
 *   session_host archive.zip           members are extracted to memory
 *   session_host archive.zip folder    members are extracted to temporary files in the folder
 */
#include <brixcore/brixcore.h>
#include <stdio.h>

static void Print(ArcTkSession session, int32_t status, const ArcStream* member) {
  char name[512] = "";
  uint32_t size = 0;
  ArcMemberProp prop = {"filename", NULL, sizeof name, 0};
  prop.buffer = name;
  ArcTkGetNamedMemberProp(session, &prop);
  printf("%u %s", (unsigned)ArcTkGetDepth(session), name);
  if (status == BRIX_OK || status == BRIX_SIZE_LIMIT) {
    /* A scanner would read the member here; the stream is the session's and lives until the next step. */
    member->get_size(member->context, &size);
    printf(" %u%s\n", (unsigned)size, status == BRIX_OK ? "" : " (cut at the size limit)");
  } else if (status == BRIX_NESTING_LIMIT) {
    printf(" (compressed beyond the ratio limit)\n");
  } else {
    printf(" (damaged: %d)\n", (int)status);
  }
}

static int Walk(const char* path, const ArcStreamFactory* factory) {
  ArcStream file, member;
  ArcTkSession session;
  int32_t status = ArcTkOpenFile(path, BRIX_FILE_READ, &file);
  if (status != BRIX_OK) {
    fprintf(stderr, "%s: cannot be opened\n", path);
    return 1;
  }
  status = ArcTkOpenArchive(&file, factory, &session);
  if (status == BRIX_OK) {
    ArcTkSetMaxExtractSize(session, 16 * 1024 * 1024);
    ArcTkSetMaxCompressRatio(session, 1000); /* a session's own default is 100 */
    while ((status = ArcTkExtractNextMember(session, 1, &member)) != BRIX_NO_MORE_MEMBERS) {
      Print(session, status, &member);
    }
    ArcTkCloseArchive(&session);
  } else {
    fprintf(stderr, "%s: not an archive\n", path);
  }
  file.close(file.context); /* whoever opened it closes it */
  return status == BRIX_NO_MORE_MEMBERS ? 0 : 1;
}

int main(int argc, char** argv) {
  ArcStreamFactory factory;
  int result;
  if (argc != 2 && argc != 3) {
    fprintf(stderr, "usage: session_host <archive> [<folder>]\n");
    return 2;
  }
  if ((argc == 2 ? ArcTkOpenTempMemStreamFactory(&factory)
                 : ArcTkOpenTempFileStreamFactory(argv[2], &factory)) != BRIX_OK) {
    return 1;
  }
  result = Walk(argv[1], &factory);
  ArcTkCloseStreamFactory(&factory);
  return result;
}

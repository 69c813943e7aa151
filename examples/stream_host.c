/* SPDX-FileCopyrightText: brixcore developers
 * SPDX-License-Identifier: Apache-2.0 */

/* stream_host.c - hands the library a stream of its own: a file that is read through C's stdio.
 *
 *   stream_host archive.zip
 */
#include <brixcore/brixcore.h>
#include <stdio.h>

static int32_t Close(void* context) { return fclose(context) == 0 ? 0 : -1; }

/* Fewer bytes than asked for, with 0, tell that the end was reached. */
static int32_t Read(void* context, uint32_t offset, void* buffer, uint32_t length, uint32_t* got) {
  if (offset > 0x7FFFFFFF || fseek(context, (long)offset, SEEK_SET) != 0) return -1;
  *got = (uint32_t)fread(buffer, 1, length, context);
  return ferror((FILE*)context) ? -1 : 0;
}

/* An archive is only read. */
static int32_t Write(void* context, uint32_t offset, const void* buffer, uint32_t length) {
  (void)context, (void)offset, (void)buffer, (void)length;
  return -1;
}

static int32_t GetSize(void* context, uint32_t* size) {
  long end;
  if (fseek(context, 0, SEEK_END) != 0) return -1;
  end = ftell(context);
  if (end < 0 || end > 0x7FFFFFFF) return -1;
  *size = (uint32_t)end;
  return 0;
}

int main(int argc, char** argv) {
  ArcStream stream;
  ArcTk2Toolkit toolkit;
  ArcTk2Archive archive;
  char name[512];
  uint32_t depth;
  int32_t status;
  if (argc != 2) {
    fprintf(stderr, "usage: stream_host <archive>\n");
    return 2;
  }
  ArcInitStream(&stream); /* what is not set below answers that it cannot */
  stream.close = Close;
  stream.read = Read;
  stream.write = Write;
  stream.get_size = GetSize;
  stream.context = fopen(argv[1], "rb");
  if (stream.context == NULL) {
    fprintf(stderr, "%s: cannot be opened\n", argv[1]);
    return 1;
  }
  if (ArcTk2_Init(&toolkit) != BRIX_OK) {
    stream.close(stream.context);
    return 1;
  }
  status = ArcTk2_OpenArchiveStream(&toolkit, &stream, &archive);
  if (status == BRIX_OK) {
    do {
      status = ArcTk2_GetNextFile(&archive, name, sizeof name);
      if (status == BRIX_OK) {
        void* data; /* null, or to be freed */
        uint32_t size;
        const int whole = ArcTk2_ExtractToMemory(&archive, &data, &size) == BRIX_OK;
        ArcTk2_GetDepth(&archive, &depth);
        printf("%u %s %u %s\n", (unsigned)depth, name, (unsigned)size, whole ? "" : "(not whole)");
        ArcTk2_FreeMemory(data);
      } else if (status != BRIX_NO_MORE_MEMBERS && status != BRIX_FAILED) {
        printf("a nested archive is not whole\n"); /* the walk goes on after it */
      }
    } while (status != BRIX_NO_MORE_MEMBERS && status != BRIX_FAILED);
    ArcTk2_CloseArchive(&archive);
  }
  ArcTk2_Close(&toolkit);
  stream.close(stream.context); /* the library never does */
  if (status == BRIX_NO_MORE_MEMBERS) return 0;
  fprintf(stderr, "%s: not an archive, or damaged (%d)\n", argv[1], (int)status);
  return 1;
}

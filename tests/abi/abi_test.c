/* SPDX-FileCopyrightText: brixcore developers
 * SPDX-License-Identifier: Apache-2.0 */

/* abi_test.c - the library as a host in C99 sees it. Layouts are checked when this compiles, the calls when
 * it runs. */
#include <brixcore/brixcore.h>
#include <stddef.h>
#include <stdio.h>
#include <string.h>

#define CHECK_LAYOUT(name, condition) typedef char name[(condition) ? 1 : -1]

#define IS_WORD(index, field) (offsetof(ArcStream, field) == (index) * sizeof(void*))
CHECK_LAYOUT(seven_words_in_order, IS_WORD(0, context) && IS_WORD(1, close) && IS_WORD(2, read) &&
                                       IS_WORD(3, write) && IS_WORD(4, get_size) && IS_WORD(5, set_size) &&
                                       IS_WORD(6, get_file_name) && sizeof(ArcStream) == 7 * sizeof(void*));
CHECK_LAYOUT(factory_is_three_words, sizeof(ArcStreamFactory) == 3 * sizeof(void*) &&
                                         offsetof(ArcStreamFactory, create) == 1 * sizeof(void*) &&
                                         offsetof(ArcStreamFactory, destroy) == 2 * sizeof(void*));
CHECK_LAYOUT(property, sizeof(ArcMemberProp) == 48 && offsetof(ArcMemberProp, buffer) == 32 &&
                           offsetof(ArcMemberProp, size) == 40 && offsetof(ArcMemberProp, result_size) == 44);
CHECK_LAYOUT(type_info, offsetof(BrixTypeInfo, valid) == 0 && offsetof(BrixTypeInfo, name) == 4 &&
                            offsetof(BrixTypeInfo, extensions) == 54 && sizeof(BrixTypeInfo) == 56);
CHECK_LAYOUT(statuses, BRIX_OK == 0 && BRIX_FAILED == -1 && BRIX_BAD_ARGUMENT == -2 &&
                           BRIX_OUT_OF_MEMORY == -3 && BRIX_NOT_AN_ARCHIVE == -4 &&
                           BRIX_NO_MORE_MEMBERS == -5 && BRIX_NO_CURRENT == -6 &&
                           BRIX_BUFFER_TOO_SMALL == -7 && BRIX_NO_PROPERTY == -8 && BRIX_NO_OUTPUT == -9 &&
                           BRIX_NESTING_LIMIT == -10 && BRIX_RATIO_LIMIT == -11 && BRIX_SIZE_LIMIT == -12 &&
                           BRIX_PART_FAILED == -14);

/* "SZDD", version, length 5, five literals. */
static const unsigned char kFile[] = {'S', 'Z', 'D', 'D', 0x88, 0xF0, 0x27, 0x33, 'A', 0,
                                      5,   0,   0,   0,   0xFF, 'h',  'e',  'l',  'l', 'o'};

static int32_t Close(void* context) { return (void)context, 0; }

static int32_t Read(void* context, uint32_t offset, void* buffer, uint32_t length, uint32_t* got) {
  (void)context;
  *got = 0;
  if (offset < sizeof kFile) {
    const uint32_t rest = (uint32_t)sizeof kFile - offset;
    *got = length < rest ? length : rest;
    memcpy(buffer, kFile + offset, *got);
  }
  return 0;
}

static int32_t Write(void* context, uint32_t offset, const void* buffer, uint32_t length) {
  return (void)context, (void)offset, (void)buffer, (void)length, -1;
}

static int32_t GetSize(void* context, uint32_t* size) { return (void)context, *size = sizeof kFile, 0; }

static int faults = 0;

static void Expect(int condition, const char* what) {
  if (!condition) fprintf(stderr, "failed %d: %s\n", ++faults, what);
}

int main(void) {
  const ArcStream stream = {NULL, Close, Read, Write, GetSize, NULL, NULL};
  ArcTk2Toolkit toolkit;
  ArcTk2Archive archive;
  char name[512];
  void* data = NULL;
  uint32_t size = 0;
  Expect(ArcTk2_Init(&toolkit) == BRIX_OK, "init");
  Expect(ArcTk2_OpenArchiveStream(&toolkit, &stream, &archive) == BRIX_OK, "open");
  Expect(ArcTk2_GetNextFile(&archive, name, sizeof name) == BRIX_OK && strcmp(name, "unknown") == 0, "name");
  Expect(ArcTk2_ExtractToMemory(&archive, &data, &size) == BRIX_OK, "extract");
  Expect(size == 5 && data != NULL && memcmp(data, "hello", 5) == 0, "content");
  ArcTk2_FreeMemory(data);
  Expect(ArcTk2_GetNextFile(&archive, name, sizeof name) == BRIX_NO_MORE_MEMBERS, "end");
  Expect(ArcTk2_CloseArchive(&archive) == BRIX_FAILED && archive == NULL, "close behind the end");
  Expect(ArcTk2_Close(&toolkit) == BRIX_OK && toolkit == NULL, "close");
  return faults;
}

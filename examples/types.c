/* SPDX-FileCopyrightText: brixcore developers
 * SPDX-License-Identifier: Apache-2.0 */

/* types.c - lists the archive types that the library knows: number, extensions, name. With a file, tells its type.
 *
 *   types [file]
 */
#include <brixcore/catalogue.h>
#include <stdio.h>

static int Tell(const char* path) {
  uint32_t type;
  char name[50];
  if (GetArcFileType(path, &type) != 0) {
    fprintf(stderr, "%s: cannot be opened\n", path);
    return 1;
  }
  printf("%s: %s\n", path, GetTypeDescription(type, 0, name, sizeof name) == 0 ? name : "not an archive");
  return 0;
}

int main(int argc, char** argv) {
  uint32_t types[BRIX_CATALOGUE_TYPES];
  uint32_t size = sizeof types;
  uint32_t i;
  if (argc > 1) return Tell(argv[1]);
  if (GetArcList(types, 0, &size) != 1) return 1;
  for (i = 0; i < size / sizeof types[0]; ++i) {
    char name[50];
    char extensions[64];
    uint32_t extensions_size = sizeof extensions;
    if (GetTypeDescription(types[i], 0, name, sizeof name) != 0) return 1;
    if (GetTypeExtension(types[i], extensions, &extensions_size) <= 0) return 1;
    printf("%2u %-44s %s\n", (unsigned)types[i], extensions, name);
  }
  return 0;
}

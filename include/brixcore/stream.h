/* SPDX-FileCopyrightText: brixcore developers
 * SPDX-License-Identifier: Apache-2.0 */

/* stream.h - the records that cross the border: streams, factories of streams, and properties of members.
 *
 * A stream has no current position: every call names the offset it works at. Offsets and sizes are bytes,
 * unsigned 32-bit; a stream of 4 GiB or more cannot be presented.
 */
#ifndef BRIXCORE_STREAM_H_
#define BRIXCORE_STREAM_H_

#include <stdint.h>

/* Seven machine words. Each operation takes `context` first and returns 0 on success, -1 on failure (and -2
 * for a null argument); the library takes anything but 0 for a failure. The host fills the record, keeps it
 * alive while brixcore holds it, and is called back only on the thread that made the library call, never
 * after the archive over it was closed.
 *
 * What an operation of a C++ host throws goes no further than the library call, which then gives BRIX_OUT_OF_MEMORY for
 * std::bad_alloc and BRIX_FAILED for anything else. On Windows, where the library has a C++ run time of its own, the
 * host's does not learn that the exception has ended and goes on counting it (std::uncaught_exceptions): there, better
 * catch it in the operation.
 */
typedef struct ArcStream {
  void* context; /* opaque to the library; handed to every operation */

  /* Releases the stream and its context; called once. Whoever opened a stream closes it: the library requires
   * this to be present in a host's stream but never calls it, except for streams that it took from the host's
   * factory. */
  int32_t (*close)(void* context);

  /* Copies up to `length` bytes that start at `offset` into `buffer` and writes the count to `*got`.
   * Fewer than `length` bytes with a result of 0 means that the end was reached. */
  int32_t (*read)(void* context, uint32_t offset, void* buffer, uint32_t length, uint32_t* got);

  /* Stores all of `length` bytes at `offset`, growing the stream where needed. Called with rising offsets
   * when a member is extracted into the stream; may return -1 on a stream that is only read. */
  int32_t (*write)(void* context, uint32_t offset, const void* buffer, uint32_t length);

  /* Writes the current length in bytes to `*size`. */
  int32_t (*get_size)(void* context, uint32_t* size);

  /* Truncates or extends to `size` bytes. Optional: the library takes null for a refusal. */
  int32_t (*set_size)(void* context, uint32_t size, uint32_t reserved);

  /* Copies the path of the file behind the stream: at most 511 bytes and a terminator. `reserved` is 0. Only
   * streams over temporary files have one. Optional: the library takes null for a refusal. */
  int32_t (*get_file_name)(void* context, char* buffer, uint32_t reserved);
} ArcStream;

/* Three machine words: makes the streams that a session extracts into. */
typedef struct ArcStreamFactory {
  void* context; /* opaque to the library; handed to both operations */

  /* Fills `*stream` with a new, empty stream to be written and read: close, read, write and get_size must be
   * present. Returns 0; anything else is a failure, and `*stream` is then not looked at. */
  int32_t (*create)(void* context, ArcStream* stream);

  /* Releases the factory's context. The streams that it made live on. */
  int32_t (*destroy)(void* context);
} ArcStreamFactory;

/* One property of a member, asked for by name or by index. */
typedef struct ArcMemberProp {
  char name[32];        /* at most 31 bytes and a terminator */
  void* buffer;         /* where the value goes; null asks for the size only */
  uint32_t size;        /* bytes at `buffer` */
  uint32_t result_size; /* written back: bytes stored, or bytes needed */
} ArcMemberProp;

#endif /* BRIXCORE_STREAM_H_ */

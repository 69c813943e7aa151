/* stream.h - the record through which a host hands brixcore a stream of its own.
 *
 * A stream has no current position: every call names the offset it works at. Offsets and sizes are bytes,
 * unsigned 32-bit; a stream of 4 GiB or more cannot be presented.
 */
#ifndef BRIXCORE_STREAM_H_
#define BRIXCORE_STREAM_H_

#include <stdint.h>

/* Seven machine words. Each operation takes `context` first and returns 0 on success, -1 on failure (and -2
 * for a null argument); the library takes anything but 0 for a failure. The host fills the record, keeps it
 * alive while brixcore holds it, and is called back only on the thread that made the library call, never after
 * the archive over it was closed.
 */
typedef struct ArcStream {
  void* context; /* opaque to the library; handed to every operation */

  /* Releases the stream and its context. ArcTk2_ functions require it to be present but never call it: the
   * host opened the stream and closes it. */
  int32_t (*close)(void* context);

  /* Copies up to `length` bytes that start at `offset` into `buffer` and writes the count to `*got`.
   * Fewer than `length` bytes with a result of 0 means that the end was reached. */
  int32_t (*read)(void* context, uint32_t offset, void* buffer, uint32_t length, uint32_t* got);

  /* Stores all of `length` bytes at `offset`, growing the stream where needed. Called with rising offsets
   * when a member is extracted into the stream; may return -1 on a stream that is only read. */
  int32_t (*write)(void* context, uint32_t offset, const void* buffer, uint32_t length);

  /* Writes the current length in bytes to `*size`. */
  int32_t (*get_size)(void* context, uint32_t* size);

  /* Truncates or extends to `size` bytes. Optional: may be null for ArcTk2_ functions. */
  int32_t (*set_size)(void* context, uint32_t size, uint32_t reserved);

  /* Copies the stream's file name. Optional: may be null for ArcTk2_ functions. */
  int32_t (*get_file_name)(void* context, char* buffer, uint32_t reserved);
} ArcStream;

#endif /* BRIXCORE_STREAM_H_ */

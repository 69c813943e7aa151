/* SPDX-FileCopyrightText: brixcore developers
 * SPDX-License-Identifier: Apache-2.0 */

/* archive.h - the Arc family: walk one archive that lies in a host's stream.
 *
 * The host hands in a stream (ArcStream), steps through the members and extracts those it wants into streams of
 * its own. Nothing is descended into and no limit is applied: what is nested is opened by another handle, for
 * instance with ArcInterrupt, and a target that refuses to grow is what bounds an extraction. Sessions
 * (session.h) do both by themselves.
 *
 *   ArcArchive archive;
 *   int32_t status = ArcOpenArchive(&stream, &archive);
 *   if (status == BRIX_OK) {
 *     while ((status = ArcNextMember(archive)) == BRIX_OK) {
 *       char name[512];
 *       uint32_t size = sizeof name;
 *       if (ArcGetMemberName(archive, name, &size) == BRIX_OK && Wanted(name)) {
 *         ArcStream target = LimitedTarget();  // the host's: new, and it refuses to grow beyond its limit
 *         if (ArcExtractMember(archive, &target) != BRIX_OK) Missed(name);
 *         Scan(&target);
 *         target.close(target.context);
 *       }
 *     }
 *     ArcCloseArchive(archive);
 *   }
 *   if (status != BRIX_NO_MORE_MEMBERS) Missed("the archive, or the rest of it");
 *
 * Handles are passed by value, except where the host's variable changes. A null argument gives
 * BRIX_BAD_ARGUMENT unless the function says otherwise. A stream record must have its close, read, write and
 * get_size operations, else it counts as a null argument; it stays alive, and the host's, until the archive over
 * it is closed, and is never closed by the library. brixcore.h says what names may hold.
 *
 * Threads: an archive and the streams under it are used by one thread at a time; different archives may be used
 * by different threads at once.
 */
#ifndef BRIXCORE_ARCHIVE_H_
#define BRIXCORE_ARCHIVE_H_

#include <stdint.h>

#include "brixcore/export.h"
#include "brixcore/status.h"
#include "brixcore/stream.h"

typedef struct ArcArchiveRecord* ArcArchive;

/* --- Open, walk, close -----------------------------------------------------------------------------------
 */

/* Bits of the open flags. The others are ignored. */
enum {
  BRIX_OPEN_GATEWAY = 1 /* the host runs as a gateway: detection is told */
};

/* Opens the archive in `stream`, which is recognised by its content. Its directory is not read yet: damage shows
 * at the first ArcNextMember.
 *
 * archive  out  the new handle; null after a failure. Freed by ArcCloseArchive.
 *
 * Returns BRIX_OK; BRIX_BAD_ARGUMENT; BRIX_OUT_OF_MEMORY; BRIX_NOT_AN_ARCHIVE, also when the stream cannot be
 * read. */
BRIX_API int32_t ArcOpenArchive(const ArcStream* stream, ArcArchive* archive);

/* ArcOpenArchive with flags (BRIX_OPEN_GATEWAY). */
BRIX_API int32_t ArcOpenArchiveEx(const ArcStream* stream, ArcArchive* archive, uint32_t flags);

/* Opens the archive in `stream` for change; the changed archive goes to `output` through a buffer of 4,096
 * bytes, which ArcCloseArchive empties. No container type can be changed yet, so `output` is not written to.
 *
 * Returns as ArcOpenArchiveEx; BRIX_BAD_ARGUMENT also for a null output. */
BRIX_API int32_t ArcOpenModifyArchive(const ArcStream* stream, const ArcStream* output, ArcArchive* archive,
                                      uint32_t flags);

/* Frees the handle, and with it all that it interrupted. An archive opened for change is written out first.
 *
 * Returns BRIX_OK; BRIX_FAILED when the changed archive could not be written, the handle being freed all the
 * same; BRIX_BAD_ARGUMENT. */
BRIX_API int32_t ArcCloseArchive(ArcArchive archive);

/* Moves to the next member, at first to the first one.
 *
 * Returns BRIX_OK; BRIX_NO_MORE_MEMBERS at the end, now and in every later call; BRIX_FAILED when the directory
 * is damaged or cannot be read: the walk ends there, and later calls give BRIX_NO_MORE_MEMBERS;
 * BRIX_OUT_OF_MEMORY, with the same effect; BRIX_BAD_ARGUMENT. */
BRIX_API int32_t ArcNextMember(ArcArchive archive);

/* Copies the current member's name.
 *
 * name  out     zero-terminated, at most 512 bytes in all.
 * size  in/out  in: bytes at `name`. out: bytes needed or used, terminator included.
 *
 * Returns BRIX_OK; BRIX_BUFFER_TOO_SMALL, with nothing copied; BRIX_NO_CURRENT before the first member and behind
 * the last; BRIX_BAD_ARGUMENT, also for a null name of sufficient size. */
BRIX_API int32_t ArcGetMemberName(ArcArchive archive, char* name, uint32_t* size);

/* Writes the current member into `output` from offset 0, in order and through a buffer of 4,096 bytes, without a
 * limit on its size. After a failure what was written stays. Not every format can do it twice for one member.
 *
 * Returns BRIX_OK; BRIX_FAILED when the member is damaged, encrypted, of an unsupported method, or `output`
 * refuses; BRIX_NO_CURRENT; BRIX_OUT_OF_MEMORY; BRIX_BAD_ARGUMENT. */
BRIX_API int32_t ArcExtractMember(ArcArchive archive, const ArcStream* output);

/* --- Properties of the current member --------------------------------------------------------------------
 *
 * By name:
 *   "filename"      the name and its terminator
 *   "filelength"    uint32_t in the machine's byte order: bytes, as the archive states them
 *   "filetype"      a word and its terminator; needs a buffer of 12 bytes, for mail of 15
 *   "fileencoding"  one byte; the buffer's size must be exactly 1, else BRIX_BAD_ARGUMENT. Of cabinets: 1, the name is
 *                   in the ANSI code page of the machine that wrote it; 3, it is in UTF-8. Of RAR: 2, a member of a
 *                   solid archive. 0: nothing of the kind is known, as in all other types. 4 is used by none so far
 *   other names     what the container type knows, such as the header fields of mail
 *
 * Return BRIX_OK; BRIX_BUFFER_TOO_SMALL when there is no buffer or the size needed is more than the buffer's;
 * BRIX_NO_PROPERTY when the buffer would do but the member has no such property; BRIX_NO_CURRENT;
 * BRIX_BAD_ARGUMENT. The size written back is the buffer's own as long as nothing better is known.
 */

/* By the name in the record, whose result_size is written. The record is read afresh in every call. */
BRIX_API int32_t ArcGetNamedMemberProp(ArcArchive archive, ArcMemberProp* record);

/* The same without a record.
 *
 * name  in      at most 31 bytes, else BRIX_BAD_ARGUMENT.
 * size  in/out  in: bytes at `buffer`. out: bytes stored or needed. */
BRIX_API int32_t ArcGetMemberProp(ArcArchive archive, const char* name, void* buffer, uint32_t* size);

/* By number, from 0: container types that know an open-ended list of properties also write the name. */
BRIX_API int32_t ArcGetIndexedMemberProp(ArcArchive archive, uint32_t index, ArcMemberProp* record);

/* --- Interrupt and resume --------------------------------------------------------------------------------
 */

/* Suspends the archive in the host's variable and opens the one in `stream`, whose handle takes its place. The
 * suspended handle is not to be used until it is back.
 *
 * archive     in/out  the handle; unchanged after a failure.
 * stream      in      kept alive until the new archive is closed.
 * user_value  in      any value, handed back by ArcResume.
 *
 * Returns as ArcOpenArchive. */
BRIX_API int32_t ArcInterrupt(ArcArchive* archive, ArcStream* stream, void* user_value);

/* Undoes the latest ArcInterrupt: closes the archive in the host's variable and puts the suspended one back.
 *
 * stream      out  the stream given to ArcInterrupt, for the host to close.
 * user_value  out  the value given with it; may be null.
 *
 * Returns BRIX_OK; BRIX_NO_CURRENT when the handle interrupted nothing, with nothing changed;
 * BRIX_BAD_ARGUMENT. */
BRIX_API int32_t ArcResume(ArcArchive* archive, ArcStream** stream, void** user_value);

/* --- Change ----------------------------------------------------------------------------------------------
 *
 * No container type can be changed or written yet: each of these returns BRIX_FAILED and changes nothing.
 */

/* Drops the current member from the changed archive. BRIX_BAD_ARGUMENT for a null handle. */
BRIX_API int32_t ArcDeleteMember(ArcArchive archive);

/* Adds a member with the content of `data` and `count` properties. BRIX_BAD_ARGUMENT for a null handle or
 * stream, and for null properties unless their count is 0. */
BRIX_API int32_t ArcAddMember(ArcArchive archive, const ArcStream* data, const ArcMemberProp* props,
                              uint32_t count);

/* Accept any arguments. */
BRIX_API int32_t ArcSetMemberProp(ArcArchive archive, const ArcMemberProp* record);
BRIX_API int32_t ArcCreateMember(ArcArchive archive, const ArcMemberProp* props, uint32_t count);

/* --- Version and records ---------------------------------------------------------------------------------
 */

/* Writes the version of this interface, four numbers: 8, 2, 4, 0. Any thread.
 *
 * Returns BRIX_OK; BRIX_BAD_ARGUMENT. */
BRIX_API int32_t ArcVersion(uint32_t version[4]);

/* Fills a record with a null context and six operations that return -1, for a host that then sets its own. Any
 * thread.
 *
 * Returns BRIX_OK; BRIX_BAD_ARGUMENT. */
BRIX_API int32_t ArcInitStream(ArcStream* stream);

#endif /* BRIXCORE_ARCHIVE_H_ */

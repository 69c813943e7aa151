/* SPDX-FileCopyrightText: brixcore developers
 * SPDX-License-Identifier: Apache-2.0 */

/* session.h - the ArcTk family: walk an archive and everything nested inside it, each member extracted into a
 * stream that a factory of the host's makes; and ready-made streams and factories.
 *
 * One loop sees the whole tree. Each call extracts the next member; when `descend` is set, the member extracted
 * last is first tried as an archive, and when it is one its members come next.
 *
 *   ArcStream file, member;
 *   ArcStreamFactory factory;
 *   ArcTkSession session;
 *   int32_t status;
 *   if (ArcTkOpenTempMemStreamFactory(&factory) != BRIX_OK) return 1;
 *   status = ArcTkOpenFile("mail.zip", BRIX_FILE_READ, &file);
 *   if (status == BRIX_OK) {
 *     status = ArcTkOpenArchive(&file, &factory, &session);
 *     if (status == BRIX_OK) {
 *       while ((status = ArcTkExtractNextMember(session, 1, &member)) != BRIX_NO_MORE_MEMBERS) {
 *         if (status == BRIX_OK || status == BRIX_SIZE_LIMIT) Scan(&member);
 *         if (status != BRIX_OK) Missed("a member, its end, or the rest of a container");
 *       }
 *       ArcTkCloseArchive(&session);
 *     }
 *     file.close(file.context);
 *   }
 *   ArcTkCloseStreamFactory(&factory);
 *   if (status != BRIX_NO_MORE_MEMBERS) Missed("the archive");
 *
 * Sessions are passed by value, except to ArcTkCloseArchive. A null argument gives BRIX_BAD_ARGUMENT unless the
 * function says otherwise. brixcore.h says what names and paths may hold.
 *
 * Threads: a session, an archive and a stream are each used by one thread at a time; separate sessions are
 * independent, also when they share a ready-made factory.
 */
#ifndef BRIXCORE_SESSION_H_
#define BRIXCORE_SESSION_H_

#include <stddef.h>
#include <stdint.h>

#include "brixcore/export.h"
#include "brixcore/status.h"
#include "brixcore/stream.h"

typedef struct ArcTkSessionRecord* ArcTkSession;

/* --- Open and close --------------------------------------------------------------------------------------
 */

/* Opens a session with the defaults: extract size 52,428,800 bytes, ratio 100, nesting level 10.
 *
 * stream   in   the outermost archive. Its close, read, write and get_size must be present, else it counts as
 *               null. Kept alive by the host until the session is closed, and closed by the host.
 * factory  in   makes a stream for each member; its create must be present. Kept alive like the stream.
 * session  out  the new session; null after a failure. Freed by ArcTkCloseArchive.
 *
 * Returns BRIX_OK; BRIX_BAD_ARGUMENT; BRIX_OUT_OF_MEMORY; BRIX_FAILED when the outermost archive cannot be
 * opened, for whatever other reason: never BRIX_NOT_AN_ARCHIVE. */
BRIX_API int32_t ArcTkOpenArchive(const ArcStream* stream, const ArcStreamFactory* factory,
                                  ArcTkSession* session);

/* The same for change, with an output as ArcOpenModifyArchive (archive.h) takes; null opens for reading. Nested
 * archives are then opened for change, too, with outputs from the factory. */
BRIX_API int32_t ArcTkOpenModifyArchive(const ArcStream* stream, const ArcStream* output,
                                        const ArcStreamFactory* factory, ArcTkSession* session);

/* Frees the session with all levels, member streams and outputs, and sets the host's variable to null.
 *
 * Returns BRIX_OK; BRIX_BAD_ARGUMENT. */
BRIX_API int32_t ArcTkCloseArchive(ArcTkSession* session);

/* --- Settings --------------------------------------------------------------------------------------------
 *
 * They hold from the next member on and check nothing but the handle: BRIX_OK, or BRIX_BAD_ARGUMENT for null.
 */

/* Levels; the outermost archive is level 1. */
BRIX_API int32_t ArcTkSetMaxNestedLevel(ArcTkSession session, uint32_t levels);

/* Bytes out for each byte of the smallest container on the way to a member. */
BRIX_API int32_t ArcTkSetMaxCompressRatio(ArcTkSession session, uint32_t ratio);

/* Bytes that one member may yield. Both set the same limit and the later call wins; the second takes MiB, whose
 * bytes wrap at 32 bits, and keeps 0xFFFFFFFF, no limit, as it is. */
BRIX_API int32_t ArcTkSetMaxExtractSize(ArcTkSession session, uint32_t bytes);
BRIX_API int32_t ArcTkSetMaxCompressSize(ArcTkSession session, uint32_t mebibytes);

/* --- Walk ------------------------------------------------------------------------------------------------
 */

/* Moves to the next member in depth-first order and extracts it into a new stream of the factory's.
 *
 * descend  in   non-zero: try first the member extracted last as an archive. One that was cut, or that lies at
 *               the maximum nesting level, is not tried; one that is none is passed over.
 * stream   out  a view of the member for reading: its close, write and set_size refuse, because the session
 *               owns the stream. Valid until the next call on this session that extracts or closes. Unchanged
 *               unless the result is BRIX_OK or BRIX_SIZE_LIMIT.
 *
 * Returns BRIX_OK; BRIX_SIZE_LIMIT: the member was cut at the maximum extract size, what came is valid;
 * BRIX_NESTING_LIMIT: all that was extracted on the way down to this member, counted from the smallest
 * container, reaches the maximum ratio times that container's size. The member is not handed over, but the next
 * call may descend into it;
 * BRIX_NO_MORE_MEMBERS at the end of the session, now and in every later call;
 * BRIX_FAILED: this member could not be extracted, or the archive's directory is damaged. The next call goes on
 * with the next member, or with the archive around the damaged one;
 * BRIX_NO_OUTPUT: the factory failed; the member is passed over;
 * BRIX_OUT_OF_MEMORY: also when there is no memory to look whether the member extracted last is an archive, and when the
 * factory made no output for a nested archive that is to be opened for change. That one is not entered, and the next call
 * goes on with the next member;
 * BRIX_BAD_ARGUMENT. */
BRIX_API int32_t ArcTkExtractNextMember(ArcTkSession session, uint32_t descend, ArcStream* stream);

/* How many levels are open: 1 in the outermost archive, 0 behind the last member and for a null session. */
BRIX_API uint32_t ArcTkGetDepth(ArcTkSession session);

/* ArcGetNamedMemberProp and ArcGetIndexedMemberProp (archive.h) for the member extracted last. BRIX_FAILED when
 * the session has ended. */
BRIX_API int32_t ArcTkGetNamedMemberProp(ArcTkSession session, ArcMemberProp* record);
BRIX_API int32_t ArcTkGetIndexedMemberProp(ArcTkSession session, uint32_t index, ArcMemberProp* record);

/* ArcDeleteMember and ArcAddMember (archive.h) on the archive being walked; replacing is the one and then, unless
 * it failed, the other. BRIX_FAILED also when the session has ended. */
BRIX_API int32_t ArcTkDeleteMember(ArcTkSession session);
BRIX_API int32_t ArcTkAddMember(ArcTkSession session, const ArcStream* data, const ArcMemberProp* props,
                                uint32_t count);
BRIX_API int32_t ArcTkReplaceMember(ArcTkSession session, const ArcStream* data, const ArcMemberProp* props,
                                    uint32_t count);

/* --- Ready-made streams ----------------------------------------------------------------------------------
 *
 * Each fills the caller's record, and leaves it unchanged on a failure. The stream is the host's, who calls its
 * close once, which releases everything. The operations return 0, -1 when the stream cannot do it, and -2 for
 * null arguments.
 */

enum {
  BRIX_FILE_READ = 0,       /* an existing file, for reading */
  BRIX_FILE_READ_WRITE = 1, /* an existing file, for both */
  BRIX_FILE_CREATE = 2      /* for both; made, or emptied when it exists */
};

/* A file. Only regular files; a symbolic link leads to its file. The get_size of one of 4 GiB or more fails.
 *
 * path  in  as brixcore.h says; for ArcTkOpenFileW UTF-16 on Windows and UTF-32, handed on as UTF-8, elsewhere.
 *
 * Returns BRIX_OK; BRIX_BAD_ARGUMENT, also for another mode; BRIX_FAILED when it cannot be opened and also when
 * memory is exhausted. */
BRIX_API int32_t ArcTkOpenFile(const char* path, uint32_t mode, ArcStream* stream);
BRIX_API int32_t ArcTkOpenFileW(const wchar_t* path, uint32_t mode, ArcStream* stream);

/* A block of memory of the caller's, for reading: its write and set_size refuse. It is neither copied nor freed.
 *
 * Returns BRIX_OK; BRIX_BAD_ARGUMENT; BRIX_OUT_OF_MEMORY. */
BRIX_API int32_t ArcTkOpenFixedMemStream(ArcStream* stream, const void* buffer, uint32_t size);

/* Memory that grows.
 *
 * Returns BRIX_OK; BRIX_BAD_ARGUMENT; BRIX_FAILED when memory is exhausted. */
BRIX_API int32_t ArcTkOpenTempMemStream(ArcStream* stream);

/* A new file "<directory>/arc<number>.tmp", whose path get_file_name tells and which close deletes.
 *
 * Returns BRIX_OK; BRIX_BAD_ARGUMENT; BRIX_FAILED when no file can be made there; BRIX_OUT_OF_MEMORY. */
BRIX_API int32_t ArcTkOpenTempFile(const char* directory, ArcStream* stream);

/* Fills a record with a null context and six operations that return -1. As ArcInitStream. */
BRIX_API int32_t ArcTkInitStream(ArcStream* stream);

/* --- Stream factories ------------------------------------------------------------------------------------
 */

/* Makes streams as ArcTkOpenTempMemStream does. Needs no closing, though it may be closed.
 *
 * Returns BRIX_OK; BRIX_FAILED, not BRIX_BAD_ARGUMENT, for null. */
BRIX_API int32_t ArcTkOpenTempMemStreamFactory(ArcStreamFactory* factory);

/* Makes streams as ArcTkOpenTempFile does, in `directory`, of which it keeps a copy until it is closed.
 *
 * Returns BRIX_OK; BRIX_BAD_ARGUMENT; BRIX_OUT_OF_MEMORY. */
BRIX_API int32_t ArcTkOpenTempFileStreamFactory(const char* directory, ArcStreamFactory* factory);

/* Fills a record with a null context and operations that return -1, for a host that then sets its own.
 *
 * Returns BRIX_OK; BRIX_BAD_ARGUMENT. */
BRIX_API int32_t ArcTkInitStreamFactory(ArcStreamFactory* factory);

/* Calls the factory's destroy, once for each factory, and returns what that returns. BRIX_BAD_ARGUMENT for null
 * and for a factory without destroy. */
BRIX_API int32_t ArcTkCloseStreamFactory(const ArcStreamFactory* factory);

#endif /* BRIXCORE_SESSION_H_ */

/* SPDX-FileCopyrightText: brixcore developers
 * SPDX-License-Identifier: Apache-2.0 */

/* toolkit.h - the ArcTk2_ family: walk an archive and everything nested inside it.
 *
 * A toolkit holds settings; each archive opened under it copies them. One loop sees the whole tree: after a
 * member was extracted to memory, to a file or to a temporary file, the next ArcTk2_GetNextFile descends into
 * it when it is itself a container, and comes back up when that is exhausted.
 *
 *   ArcTk2Toolkit toolkit;
 *   ArcTk2Archive archive;
 *   char name[512];
 *   int32_t status;
 *   if (ArcTk2_Init(&toolkit) != BRIX_OK) return 1;
 *   status = ArcTk2_OpenArchive(&toolkit, "mail.zip", &archive);
 *   if (status == BRIX_OK) {
 *     do {
 *       void* data = NULL;
 *       uint32_t size = 0;
 *       status = ArcTk2_GetNextFile(&archive, name, sizeof name);
 *       if (status == BRIX_OK && ArcTk2_ExtractToMemory(&archive, &data, &size) != BRIX_OK) Missed(name);
 *       if (data != NULL) Scan(name, data, size);  // also what came of a member that was cut
 *       ArcTk2_FreeMemory(data);
 *       if (status == BRIX_PART_FAILED || status == BRIX_OUT_OF_MEMORY) Missed("the rest of a container");
 *     } while (status != BRIX_NO_MORE_MEMBERS && status != BRIX_FAILED);
 *     ArcTk2_CloseArchive(&archive);
 *   }
 *   ArcTk2_Close(&toolkit);
 *   if (status != BRIX_NO_MORE_MEMBERS) Missed("the archive, or the rest of it");
 *
 * Handles are passed by the address of the host's variable. A null address or a null handle gives
 * BRIX_BAD_ARGUMENT in every function. Texts are zero-terminated bytes; brixcore.h says what names and paths may hold.
 *
 * Threads: a toolkit's settings may be changed by one thread at a time; an archive is used by one thread at a
 * time. Different archives, also of one toolkit, may be used by different threads at once.
 */
#ifndef BRIXCORE_TOOLKIT_H_
#define BRIXCORE_TOOLKIT_H_

#include <stdint.h>

#include "brixcore/export.h"
#include "brixcore/status.h"
#include "brixcore/stream.h"

/* The settings that archives are opened with, from ArcTk2_Init. */
typedef struct ArcTk2ToolkitRecord* ArcTk2Toolkit;

/* An open archive and where the walk through it stands, from ArcTk2_OpenArchive. */
typedef struct ArcTk2ArchiveRecord* ArcTk2Archive;

/* --- Toolkit: settings ------------------------------------------------------------------------------------
 */

/* Makes a toolkit with the defaults: extract size 52,428,800 bytes, ratio 1000, nesting level 10, aggressive
 * mode on, every type enabled, no temporary directory of its own.
 *
 * toolkit  out  the new handle; null after a failure. Freed by ArcTk2_Close.
 *
 * Returns BRIX_OK; BRIX_BAD_ARGUMENT for a null address; BRIX_OUT_OF_MEMORY. */
BRIX_API int32_t ArcTk2_Init(ArcTk2Toolkit* toolkit);

/* Frees the toolkit and sets the host's variable to null. Archives opened under it must have been closed.
 *
 * Returns BRIX_OK; BRIX_BAD_ARGUMENT. */
BRIX_API int32_t ArcTk2_Close(ArcTk2Toolkit* toolkit);

/* Sets the limits of archives opened afterwards.
 *
 * max_extract_size   bytes one member may yield; a longer one is cut there.
 * max_ratio          bytes out for each byte of the smallest container on the way to the member.
 * max_nesting_level  levels; the outermost archive is level 1, and containers nested in it are walked while
 *                    their parent's level + 1 is below this number.
 *
 * Returns BRIX_OK; BRIX_BAD_ARGUMENT. */
BRIX_API int32_t ArcTk2_SetToolkitLimits(ArcTk2Toolkit* toolkit, uint32_t max_extract_size,
                                         uint32_t max_ratio, uint32_t max_nesting_level);

/* Turns aggressive mode on (non-zero) or off. It lets archives whose name ends in ".eml" be recognised as
 * mail by a longer look at their header.
 *
 * Returns BRIX_OK; BRIX_BAD_ARGUMENT. */
BRIX_API int32_t ArcTk2_EnableAggressiveMode(ArcTk2Toolkit* toolkit, uint32_t on);

/* Allows (non-zero) or forbids one container type, for archives opened afterwards. Data of a forbidden type
 * is not an archive, nested or outermost.
 *
 * type  BRIX_TYPE_ARJ (1) to BRIX_TYPE_NSIS (21).
 *
 * Returns BRIX_OK; BRIX_BAD_ARGUMENT, also for a type out of range; BRIX_OUT_OF_MEMORY. */
BRIX_API int32_t ArcTk2_SetTypeEnabled(ArcTk2Toolkit* toolkit, uint32_t type, uint32_t enabled);

/* Reads one flag of the type-enable table back into `*enabled`, as it was set; 1 when it was not.
 *
 * Returns BRIX_OK; BRIX_BAD_ARGUMENT for a null pointer, a type out of range, and as long as no type of this
 * toolkit was ever set. */
BRIX_API int32_t ArcTk2_GetTypeEnabled(ArcTk2Toolkit* toolkit, uint32_t type, uint32_t* enabled);

/* ArcTk2_SetTypeEnabled for types 1 to 21 in turn, stopping at the first failure; returns the last result. */
BRIX_API int32_t ArcTk2_SetAllTypesEnabled(ArcTk2Toolkit* toolkit, uint32_t enabled);

/* Sets the directory for temporary files of archives opened afterwards; a copy is kept. Without it, "." is
 * used. A directory of more than 499 bytes cannot hold temporary files.
 *
 * Returns BRIX_OK; BRIX_BAD_ARGUMENT, also for a null directory; BRIX_OUT_OF_MEMORY. */
BRIX_API int32_t ArcTk2_SetGlobalTempFileDirectory(ArcTk2Toolkit* toolkit, const char* directory);

/* --- Archive: open, walk, close ---------------------------------------------------------------------------
 */

/* Opens a file as the outermost archive.
 *
 * path     in   the file, opened for reading only.
 * archive  out  the new handle; null after a failure. Freed by ArcTk2_CloseArchive.
 *
 * Returns BRIX_OK; BRIX_BAD_ARGUMENT for null arguments and when the file cannot be opened;
 * BRIX_NOT_AN_ARCHIVE; BRIX_NESTING_LIMIT when the maximum nesting level is 0; BRIX_FAILED when the size of
 * the file cannot be told; BRIX_OUT_OF_MEMORY. The directory of the archive is not read yet: damage shows at
 * the first ArcTk2_GetNextFile. */
BRIX_API int32_t ArcTk2_OpenArchive(ArcTk2Toolkit* toolkit, const char* path, ArcTk2Archive* archive);

/* Opens a host stream as the outermost archive. The record and its close, read, write and get_size operations
 * must be present; they must not use this archive in turn. The host keeps the record alive until the archive
 * is closed, and closes the stream itself.
 *
 * Returns as ArcTk2_OpenArchive; BRIX_BAD_ARGUMENT for an incomplete record. */
BRIX_API int32_t ArcTk2_OpenArchiveStream(ArcTk2Toolkit* toolkit, const ArcStream* stream,
                                          ArcTk2Archive* archive);

/* Moves to the next member, in depth-first order, and copies its name. Descends first into the member
 * extracted last, when it is a container and the nesting limit allows. A temporary file of the member left
 * behind is deleted.
 *
 * name       out  at most 511 bytes and a terminator.
 * name_size  in   bytes at `name`.
 *
 * Returns BRIX_OK; BRIX_NO_MORE_MEMBERS at the end of the walk; BRIX_BAD_ARGUMENT for null arguments and when
 * the name does not fit (the walk has moved on); BRIX_FAILED when the outermost archive's directory is
 * damaged, now and in every later call; BRIX_PART_FAILED when a nested container's is, or when the file of
 * the member extracted last is gone: that one is left, and the next call goes on after it;
 * BRIX_OUT_OF_MEMORY: the member extracted last may be a container, and there was no memory to look into it. It is left,
 * and the next call goes on after it. */
BRIX_API int32_t ArcTk2_GetNextFile(ArcTk2Archive* archive, char* name, uint32_t name_size);

/* Replaces the limit on the bytes one member may yield, for this archive.
 *
 * Returns BRIX_FAILED (-1) on success: hosts rely on it. BRIX_BAD_ARGUMENT for a null handle. */
BRIX_API int32_t ArcTk2_SetArchiveLimits(ArcTk2Archive* archive, uint32_t max_extract_size);

/* Replaces this archive's directory for temporary files; a copy is kept.
 *
 * Returns BRIX_OK; BRIX_BAD_ARGUMENT, also for a null directory; BRIX_OUT_OF_MEMORY. */
BRIX_API int32_t ArcTk2_SetArchiveTempFileDirectory(ArcTk2Archive* archive, const char* directory);

/* Writes how deep the walk stands: 0 in the outermost archive, 1 in a container inside it, and so on;
 * 0xFFFFFFFF when no level is open any more.
 *
 * Returns BRIX_OK; BRIX_BAD_ARGUMENT. */
BRIX_API int32_t ArcTk2_GetDepth(ArcTk2Archive* archive, uint32_t* depth);

/* Write the type number (BRIX_TYPE_...) of the outermost archive, or of the container being walked.
 *
 * Return BRIX_OK; BRIX_FAILED when no level is open (the walk has ended); BRIX_BAD_ARGUMENT. */
BRIX_API int32_t ArcTk2_ArchiveGetTopLevelType(ArcTk2Archive* archive, uint32_t* type);
BRIX_API int32_t ArcTk2_ArchiveGetCurrentType(ArcTk2Archive* archive, uint32_t* type);

/* Writes why the current member cannot be extracted: BRIX_MEMBER_NORMAL, BRIX_MEMBER_ENCRYPTED or
 * BRIX_MEMBER_UNSUPPORTED. Known after an extraction was tried. After ArcTk2_GetNextFile failed at a container's list of
 * members, writes why: BRIX_MEMBER_ENCRYPTED when the list is encrypted, BRIX_MEMBER_NORMAL when it is damaged.
 *
 * Returns BRIX_OK; BRIX_FAILED when there is neither a current member nor such a list; BRIX_BAD_ARGUMENT. */
BRIX_API int32_t ArcTk2_GetMemberStatus(ArcTk2Archive* archive, uint32_t* member_status);

/* Writes what the walk has passed over so far, in the archive and in all containers below it, although no call failed:
 * BRIX_UNSEEN_... bits, 0 for nothing. Data that belong to no member are told of only where the format says where its own
 * end, and no earlier than the walk comes there; of some formats after a member was extracted to its end.
 *
 * Returns BRIX_OK; BRIX_BAD_ARGUMENT. */
BRIX_API int32_t ArcTk2_GetUnseen(ArcTk2Archive* archive, uint32_t* unseen);

/* Closes all levels, deletes temporary files, frees the archive and sets the host's variable to null.
 *
 * Returns BRIX_OK; BRIX_FAILED when no level was open any more (the walk had ended), which is no error;
 * BRIX_BAD_ARGUMENT. */
BRIX_API int32_t ArcTk2_CloseArchive(ArcTk2Archive* archive);

/* --- Extracting the current member -------------------------------------------------------------------------
 *
 * Common to the four calls: what the member yields beyond the maximum extract size is dropped and the result
 * is BRIX_SIZE_LIMIT, the data so far being valid; such a member is never descended into. When all that was
 * extracted on the way down to this member, counted from the smallest container, reaches the maximum ratio
 * times that container's size, the result is BRIX_RATIO_LIMIT, also for a file, and the member is dropped. BRIX_PART_FAILED:
 * the member is damaged, encrypted, of an unsupported method, or the target cannot be written. BRIX_FAILED:
 * no current member, because the walk has not begun, has ended, or has just left a damaged container. The
 * walk goes on after any failure.
 *
 * Only the last extraction counts for the descent. A second extraction of the same member is tried, but not
 * every format can do it: extract once.
 */

/* Extracts into memory.
 *
 * data  out  a new block of `*size` bytes, freed with ArcTk2_FreeMemory; null for any result but BRIX_OK and
 *            BRIX_SIZE_LIMIT. Never null on those, also for an empty member. May itself be null: the host
 *            wants no copy, only the size and the descent.
 * size  out  bytes extracted.
 *
 * Returns BRIX_OK, BRIX_SIZE_LIMIT, BRIX_RATIO_LIMIT, BRIX_PART_FAILED, BRIX_FAILED, BRIX_BAD_ARGUMENT,
 * BRIX_OUT_OF_MEMORY. */
BRIX_API int32_t ArcTk2_ExtractToMemory(ArcTk2Archive* archive, void** data, uint32_t* size);

/* Frees a block from ArcTk2_ExtractToMemory; null does nothing. Any thread. */
BRIX_API void ArcTk2_FreeMemory(void* data);

/* Extracts into the named file, which is created or truncated. It is the host's, but the library reads it to descend:
 * it must stay as it is until the next ArcTk2_GetNextFile and, when that enters it, until the walk has come up again
 * (ArcTk2_GetDepth). So members that lie inside each other need files of their own. Deleted again unless the result is
 * BRIX_OK or BRIX_SIZE_LIMIT.
 *
 * Returns as ArcTk2_ExtractToMemory; BRIX_FAILED also when the file cannot be created. */
BRIX_API int32_t ArcTk2_ExtractToFile(ArcTk2Archive* archive, const char* path);

/* Extracts into a new file of the library's in the archive's temporary directory. It lives until the walk
 * moves on at this level or the archive is closed; a second one for the same member replaces it.
 *
 * path       out  the file's path; empty for any result but BRIX_OK and BRIX_SIZE_LIMIT.
 * path_size  in   bytes at `path`; 512 always suffice.
 *
 * Returns as ArcTk2_ExtractToMemory; BRIX_FAILED when no file name could be made; BRIX_BAD_ARGUMENT also when
 * the path does not fit. On results other than BRIX_OK and BRIX_SIZE_LIMIT no file stays. */
BRIX_API int32_t ArcTk2_ExtractToTempFile(ArcTk2Archive* archive, char* path, uint32_t path_size);

/* Extracts into a host stream, from offset 0. The record must be as ArcTk2_OpenArchiveStream asks. A member
 * extracted this way is not descended into. After a failure the bytes written so far stay.
 *
 * Returns as ArcTk2_ExtractToMemory; BRIX_BAD_ARGUMENT for an incomplete record. */
BRIX_API int32_t ArcTk2_ExtractToStream(ArcTk2Archive* archive, const ArcStream* stream);

#endif /* BRIXCORE_TOOLKIT_H_ */

/* SPDX-FileCopyrightText: brixcore developers
 * SPDX-License-Identifier: Apache-2.0 */

/* byname.h - the name-based family: walk an archive file by path, members go to temporary files.
 *
 * A decompression context holds settings and the last error value; an archive is opened under it. The host asks for
 * one member after the other, has it written to a temporary file, looks at that, and hands it back. Handing it back
 * makes the walk go down into the file when it is itself a container, and deletes it otherwise.
 *
 *   BrixDecompression context = InitDecompression();
 *   BrixNamedArchive archive = OpenArchiveFileNew(context, "mail.zip");
 *   const char* next = GetFirstFileName(archive);
 *   while (next != NULL) {
 *     char name[BRIX_PATH_SIZE];
 *     const char* path;
 *     strcpy(name, next);  // which lives only until the next call; it fits
 *     path = ExtractCurrentFile(archive);
 *     if (path != NULL) Scan(name, path);
 *     if (GetErrorValue(context) != BRIX_ERROR_NONE) Missed(name);
 *     RemoveCurrentFile(archive);
 *     if (GetErrorValue(context) != BRIX_ERROR_NONE) Missed("what is nested in it");
 *     next = GetNextFileName(archive);
 *   }
 *   if (GetErrorValue(context) != BRIX_ERROR_NONE) Missed("the archive, or the rest of it");
 *   CloseArchiveFile(archive);
 *   DeInitDecompression(context);
 *
 * Results: every call but GetErrorValue leaves its outcome in the context's error value (BRIX_ERROR_...), 0 for
 * success; no other value comes from a call than those its comment names, and 0. Two come from anywhere:
 * BRIX_ERROR_MEMORY and, when a host's callback throws, BRIX_ERROR_HANDLER.
 *
 * Handles: a call with a null context does nothing and returns null or 0, unless it says otherwise. So does a call
 * with a null archive or BRIX_NO_ARCHIVE, and no error value changes. All archives of a context are to be closed
 * before it is freed.
 *
 * Texts are zero-terminated bytes; brixcore.h says what names and paths may hold. A returned text is the library's; it
 * stays as it is until the next call on the same archive.
 *
 * Threads: a context and all archives opened under it are used by one thread at a time. Different contexts know
 * nothing of each other.
 */
#ifndef BRIXCORE_BYNAME_H_
#define BRIXCORE_BYNAME_H_

#include <stdint.h>

#include "brixcore/export.h"

typedef struct BrixDecompressionRecord* BrixDecompression;
typedef struct BrixNamedArchiveRecord* BrixNamedArchive;

/* What OpenArchiveFileNew returns on failure: all bits set, not null. */
#ifdef __cplusplus
#define BRIX_NO_ARCHIVE (reinterpret_cast<BrixNamedArchive>(UINTPTR_MAX))
#else
#define BRIX_NO_ARCHIVE ((BrixNamedArchive)UINTPTR_MAX)
#endif

/* A path from this family, with its terminator, fits in this many bytes. */
#define BRIX_PATH_SIZE 512

/* Error values. */
enum {
  BRIX_ERROR_NONE = 0,
  BRIX_ERROR_DAMAGED = 2, /* the member's data are damaged or of an unknown method */
  BRIX_ERROR_NOT_AN_ARCHIVE =
      3,                     /* shorter than 4 bytes, of no known type, or the first member is unreadable */
  BRIX_ERROR_ENCRYPTED = 4,  /* the member is encrypted */
  BRIX_ERROR_NO_MEMBER = 7,  /* no current member, or its temporary file cannot be created */
  BRIX_ERROR_NOT_OPENED = 8, /* the archive file cannot be opened */
  BRIX_ERROR_HANDLER = 10,   /* the next member is unreadable, a method is unsupported, or so is the call */
  BRIX_ERROR_MEMORY = 11,    /* out of memory */
  BRIX_ERROR_NO_TEMPORARY_NAME = 12, /* no name for a temporary file can be made */
  BRIX_ERROR_STOPPED = 15,           /* while it stands, GetNextFileName returns no name */
  BRIX_ERROR_LIMIT = 17,             /* nesting level, extract size or compression ratio */
  BRIX_ERROR_DIRECTORY_TOO_LONG = 201,
  BRIX_ERROR_NULL_ARGUMENT = 204,
  BRIX_ERROR_SOURCE = 205,      /* DecompressMSCompressedFile cannot open its file, or is out of memory */
  BRIX_ERROR_NO_DIRECTORY = 207 /* the temporary directory does not exist */
};

/* --- Context and settings ---------------------------------------------------------------------------------- */

/* Makes a context: temporary directory ".", nesting level 10, ratio 1000, extract size 50 MiB, gateway mode 0, no
 * callbacks. Freed by DeInitDecompression. Null: out of memory. */
BRIX_API BrixDecompression InitDecompression(void);

/* Frees a context; null does nothing. */
BRIX_API void DeInitDecompression(BrixDecompression context);

/* Does nothing and returns null; it is there for callers of an older interface. */
BRIX_API BrixDecompression InitDecompressionWithExistingBuffer(void);

/* The last error value. BRIX_ERROR_NULL_ARGUMENT for a null context. Changes nothing. */
BRIX_API uint32_t GetErrorValue(BrixDecompression context);

/* Sets where temporary files go. One "/" or "\" at the end is dropped.
 *
 * path  in  copied. More than 511 bytes give BRIX_ERROR_DIRECTORY_TOO_LONG, null or empty
 *           BRIX_ERROR_NULL_ARGUMENT; the directory stays as it was. When nothing of this name exists the error is
 *           BRIX_ERROR_NO_DIRECTORY and the directory is empty from then on: the current one.
 *
 * In a directory of more than 499 bytes no temporary file can be made. */
BRIX_API void SetTemporaryDirectory(BrixDecompression context, const char* path);

/* Sets the limits of all archives of the context, open ones too, that have none of their own.
 *
 * max_nesting_level     levels; the outermost archive is level 1. A member is entered while the level it lies in is
 *                       below this number.
 * max_ratio             bytes out for each byte of the smallest container on the way to the member.
 * max_extract_size_mib  MiB one member may yield. Taken times 1,048,576 in 32 bits: 4096 is a limit of 0 bytes. */
BRIX_API void SetThreadArchiveLimits(BrixDecompression context, uint32_t max_nesting_level,
                                     uint32_t max_ratio, uint32_t max_extract_size_mib);

/* Gives one archive limits of its own, in the same units. */
BRIX_API void SetArchiveLimits(BrixNamedArchive archive, uint32_t max_nesting_level, uint32_t max_ratio,
                               uint32_t max_extract_size_mib);

/* With type 2, the default, members that are containers are entered; with any other they are not. 0 means 2. */
BRIX_API void ChangeArchiveRecursionType(BrixNamedArchive archive, uint32_t type);

/* Let the members of a mail message be extracted (the default) or not. Members of containers inside the outermost
 * one are always extracted. */
BRIX_API void EnableUUandMIME(BrixNamedArchive archive);
BRIX_API void DisableUUandMIME(BrixNamedArchive archive);

/* Sets and returns the gateway mode. Non-zero tells the type recognition of archives opened afterwards that the host
 * works as a gateway. GetGatewayMode gives 0 for a null context. */
BRIX_API void SetGatewayMode(BrixDecompression context, uint32_t mode);
BRIX_API uint32_t GetGatewayMode(BrixDecompression context);

/* Takes any arguments and uses none: there is no list of extensions. */
BRIX_API void SetExtensionList(BrixDecompression context, ...);

/* --- Messages ----------------------------------------------------------------------------------------------
 *
 * The library tells what it does in the manner of printf: a format and its arguments, not yet put together. Levels:
 *
 *   0  "Entering: %s()" and "Returning from: %s()", around every call of this family, with the function's name
 *   6  "Archive opened: %s", "Deleting file: %s", with a path
 *   7  "extraction successful: %s extracted to %s", with the member's name and a path; "extraction failed: %s" and
 *      "not extracting (mail archive disabled): %s", with the member's name
 *
 * A callback runs on the thread that made the call, must not use the same context, and reads the arguments before
 * it returns. The same messages go, a line each, to a file arc0000.log (or the next free number) in the directory
 * that the environment variable ARCLOGPATH named when the library was loaded. That file belongs to the process.
 */
typedef void (*BrixLogLevelCallback)(uint32_t level, const char* format, ...);
typedef void (*BrixLogCallback)(const char* format, ...);

/* Register one callback of each kind for a context; null removes it. Each message goes to both, first to the one that
 * is given the level. The messages around these calls themselves go to what was registered before them. */
BRIX_API void RegisterDebugLogCallbackFunction(BrixDecompression context, BrixLogLevelCallback callback);
BRIX_API void RegisterDebugLogCallbackFunctionNoLevel(BrixDecompression context, BrixLogCallback callback);

/* --- Walking an archive ------------------------------------------------------------------------------------ */

/* Opens a file as the outermost archive, with recursion type 2, mail enabled, the context's limits.
 *
 * path  in  the file, opened for reading and kept open. A name that ends in ".eml" is looked at longer to recognise
 *           mail.
 *
 * Returns the archive, freed by CloseArchiveFile, or BRIX_NO_ARCHIVE with BRIX_ERROR_NULL_ARGUMENT,
 * BRIX_ERROR_NOT_OPENED, BRIX_ERROR_NOT_AN_ARCHIVE or BRIX_ERROR_MEMORY. Null for a null context. */
BRIX_API BrixNamedArchive OpenArchiveFileNew(BrixDecompression context, const char* path);

/* Closes all levels, deletes the temporary files that were entered, and frees the archive. A file that was extracted
 * and not handed back stays. */
BRIX_API void CloseArchiveFile(BrixNamedArchive archive);

/* Stands on the first member of the container being walked, again when it was called before, and returns its name:
 * at most 511 bytes. Null: no members (error value 0), or BRIX_ERROR_NOT_AN_ARCHIVE. */
BRIX_API const char* GetFirstFileName(BrixNamedArchive archive);

/* Moves on to the next member, or to the first, and returns its name. A container that was entered and is at its end,
 * or is damaged, is left and its file deleted; the walk goes on behind it.
 *
 * Null: the end of the walk (error value 0); BRIX_ERROR_HANDLER, the outermost archive is damaged here, and stays so;
 * BRIX_ERROR_STOPPED stood already. */
BRIX_API const char* GetNextFileName(BrixNamedArchive archive);

/* Writes the current member into a new file of the temporary directory and returns its path. The file is the host's
 * to look at until it is handed back with RemoveCurrentFile. One that is not is the host's to delete: the next extraction
 * forgets it, and no call deletes it, not even CloseArchiveFile.
 *
 * Null, with no file left: BRIX_ERROR_NONE when it is part of a mail and mail is disabled; BRIX_ERROR_LIMIT when the
 * member yields as many bytes as the extract size or the ratio allows, or more; BRIX_ERROR_DAMAGED,
 * BRIX_ERROR_ENCRYPTED, BRIX_ERROR_HANDLER; BRIX_ERROR_NO_MEMBER, BRIX_ERROR_NO_TEMPORARY_NAME. */
BRIX_API const char* ExtractCurrentFile(BrixNamedArchive archive);

/* Hands the extracted file back. With recursion type 2 and below the nesting limit it is opened as a container and
 * the next GetNextFileName names its first member. Otherwise it is deleted. BRIX_ERROR_LIMIT: the nesting limit kept
 * it from being entered; that of an extraction before stays too when the recursion type is not 2. BRIX_ERROR_MEMORY:
 * there was no memory to look whether it is a container. */
BRIX_API void RemoveCurrentFile(BrixNamedArchive archive);

/* The name, without folders, of the container being walked: of the file that was opened or of the member entered. */
BRIX_API const char* GetArchiveName(BrixNamedArchive archive);

/* How deep the walk stands: 1 in the outermost archive. */
BRIX_API uint32_t GetArchiveLevel(BrixNamedArchive archive);

/* Unpacks one Microsoft compressed file into a new file of the temporary directory.
 *
 * path           in   the compressed file.
 * out_path       out  BRIX_PATH_SIZE bytes, not null: the path of the new file, which is the host's. Untouched on
 *                     failure.
 * delete_source  in   non-zero deletes the compressed file after success.
 *
 * Returns 1, or 0 with BRIX_ERROR_NULL_ARGUMENT, BRIX_ERROR_SOURCE, BRIX_ERROR_NOT_AN_ARCHIVE when it is another kind
 * of file, or what ExtractCurrentFile says. */
BRIX_API uint32_t DecompressMSCompressedFile(BrixDecompression context, const char* path, char* out_path,
                                             uint32_t delete_source);

/* What a file's name alone says of its type; the file is not opened. Returns a legacy type number: 1 ZIP, 2 ARJ,
 * 3 Microsoft compressed file, 4 not an archive, 5 MIME and uuencode, 6 LHA, 7 cabinet, 8 GZIP, 9 Unix compress,
 * 10 RAR, 11 RTF, 12 MSI, 13 Office, 14 TNEF, 15 QX Zip, 16 BZIP2, 17 TAR, 18 CHM, 19 ISO. These are not the numbers
 * of catalogue.h.
 *
 * 4 for a null context; 4 with BRIX_ERROR_NULL_ARGUMENT for a null name. */
BRIX_API uint32_t GetArchiveFileType(BrixDecompression context, const char* file_name);

/* --- Changing and creating archives -------------------------------------------------------------------------
 *
 * No container type can be written yet. Each call checks its handle and fails: it returns 0 or null, sets
 * BRIX_ERROR_HANDLER where there is a context to set it in, and changes nothing else. Texts are paths of files on
 * disk and names of members.
 */

/* Begins to collect changes to an opened archive; drops them; carries them out. */
BRIX_API uint32_t EnableArchiveChange(BrixNamedArchive archive);
BRIX_API uint32_t AbortArchiveChange(BrixNamedArchive archive);
BRIX_API uint32_t FinishArchiveChange(BrixNamedArchive archive);

/* Adds a file under a member's name. */
BRIX_API uint32_t AddFileToArchive(BrixNamedArchive archive, const char* path, const char* member_name);

/* Drops the current member, or puts a file's content in its place. */
BRIX_API uint32_t DeleteCurrentFileInArchive(BrixNamedArchive archive);
BRIX_API uint32_t ReplaceCurrentFileInArchive(BrixNamedArchive archive, const char* path);

/* Whether the current member is about to be dropped: 0, it is not. */
BRIX_API uint32_t CheckDeletePending(BrixNamedArchive archive);

typedef struct BrixCompressionRecord* BrixCompression;
typedef struct BrixNewArchiveRecord* BrixNewArchive;

/* Makes and frees a context for new archives. */
BRIX_API BrixCompression InitCompression(void);
BRIX_API void DeInitCompression(BrixCompression context);

/* Creates an archive of a public type (catalogue.h) at a path; adds a file to it; completes and closes it. */
BRIX_API BrixNewArchive CreateArchiveFileNew(BrixCompression context, const char* path, uint32_t public_type);
BRIX_API uint32_t AddFileToCompressedArchive(BrixNewArchive archive, const char* path,
                                             const char* member_name);
BRIX_API uint32_t CloseNewArchiveFile(BrixNewArchive archive);

#endif /* BRIXCORE_BYNAME_H_ */

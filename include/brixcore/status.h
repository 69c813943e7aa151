/* SPDX-FileCopyrightText: brixcore developers
 * SPDX-License-Identifier: Apache-2.0 */

/* status.h - the results of the stream-based families, and the numbers of the container types.
 *
 * Every function of these families returns one of these values as an int32_t. 0 is success, everything else
 * is negative; a function's own comment lists which it can return.
 */
#ifndef BRIXCORE_STATUS_H_
#define BRIXCORE_STATUS_H_

enum {
  BRIX_OK = 0,
  BRIX_FAILED = -1,           /* the operation failed */
  BRIX_BAD_ARGUMENT = -2,     /* a null handle, pointer or buffer, or a value out of range */
  BRIX_OUT_OF_MEMORY = -3,    /* an allocation failed */
  BRIX_NOT_AN_ARCHIVE = -4,   /* no known and enabled type recognises the data */
  BRIX_NO_MORE_MEMBERS = -5,  /* end of the walk */
  BRIX_NO_CURRENT = -6,       /* no current member, or nothing was interrupted */
  BRIX_BUFFER_TOO_SMALL = -7, /* the buffer is too small; the size needed was written back */
  BRIX_NO_PROPERTY = -8,      /* this member does not have the property */
  BRIX_NO_OUTPUT = -9,        /* the host's stream factory made no stream */
  BRIX_NESTING_LIMIT = -10,   /* the maximum nesting level is reached; in the ArcTk family also the ratio */
  BRIX_RATIO_LIMIT = -11,     /* the maximum compression ratio is exceeded; not used by the ArcTk family */
  BRIX_SIZE_LIMIT = -12,      /* the member was cut at the maximum extract size; the data so far are valid */
  BRIX_PART_FAILED = -14      /* a nested archive or an extraction failed part-way */
};

/* Internal container type numbers: the values that the type queries write and the type-enable calls take. */
enum {
  BRIX_TYPE_NONE = 0,         /* not recognised */
  BRIX_TYPE_ARJ = 1,          /* ARJ */
  BRIX_TYPE_BZIP2 = 2,        /* BZIP2 */
  BRIX_TYPE_CABINET = 3,      /* Microsoft cabinet */
  BRIX_TYPE_QXZIP = 4,        /* QX Zip */
  BRIX_TYPE_CHM = 5,          /* compiled HTML help */
  BRIX_TYPE_SFX = 6,          /* self-extracting executable */
  BRIX_TYPE_GZIP = 7,         /* GZIP */
  BRIX_TYPE_LHA = 8,          /* LHA, also LZH */
  BRIX_TYPE_MIME = 9,         /* mail, also uuencoded and BinHex text */
  BRIX_TYPE_SZDD = 10,        /* Microsoft compressed file */
  BRIX_TYPE_MSI = 11,         /* Windows Installer database */
  BRIX_TYPE_RAR = 12,         /* RAR */
  BRIX_TYPE_TAR = 13,         /* TAR, plain or in GZIP */
  BRIX_TYPE_TNEF = 14,        /* TNEF, mail attachments in one file */
  BRIX_TYPE_UNIXZ = 15,       /* Unix compress (.Z) */
  BRIX_TYPE_ZIP = 16,         /* ZIP */
  BRIX_TYPE_WORD = 17,        /* Word document */
  BRIX_TYPE_EXCEL = 18,       /* Excel workbook */
  BRIX_TYPE_POWERPOINT = 19,  /* PowerPoint presentation */
  BRIX_TYPE_OLE_PACKAGE = 20, /* file embedded in a document */
  BRIX_TYPE_NSIS = 21         /* NSIS installer */
};

/* Why the current member cannot be extracted (ArcTk2_GetMemberStatus). */
enum {
  BRIX_MEMBER_NORMAL = 1,     /* nothing is known against it */
  BRIX_MEMBER_ENCRYPTED = 2,  /* it is encrypted */
  BRIX_MEMBER_UNSUPPORTED = 3 /* its compression method is known but not supported */
};

/* What a walk passed over although no call failed (ArcTk2_GetUnseen); one bit each. */
enum {
  BRIX_UNSEEN_CONTINUED = 1, /* a member that begins or goes on in another volume or cabinet of a set */
  BRIX_UNSEEN_NOTHING = 2, /* the outermost archive is a mail in which there is nothing to show as a member */
  BRIX_UNSEEN_DATA = 4     /* data that belong to no member, such as what is appended to an archive */
};

#endif /* BRIXCORE_STATUS_H_ */

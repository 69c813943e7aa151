/* SPDX-FileCopyrightText: brixcore developers
 * SPDX-License-Identifier: Apache-2.0 */

/* brixcore.h - everything a host needs, and what holds for all of it.
 *
 * Names of members are bytes as the container stores them, in whatever encoding its writer used, at most 511 and a
 * terminator. A hostile one may be absolute, hold "../" or the name of a device, be no valid text at all, or occur twice:
 * a host that makes a path or a line of output of a name checks it first.
 *
 * Paths are zero-terminated bytes for the system. On Windows they are in its own (ANSI) code page or in UTF-8, and of any
 * length: a path is taken in the code page when something of that name is there, else in UTF-8 when something of that name
 * is. A file that is created gets its name in the code page, unless only the path in UTF-8 leads to a folder that is there;
 * the same path then opens it again. A path that the library returns begins with the folder as the host gave it.
 *
 * Sizes and offsets have 32 bits. A file or stream of 4 GiB or more is not an archive: BRIX_NOT_AN_ARCHIVE (BRIX_FAILED
 * from ArcTkOpenArchive), BRIX_ERROR_NOT_AN_ARCHIVE, type 0. ArcTkOpenFile opens it, but its get_size then fails.
 */
#ifndef BRIXCORE_BRIXCORE_H_
#define BRIXCORE_BRIXCORE_H_

#include "brixcore/archive.h"
#include "brixcore/byname.h"
#include "brixcore/catalogue.h"
#include "brixcore/session.h"
#include "brixcore/status.h"
#include "brixcore/stream.h"
#include "brixcore/toolkit.h"

#endif /* BRIXCORE_BRIXCORE_H_ */

/* SPDX-FileCopyrightText: brixcore developers
 * SPDX-License-Identifier: Apache-2.0 */

/* export.h - how brixcore's functions are marked for C and C++ hosts, on both platforms. A host that links the static
 * library defines BRIXCORE_STATIC; the CMake package and pkg-config do so for it. */
#ifndef BRIXCORE_EXPORT_H_
#define BRIXCORE_EXPORT_H_

#ifdef __cplusplus
#define BRIX_EXTERN_C extern "C"
#else
#define BRIX_EXTERN_C extern
#endif

#if defined(BRIXCORE_STATIC)
#define BRIX_API BRIX_EXTERN_C
#elif defined(_WIN32)
#if defined(BRIXCORE_BUILD)
#define BRIX_API BRIX_EXTERN_C __declspec(dllexport)
#else
#define BRIX_API BRIX_EXTERN_C __declspec(dllimport)
#endif
#else
#define BRIX_API BRIX_EXTERN_C __attribute__((visibility("default")))
#endif

#endif /* BRIXCORE_EXPORT_H_ */

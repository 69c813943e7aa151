/* export.h - how brixcore's functions are marked for C and C++ hosts, on both platforms. */
#ifndef BRIXCORE_EXPORT_H_
#define BRIXCORE_EXPORT_H_

#ifdef __cplusplus
#define BRIX_EXTERN_C extern "C"
#else
#define BRIX_EXTERN_C extern
#endif

#if defined(_WIN32)
#if defined(BRIXCORE_BUILD)
#define BRIX_API BRIX_EXTERN_C __declspec(dllexport)
#else
#define BRIX_API BRIX_EXTERN_C __declspec(dllimport)
#endif
#else
#define BRIX_API BRIX_EXTERN_C __attribute__((visibility("default")))
#endif

#endif /* BRIXCORE_EXPORT_H_ */

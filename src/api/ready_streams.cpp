// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// ready_streams.cpp - streams of the library's own in the shape of a host's record, and factories of them.
//
// The context is the stream object, so one set of operations serves every kind. Each stream is one allocation:
// the record is filled when nothing can fail any more.
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <memory>
#include <new>
#include <span>

#include "api/failing_stream.h"
#include "api/guarded.h"
#include "brixcore/session.h"
#include "core/memory_stream.h"
#include "core/stream.h"
#include "io/file_stream.h"
#include "io/temp_file_stream.h"

using brix::Guarded;
using brix::Stream;
using brix::platform::OpenMode;

// Hosts in any language lay this record out by hand: three machine words in this order.
static_assert(sizeof(ArcStreamFactory) == 3 * sizeof(void*));
static_assert(offsetof(ArcStreamFactory, context) == 0 * sizeof(void*));
static_assert(offsetof(ArcStreamFactory, create) == 1 * sizeof(void*));
static_assert(offsetof(ArcStreamFactory, destroy) == 2 * sizeof(void*));

namespace {

// --- Operations of the record

Stream& StreamOf(void* context) { return *static_cast<Stream*>(context); }

int32_t StatusOf(bool ok) { return ok ? BRIX_OK : BRIX_FAILED; }

int32_t Close(void* context) {
  if (context == nullptr) return BRIX_BAD_ARGUMENT;
  delete &StreamOf(context);
  return BRIX_OK;
}

int32_t Read(void* context, uint32_t offset, void* buffer, uint32_t length, uint32_t* got) {
  if (context == nullptr || buffer == nullptr || got == nullptr) return BRIX_BAD_ARGUMENT;
  *got = 0;
  return StatusOf(StreamOf(context).ReadAt(offset, static_cast<uint8_t*>(buffer), length, got));
}

int32_t Write(void* context, uint32_t offset, const void* buffer, uint32_t length) {
  if (context == nullptr || buffer == nullptr) return BRIX_BAD_ARGUMENT;
  return StatusOf(WriteExact(StreamOf(context), offset, static_cast<const uint8_t*>(buffer), length));
}

int32_t GetSize(void* context, uint32_t* size) {
  if (context == nullptr || size == nullptr) return BRIX_BAD_ARGUMENT;
  return StatusOf(StreamOf(context).GetSize(size));
}

int32_t SetSize(void* context, uint32_t size, uint32_t) {
  if (context == nullptr) return BRIX_BAD_ARGUMENT;
  return StatusOf(StreamOf(context).SetSize(size));
}

int32_t GetTempFileName(void* context, char* buffer, uint32_t reserved) {
  if (context == nullptr || buffer == nullptr || reserved != 0) return BRIX_BAD_ARGUMENT;
  const char* const path = static_cast<brix::TempFileStream&>(StreamOf(context)).path();
  std::memcpy(buffer, path, std::strlen(path) + 1);
  return BRIX_OK;
}

// Hands the stream over to the host's record.
int32_t Give(std::unique_ptr<Stream> made, ArcStream* stream) {
  *stream = {made.release(), Close, Read, Write, GetSize, SetSize, brix::FailGetFileName};
  return BRIX_OK;
}

template <class Char>
int32_t OpenFile(const Char* path, uint32_t mode, ArcStream* stream) {
  constexpr OpenMode kModes[] = {OpenMode::kRead, OpenMode::kReadWrite, OpenMode::kCreate};
  if (path == nullptr || stream == nullptr || mode >= std::size(kModes)) return BRIX_BAD_ARGUMENT;
  std::unique_ptr<brix::FileStream> file(new (std::nothrow) brix::FileStream);
  // Kept: exhausted memory is told as a plain failure.
  if (!file || !file->Open(path, kModes[mode])) return BRIX_FAILED;
  return Give(std::move(file), stream);
}

// --- Operations of the factories

int32_t CreateInMemory(void*, ArcStream* stream) { return ArcTkOpenTempMemStream(stream); }
int32_t DestroyNothing(void*) { return BRIX_OK; }

int32_t CreateInDirectory(void* context, ArcStream* stream) {
  return ArcTkOpenTempFile(static_cast<const char*>(context), stream);
}
int32_t DestroyDirectory(void* context) {
  std::free(context);
  return BRIX_OK;
}

int32_t FailCreate(void*, ArcStream*) { return BRIX_FAILED; }
int32_t FailDestroy(void*) { return BRIX_FAILED; }

}  // namespace

int32_t ArcTkOpenFile(const char* path, uint32_t mode, ArcStream* stream) {
  return Guarded([&] { return OpenFile(path, mode, stream); });
}

int32_t ArcTkOpenFileW(const wchar_t* path, uint32_t mode, ArcStream* stream) {
  return Guarded([&] { return OpenFile(path, mode, stream); });
}

// Kept: writing is refused, although the memory is the caller's and might be written.
int32_t ArcTkOpenFixedMemStream(ArcStream* stream, const void* buffer, uint32_t size) {
  if (stream == nullptr || buffer == nullptr) return BRIX_BAD_ARGUMENT;
  const std::span block(static_cast<const uint8_t*>(buffer), size);
  std::unique_ptr<Stream> made(new (std::nothrow) brix::FixedMemoryStream(block));
  return made ? Give(std::move(made), stream) : BRIX_OUT_OF_MEMORY;
}

int32_t ArcTkOpenTempMemStream(ArcStream* stream) {
  if (stream == nullptr) return BRIX_BAD_ARGUMENT;
  std::unique_ptr<Stream> made(new (std::nothrow) brix::MemoryStream);
  return made ? Give(std::move(made), stream) : BRIX_FAILED;  // Kept: -1, not -3
}

int32_t ArcTkOpenTempFile(const char* directory, ArcStream* stream) {
  return Guarded([&]() -> int32_t {
    if (directory == nullptr || stream == nullptr) return BRIX_BAD_ARGUMENT;
    std::unique_ptr<brix::TempFileStream> file(new (std::nothrow) brix::TempFileStream);
    if (!file) return BRIX_OUT_OF_MEMORY;
    if (!file->Create(directory)) return BRIX_FAILED;
    (void)Give(std::move(file), stream);
    stream->get_file_name = GetTempFileName;
    return BRIX_OK;
  });
}

int32_t ArcTkInitStream(ArcStream* stream) {
  if (stream == nullptr) return BRIX_BAD_ARGUMENT;
  *stream = brix::kFailingStream;
  return BRIX_OK;
}

int32_t ArcTkOpenTempMemStreamFactory(ArcStreamFactory* factory) {
  if (factory == nullptr) return BRIX_FAILED;  // Kept: -1, not -2
  *factory = {nullptr, CreateInMemory, DestroyNothing};
  return BRIX_OK;
}

int32_t ArcTkOpenTempFileStreamFactory(const char* directory, ArcStreamFactory* factory) {
  if (directory == nullptr || factory == nullptr) return BRIX_BAD_ARGUMENT;
  const size_t size = std::strlen(directory) + 1;
  void* const copy = std::malloc(size);
  if (copy == nullptr) return BRIX_OUT_OF_MEMORY;
  std::memcpy(copy, directory, size);
  *factory = {copy, CreateInDirectory, DestroyDirectory};
  return BRIX_OK;
}

int32_t ArcTkInitStreamFactory(ArcStreamFactory* factory) {
  if (factory == nullptr) return BRIX_BAD_ARGUMENT;
  *factory = {nullptr, FailCreate, FailDestroy};
  return BRIX_OK;
}

int32_t ArcTkCloseStreamFactory(const ArcStreamFactory* factory) {
  return Guarded([&]() -> int32_t {
    if (factory == nullptr || factory->destroy == nullptr) return BRIX_BAD_ARGUMENT;
    return factory->destroy(factory->context);
  });
}

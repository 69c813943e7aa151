// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// throwing_host.cpp - a host whose callbacks throw, built by a compiler of its own: every exported call that was underway
// says so by its result, leaves no exception in flight, and its handle can still be closed. The host's own exceptions
// work as before.
#include <brixcore/brixcore.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <exception>
#include <initializer_list>
#include <new>
#include <stdexcept>
#include <string>
#include <utility>

namespace {

enum class What { kRuntimeError, kBadAlloc, kInt };

// The `at`-th call of the callback `where` throws `what`.
const char* where = "";
int at = 0;
What what = What::kInt;

int calls = 0;        // of that callback
bool thrown = false;  // by the exported call that is underway
int throws = 0;
int failures = 0;

void Fail(const char* call, const char* fault) {
  ++failures;
  std::fprintf(stderr, "%s: %s (callback %s, its call %d, exception %d)\n", call, fault, where, at,
               static_cast<int>(what));
}

void Callback(const char* name) {
  if (std::strcmp(name, where) != 0 || ++calls != at) return;
  thrown = true;
  ++throws;
  if (what == What::kRuntimeError) throw std::runtime_error("host");
  if (what == What::kBadAlloc) throw std::bad_alloc();
  throw 5;
}

void CheckNothingInFlight(const char* call) {
#ifndef BRIX_OWN_RUNTIME  // where the library's is another, the host's goes on counting what it threw
  if (std::uncaught_exceptions() != 0) Fail(call, "an exception is left in flight");
#endif
  if (std::current_exception()) Fail(call, "an exception is left current");
}

// The result of an exported call; -3 or -1 when a callback threw.
int32_t Checked(const char* call, int32_t status) {
  CheckNothingInFlight(call);
  if (thrown && status != (what == What::kBadAlloc ? BRIX_OUT_OF_MEMORY : BRIX_FAILED)) Fail(call, "status");
  thrown = false;
  return status;
}
#define CALL(call) Checked(#call, call)

// --- The host's side

std::string Szdd(const std::string& content) {
  std::string file(
      "SZDD\x88\xF0\x27\x33"
      "A\0\0\0\0\0",
      14);
  for (int i = 0; i < 4; ++i)
    file[10 + static_cast<size_t>(i)] = static_cast<char>(content.size() >> (8 * i));
  for (size_t i = 0; i < content.size(); i += 8) file += '\xFF' + content.substr(i, 8);
  return file;
}
const std::string archive = Szdd(Szdd(std::string(9000, 'x')));

int32_t Close(void*) {
  Callback("close");
  return 0;
}
int32_t Read(void* content, uint32_t offset, void* buffer, uint32_t length, uint32_t* got) {
  Callback("read");
  const auto& text = *static_cast<const std::string*>(content);
  *got =
      offset < text.size() ? static_cast<uint32_t>(text.copy(static_cast<char*>(buffer), length, offset)) : 0;
  return 0;
}
int32_t Write(void* content, uint32_t offset, const void* buffer, uint32_t length) {
  Callback("write");
  auto& text = *static_cast<std::string*>(content);
  text.resize(std::max<size_t>(text.size(), offset + length));
  std::memcpy(&text[offset], buffer, length);
  return 0;
}
int32_t GetSize(void* content, uint32_t* size) {
  Callback("get_size");
  *size = static_cast<uint32_t>(static_cast<const std::string*>(content)->size());
  return 0;
}
ArcStream StreamOver(const std::string& content) {
  return {const_cast<std::string*>(&content), Close, Read, Write, GetSize, nullptr, nullptr};
}

std::string members[2];  // one for each level
int32_t Create(void* level, ArcStream* stream) {
  Callback("create");
  std::string& content = members[++*static_cast<int*>(level) % 2];
  content.clear();
  *stream = StreamOver(content);
  return 0;
}

void Log(uint32_t, const char* format, ...) { Callback(format[0] == 'R' ? "log of a return" : "log"); }
void PlainLog(const char* format, ...) { Callback(format[0] == 'R' ? "plain log of a return" : "plain log"); }

// --- The four families

void WalkToolkit() {
  const ArcStream stream = StreamOver(archive);
  ArcTk2Toolkit toolkit = nullptr;
  ArcTk2Archive walk = nullptr;
  (void)CALL(ArcTk2_Init(&toolkit));
  if (CALL(ArcTk2_OpenArchiveStream(&toolkit, &stream, &walk)) == BRIX_OK) {
    for (int step = 0; step < 4; ++step) {
      char name[512];
      void* data = nullptr;
      uint32_t size = 0;
      std::string target;
      const ArcStream out = StreamOver(target);
      if (CALL(ArcTk2_GetNextFile(&walk, name, sizeof name)) != BRIX_OK) continue;
      (void)CALL(ArcTk2_ExtractToStream(&walk, &out));
      (void)CALL(ArcTk2_ExtractToMemory(&walk, &data, &size));
      ArcTk2_FreeMemory(data);
    }
    if (CALL(ArcTk2_CloseArchive(&walk)) == BRIX_BAD_ARGUMENT || walk != nullptr) Fail("close", "not closed");
  }
  if (CALL(ArcTk2_Close(&toolkit)) != BRIX_OK) Fail("close", "not closed");
}

void WalkOne() {
  const ArcStream stream = StreamOver(archive);
  std::string target;
  const ArcStream out = StreamOver(target);
  ArcArchive walk = nullptr;
  if (CALL(ArcOpenArchive(&stream, &walk)) != BRIX_OK) return;
  (void)CALL(ArcNextMember(walk));
  (void)CALL(ArcExtractMember(walk, &out));
  (void)CALL(ArcNextMember(walk));
  if (CALL(ArcCloseArchive(walk)) != BRIX_OK) Fail("close", "not closed");
}

void WalkSession() {
  const ArcStream stream = StreamOver(archive);
  int level = 0;
  const ArcStreamFactory factory = {&level, Create, nullptr};
  ArcTkSession session = nullptr;
  ArcStream member;
  if (CALL(ArcTkOpenArchive(&stream, &factory, &session)) == BRIX_OK) {
    for (int step = 0; step < 4; ++step) {
      const int32_t status = ArcTkExtractNextMember(session, 1, &member);
      thrown = thrown && std::strcmp(where, "close") != 0;  // its result helps nobody
      (void)Checked("ArcTkExtractNextMember", status);
    }
    const int32_t status = ArcTkCloseArchive(&session);
    thrown = false;
    if (Checked("ArcTkCloseArchive", status) != BRIX_OK || session != nullptr) Fail("close", "not closed");
  }
}

// Errors 11 and 10 stand for -3 and -1, and a throw from the message about a return changes nothing.
void CheckNamed(BrixDecompression context, const char* call) {
  CheckNothingInFlight(call);
  const bool counts = thrown && std::strstr(where, "return") == nullptr;
  const int now = std::exchange(at, 0);  // to ask throws no more
  const uint32_t error = what == What::kBadAlloc ? BRIX_ERROR_MEMORY : BRIX_ERROR_HANDLER;
  if (counts && GetErrorValue(context) != error) Fail(call, "error value");
  at = now;
  thrown = false;
}

void WalkNamed() {
  BrixDecompression context = InitDecompression();
  RegisterDebugLogCallbackFunction(context, Log);
  CheckNamed(context, "RegisterDebugLogCallbackFunction");
  RegisterDebugLogCallbackFunctionNoLevel(context, PlainLog);
  CheckNamed(context, "RegisterDebugLogCallbackFunctionNoLevel");
  BrixNamedArchive walk = OpenArchiveFileNew(context, "throwing_host.tx_");
  CheckNamed(context, "OpenArchiveFileNew");
  for (int step = 0; step < 3; ++step) {
    (void)GetNextFileName(walk);
    CheckNamed(context, "GetNextFileName");
    (void)ExtractCurrentFile(walk);
    CheckNamed(context, "ExtractCurrentFile");
    RemoveCurrentFile(walk);
    CheckNamed(context, "RemoveCurrentFile");
  }
  where = "";  // an archive is closed for certain only by a call that runs
  CloseArchiveFile(walk);
  DeInitDecompression(context);
}

}  // namespace

int main() {
  std::FILE* const file = std::fopen("throwing_host.tx_", "wb");
  if (file == nullptr) return 1;
  (void)std::fwrite(archive.data(), 1, archive.size(), file);
  (void)std::fclose(file);
  for (const char* callback : {"read", "get_size", "write", "create", "close", "log", "log of a return",
                               "plain log", "plain log of a return"}) {
    for (const What exception : {What::kRuntimeError, What::kBadAlloc, What::kInt}) {
      for (const auto walk : {WalkToolkit, WalkOne, WalkSession, WalkNamed}) {
        what = exception;
        at = 0;
        do {  // until the callback is not called as often any more
          where = callback;
          ++at;
          calls = 0;
          walk();
        } while (calls >= at);
      }
    }
  }
  (void)std::remove("throwing_host.tx_");
  try {
    throw std::runtime_error("own");
  } catch (const std::exception& own) {
    if (std::strcmp(own.what(), "own") != 0) Fail("own", "exception");
  }
  CheckNothingInFlight("own exception");
  std::printf("%d exceptions, %d failures\n", throws, failures);
  return failures == 0 && throws > 100 ? 0 : 1;
}

// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// session_fuzzer.cpp - a session over the host of fuzz_host.h, with its limits, its factory and the order of the calls
// taken from the input. The first of all choices descends and uses a factory in memory.
#include <filesystem>
#include <iterator>
#include <string>

#include "fuzz_host.h"

namespace {

using brix::Host;
using brix::PrivateFolder;
using brix::Promise;

constexpr uint32_t kMaxSteps = 200;
constexpr uint32_t kDefaultExtractSize = 1 << 18;  // bytes

// The host's factory: passes on to a ready-made one, fails and fills in garbage by choice, and counts.
struct Factory {
  Host* host;
  ArcStreamFactory ready{};
  static inline int open = 0;
  static inline int32_t (*close_ready)(void*) = nullptr;

  static int32_t Close(void* context) {
    --open;
    return close_ready(context);
  }
  static int32_t Create(void* context, ArcStream* stream) {
    const auto& factory = *static_cast<Factory*>(context);
    const uint32_t fault = factory.host->Fault();
    if (fault == 1) return -1;
    if (fault == 2) return 0;  // nothing filled in
    if (factory.ready.create(factory.ready.context, stream) != 0) return -1;
    close_ready = stream->close;
    stream->close = Close;
    if (fault == 3) stream->get_size = nullptr;
    if (fault == 4) stream->set_size = nullptr;  // which a stream need not have
    ++open;
    return 0;
  }
};

void Inspect(ArcTkSession session, const ArcStream& member, int32_t status, uint32_t limit, uint32_t choice) {
  uint32_t size = 0;
  Promise(member.get_size(member.context, &size) == BRIX_OK && size <= limit, "no more bytes than the limit");
  Promise(status == BRIX_OK || size == limit, "a member that was cut is as long as the limit");
  char buffer[600];
  uint32_t got = 0;
  Promise(member.read(member.context, size / 2, buffer, 512, &got) == BRIX_OK && got <= 512,
          "a member can be read");
  Promise(member.write(member.context, 0, buffer, 1) == BRIX_FAILED, "a member cannot be written");
  Promise(member.set_size(member.context, 0, 0) == BRIX_FAILED, "a member cannot be cut");
  Promise(member.close(member.context) == BRIX_FAILED, "a member is the session's");
  (void)member.get_file_name(member.context, buffer, choice % 2);
  ArcMemberProp record{"filename", buffer, sizeof buffer, 0};
  Promise(ArcTkGetNamedMemberProp(session, &record) == BRIX_OK && buffer[0] != '\0', "a member has a name");
  (void)ArcTkGetIndexedMemberProp(session, choice, &record);
}

void Walk(ArcTkSession session, Host& host, uint32_t limit, uint32_t max_nesting_level) {
  uint32_t last_depth = 1;
  for (uint32_t step = 0; step < kMaxSteps; ++step) {
    const uint32_t choice = host.choices.Next();
    const bool descends = choice % 8 != 7;
    ArcStream member{};
    const int32_t status = ArcTkExtractNextMember(session, descends ? 1 : 0, &member);
    const uint32_t depth = ArcTkGetDepth(session);
    Promise(depth <= max_nesting_level, "no deeper than the limit allows");
    Promise(depth <= last_depth + (descends ? 1 : 0), "one level down at most, when asked to");
    last_depth = depth;
    if (status == BRIX_OK || status == BRIX_SIZE_LIMIT) {
      Inspect(session, member, status, limit, choice);
      continue;
    }
    Promise(member.read == nullptr, "no stream with another status");
    if (status == BRIX_NO_MORE_MEMBERS) {
      Promise(depth == 0 && Factory::open == 0, "nothing stays open behind the end");
      Promise(ArcTkExtractNextMember(session, 1, &member) == status, "the end of a session is final");
      return;
    }
    Promise(status == BRIX_FAILED || status == BRIX_NO_OUTPUT || status == BRIX_NESTING_LIMIT ||
                status == BRIX_OUT_OF_MEMORY,
            "no other status");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0 || size > brix::kMaxHostInput) return 0;
  Host host(std::span(data, size));
  const uint32_t limit = host.choices.Next() % 4 == 3 ? host.choices.Next() * 8 : kDefaultExtractSize;
  const uint32_t ratio = host.choices.Next() % 4 == 3 ? host.choices.Next() : 1000;
  const uint32_t max_nesting_level = host.choices.Next() % 4 == 3 ? 1 + host.choices.Next() % 8 : 10;
  const uint32_t kind = host.choices.Next();
  Factory factory{&host};
  Promise((kind % 4 == 3 ? ArcTkOpenTempFileStreamFactory(PrivateFolder().c_str(), &factory.ready)
                         : ArcTkOpenTempMemStreamFactory(&factory.ready)) == BRIX_OK,
          "a factory can be made");
  const ArcStreamFactory record{&factory, Factory::Create, nullptr};
  const ArcStream stream = host.Record();
  ArcTkSession session = nullptr;
  const int32_t status =
      ArcTkOpenModifyArchive(&stream, kind % 16 == 8 ? &stream : nullptr, &record, &session);
  Promise((status == BRIX_OK) == (session != nullptr), "a session comes with success alone");
  if (session != nullptr) {
    Promise(ArcTkSetMaxExtractSize(session, limit) == BRIX_OK, "limits are taken");
    Promise(ArcTkSetMaxCompressRatio(session, ratio) == BRIX_OK, "limits are taken");
    Promise(ArcTkSetMaxNestedLevel(session, max_nesting_level) == BRIX_OK, "limits are taken");
    Walk(session, host, limit, max_nesting_level);
    Promise(ArcTkCloseArchive(&session) == BRIX_OK && session == nullptr, "a session can be closed");
  }
  Promise(Factory::open == 0, "every stream of the factory was closed");
  Promise(ArcTkCloseStreamFactory(&factory.ready) == BRIX_OK, "a factory can be closed");
  if (kind % 4 == 3) Promise(std::filesystem::is_empty(PrivateFolder()), "no temporary file stays behind");
  return 0;
}

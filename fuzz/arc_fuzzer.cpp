// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// arc_fuzzer.cpp - the calls on one archive in any order that is allowed, over the host of fuzz_host.h: steps, names,
// extractions, properties, interruptions by a member's content, and their end.
#include <memory>
#include <vector>

#include "fuzz_host.h"

namespace {

using brix::Host;
using brix::Promise;

constexpr uint32_t kMaxSteps = 300;
constexpr size_t kMaxOutput = 1 << 18;  // bytes; the family has no limit of its own, so the target is one
constexpr size_t kMaxInterrupts = 8;

// The host's target, which may then be read as an archive. Fails by choice and when it is full.
struct Target {
  Host* host;
  std::vector<uint8_t> bytes;
  ArcStream record{};

  explicit Target(Host* owner) : host(owner) {
    Promise(ArcInitStream(&record) == BRIX_OK, "a record can be initialised");
    record.context = this;
    record.read = [](void* context, uint32_t offset, void* buffer, uint32_t length,
                     uint32_t* got) -> int32_t {
      const auto& content = static_cast<Target*>(context)->bytes;
      *got = offset < content.size()
                 ? static_cast<uint32_t>(std::min<size_t>(length, content.size() - offset))
                 : 0;
      if (*got != 0) std::memcpy(buffer, content.data() + offset, *got);
      return 0;
    };
    record.write = [](void* context, uint32_t offset, const void* buffer, uint32_t length) -> int32_t {
      auto& target = *static_cast<Target*>(context);
      if (target.host->Fault() != 0 || offset > kMaxOutput || length > kMaxOutput - offset) return -1;
      if (target.bytes.size() < offset + length) target.bytes.resize(offset + length);
      std::memcpy(target.bytes.data() + offset, buffer, length);
      return 0;
    };
    record.get_size = [](void* context, uint32_t* size) -> int32_t {
      *size = static_cast<uint32_t>(static_cast<Target*>(context)->bytes.size());
      return 0;
    };
  }
  Target(const Target&) = delete;
  Target& operator=(const Target&) = delete;
};

void AskProperties(ArcArchive archive, uint32_t choice, bool on_member) {
  constexpr const char* kNames[] = {"filename",     "filelength", "filetype",
                                    "fileencoding", "",           "decoded-subject"};
  char buffer[64];
  std::memset(buffer, 'x', sizeof buffer);
  const uint32_t room = choice % 40;
  ArcMemberProp record{"", choice % 7 == 0 ? nullptr : buffer, room, 0};
  std::strcpy(record.name, kNames[choice % std::size(kNames)]);
  const int32_t status = choice % 11 == 0 ? ArcGetIndexedMemberProp(archive, choice, &record)
                                          : ArcGetNamedMemberProp(archive, &record);
  Promise(std::count(buffer + room, buffer + sizeof buffer, 'x') == static_cast<long>(sizeof buffer - room),
          "nothing is written behind the buffer");
  Promise(on_member || status == BRIX_NO_CURRENT, "no property without a member");
  Promise(status != BRIX_OK || record.result_size <= room, "what was stored fits");
  Promise(status == BRIX_OK || status == BRIX_BAD_ARGUMENT || status == BRIX_NO_CURRENT ||
              status == BRIX_BUFFER_TOO_SMALL || status == BRIX_NO_PROPERTY,
          "no other status");
}

void Walk(ArcArchive* archive, Host& host) {
  std::vector<std::unique_ptr<Target>> interrupting;
  std::vector<bool> stands{false};  // on a member, for each archive from the suspended ones on
  for (uint32_t step = 0; step < kMaxSteps; ++step) {
    const uint32_t choice = host.choices.Next();
    auto target = std::make_unique<Target>(&host);
    switch (choice % 8) {
      case 1:
      case 2: {
        char name[512];
        uint32_t size = choice < 0x80 ? sizeof name : choice % 16;
        const uint32_t room = size;
        const int32_t status = ArcGetMemberName(*archive, name, &size);
        Promise((status == BRIX_NO_CURRENT) == !stands.back(), "a name with a member alone");
        Promise(status != BRIX_OK || (size <= room && name[0] != '\0' && name[size - 1] == '\0'),
                "a whole name");
        AskProperties(*archive, host.choices.Next(), stands.back());
        break;
      }
      case 3: {
        if (interrupting.size() == kMaxInterrupts) break;
        (void)ArcExtractMember(*archive, &target->record);
        ArcArchive const before = *archive;
        const int32_t status = ArcInterrupt(archive, &target->record, &host);
        Promise((status == BRIX_OK) == (*archive != before), "a new handle with success alone");
        if (status != BRIX_OK) break;
        interrupting.push_back(std::move(target));
        stands.push_back(false);
        break;
      }
      case 4: {
        ArcStream* stream = nullptr;
        void* value = nullptr;
        const int32_t status = ArcResume(archive, &stream, &value);
        Promise(status == (interrupting.empty() ? BRIX_NO_CURRENT : BRIX_OK),
                "what was interrupted is resumed");
        if (interrupting.empty()) break;
        Promise(stream == &interrupting.back()->record && value == &host, "what was given comes back");
        interrupting.pop_back();
        stands.pop_back();
        break;
      }
      case 5:
        Promise(ArcDeleteMember(*archive) == BRIX_FAILED, "nothing can be changed");
        Promise(ArcSetMemberProp(*archive, nullptr) == BRIX_FAILED, "nothing can be changed");
        break;
      default: {
        const int32_t status = ArcNextMember(*archive);
        stands.back() = status == BRIX_OK;
        if (status == BRIX_OK) {
          (void)ArcExtractMember(*archive, &target->record);
          break;
        }
        Promise(ArcNextMember(*archive) == BRIX_NO_MORE_MEMBERS, "the end of a walk is final");
        if (interrupting.empty() && choice % 8 != 7) return;
      }
    }
  }
  Promise(ArcCloseArchive(*archive) == BRIX_OK, "an archive can be closed over others");
  *archive = nullptr;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0 || size > brix::kMaxHostInput) return 0;
  Host host(std::span(data, size));
  const uint32_t choice = host.choices.Next();
  const ArcStream record = host.Record();
  ArcArchive archive = nullptr;
  const int32_t status = choice % 2 == 0 ? ArcOpenArchiveEx(&record, &archive, choice / 2)
                                         : ArcOpenModifyArchive(&record, &record, &archive, choice / 2);
  Promise((status == BRIX_OK) == (archive != nullptr), "a handle comes with success alone");
  if (archive != nullptr) Walk(&archive, host);
  if (archive != nullptr) Promise(ArcCloseArchive(archive) == BRIX_OK, "an archive can be closed");
  return 0;
}

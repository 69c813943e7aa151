// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

#include "walk.h"

#include <algorithm>
#include <array>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace brix::tool {

namespace {

// --- A stream that hands what is written to a visitor ---

struct Sink {
  Visitor* visitor;
  uint32_t bytes = 0;
  bool is_refused = false;
};

int32_t Close(void*) { return 0; }

int32_t ReadNothing(void*, uint32_t, void*, uint32_t, uint32_t*) { return -1; }

int32_t WriteToVisitor(void* context, uint32_t, const void* buffer, uint32_t length) {
  Sink& sink = *static_cast<Sink*>(context);
  sink.is_refused = !sink.visitor->OnData(buffer, length);
  if (!sink.is_refused) sink.bytes += length;
  return sink.is_refused ? -1 : 0;
}

int32_t GetUnknownSize(void*, uint32_t*) { return -1; }

int32_t ExtractTo(ArcTk2Archive archive, Sink* sink) {
  const ArcStream stream = {sink, Close, ReadNothing, WriteToVisitor, GetUnknownSize, nullptr, nullptr};
  return ArcTk2_ExtractToStream(&archive, &stream);
}

struct BlockFreer {
  void operator()(void* block) const { ArcTk2_FreeMemory(block); }
};

bool IsContainer(std::span<const uint8_t> data) {
  if (data.empty()) return false;
  const ToolkitPtr toolkit = MakeToolkit({});
  if (toolkit == nullptr) return false;
  const ArcStream stream = StreamOver(&data);
  ArcTk2Toolkit handle = toolkit.get();
  ArcTk2Archive archive = nullptr;
  if (ArcTk2_OpenArchiveStream(&handle, &stream, &archive) != BRIX_OK) return false;
  ArcTk2_CloseArchive(&archive);
  return true;
}

// --- Where the walk is ---

// Which member, on each level of containers from the outermost on.
class Place {
 public:
  // The next member is at `depth`, one deeper than the last at the most.
  void MoveTo(uint32_t depth) {
    if (numbers_.size() > depth) {
      numbers_.resize(size_t{depth} + 1);
      ++numbers_.back();
    } else {
      numbers_.push_back(0);
    }
  }

  // Whether this is `other` or a container on the way to it.
  [[nodiscard]] bool LeadsTo(const Place& other) const {
    return numbers_.size() <= other.numbers_.size() &&
           std::equal(numbers_.begin(), numbers_.end(), other.numbers_.begin());
  }

  friend bool operator==(const Place&, const Place&) = default;

 private:
  std::vector<uint32_t> numbers_;
};

class MemberPath {
 public:
  // The member `name` at `depth` is the current one.
  void Set(uint32_t depth, std::string_view name) {
    CutTo(depth);
    if (depth > 0) text_ += '/';
    text_ += name;
    ends_.push_back(text_.size());
  }

  // Keeps the names of the first `count` levels.
  void CutTo(size_t count) {
    if (count < ends_.size()) ends_.resize(count);
    text_.resize(ends_.empty() ? 0 : ends_.back());
  }

  [[nodiscard]] const std::string& text() const { return text_; }

 private:
  std::string text_;
  std::vector<size_t> ends_;  // for each level, where the path down to it ends
};

// The library keeps nothing of a member that fails, and not every format can decode one twice. So the bytes before the
// damage come from a second walk, which follows the first one and extracts only what is on its way.
class SecondWalk {
 public:
  explicit SecondWalk(OpenFile* input) : input_(input) {}

  // Extracts the member at `place`, which comes after those of earlier calls.
  void Extract(const Place& place, Sink* sink) {
    if (!is_open_) archive_ = input_->OpenAnother();
    is_open_ = true;
    ArcTk2Archive archive = archive_.get();
    char name[512];
    int32_t status = BRIX_OK;
    // Ends with the members, as each turn moves on.
    while ((status = ArcTk2_GetNextFile(&archive, name, sizeof name)) == BRIX_OK ||
           status == BRIX_PART_FAILED) {
      if (status != BRIX_OK) continue;
      uint32_t depth = 0;
      ArcTk2_GetDepth(&archive, &depth);
      place_.MoveTo(depth);
      if (!place_.LeadsTo(place)) continue;
      if (place_ == place) {
        (void)ExtractTo(archive, sink);
        return;
      }
      uint32_t size = 0;
      (void)ArcTk2_ExtractToMemory(&archive, nullptr, &size);
    }
  }

 private:
  OpenFile* const input_;
  bool is_open_ = false;
  ArchivePtr archive_;
  Place place_;
};

MemberResult ResultOf(ArcTk2Archive archive, int32_t status) {
  switch (status) {
    case BRIX_OK:
      return MemberResult::kOk;
    case BRIX_SIZE_LIMIT:
      return MemberResult::kSizeLimit;
    case BRIX_RATIO_LIMIT:
      return MemberResult::kRatioLimit;
    default:
      break;
  }
  uint32_t why = BRIX_MEMBER_NORMAL;
  if (ArcTk2_GetMemberStatus(&archive, &why) != BRIX_OK) return MemberResult::kDamaged;
  if (why == BRIX_MEMBER_ENCRYPTED) return MemberResult::kEncrypted;
  return why == BRIX_MEMBER_UNSUPPORTED ? MemberResult::kUnsupported : MemberResult::kDamaged;
}

void ReportMember(std::string_view file, const Member& member, Report* report) {
  const ResultText& text = TextOf(member.result);
  if (text.code == kExitInspected) return;
  const bool has_beginning = member.result == MemberResult::kDamaged && member.size > 0;
  report->Problem(text.code, file, member.path,
                  has_beginning
                      ? "damaged, only its first " + std::to_string(member.size) + " bytes extracted"
                      : text.sentence);
}

// Hands the current member's bytes to the visitor as they come, and tells it the result.
bool StreamMember(ArcTk2Archive archive, std::string_view file, Member member, Visitor* visitor,
                  Report* report) {
  Sink sink{visitor};
  member.result = ResultOf(archive, ExtractTo(archive, &sink));
  member.size = sink.bytes;
  const bool go_on = visitor->OnMember(member);
  if (!sink.is_refused) ReportMember(file, member, report);  // else the visitor knows why
  return go_on;
}

// Extracts the current member, tells the visitor and reports what stopped it. False ends the walk. `beginning` extracts
// what comes before the damage, when that is wanted.
bool VisitMember(ArcTk2Archive archive, std::string_view file, const Limits& limits, Member member,
                 const std::function<void(Sink*)>& beginning, Visitor* visitor, Report* report) {
  // The library does not say that it stays out of a container, so at the last level we look ourselves.
  const bool is_last_level = member.depth + uint64_t{1} >= limits.max_depth;
  void* block = nullptr;
  const bool copy = beginning != nullptr || is_last_level;
  const int32_t status = ArcTk2_ExtractToMemory(&archive, copy ? &block : nullptr, &member.size);
  const std::unique_ptr<void, BlockFreer> freer(block);
  member.result = ResultOf(archive, status);
  const bool has_data = status == BRIX_OK || status == BRIX_SIZE_LIMIT;
  if (!has_data) member.size = 0;
  member.data = has_data ? static_cast<const uint8_t*>(block) : nullptr;
  if (is_last_level && status == BRIX_OK && IsContainer({member.data, member.size})) {
    member.result = MemberResult::kDepthLimit;
  }
  if (member.result == MemberResult::kDamaged && beginning != nullptr) {
    Sink sink{visitor};
    beginning(&sink);
    member.size = sink.bytes;
  }
  report->Tick(file, member.size);
  const bool go_on = visitor->OnMember(member);
  // Who ends the walk here has what it wanted, and does not mind that this container is not entered.
  const bool is_moot = !go_on && member.result == MemberResult::kDepthLimit;
  if (!is_moot) ReportMember(file, member, report);
  return go_on;
}

// What the walk did not show although every call went well.
void ReportUnseen(ArcTk2Archive archive, std::string_view file, Visitor* visitor, Report* report) {
  static constexpr std::array<UnseenText, 3> kTexts = {{
      {BRIX_UNSEEN_CONTINUED, "continued-members",
       "members that begin or go on in another volume or cabinet were not shown"},
      {BRIX_UNSEEN_NOTHING, "nothing-shown", "a mail with nothing in it to show"},
      {BRIX_UNSEEN_DATA, "data-outside", "data that belong to no member were not looked at"},
  }};
  uint32_t unseen = 0;
  if (ArcTk2_GetUnseen(&archive, &unseen) != BRIX_OK) return;
  for (const UnseenText& text : kTexts) {
    if ((unseen & text.bit) == 0) continue;
    visitor->OnUnseen(text);
    report->Problem(kExitMember, file, {}, text.sentence);
  }
}

}  // namespace

const ResultText& TextOf(MemberResult result) {
  static constexpr std::array<ResultText, 7> kTexts = {{
      {"ok", "", kExitInspected},
      {"encrypted", "encrypted, not extracted", kExitMember},
      {"unsupported", "compression method not supported, not extracted", kExitMember},
      {"damaged", "damaged or of an unknown method, not extracted", kExitMember},
      {"size-limit", "cut at the size limit (--max-size)", kExitLimit},
      {"ratio-limit", "dropped, compression ratio above the limit (--max-ratio)", kExitLimit},
      {"depth-limit", "a container at the nesting limit, not looked into (--max-depth)", kExitLimit},
  }};
  return kTexts[static_cast<size_t>(result)];
}

void WalkArchive(OpenFile* input, const Limits& limits, Visitor* visitor, Report* report) {
  const std::string& file = input->path();
  ArcTk2Archive archive = input->archive();
  char name[512];
  MemberPath path;
  Place place;
  SecondWalk second(input);
  uint32_t depth_before = 0;
  // Ends with the members of the tree; a broken nested container is left by the call that reports it.
  for (;;) {
    const int32_t status = ArcTk2_GetNextFile(&archive, name, sizeof name);
    if (status == BRIX_NO_MORE_MEMBERS) break;
    if (status == BRIX_OUT_OF_MEMORY) {  // told once for a container, which the next call leaves
      report->Problem(kExitCannotRead, file, path.text(), "out of memory, not looked into");
      continue;
    }
    uint32_t depth = 0;
    ArcTk2_GetDepth(&archive, &depth);
    if (status != BRIX_OK) {
      const bool is_nested = status == BRIX_PART_FAILED;
      path.CutTo(is_nested ? size_t{depth} + 1 : 0);
      uint32_t why = BRIX_MEMBER_NORMAL;
      const bool is_encrypted =
          ArcTk2_GetMemberStatus(&archive, &why) == BRIX_OK && why == BRIX_MEMBER_ENCRYPTED;
      visitor->OnBrokenContainer(path.text(), depth, is_encrypted);
      report->Problem(kExitMember, file, path.text(),
                      is_encrypted ? "the list of members is encrypted" : "the list of members is damaged");
      if (!is_nested) break;
      depth_before = depth;
      continue;
    }
    Member member = {name, {}, depth, BRIX_TYPE_NONE, MemberResult::kOk, 0, nullptr};
    ArcTk2_ArchiveGetCurrentType(&archive, &member.container);
    if (depth > depth_before) visitor->OnEnter(member.container);
    depth_before = depth;
    path.Set(depth, name);
    place.MoveTo(depth);
    member.path = path.text();
    const Visitor::Want want = visitor->Choose(member.path);
    if (want == Visitor::Want::kSkip) continue;
    const auto beginning = [&](Sink* sink) { second.Extract(place, sink); };
    const bool go_on = want == Visitor::Want::kStream ? StreamMember(archive, file, member, visitor, report)
                       : want == Visitor::Want::kData
                           ? VisitMember(archive, file, limits, member, beginning, visitor, report)
                           : VisitMember(archive, file, limits, member, nullptr, visitor, report);
    if (!go_on) return;
  }
  ReportUnseen(archive, file, visitor, report);
}

}  // namespace brix::tool

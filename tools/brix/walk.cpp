#include "walk.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <span>

#include "output.h"
#include "system.h"

namespace brix::tool {

namespace {

// --- A stream over memory for the library ---

using Memory = std::span<const uint8_t>;

int32_t CloseMemory(void*) { return 0; }

int32_t ReadMemory(void* context, uint32_t offset, void* buffer, uint32_t length, uint32_t* got) {
  const Memory& memory = *static_cast<const Memory*>(context);
  const size_t left = offset < memory.size() ? memory.size() - offset : 0;
  *got = static_cast<uint32_t>(std::min<size_t>(left, length));
  if (*got > 0) std::memcpy(buffer, memory.data() + offset, *got);
  return 0;
}

int32_t WriteMemory(void*, uint32_t, const void*, uint32_t) { return -1; }

int32_t GetMemorySize(void* context, uint32_t* size) {
  *size = static_cast<uint32_t>(static_cast<const Memory*>(context)->size());
  return 0;
}

ArcStream StreamOver(Memory* memory) {
  return {memory, CloseMemory, ReadMemory, WriteMemory, GetMemorySize, nullptr, nullptr};
}

// --- A stream that hands what is written to a visitor ---

int32_t ReadNothing(void*, uint32_t, void*, uint32_t, uint32_t*) { return -1; }

int32_t WriteToVisitor(void* context, uint32_t, const void* buffer, uint32_t length) {
  return static_cast<Visitor*>(context)->OnData(buffer, length) ? 0 : -1;
}

int32_t GetUnknownSize(void*, uint32_t*) { return -1; }

ArcStream StreamTo(Visitor* visitor) {
  return {visitor, CloseMemory, ReadNothing, WriteToVisitor, GetUnknownSize, nullptr, nullptr};
}

struct BlockFreer {
  void operator()(void* block) const { ArcTk2_FreeMemory(block); }
};

// The library's number counts one level more than it walks.
uint32_t NestingLevel(const Limits& limits) {
  return limits.max_depth == UINT32_MAX ? UINT32_MAX : limits.max_depth + 1;
}

bool IsContainer(Memory data) {
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

// --- The path of the current member ---

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

// Hands the current member's bytes to the visitor as they come, and tells it the result.
bool StreamMember(ArcTk2Archive archive, std::string_view file, Member member, Visitor* visitor,
                  Report* report) {
  const ArcStream sink = StreamTo(visitor);
  member.result = ResultOf(archive, ArcTk2_ExtractToStream(&archive, &sink));
  const bool go_on = visitor->OnMember(member);
  const ResultText& text = TextOf(member.result);
  // A visitor that took no more of it knows why.
  if (text.code != kExitInspected && !OutputFailed())
    report->Problem(text.code, file, member.path, text.sentence);
  return go_on;
}

// Extracts the current member, tells the visitor and reports what stopped it. False ends the walk.
bool VisitMember(ArcTk2Archive archive, std::string_view file, const Limits& limits, Member member,
                 bool want_data, Visitor* visitor, Report* report) {
  // The library does not say that it stays out of a container, so at the last level we look ourselves.
  const bool is_last_level = member.depth + uint64_t{1} >= limits.max_depth;
  void* block = nullptr;
  const bool copy = want_data || is_last_level;
  const int32_t status = ArcTk2_ExtractToMemory(&archive, copy ? &block : nullptr, &member.size);
  const std::unique_ptr<void, BlockFreer> freer(block);
  member.result = ResultOf(archive, status);
  const bool has_data = status == BRIX_OK || status == BRIX_SIZE_LIMIT;
  if (!has_data) member.size = 0;
  member.data = has_data ? static_cast<const uint8_t*>(block) : nullptr;
  if (is_last_level && status == BRIX_OK && IsContainer({member.data, member.size})) {
    member.result = MemberResult::kDepthLimit;
  }
  report->Tick(file, member.size);
  const bool go_on = visitor->OnMember(member);
  const ResultText& text = TextOf(member.result);
  // Who ends the walk here has what it wanted, and does not mind that this container is not entered.
  const bool is_moot = !go_on && member.result == MemberResult::kDepthLimit;
  if (text.code != kExitInspected && !is_moot) report->Problem(text.code, file, member.path, text.sentence);
  return go_on;
}

}  // namespace

ToolkitPtr MakeToolkit(const Limits& limits) {
  ArcTk2Toolkit toolkit = nullptr;
  if (ArcTk2_Init(&toolkit) != BRIX_OK) return nullptr;
  ToolkitPtr owner(toolkit);
  const int32_t status =
      ArcTk2_SetToolkitLimits(&toolkit, limits.max_size, limits.max_ratio, NestingLevel(limits));
  return status == BRIX_OK ? std::move(owner) : nullptr;
}

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

OpenFile::~OpenFile() {
  if (archive_ != nullptr) ArcTk2_CloseArchive(&archive_);
}

ExitCode OpenFile::Open(ArcTk2Toolkit toolkit, const std::string& path, Report* report) {
  std::string why;
  const ExitCode code = TryOpen(toolkit, path, &why);
  if (code != kExitInspected) report->Problem(code, path, {}, why);
  return code;
}

ExitCode OpenFile::TryOpen(ArcTk2Toolkit toolkit, const std::string& path, std::string* why) {
  uint64_t size = 0;
  const FileKind kind = InspectFile(path, &content_, &size, why);
  if (kind == FileKind::kUnreadable) return kExitCannotRead;
  if (kind == FileKind::kDirectory) *why = "is a directory";
  if (kind == FileKind::kTooLarge) *why = "4 GiB or larger, cannot be inspected";
  if (kind != FileKind::kRegular && kind != FileKind::kSpooled) return kExitCannotRead;
  if (size == 0) {
    *why = "not an archive (empty file)";
    return kExitNotArchive;
  }
  int32_t status = BRIX_FAILED;
  if (kind == FileKind::kSpooled) {
    memory_ = content_;
    stream_ = StreamOver(&memory_);
    status = ArcTk2_OpenArchiveStream(&toolkit, &stream_, &archive_);
  } else {
    status = ArcTk2_OpenArchive(&toolkit, path.c_str(), &archive_);
  }
  switch (status) {
    case BRIX_OK:
      return kExitInspected;
    case BRIX_NOT_AN_ARCHIVE:
      *why = "not an archive";
      return kExitNotArchive;
    case BRIX_OUT_OF_MEMORY:
      *why = "out of memory";
      return kExitCannotRead;
    default:
      *why = "cannot be read";
      return kExitCannotRead;
  }
}

void WalkArchive(ArcTk2Archive archive, std::string_view file, const Limits& limits, Visitor* visitor,
                 Report* report) {
  char name[512];
  MemberPath path;
  uint32_t depth_before = 0;
  // Ends with the members of the tree; a broken nested container is left by the call that reports it.
  for (;;) {
    const int32_t status = ArcTk2_GetNextFile(&archive, name, sizeof name);
    if (status == BRIX_NO_MORE_MEMBERS) return;
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
      if (!is_nested) return;
      depth_before = depth;
      continue;
    }
    Member member = {name, {}, depth, BRIX_TYPE_NONE, MemberResult::kOk, 0, nullptr};
    ArcTk2_ArchiveGetCurrentType(&archive, &member.container);
    if (depth > depth_before) visitor->OnEnter(member.container);
    depth_before = depth;
    path.Set(depth, name);
    member.path = path.text();
    const Visitor::Want want = visitor->Choose(member.path);
    if (want == Visitor::Want::kSkip) continue;
    const bool go_on =
        want == Visitor::Want::kStream
            ? StreamMember(archive, file, member, visitor, report)
            : VisitMember(archive, file, limits, member, want == Visitor::Want::kData, visitor, report);
    if (!go_on) return;
  }
}

}  // namespace brix::tool

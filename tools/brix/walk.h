// walk.h - opens one file through the library and walks all that is nested inside it.
//
// Every command is a visitor of this one walk, so they agree on what a member is called, what stopped it and
// which exit code that means.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "brixcore/brixcore.h"
#include "report.h"

namespace brix::tool {

struct Limits {
  uint32_t max_depth = 9;        // levels of containers that are walked, the file itself being the first
  uint32_t max_size = 52428800;  // bytes a member may yield
  uint32_t max_ratio = 1000;     // bytes out for each byte of the smallest container on the way
};

struct ToolkitCloser {
  void operator()(ArcTk2Toolkit toolkit) const { ArcTk2_Close(&toolkit); }
};
using ToolkitPtr = std::unique_ptr<ArcTk2ToolkitRecord, ToolkitCloser>;

// A toolkit for any number of files and threads; null when memory is exhausted.
[[nodiscard]] ToolkitPtr MakeToolkit(const Limits& limits);

// One file opened as an archive: by its path, or from memory when it is no regular file.
class OpenFile {
 public:
  OpenFile() = default;
  OpenFile(const OpenFile&) = delete;
  OpenFile& operator=(const OpenFile&) = delete;
  ~OpenFile();

  // kExitInspected when it is open; else the exit code that tells the reason, which is also a line in the report.
  [[nodiscard]] ExitCode Open(ArcTk2Toolkit toolkit, const std::string& path, Report* report);
  // The same with the reason in `why` only.
  [[nodiscard]] ExitCode TryOpen(ArcTk2Toolkit toolkit, const std::string& path, std::string* why);

  [[nodiscard]] ArcTk2Archive archive() const { return archive_; }

 private:
  std::vector<uint8_t> content_;
  std::span<const uint8_t> memory_;  // the stream's context
  ArcStream stream_ = {};
  ArcTk2Archive archive_ = nullptr;
};

enum class MemberResult { kOk, kEncrypted, kUnsupported, kDamaged, kSizeLimit, kRatioLimit, kDepthLimit };

// The word for JSON, the sentence for a reader, and the exit code.
struct ResultText {
  const char* word;
  const char* sentence;
  ExitCode code;
};
[[nodiscard]] const ResultText& TextOf(MemberResult result);

struct Member {
  std::string_view name;  // as stored in its container
  std::string_view path;  // the names of the containers on the way, and its own, joined by '/'
  uint32_t depth;         // 0: in the file itself
  uint32_t container;     // type number of the container it stands in
  MemberResult result;
  uint32_t size;        // bytes extracted
  const uint8_t* data;  // `size` bytes; null unless asked for and there are any results
};

class Visitor {
 public:
  enum class Want {
    kSkip,  // do not extract it and do not look inside
    kSize,  // extract and look inside, without a copy of the data
    kData,
    kStream,  // hand the bytes to OnData as they are decoded; do not look inside
  };

  virtual ~Visitor() = default;
  virtual Want Choose(std::string_view /*path*/) { return Want::kSize; }
  // False ends the walk.
  virtual bool OnMember(const Member& member) = 0;
  // The next bytes of the member whose data are streamed, before OnMember tells of it. False: extract no further.
  virtual bool OnData(const void* /*data*/, size_t /*size*/) { return true; }
  // The member told last is a container of this type; its members come next.
  virtual void OnEnter(uint32_t /*type*/) {}
  // The list of members of the container at `path` is damaged, or encrypted; empty: of the file itself.
  virtual void OnBrokenContainer(std::string_view /*path*/, uint32_t /*depth*/, bool /*is_encrypted*/) {}
};

// Walks an open file. Problems go to the report, each as one line with the file, the member and the reason.
void WalkArchive(ArcTk2Archive archive, std::string_view file, const Limits& limits, Visitor* visitor,
                 Report* report);

}  // namespace brix::tool

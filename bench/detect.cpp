// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// detect.cpp - telling what 5,000 small files are, half of them containers.
//
// Ours opens each by the exported functions and closes it again; a type that is recognised but cannot be read counts
// as no archive there. The members column of the table is how many files were said to be something.
#include <brixcore/brixcore.h>

#include <algorithm>
#include <filesystem>
#include <memory>

#include "contenders.h"
#ifdef BRIX_PEER_LIBARCHIVE
#include <archive.h>
#include <archive_entry.h>
#endif
#ifdef BRIX_PEER_LIBMAGIC
#include <magic.h>
#endif

namespace bench {
namespace {

struct File {
  std::string path;
  Bytes bytes;
};
using Files = std::shared_ptr<const std::vector<File>>;

Files ReadFiles(const Data& data) {
  std::vector<std::string> names;
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(data.Path("small-files"), error)) {
    names.push_back("small-files/" + entry.path().filename().string());
  }
  std::sort(names.begin(), names.end());
  auto files = std::make_shared<std::vector<File>>();
  for (const std::string& name : names) files->push_back({data.Path(name), data.Read(name)});
  return files;
}

// Asks `is_archive` about each file.
template <typename Ask>
Contender Detector(const char* name, const Files& files, Ask is_archive) {
  return {name, [=](Sink& sink) {
            for (const File& file : *files) {
              if (is_archive(file)) sink.EndMember();
            }
            return !files->empty();
          }};
}

Contender Brix(const Files& files, bool from_memory) {
  const std::shared_ptr<ArcTk2Toolkit> toolkit(new ArcTk2Toolkit{}, [](ArcTk2Toolkit* t) {
    (void)ArcTk2_Close(t);
    delete t;
  });
  (void)ArcTk2_Init(toolkit.get());
  return Detector("brix", files, [=](const File& file) {
    ArcTk2Archive archive = nullptr;
    if (!from_memory) {
      if (ArcTk2_OpenArchive(toolkit.get(), file.path.c_str(), &archive) != BRIX_OK) return false;
      (void)ArcTk2_CloseArchive(&archive);
      return true;
    }
    ArcStream in{};
    if (ArcTkOpenFixedMemStream(&in, file.bytes.data(), static_cast<uint32_t>(file.bytes.size())) !=
        BRIX_OK) {
      return false;
    }
    const bool ok = ArcTk2_OpenArchiveStream(toolkit.get(), &in, &archive) == BRIX_OK;
    if (ok) (void)ArcTk2_CloseArchive(&archive);
    (void)in.close(in.context);
    return ok;
  });
}

#ifdef BRIX_PEER_LIBARCHIVE
// Its formats bid when the first header is asked for.
Contender Libarchive(const Files& files, bool from_memory) {
  return Detector("libarchive", files, [=](const File& file) {
    const std::unique_ptr<archive, decltype(&archive_read_free)> a(archive_read_new(), &archive_read_free);
    archive_read_support_filter_all(a.get());
    archive_read_support_format_all(a.get());
    archive_entry* entry = nullptr;
    const int opened = from_memory ? archive_read_open_memory(a.get(), file.bytes.data(), file.bytes.size())
                                   : archive_read_open_filename(a.get(), file.path.c_str(), 10240);
    return opened == ARCHIVE_OK && archive_read_next_header(a.get(), &entry) == ARCHIVE_OK;
  });
}
#endif

#ifdef BRIX_PEER_LIBMAGIC
Contender Libmagic(const Files& files, bool from_memory) {
  const std::shared_ptr<magic_set> magic(magic_open(MAGIC_NONE), &magic_close);
  magic_load(magic.get(), nullptr);
  return Detector("libmagic", files, [=](const File& file) {
    return (from_memory ? magic_buffer(magic.get(), file.bytes.data(), file.bytes.size())
                        : magic_file(magic.get(), file.path.c_str())) != nullptr;
  });
}
#endif

Area Detect(const Data& data, bool from_memory) {
  const Files files = ReadFiles(data);
  Area area = {
      from_memory ? "Detection of 5,000 small files in memory" : "Detection of 5,000 small files on disk",
      {Brix(files, from_memory)},
      {{Measure::kSpeed, "brix", "libarchive", 1.5, 2.5}, {Measure::kSpeed, "brix", "libmagic", 15, 30}}};
#ifdef BRIX_PEER_LIBARCHIVE
  area.contenders.push_back(Libarchive(files, from_memory));
#endif
#ifdef BRIX_PEER_LIBMAGIC
  area.contenders.push_back(Libmagic(files, from_memory));
#endif
  return area;
}

}  // namespace

Area DetectFiles(const Data& data) { return Detect(data, false); }
Area DetectMemory(const Data& data) { return Detect(data, true); }

Area DetectProcess(const Data& data) {
  std::vector<std::string> brix = {BRIX_BENCH_PROGRAM, "id"}, file = {"file"};
  const Files files = ReadFiles(data);
  for (const File& each : *files) {
    brix.push_back(each.path);
    file.push_back(each.path);
  }
  constexpr int kSomeAreNone = 3;
  return {"Detection of 5,000 small files, programs",
          {Program("brix", brix, Writes::kNothing, kSomeAreNone), Program("file", file, Writes::kNothing)},
          {{Measure::kSpeed, "brix", "file"}}};
}

}  // namespace bench

// archive_bench.cpp - whole walks in process, from detection to the last member, beside libarchive.
//
// BRIX_BENCH_DIR names the folder made by make_data.py. Both read the file from memory. Ours writes to a stream that
// discards, or keeps a member; libarchive hands out blocks, which are dropped, or copied behind one another.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "core/memory_stream.h"
#include "formats/registry.h"
#ifdef BRIX_PEER_LIBARCHIVE
#include <archive.h>
#include <archive_entry.h>
#endif

namespace {

constexpr const char* kFiles[] = {"corpus.tar", "corpus.tar.gz", "corpus.gz"};

// Counts what it is given and forgets it.
class DiscardStream final : public brix::Stream {
 public:
  bool ReadAt(uint32_t, uint8_t*, uint32_t, uint32_t* got) override { return *got = 0, false; }
  bool WriteAt(uint32_t, const uint8_t* buf, uint32_t size, uint32_t* written) override {
    benchmark::DoNotOptimize(buf[0]);
    *written = size;
    return true;
  }
  bool GetSize(uint32_t* size) override { return *size = 0, true; }
  bool SetSize(uint32_t) override { return true; }
};

std::vector<uint8_t> Load(const std::string& name) {
  std::ifstream in(std::string(std::getenv("BRIX_BENCH_DIR")) + "/" + name, std::ios::binary);
  const std::vector<char> text{std::istreambuf_iterator<char>(in), {}};
  return {text.begin(), text.end()};
}

template <typename Out>
void BM_Brix(benchmark::State& state, const std::vector<uint8_t>& file) {
  uint64_t bytes = 0;
  Out out;
  for (auto _ : state) {
    brix::FixedMemoryStream in(file);
    const std::unique_ptr<brix::ArchiveHandler> handler(
        brix::Formats().CreateArchiveHandlerAnyType(&in, 0, 0));
    char name[brix::kNameBufferSize];
    bool ok = handler != nullptr && handler->OpenArchive(name);
    while (ok && name[0] != '\0') {
      uint32_t written = 0;
      (void)out.SetSize(0);
      ok = handler->ExtractMember(&out, 0, &written) && handler->NextMember(name);
      bytes += written;
    }
    if (!ok) return state.SkipWithError("failed");
  }
  state.SetBytesProcessed(static_cast<int64_t>(bytes));
}

#ifdef BRIX_PEER_LIBARCHIVE
void BM_Libarchive(benchmark::State& state, const std::vector<uint8_t>& file, bool keep) {
  uint64_t bytes = 0;
  std::vector<uint8_t> kept;
  for (auto _ : state) {
    archive* a = archive_read_new();
    archive_read_support_filter_gzip(a);
    archive_read_support_format_tar(a);
    archive_read_support_format_raw(a);
    archive_read_open_memory(a, file.data(), file.size());
    archive_entry* entry = nullptr;
    while (archive_read_next_header(a, &entry) == ARCHIVE_OK) {
      const void* block = nullptr;
      size_t size = 0;
      la_int64_t offset = 0;
      kept.clear();
      while (archive_read_data_block(a, &block, &size, &offset) == ARCHIVE_OK) {
        const auto* from = static_cast<const uint8_t*>(block);
        if (keep) kept.insert(kept.end(), from, from + size);
        bytes += size;
      }
    }
    archive_read_free(a);
  }
  state.SetBytesProcessed(static_cast<int64_t>(bytes));
}
#endif

}  // namespace

int main(int argc, char** argv) {
  if (std::getenv("BRIX_BENCH_DIR") == nullptr) {
    std::fprintf(stderr, "set BRIX_BENCH_DIR (make_data.py makes it)\n");
    return 1;
  }
  std::vector<std::vector<uint8_t>> files;
  for (const char* name : kFiles) files.push_back(Load(name));
  for (size_t i = 0; i < files.size(); ++i) {
    const std::vector<uint8_t>& file = files[i];
    const std::string name = kFiles[i];
    const auto add = [](const std::string& title, auto run) {
      benchmark::RegisterBenchmark(title.c_str(), run)->Unit(benchmark::kMillisecond);
    };
    add(name + "/brix/discard", [&](benchmark::State& state) { BM_Brix<DiscardStream>(state, file); });
    add(name + "/brix/memory", [&](benchmark::State& state) { BM_Brix<brix::MemoryStream>(state, file); });
#ifdef BRIX_PEER_LIBARCHIVE
    add(name + "/libarchive/discard", [&](benchmark::State& state) { BM_Libarchive(state, file, false); });
    add(name + "/libarchive/memory", [&](benchmark::State& state) { BM_Libarchive(state, file, true); });
#endif
  }
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
}

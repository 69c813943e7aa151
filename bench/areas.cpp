// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// areas.cpp - every area and every goal on one page, and the command line. Meant to be started by run.py.
//
// Three kinds: walks through one archive in process, programs run over one archive, and what has a file of its own.
#include <array>
#include <cstdio>
#include <cstring>
#include <memory>

#include "contenders.h"

namespace {

using namespace bench;  // NOLINT(google-build-using-namespace): this is its page

struct Row {
  std::string name;
  std::function<Area(const Data& data)> make;
};

constexpr const char* kStream = "brix to a stream";
constexpr const char* kMemory = "brix to memory";

Goal Speed(const char* ours, const char* peer, double floor = 0, double goal = 0) {
  return {Measure::kSpeed, ours, peer, floor, goal};
}
Goal Time(const char* peer, double floor = 0, double goal = 0) {
  return {Measure::kTime, "brix", peer, floor, goal};
}

// Who walks `file` beside us; and whether it is a nest, in which a member in a host's stream would not be looked into.
enum Peer : uint32_t {
  kLibarchive = 1,
  kThinZip = 2,
  kThinGzip = 4,
  kMspack = 8,
  kMspackHelp = 16,
  kMemcpy = 32,
  kNest = 64,
  kGmime = 128,
  kGmimeBlocks = 256
};

Row Walk(const char* name, const char* title, const char* file, uint32_t peers,
         const std::vector<Goal>& goals, uint32_t repeats = 1) {
  return {name, [=](const Data& data) {
            Area area{std::string(title) + ", the whole walk", {}, goals, data.Expected(file), repeats};
            const auto archive = std::make_shared<const Bytes>(data.Read(file));
            const auto add = [&](const char* who, auto walk) {
              area.contenders.push_back(
                  {who, [=](Sink& sink) { return !archive->empty() && walk(*archive, sink); }});
            };
            const auto ours = [](Target target) {
              return [=](ByteSpan bytes, Sink& sink) { return WalkWithBrix(bytes, target, sink); };
            };
            if ((peers & kNest) == 0) add(kStream, ours(Target::kStream));
            add(kMemory, ours(Target::kMemory));
            if ((peers & kLibarchive) != 0) add("libarchive", WalkWithLibarchive);
            if ((peers & kThinZip) != 0) add("libdeflate", WalkZipWithLibdeflate);
            if ((peers & kThinGzip) != 0) add("libdeflate", WalkGzipWithLibdeflate());
            if ((peers & kMspack) != 0) add("libmspack", WalkCabinetWithMspack);
            if ((peers & kMspackHelp) != 0) add("libmspack", WalkHelpWithMspack);
            if ((peers & kGmime) != 0) add("GMime", WalkMailWithGmime);
            if ((peers & kGmimeBlocks) != 0) add("GMime", WalkBlocksWithGmime);
            if ((peers & kMemcpy) != 0) area.contenders.push_back(Memcpy(data, file));
            return area;
          }};
}

// A program's name in the table, its command, and what that writes: {} is the file, {brix} our program, {loop}
// nested_loop.sh. One with a | is the shell's.
struct Command {
  std::string name;
  std::string line;
  Writes writes = Writes::kMembers;
};

const Command kBrix = {"brix", "{brix} ls {}", Writes::kListing};
const Command kBsdtar = {"bsdtar", "bsdtar -xOf {}"};
const Command kSevenZip = {"7zz", "7zz x -so -mmt1 {}"};
const Command kUnar = {"unar", "unar -q -o - {}"};
const Command kCabextract = {"cabextract", "cabextract -qp {}"};

Row Programs(const char* name, const char* title, const char* file, const std::vector<Command>& commands,
             const std::vector<Goal>& goals, uint32_t repeats = 1) {
  return {name, [=](const Data& data) {
            Area area{std::string(title) + ", programs", {}, goals, data.Expected(file), repeats};
            for (const Command& command : commands) {
              area.contenders.push_back(Program(command.name, command.line, data.Path(file), command.writes));
            }
            return area;
          }};
}

// Deflate64 against our own Deflate: one content in three archives.
Area Deflate64(const Data& data) {
  Area area{"Deflate64 against our own Deflate, the same content", {}, {}, data.Expected("deflate64.zip")};
  for (const auto& [name, file] :
       {std::pair{"Deflate64", "deflate64.zip"}, std::pair{"Deflate", "corpus-6.zip"},
        std::pair{"Deflate by 7zz", "deflate.zip"}}) {
    area.contenders.push_back({name, [archive = std::make_shared<const Bytes>(data.Read(file))](Sink& sink) {
                                 return WalkWithBrix(*archive, Target::kStream, sink);
                               }});
  }
  area.goals = {Speed("Deflate64", "Deflate", 0.95, 1.00), Speed("Deflate64", "Deflate by 7zz")};
  return area;
}

const std::vector<Row>& Rows() {
  static const std::vector<Row> rows = {
      {"inflate", Inflate},
      {"inflate-small", InflateSmall},
      {"lzma", Lzma},
      {"bzip2", Bzip2},

      Walk("zip", "ZIP of 16 large members", "corpus-6.zip", kLibarchive | kThinZip,
           {Speed(kStream, "libdeflate", 0.90, 1.00), Speed(kMemory, "libdeflate", 0.90, 1.00),
            Speed(kStream, "libarchive")}),
      Programs("zip-process", "ZIP of 16 large members", "corpus-6.zip", {kBrix, kBsdtar, kSevenZip},
               {Time("bsdtar", 0.50, 0.45), Time("7zz")}),
      Walk("zip-small", "ZIP of 20,000 small members", "many-small.zip", kLibarchive | kThinZip,
           {Speed(kStream, "libdeflate", 0.90, 1.05), Speed(kMemory, "libdeflate", 0.90, 1.05),
            Speed(kStream, "libarchive")}),
      Programs("zip-small-process", "ZIP of 20,000 small members", "many-small.zip",
               {kBrix, kBsdtar, kSevenZip}, {Time("bsdtar", 0.50, 0.40), Time("7zz")}),
      Walk("stored", "ZIP, stored", "stored.zip", kLibarchive | kMemcpy,
           {Speed(kStream, "memcpy"), Speed(kMemory, "memcpy")}),
      Programs("stored-process", "ZIP, stored", "stored.zip", {kBrix, kBsdtar, kSevenZip},
               {Time("bsdtar", 1.00, 0.50), Time("7zz")}),
      {"deflate64", Deflate64},
      Programs("deflate64-process", "Deflate64", "deflate64.zip", {kBrix, kSevenZip},
               {Time("7zz", 0.40, 0.33)}),

      Walk("gzip", "GZIP of 48 MB", "corpus.gz", kLibarchive | kThinGzip,
           {Speed(kStream, "libdeflate", 0.90, 1.00), Speed(kMemory, "libdeflate", 0.90, 1.00)}),
      Programs("gzip-process", "GZIP of 48 MB", "corpus.gz",
               {{"brix", "{brix} cat {} unknown"},  // what a member without a name is called
                {"brix ls", kBrix.line, kBrix.writes},
                {"igzip", "igzip -dc {}"},
                {"libdeflate-gzip", "libdeflate-gzip -dc {}"},
                {"gzip", "gzip -dc {}"},
                kSevenZip},
               {Time("igzip", 1.05, 0.95), Time("libdeflate-gzip")}),
      Walk("tar", "TAR of 16 large members", "corpus.tar", kLibarchive | kMemcpy,
           {Speed(kStream, "memcpy"), Speed(kMemory, "memcpy")}),
      Walk("tar-small", "TAR of 20,000 small members", "many-small.tar", kLibarchive,
           {Speed(kStream, "libarchive"), Speed(kMemory, "libarchive")}),
      Programs("tar-process", "TAR of 16 large members", "corpus.tar",
               {kBrix, kBsdtar, kSevenZip, {"tar", "tar -xOf {}"}},
               {Time("bsdtar", 1.30, 1.00), Time("7zz")}),
      Walk("targz", "TAR in GZIP", "corpus.tar.gz", kLibarchive,
           {Speed(kStream, "libarchive", 1.90, 2.20), Speed(kMemory, "libarchive", 1.90, 2.20)}),
      Programs("targz-process", "TAR in GZIP", "corpus.tar.gz",
               {kBrix, kBsdtar, {"igzip and tar", "igzip -dc {} | tar -xOf -"}, {"tar", "tar -xOzf {}"}},
               {Time("igzip and tar", 0.65), Time("bsdtar")}),

      Walk("cabinet-mszip", "Cabinet of MSZIP", "corpus-mszip.cab", kLibarchive | kMspack,
           {Speed(kStream, "libarchive", 1.90, 2.10), Speed(kStream, "libmspack")}),
      Programs("cabinet-mszip-process", "Cabinet of MSZIP", "corpus-mszip.cab",
               {kBrix, kBsdtar, kSevenZip, kCabextract}, {Time("bsdtar", 0.55), Time("7zz")}),
      Walk("cabinet-lzx", "Cabinet of LZX, one sample of 0.9 MB", "lzx.cab", kLibarchive | kMspack,
           {Speed(kStream, "libmspack", 1.80), Speed(kStream, "libarchive")}, 20),
      Programs("cabinet-lzx-process", "Cabinet of LZX, one sample of 0.9 MB", "lzx.cab",
               {kBrix, kBsdtar, kSevenZip, kCabextract}, {Time("7zz", 0.95, 0.80), Time("cabextract")}, 20),
      Walk("cabinet-quantum", "Cabinet of Quantum", "quantum.cab", kMspack,
           {Speed(kStream, "libmspack", 1.50, 2.00), Speed(kMemory, "libmspack", 1.50, 2.00)}),
      Programs("cabinet-quantum-process", "Cabinet of Quantum", "quantum.cab",
               {kBrix, kSevenZip, kCabextract}, {Time("7zz", 0.95, 0.70), Time("cabextract")}),
      Walk("help", "Compiled help of 500 pages", "help.chm", kMspackHelp,
           {Speed(kStream, "libmspack", 1.50, 1.80), Speed(kMemory, "libmspack", 1.50, 1.80)}),
      Programs("help-process", "Compiled help of 500 pages", "help.chm",
               {kBrix, {"7zz", kSevenZip.line + " page*"}}, {Time("7zz", 1.00, 0.90)}),
      Walk("rar-lz", "RAR 2.9 LZ", "corpus-lz.rar", kLibarchive,
           {Speed(kStream, "libarchive", 1.80, 2.40), Speed(kMemory, "libarchive", 1.80, 2.40)}),
      Programs("rar-lz-process", "RAR 2.9 LZ", "corpus-lz.rar", {kBrix, kBsdtar, kUnar},
               {Time("bsdtar", 0.60), Time("unar")}),
      Walk("rar-ppmd", "RAR 2.9 PPMd", "corpus-ppmd.rar", kLibarchive,
           {Speed(kStream, "libarchive", 1.20, 1.50), Speed(kMemory, "libarchive", 1.20, 1.50)}),
      Programs("rar-ppmd-process", "RAR 2.9 PPMd", "corpus-ppmd.rar", {kBrix, kBsdtar, kUnar},
               {Time("bsdtar"), Time("unar")}),
      Walk("installer", "Installer database of 4 streams", "streams.msi", kMemcpy,
           {Speed(kStream, "memcpy"), Speed(kMemory, "memcpy")}),
      Programs("installer-process", "Installer database of 4 streams", "streams.msi",
               {kBrix, {"7zz", kSevenZip.line + " Stream*"}}, {Time("7zz", 1.50, 1.00)}, 10),
      Programs("nsis-zlib", "NSIS installer of 16 large files, zlib", "nsis-zlib.exe", {kBrix, kSevenZip},
               {Time("7zz", 0.45, 0.40)}),
      Programs("nsis-lzma", "NSIS installer of 16 large files, solid LZMA", "nsis-lzma.exe",
               {kBrix, kSevenZip}, {Time("7zz", 1.00, 0.90)}),

      Walk("mail-base64", "Mail with 40 MiB in base64", "mail-base64.eml", kGmime,
           {Speed(kStream, "GMime", 2.0, 4.0), Speed(kMemory, "GMime")}),
      Walk("mail-qp", "Mail with 16 MB in quoted-printable", "mail-qp.eml", kGmime,
           {Speed(kStream, "GMime", 1.5, 2.2), Speed(kMemory, "GMime")}),
      Walk("mail-uu", "Mail with 17 MB in uuencoded blocks", "mail-uu.eml", kGmimeBlocks,
           {Speed(kStream, "GMime", 2.0, 3.0), Speed(kMemory, "GMime")}),
      Walk("mail-digest", "Mail of 2,000 enclosed messages", "mail-digest.eml", kGmime,
           {Speed(kStream, "GMime", 5, 10), Speed(kMemory, "GMime")}),
      {"mail-growth", MailGrowth},

      {"detect-files", DetectFiles},
      {"detect-memory", DetectMemory},
      {"detect-process", DetectProcess},
      Walk("nested", "Four levels of ZIP with 2,016 leaves", "nested.zip", kLibarchive | kThinZip | kNest,
           {Speed(kMemory, "libarchive", 1.60, 2.10), Speed(kMemory, "libdeflate", 0.65, 0.85)}),
      Programs("nested-process", "Four levels of ZIP with 2,016 leaves", "nested.zip",
               {kBrix, {"7zz in a loop", "{loop} 7zz {}"}, {"bsdtar in a loop", "{loop} bsdtar {}"}},
               {Speed("brix", "7zz in a loop", 30, 60), Speed("brix", "bsdtar in a loop")}),
      Programs(
          "start", "Start, with a ZIP of 6 bytes", "tiny.zip",
          {kBrix, {"true", "true", Writes::kNothing}, kBsdtar, kSevenZip},
          {{Measure::kExtraMs, "brix", "true", 1.5, 0.5}, {Measure::kExtraWall, "brix", "true", 1.5, 0.5}},
          30),
  };
  return rows;
}

const Row* Find(const char* name) {
  for (const Row& row : Rows()) {
    if (row.name == name) return &row;
  }
  std::fprintf(stderr, "there is no area %s\n", name);
  return nullptr;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 2 && std::strcmp(argv[1], "--list") == 0) {
    for (const Row& row : Rows()) std::puts(row.name.c_str());
    return 0;
  }
  if (argc == 5 && std::strcmp(argv[1], "--once") == 0) {
    const Row* const row = Find(argv[3]);
    return row != nullptr && RunOnce(row->make(Data(argv[2])), argv[4]) ? 0 : 1;
  }
  if (argc < 3) {
    std::fprintf(stderr, "usage: brix_bench DATA AREA... | --once DATA AREA CONTENDER | --list\n");
    return 64;
  }
  for (int i = 2; i < argc; ++i) {
    const Row* const row = Find(argv[i]);
    if (row == nullptr) return 64;
    RunArea(row->name, row->make(Data(argv[1])));
  }
  return 0;
}

// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// rounds.cpp - the timing, the checks of output, and programs as contenders.
#include "rounds.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>

extern char** environ;

// Present in the program that counts allocations.
extern "C" __attribute__((weak)) void BeginHeapCount();
extern "C" __attribute__((weak)) void EndHeapCount(uint64_t* allocations, uint64_t* peak_bytes);

extern "C" __attribute__((noinline)) bool BrixBenchMeasured(const bench::Work* work, bench::Sink* sink) {
  return (*work)(*sink);
}

namespace bench {
namespace {

constexpr size_t kRounds = 7;
constexpr uint64_t kUnchecked = UINT64_MAX;  // in place of a count of bytes

struct Times {
  double cpu_ms = 0, wall_ms = 0;
};

// Processor time of this process and of the ended ones that it started.
Times Now() {
  timespec own{}, wall{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &own);
  clock_gettime(CLOCK_MONOTONIC, &wall);
  rusage children{};
  getrusage(RUSAGE_CHILDREN, &children);
  const auto ms = [](const auto& seconds, const auto& fraction, double fractions_in_ms) {
    return static_cast<double>(seconds) * 1e3 + static_cast<double>(fraction) / fractions_in_ms;
  };
  return {ms(own.tv_sec, own.tv_nsec, 1e6) + ms(children.ru_utime.tv_sec, children.ru_utime.tv_usec, 1e3) +
              ms(children.ru_stime.tv_sec, children.ru_stime.tv_usec, 1e3),
          ms(wall.tv_sec, wall.tv_nsec, 1e6)};
}

double Median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

struct Entrant {
  const Contender* contender = nullptr;
  Output delivered = {};
  std::vector<Times> rounds = {};
  double MedianOf(double Times::*which) const {
    std::vector<double> values;
    for (const Times& times : rounds) values.push_back(times.*which);
    return Median(std::move(values));
  }
};

// Why a contender may not take part; empty when it may. What it delivered goes to `*delivered`.
std::string Disqualified(const Contender& contender, const std::optional<Output>& expected,
                         Output* delivered) {
  if (contender.count_bytes) {
    const std::optional<uint64_t> count = contender.count_bytes();
    if (!count) return "is not installed or failed";
    delivered->bytes = expected ? expected->bytes : 0;
    return expected && *count != kUnchecked && *count != expected->bytes
               ? "wrote " + std::to_string(*count) + " bytes"
               : "";
  }
  Sink sink(true);
  if (!contender.work(sink)) return "failed";
  const Output& got = *delivered = sink.output();
  const bool same = !expected || (got.bytes == expected->bytes &&
                                  (expected->members == 0 || got.members == expected->members) &&
                                  (expected->sum == 0 || got.sum == expected->sum));
  return same ? ""
              : "delivered " + std::to_string(got.bytes) + " bytes in " + std::to_string(got.members) +
                    " members, not what was packed";
}

double RatioOf(Measure measure, const Times& ours, const Times& peer) {
  switch (measure) {
    case Measure::kSpeed:
      return peer.cpu_ms / ours.cpu_ms;
    case Measure::kTime:
      return ours.cpu_ms / peer.cpu_ms;
    case Measure::kExtraMs:
      return ours.cpu_ms - peer.cpu_ms;
    case Measure::kExtraWall:
      break;
  }
  return ours.wall_ms - peer.wall_ms;
}

void PrintGoal(const Goal& goal, const std::vector<Entrant>& entrants) {
  constexpr std::array kWords = {"speed", "time", "extra ms", "extra ms of wall time"};
  const auto find = [&](const std::string& name) {
    return std::find_if(entrants.begin(), entrants.end(),
                        [&](const Entrant& entrant) { return entrant.contender->name == name; });
  };
  const auto ours = find(goal.ours), peer = find(goal.peer);
  if (ours == entrants.end() || peer == entrants.end()) {
    std::printf("skip\t%s against %s\tnot both are here\n", goal.ours.c_str(), goal.peer.c_str());
    return;
  }
  std::vector<double> ratios;
  for (size_t i = 0; i < kRounds; ++i) {
    ratios.push_back(RatioOf(goal.measure, ours->rounds[i], peer->rounds[i]));
  }
  const auto [low, high] = std::minmax_element(ratios.begin(), ratios.end());
  std::printf("ratio\t%s\t%s\t%s\t%.3f\t%.3f\t%.3f\t%g\t%g\n", goal.ours.c_str(), goal.peer.c_str(),
              kWords[static_cast<size_t>(goal.measure)], Median(ratios), *low, *high, goal.floor, goal.goal);
}

}  // namespace

void Sink::Take(const void* data, size_t size) {
  output_.bytes += size;
  if (!checking_) return;
  for (const uint8_t byte : std::span(static_cast<const uint8_t*>(data), size)) {
    low_ = (low_ + byte) % 65521;
    high_ = (high_ + low_) % 65521;
  }
}

void Sink::EndMember() {
  ++output_.members;
  output_.sum += high_ << 16 | low_;
  low_ = 1;
  high_ = 0;
}

void RunArea(const std::string& name, const Area& area) {
  std::printf("area\t%s\t%s\n", name.c_str(), area.title.c_str());
  std::vector<Entrant> entrants;
  for (const Contender& contender : area.contenders) {
    Output delivered;
    if (const std::string reason = Disqualified(contender, area.expected, &delivered); !reason.empty()) {
      std::printf("skip\t%s\t%s\n", contender.name.c_str(), reason.c_str());
      continue;
    }
    entrants.push_back({&contender, delivered});
  }
  for (size_t round = 0; round < kRounds; ++round) {
    for (Entrant& entrant : entrants) {
      const Times before = Now();
      for (uint32_t i = 0; i < area.repeats; ++i) {
        Sink sink(false);
        if (!entrant.contender->work(sink)) {
          std::fprintf(stderr, "%s: %s failed in a later run\n", name.c_str(),
                       entrant.contender->name.c_str());
          std::exit(1);
        }
      }
      const Times after = Now();
      entrant.rounds.push_back(
          {(after.cpu_ms - before.cpu_ms) / area.repeats, (after.wall_ms - before.wall_ms) / area.repeats});
    }
  }
  for (const Entrant& entrant : entrants) {
    std::printf("time\t%s\t%.3f\t%.3f\t%llu\t%llu\n", entrant.contender->name.c_str(),
                entrant.MedianOf(&Times::cpu_ms), entrant.MedianOf(&Times::wall_ms),
                static_cast<unsigned long long>(entrant.delivered.bytes),
                static_cast<unsigned long long>(entrant.delivered.members));
  }
  for (const Goal& goal : area.goals) PrintGoal(goal, entrants);
  std::fflush(stdout);
}

bool RunOnce(const Area& area, const std::string& name) {
  for (const Contender& contender : area.contenders) {
    if (contender.name != name) continue;
    Sink sink(false);
    uint64_t allocations = 0, peak = 0;
    if (BeginHeapCount != nullptr) BeginHeapCount();
    const bool ok = BrixBenchMeasured(&contender.work, &sink);
    if (EndHeapCount != nullptr) EndHeapCount(&allocations, &peak);
    const Output& output = sink.output();
    std::printf("once\t%s\t%llu\t%llu\t%llu\t%llu\n", name.c_str(),
                static_cast<unsigned long long>(output.members),
                static_cast<unsigned long long>(output.bytes), static_cast<unsigned long long>(allocations),
                static_cast<unsigned long long>(peak));
    return ok;
  }
  return false;
}

// --- Data ---

Bytes Data::Read(const std::string& name) const {
  std::ifstream in(Path(name), std::ios::binary | std::ios::ate);
  if (!in) return {};
  Bytes bytes(static_cast<size_t>(in.tellg()));
  in.seekg(0);
  in.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  return bytes;
}

std::optional<Output> Data::Expected(const std::string& name) const {
  std::ifstream in(Path("manifest.tsv"));
  std::string file;
  Output output;
  while (in >> file >> output.members >> output.bytes >> output.sum) {
    if (file == name) return output;
  }
  return std::nullopt;
}

// --- Programs ---

namespace {

// Starts a program with its standard output at `out` and everything else at nowhere. 0: it cannot be started.
pid_t Start(const std::vector<std::string>& command, int out) {
  std::vector<char*> argv;
  for (const std::string& word : command) argv.push_back(const_cast<char*>(word.c_str()));
  argv.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDWR, 0);
  posix_spawn_file_actions_adddup2(&actions, out < 0 ? 0 : out, 1);
  posix_spawn_file_actions_adddup2(&actions, 0, 2);
  pid_t child = 0;
  const int error = posix_spawnp(&child, argv[0], &actions, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  return error == 0 ? child : 0;
}

bool EndsWith(int exit_code, pid_t child) {
  int status = 0;
  return child != 0 && waitpid(child, &status, 0) == child && WIFEXITED(status) &&
         WEXITSTATUS(status) == exit_code;
}

// The sizes of the members that were not looked into. The first line is the file's own.
uint64_t SumOfListing(const std::string& listing) {
  std::istringstream lines(listing);
  std::string line;
  uint64_t sum = 0;
  std::getline(lines, line);
  while (std::getline(lines, line)) {
    if (line.empty() || line.back() != ']') sum += std::strtoull(line.c_str(), nullptr, 10);
  }
  return sum;
}

}  // namespace

Contender Program(const std::string& name, const std::vector<std::string>& command, Writes writes,
                  int exit_code) {
  const auto work = [command, exit_code](Sink&) { return EndsWith(exit_code, Start(command, -1)); };
  const auto count = [command, writes, exit_code]() -> std::optional<uint64_t> {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) return std::nullopt;
    const pid_t child = Start(command, ends[1]);
    close(ends[1]);
    std::array<char, 65536> piece;
    std::string listing;
    uint64_t bytes = 0;
    for (ssize_t got = 0; (got = read(ends[0], piece.data(), piece.size())) > 0;) {
      bytes += static_cast<uint64_t>(got);
      if (writes == Writes::kListing) listing.append(piece.data(), static_cast<size_t>(got));
    }
    close(ends[0]);
    if (!EndsWith(exit_code, child)) return std::nullopt;
    if (writes == Writes::kNothing) return kUnchecked;
    return writes == Writes::kListing ? SumOfListing(listing) : bytes;
  };
  return {name, work, count};
}

Contender Program(const std::string& name, const std::string& line, const std::string& file, Writes writes) {
  if (line.find('|') != std::string::npos) {
    std::string script = line;
    script.replace(script.find("{}"), 2, "'" + file + "'");
    return Program(name, {"sh", "-c", script}, writes);
  }
  std::istringstream in(line);
  std::vector<std::string> words;
  for (std::string word; in >> word;) {
    words.push_back(word == "{}"       ? file
                    : word == "{brix}" ? BRIX_BENCH_PROGRAM
                    : word == "{loop}" ? BRIX_BENCH_SOURCE_DIR "/nested_loop.sh"
                                       : word);
  }
  return Program(name, words, writes);
}

}  // namespace bench

// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// rounds.h - contenders that do the same work, timed in turns.
//
// An area names its contenders and the goals that compare two of them. Each contender first runs once unmeasured, with
// its output checked: one that delivers other bytes than expected is out, and named. Then all take turns for seven
// rounds. Figures are medians; a ratio is the median of the rounds' own ratios, so that a slow minute hits both sides.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace bench {

// What a contender has delivered. Contents only count while outputs are checked.
struct Output {
  uint64_t members = 0;
  uint64_t bytes = 0;
  uint64_t sum = 0;  // of the members' Adler-32
};

// Where contenders deliver what they decoded: members in any order, each in pieces from its first byte on.
class Sink {
 public:
  explicit Sink(bool checking) : checking_(checking) {}

  void Take(const void* data, size_t size);
  void EndMember();
  void Member(const void* data, size_t size) {
    Take(data, size);
    EndMember();
  }
  const Output& output() const { return output_; }

 private:
  const bool checking_;
  Output output_;
  uint32_t low_ = 1, high_ = 0;  // the two halves of Adler-32
};

using Work = std::function<bool(Sink&)>;

struct Contender {
  std::string name;
  Work work;
  // In place of `work` for the checked run, when what is timed delivers nothing here: another program.
  std::function<std::optional<uint64_t>()> count_bytes = {};
};

enum class Measure {
  kSpeed,      // the peer's processor time divided by ours: more is better
  kTime,       // our processor time divided by the peer's: less is better
  kExtraMs,    // how many ms of processor time we take more
  kExtraWall,  // the same by the clock on the wall
};

struct Goal {
  Measure measure;
  std::string ours, peer;
  double floor = 0, goal = 0;  // 0: no goal, the ratio is only shown
};

struct Area {
  std::string title;
  std::vector<Contender> contenders;
  std::vector<Goal> goals;
  std::optional<Output> expected = {};  // members and sum are 0 where contenders need not agree on them
  uint32_t repeats = 1;                 // runs in one turn, for work that is too short to time
};

// Prints one line, its fields parted by tabs, for the area, each contender and each goal. run.py makes tables of them.
void RunArea(const std::string& name, const Area& area);

// Runs one contender once and nothing else of it, inside BrixBenchMeasured, for callgrind and the counting of
// allocations. False: there is no such contender, or it failed.
bool RunOnce(const Area& area, const std::string& contender);

// --- What areas are made of ---

using Bytes = std::vector<uint8_t>;

// The folder that make_data.py has filled.
class Data {
 public:
  explicit Data(std::string folder) : folder_(std::move(folder)) {}
  std::string Path(const std::string& name) const { return folder_ + "/" + name; }
  // Empty when there is no such file: the area then has nothing to do.
  Bytes Read(const std::string& name) const;
  std::optional<Output> Expected(const std::string& name) const;

 private:
  std::string folder_;
};

// A program run with its standard output thrown away. The checked run counts what it writes; for `brix ls` the sizes
// in its listing are added up, but for those of members that were looked into.
enum class Writes { kMembers, kListing, kNothing };
Contender Program(const std::string& name, const std::vector<std::string>& command, Writes writes,
                  int exit_code = 0);
// The same with a command line as areas.cpp has them.
Contender Program(const std::string& name, const std::string& line, const std::string& file, Writes writes);

}  // namespace bench

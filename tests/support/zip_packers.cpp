#include "support/zip_packers.h"

#include <algorithm>
#include <bit>
#include <map>
#include <numeric>
#include <set>

namespace brix {

namespace {

struct Step {
  uint32_t distance;  // 0: a literal
  uint32_t length;
};

// Takes the match at the last place with the same three bytes.
std::vector<Step> Parse(std::span<const uint8_t> plain, uint32_t window, uint32_t longest) {
  std::vector<Step> steps;
  std::map<uint32_t, uint32_t> last;
  const auto key = [&](size_t i) {
    return uint32_t{plain[i]} << 16 | uint32_t{plain[i + 1]} << 8 | plain[i + 2];
  };
  for (uint32_t at = 0; at < plain.size();) {
    Step step{0, 1};
    const auto found = at + 3 <= plain.size() ? last.find(key(at)) : last.end();
    if (found != last.end() && at - found->second <= window) {
      step = {at - found->second, 3};
      while (at + step.length < plain.size() && step.length < longest &&
             plain[at + step.length] == plain[at + step.length - step.distance])
        ++step.length;
    }
    steps.push_back(step);
    for (const uint32_t end = at + step.length; at < end; ++at)
      if (at + 3 <= plain.size()) last[key(at)] = at;
  }
  return steps;
}

}  // namespace

// Codes as the format describes them: sorted by length, counted up from the last one, which is the longest.
std::vector<uint32_t> ShannonFanoCodes(const std::vector<uint8_t>& lengths) {
  std::vector<uint32_t> order(lengths.size());
  std::iota(order.begin(), order.end(), 0u);
  std::stable_sort(order.begin(), order.end(),
                   [&](uint32_t a, uint32_t b) { return lengths[a] < lengths[b]; });
  std::vector<uint32_t> codes(lengths.size());
  uint32_t code = 0;
  uint32_t increment = 0;
  for (auto it = order.rbegin(); it != order.rend(); ++it) {
    code += increment;
    increment = 1u << (16 - lengths[*it]);
    codes[*it] = code;
  }
  return codes;
}

namespace {

struct Code {
  explicit Code(std::vector<uint8_t> l) : lengths(std::move(l)), codes(ShannonFanoCodes(lengths)) {}
  void Put(uint32_t symbol, BitWriter* to) const {
    for (uint32_t i = 0; i < lengths[symbol]; ++i) to->Put(codes[symbol] >> (15 - i) & 1, 1);
  }
  std::vector<uint8_t> lengths;
  std::vector<uint32_t> codes;
};

}  // namespace

std::vector<uint8_t> PackShrink(std::span<const uint8_t> plain, uint32_t clear_every) {
  std::map<std::pair<uint32_t, uint32_t>, uint32_t> strings;  // parent and byte -> code
  std::set<uint32_t> free;
  for (uint32_t code = 257; code < 8192; ++code) free.insert(code);
  BitWriter out;
  uint32_t bits = 9;
  uint32_t emitted = 0;
  const auto emit = [&](uint32_t code) {
    for (; code >> bits != 0; ++bits) out.Put(256, bits).Put(1, bits);
    out.Put(code, bits);
  };
  uint32_t current = plain[0];
  for (const uint8_t byte : plain.subspan(1)) {
    const auto found = strings.find({current, byte});
    if (found != strings.end()) {
      current = found->second;
      continue;
    }
    emit(current);
    if (free.empty() || (clear_every != 0 && ++emitted % clear_every == 0)) {
      out.Put(256, bits).Put(2, bits);
      std::set<uint32_t> parents;
      for (const auto& [string, code] : strings) parents.insert(string.first);
      std::erase_if(strings, [&](const auto& s) {
        return !parents.contains(s.second) && free.insert(s.second).second;
      });
    }
    if (!free.empty()) {  // all codes may be parents
      strings[{current, byte}] = *free.begin();
      free.erase(free.begin());
    }
    current = byte;
  }
  emit(current);
  return out.bytes();
}

std::vector<uint8_t> PackReduce(std::span<const uint8_t> plain, uint32_t factor) {
  std::vector<uint8_t> first;  // the runs, before the follower sets
  const uint32_t mask = (1u << (8 - factor)) - 1;
  uint32_t at = 0;
  for (const Step& step : Parse(plain, 256u << factor, mask + 255 + 3)) {
    const uint32_t back = step.distance - 1;
    const uint32_t value =
        step.distance == 0 ? 0 : (back >> 8) << (8 - factor) | std::min(step.length - 3, mask);
    if (value == 0) {  // a literal, or the one run that cannot be told from the escaped marker
      for (uint32_t i = 0; i < step.length; ++i) {
        first.push_back(plain[at + i]);
        if (plain[at + i] == 144) first.push_back(0);
      }
    } else {
      first.insert(first.end(), {144, static_cast<uint8_t>(value)});
      if ((value & mask) == mask) first.push_back(static_cast<uint8_t>(step.length - 3 - mask));
      first.push_back(static_cast<uint8_t>(back));
    }
    at += step.length;
  }
  std::vector<std::map<uint8_t, int>> counts(256);
  uint8_t last = 0;
  for (const uint8_t byte : first) ++counts[last][byte], last = byte;
  std::vector<std::vector<uint8_t>> sets(256);
  BitWriter out;
  for (uint32_t v = 256; v-- != 0;) {
    for (const auto& [byte, count] : counts[v]) sets[v].push_back(byte);
    std::stable_sort(sets[v].begin(), sets[v].end(),
                     [&](auto a, auto b) { return counts[v][a] > counts[v][b]; });
    sets[v].resize(std::min<size_t>(sets[v].size(), v % 33));
    out.Put(static_cast<uint32_t>(sets[v].size()), 6);
    for (const uint8_t byte : sets[v]) out.Put(byte, 8);
  }
  last = 0;
  for (const uint8_t byte : first) {
    const auto& set = sets[last];
    const auto index = static_cast<uint32_t>(std::find(set.begin(), set.end(), byte) - set.begin());
    uint32_t bits = 1;
    while ((set.size() - 1) >> bits != 0 && !set.empty()) ++bits;
    if (!set.empty()) out.Put(index == set.size(), 1);
    index == set.size() ? out.Put(byte, 8) : out.Put(index, bits);
    last = byte;
  }
  return out.bytes();
}

std::vector<uint8_t> CompleteLengths(uint32_t symbols, uint32_t longest) {
  std::vector<uint8_t> lengths{0};
  while (lengths.size() < symbols) {
    auto split = std::max_element(lengths.begin(), lengths.end());
    if (*split >= longest) split = std::min_element(lengths.begin(), lengths.end());
    lengths.push_back(++*split);
  }
  return lengths;
}

void PutLengths(const std::vector<uint8_t>& lengths, BitWriter* to) {
  std::vector<uint32_t> runs;
  for (size_t i = 0; i < lengths.size();) {
    uint32_t run = 1;
    while (run < 16 && i + run < lengths.size() && lengths[i + run] == lengths[i]) ++run;
    runs.push_back((run - 1) << 4 | (lengths[i] - 1u));
    i += run;
  }
  to->Put(static_cast<uint32_t>(runs.size()) - 1, 8);
  for (const uint32_t run : runs) to->Put(run, 8);
}

std::vector<uint8_t> PackImplode(std::span<const uint8_t> plain, uint32_t window, uint32_t trees,
                                 uint32_t longest) {
  const Code literals(CompleteLengths(256, std::max(longest, 8u)));
  const Code lengths(CompleteLengths(64, longest));
  const Code distances(CompleteLengths(64, longest));
  BitWriter out;
  if (trees == 3) PutLengths(literals.lengths, &out);
  PutLengths(lengths.lengths, &out);
  PutLengths(distances.lengths, &out);
  const uint32_t low_bits = window == 8192 ? 7 : 6;
  uint32_t at = 0;
  for (const Step& step : Parse(plain, window, 63 + 255 + trees)) {
    out.Put(step.distance == 0, 1);
    if (step.distance == 0) {
      trees == 3 ? literals.Put(plain[at], &out) : void(out.Put(plain[at], 8));
    } else {
      out.Put((step.distance - 1) & ((1u << low_bits) - 1), low_bits);
      distances.Put((step.distance - 1) >> low_bits, &out);
      lengths.Put(std::min(step.length - trees, 63u), &out);
      if (step.length - trees >= 63) out.Put(step.length - trees - 63, 8);
    }
    at += step.length;
  }
  return out.bytes();
}

}  // namespace brix

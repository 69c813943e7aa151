#include "bench_data.h"

#include <cstdlib>
#include <fstream>
#include <iterator>

namespace brix {

namespace {

// Words with a skewed choice: compresses about as prose does.
std::vector<uint8_t> GeneratedText(size_t size) {
  std::vector<uint8_t> text;
  uint64_t state = 0x9E3779B97F4A7C15u;
  const auto next = [&state] {
    state ^= state << 13;
    state ^= state >> 7;
    state ^= state << 17;
    return state;
  };
  while (text.size() < size) {
    const uint64_t pick = next() % (1 + next() % 4000);
    uint64_t letters = pick * 2654435761u + 12345;
    for (uint64_t n = 2 + pick % 7; n != 0; --n, letters /= 19)
      text.push_back(static_cast<uint8_t>('a' + letters % 19));
    text.push_back(next() % 12 == 0 ? '\n' : ' ');
  }
  text.resize(size);
  return text;
}

}  // namespace

std::vector<uint8_t> BenchData(std::string* description) {
  if (const char* path = std::getenv("BRIX_BENCH_DATA")) {
    std::ifstream in(path, std::ios::binary);
    const std::vector<char> bytes{std::istreambuf_iterator<char>(in), {}};
    *description = path;
    return {bytes.begin(), bytes.end()};
  }
  *description = "generated text";
  return GeneratedText(16 << 20);
}

}  // namespace brix

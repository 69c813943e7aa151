// bench_data.h - the bytes that the benchmarks work on.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace brix {

// The content of the file named by the environment variable BRIX_BENCH_DATA (bench/make_data.py makes one),
// or, without it, 16 MiB of generated text whose figures are for comparing runs only.
[[nodiscard]] std::vector<uint8_t> BenchData(std::string* description);

}  // namespace brix

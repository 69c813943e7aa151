// walk_bench.cpp - whole walks as a user runs them: processes, by their processor time.
//
// BRIX_BENCH_DIR names the folder made by make_data.py; BRIX_BENCH_BRIX the host program. A peer that is not
// installed is left out and named.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

using Command = std::vector<std::string>;

double ChildrenSeconds() {
  rusage usage{};
  getrusage(RUSAGE_CHILDREN, &usage);
  const auto seconds = [](const timeval& t) {
    return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_usec) * 1e-6;
  };
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

// Runs a command with its output thrown away; its exit code.
int Run(const Command& command) {
  std::vector<char*> argv;
  for (const std::string& word : command) argv.push_back(const_cast<char*>(word.c_str()));
  argv.push_back(nullptr);
  const pid_t child = fork();
  if (child == 0) {
    const int null = open("/dev/null", O_RDWR);
    for (const int fd : {0, 1, 2}) dup2(null, fd);
    execvp(argv[0], argv.data());
    _exit(127);
  }
  int status = 0;
  waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128;
}

void Walk(benchmark::State& state, const Command& command) {
  for (auto _ : state) {
    const double before = ChildrenSeconds();
    const int code = Run(command);
    state.SetIterationTime(ChildrenSeconds() - before);
    if (code != 0) return state.SkipWithError(("exit code " + std::to_string(code)).c_str());
  }
}

bool Installed(const std::string& program) { return Run({"sh", "-c", "command -v " + program}) == 0; }

void Register(const std::string& name, const std::string& program, const Command& command) {
  if (!Installed(program)) {
    std::fprintf(stderr, "skipped: %s, because %s is not installed\n", name.c_str(), program.c_str());
    return;
  }
  benchmark::RegisterBenchmark(name.c_str(), [command](benchmark::State& state) { Walk(state, command); })
      ->UseManualTime()
      ->Unit(benchmark::kMillisecond);
}

}  // namespace

int main(int argc, char** argv) {
  const char* folder = std::getenv("BRIX_BENCH_DIR");
  const char* brix = std::getenv("BRIX_BENCH_BRIX");
  if (folder == nullptr || brix == nullptr) {
    std::fprintf(stderr, "set BRIX_BENCH_DIR (make_data.py makes it) and BRIX_BENCH_BRIX (the program)\n");
    return 1;
  }
  const std::string many = std::string(folder) + "/many-small.zip";
  const std::string nested = std::string(folder) + "/nested.zip";
  const std::string loop = BRIX_BENCH_SOURCE_DIR "/nested_loop.sh";
  Register("many-small/brix", brix, {brix, "ls", many});
  Register("many-small/bsdtar", "bsdtar", {"bsdtar", "-xOf", many});
  Register("many-small/7zz", "7zz", {"7zz", "x", "-so", "-mmt1", many});
  Register("nested/brix", brix, {brix, "ls", nested});
  Register("nested/bsdtar", "bsdtar", {loop, "bsdtar", nested});
  Register("nested/7zz", "7zz", {loop, "7zz", nested});
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
}

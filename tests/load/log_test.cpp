// log_test.cpp - the process's log, seen by a program that loads and unloads the library itself, again and again.
#include <brixcore/byname.h>
#include <brixcore/catalogue.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#ifdef _WIN32
#include <windows.h>
#else
#include <dlfcn.h>

#include <cstdlib>
#endif

namespace brix {
namespace {

constexpr const char* kVariable = "ARCLOGPATH";

void SetVariable(const std::string& value) {
#ifdef _WIN32
  SetEnvironmentVariableA(kVariable, value.c_str());
#else
  setenv(kVariable, value.c_str(), 1);
#endif
}

void UnsetVariable() {
#ifdef _WIN32
  SetEnvironmentVariableA(kVariable, nullptr);
#else
  unsetenv(kVariable);
#endif
}

class Library {
 public:
#ifdef _WIN32
  Library() : handle_(LoadLibraryA(BRIX_LIBRARY)) {}
  ~Library() { FreeLibrary(handle_); }
#else
  Library() : handle_(dlopen(BRIX_LIBRARY, RTLD_NOW | RTLD_LOCAL)) {}
  ~Library() { dlclose(handle_); }
#endif
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;
  [[nodiscard]] bool ok() const { return handle_ != nullptr; }

  template <class Function>
  Function* Find(const char* name) const {
#ifdef _WIN32
    return reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(handle_, name)));
#else
    return reinterpret_cast<Function*>(dlsym(handle_, name));
#endif
  }

 private:
#ifdef _WIN32
  HMODULE handle_;
#else
  void* handle_;
#endif
};

// A folder for the logs of one test.
struct Folder {
  std::string path;
  explicit Folder(const std::string& name) : path(name) {
    std::filesystem::remove_all(path);
    std::filesystem::create_directories(path);
  }
  ~Folder() { std::filesystem::remove_all(path.substr(0, path.find('/'))); }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;

  [[nodiscard]] std::string Read(const std::string& name) const {
    std::ifstream in(path + "/" + name, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
  }
  [[nodiscard]] auto FileCount() const {
    return std::distance(std::filesystem::directory_iterator(path), std::filesystem::directory_iterator());
  }
};

TEST(Log, EachLoadMakesTheNextFile) {
  const Folder folder("log_test_each");
  SetVariable(folder.path);
  for (int n = 0; n < 5; ++n) {
    {
      const Library library;
      ASSERT_TRUE(library.ok());
      EXPECT_EQ(folder.FileCount(), n + 1);
    }
    EXPECT_EQ(folder.Read("arc000" + std::to_string(n) + ".log"), "init\nend\n");
  }
}

TEST(Log, NoDirectoryNoFile) {
  const Folder folder("log_test_none");
  const auto before =
      std::distance(std::filesystem::directory_iterator("."), std::filesystem::directory_iterator());
  for (const std::string& value : {std::string(), folder.path + "/missing", "./" + std::string(498, '/')}) {
    SetVariable(value);
    EXPECT_TRUE(Library().ok());
  }
  UnsetVariable();
  EXPECT_TRUE(Library().ok());
  EXPECT_EQ(folder.FileCount(), 0);
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator("."), std::filesystem::directory_iterator()),
            before);
}

TEST(Log, HoldsTheMessagesOfContextsAndOfTheCatalogue) {
  const Folder folder("log_test_lines");
  SetVariable(folder.path);
  {
    const Library library;
    ASSERT_TRUE(library.ok());
    const BrixDecompression context = library.Find<decltype(InitDecompression)>("InitDecompression")();
    library.Find<decltype(GetTypeInfo)>("GetTypeInfo")(0xFFFFFFFF, nullptr, nullptr);
    library.Find<decltype(DeInitDecompression)>("DeInitDecompression")(context);
  }
  EXPECT_EQ(folder.Read("arc0000.log"),
            "init\nEntering: InitDecompression()\nReturning from: InitDecompression()\n"
            "Entering: GetTypeInfo()\ndwType = 4294967295\nReturning from: GetTypeInfo()\n"
            "Entering: DeInitDecompression()\nReturning from: DeInitDecompression()\nend\n");
}

// Lines come in any order, but whole, and also once they no longer fit in the buffer.
TEST(Log, ThreadsShareIt) {
  constexpr int kThreads = 4;
  constexpr int kCalls = 200;
  const Folder folder("log_test_threads");
  SetVariable(folder.path);
  {
    const Library library;
    ASSERT_TRUE(library.ok());
    const auto get_list = library.Find<decltype(GetArcList)>("GetArcList");
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
      threads.emplace_back([&] {
        for (int i = 0; i < kCalls; ++i) get_list(nullptr, 0, nullptr);
      });
    }
    for (std::thread& thread : threads) thread.join();
  }
  const std::string text = folder.Read("arc0000.log");
  const std::string line_pair = "Entering: GetArcList()\nReturning from: GetArcList()\n";
  EXPECT_EQ(text.size(), kThreads * kCalls * line_pair.size() + std::string("init\nend\n").size());
  for (const char* line : {"\nEntering: GetArcList()\n", "\nReturning from: GetArcList()\n"}) {
    int count = 0;
    for (size_t at = text.find(line); at != std::string::npos; at = text.find(line, at + 1)) ++count;
    EXPECT_EQ(count, kThreads * kCalls) << line;
  }
}

}  // namespace
}  // namespace brix

// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// log_test.cpp - the process's log, seen by a program that loads and unloads the library itself, again and again.
#include <brixcore/byname.h>
#include <brixcore/catalogue.h>
#include <gtest/gtest.h>

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

#ifdef _WIN32
void* Load() { return LoadLibraryA(BRIX_LIBRARY); }
void Unload(void* library) { FreeLibrary(static_cast<HMODULE>(library)); }
void* Symbol(void* library, const char* name) {
  return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(library), name));
}
void SetVariable(const char* value) { SetEnvironmentVariableA("ARCLOGPATH", value); }
#else
void* Load() { return dlopen(BRIX_LIBRARY, RTLD_NOW | RTLD_LOCAL); }
void Unload(void* library) { dlclose(library); }
void* Symbol(void* library, const char* name) { return dlsym(library, name); }
void SetVariable(const char* value) {
  (void)(value != nullptr ? setenv("ARCLOGPATH", value, 1) : unsetenv("ARCLOGPATH"));
}
#endif

auto FileCount(const std::string& folder) {
  return std::distance(std::filesystem::directory_iterator(folder), std::filesystem::directory_iterator());
}

class Log : public ::testing::Test {
 protected:
  Log() { std::filesystem::create_directory(folder_); }
  ~Log() override { std::filesystem::remove_all(folder_); }

  // What the n-th log holds after the library was loaded, used and unloaded.
  template <class Use>
  std::string Run(int n, Use&& use) {
    SetVariable(folder_.c_str());
    void* const library = Load();
    EXPECT_NE(library, nullptr);
    use(library);
    Unload(library);
    std::ifstream in(folder_ + "/arc000" + std::to_string(n) + ".log", std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
  }

  const std::string folder_ = "log_test_folder";
};

TEST_F(Log, EachLoadMakesTheNextFile) {
  for (int n = 0; n < 5; ++n) {
    EXPECT_EQ(Run(n, [&](void*) { EXPECT_EQ(FileCount(folder_), n + 1); }), "init\nend\n");
  }
}

TEST_F(Log, NoDirectoryNoFile) {
  const auto before = FileCount(".");
  const std::string long_one = "./" + std::string(498, '/');
  for (const char* value :
       {"", "log_test_folder/missing", long_one.c_str(), static_cast<const char*>(nullptr)}) {
    SetVariable(value);
    Unload(Load());
  }
  EXPECT_EQ(FileCount(folder_), 0);
  EXPECT_EQ(FileCount("."), before);
}

TEST_F(Log, HoldsTheMessagesOfContextsAndOfTheCatalogue) {
  const std::string text = Run(0, [](void* library) {
    const auto init = reinterpret_cast<decltype(&InitDecompression)>(Symbol(library, "InitDecompression"));
    const auto info = reinterpret_cast<decltype(&GetTypeInfo)>(Symbol(library, "GetTypeInfo"));
    const auto done =
        reinterpret_cast<decltype(&DeInitDecompression)>(Symbol(library, "DeInitDecompression"));
    const BrixDecompression context = init();
    info(UINT32_MAX, nullptr, nullptr);
    done(context);
  });
  EXPECT_EQ(text,
            "init\nEntering: InitDecompression()\nReturning from: InitDecompression()\n"
            "Entering: GetTypeInfo()\ndwType = 4294967295\nReturning from: GetTypeInfo()\n"
            "Entering: DeInitDecompression()\nReturning from: DeInitDecompression()\nend\n");
}

TEST_F(Log, KeepsTracingEveryFunctionOfTheCatalogue) {
  const std::string text = Run(0, [](void* library) {
    const auto extension = reinterpret_cast<decltype(&GetTypeExtension)>(Symbol(library, "GetTypeExtension"));
    const auto description =
        reinterpret_cast<decltype(&GetTypeDescription)>(Symbol(library, "GetTypeDescription"));
    const auto list = reinterpret_cast<decltype(&GetArcList)>(Symbol(library, "GetArcList"));
    const auto file = reinterpret_cast<decltype(&GetArcFileType)>(Symbol(library, "GetArcFileType"));
    (void)(extension(0, nullptr, nullptr) + description(0, 0, nullptr, 0) + list(nullptr, 0, nullptr));
    (void)file(nullptr, nullptr);
  });
  std::string expected = "init\n";
  for (const std::string name : {"GetTypeExtension", "GetTypeDescription", "GetArcList", "GetArcFileType"}) {
    expected += "Entering: " + name + "()\nReturning from: " + name + "()\n";
  }
  EXPECT_EQ(text, expected + "end\n");
}

// Lines come in any order, but whole, also once they no longer fit in the buffer.
TEST_F(Log, ThreadsShareIt) {
  const std::string text = Run(0, [](void* library) {
    const auto list = reinterpret_cast<decltype(&GetArcList)>(Symbol(library, "GetArcList"));
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
      threads.emplace_back([list] {
        for (int i = 0; i < 200; ++i) list(nullptr, 0, nullptr);
      });
    }
    for (std::thread& thread : threads) thread.join();
  });
  for (const char* line : {"\nEntering: GetArcList()\n", "\nReturning from: GetArcList()\n"}) {
    int count = 0;
    for (size_t at = text.find(line); at != std::string::npos; at = text.find(line, at + 1)) ++count;
    EXPECT_EQ(count, 800) << line;
  }
}

}  // namespace
}  // namespace brix

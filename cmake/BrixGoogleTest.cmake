# SPDX-FileCopyrightText: brixcore developers
# SPDX-License-Identifier: Apache-2.0

# brix_gtest: GoogleTest with its main. Natively the installed library; for another machine built from the sources.
add_library(brix_gtest INTERFACE)
if(CMAKE_CROSSCOMPILING)
  if(NOT EXISTS ${BRIX_GTEST_SOURCES}/src/gtest-all.cc)
    message(FATAL_ERROR "The tests need GoogleTest's sources in BRIX_GTEST_SOURCES (Debian: googletest); "
                        "-DBRIX_TESTS=OFF leaves them out")
  endif()
  add_library(brix_gtest_objects STATIC ${BRIX_GTEST_SOURCES}/src/gtest-all.cc ${BRIX_GTEST_SOURCES}/src/gtest_main.cc)
  target_include_directories(brix_gtest_objects SYSTEM PUBLIC ${BRIX_GTEST_SOURCES}/include PRIVATE ${BRIX_GTEST_SOURCES})
  find_package(Threads REQUIRED)
  target_link_libraries(brix_gtest INTERFACE brix_gtest_objects Threads::Threads)
else()
  find_package(GTest REQUIRED)
  target_link_libraries(brix_gtest INTERFACE GTest::gtest GTest::gtest_main)
endif()

# SPDX-FileCopyrightText: brixcore developers
# SPDX-License-Identifier: Apache-2.0

# What is built unless the caller says otherwise. Sets BRIX_CAN_TEST and BRIX_CAN_BUILD_TOOLS, and names what is left out.
#
# The presets for work on the library ask for tests and program outright, so that there a missing package is an error.
set(BRIX_CAN_TEST OFF)
set(BRIX_CAN_BUILD_TOOLS OFF)
# CLI11 is headers only and the same for every platform. A cross build makes GoogleTest from its sources.
find_path(BRIX_CLI11_INCLUDE CLI/CLI.hpp PATHS /usr/include /usr/local/include NO_CMAKE_FIND_ROOT_PATH)
set(BRIX_GTEST_SOURCES /usr/src/googletest/googletest CACHE PATH "GoogleTest sources, for cross builds")
if(NOT PROJECT_IS_TOP_LEVEL)
  return()
endif()

if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
  set(CMAKE_BUILD_TYPE Release CACHE STRING "Debug, Release, RelWithDebInfo or MinSizeRel" FORCE)
endif()

if(BRIX_CLI11_INCLUDE)
  set(BRIX_CAN_BUILD_TOOLS ON)
elseif(NOT DEFINED BRIX_TOOLS)
  message(NOTICE "Left out: the program brix, which needs CLI11 (Debian: libcli11-dev)")
endif()

if(CMAKE_CROSSCOMPILING)
  if(EXISTS ${BRIX_GTEST_SOURCES}/src/gtest-all.cc)
    set(BRIX_CAN_TEST ON)
  endif()
else()
  find_package(GTest QUIET)
  if(GTest_FOUND)
    set(BRIX_CAN_TEST ON)
  endif()
endif()
if(NOT BRIX_CAN_TEST AND NOT DEFINED BRIX_TESTS)
  message(NOTICE "Left out: the tests, which need GoogleTest (Debian: libgtest-dev, for cross builds googletest)")
endif()

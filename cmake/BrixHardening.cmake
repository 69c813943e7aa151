# SPDX-FileCopyrightText: brixcore developers
# SPDX-License-Identifier: Apache-2.0

# brix_hardening: what makes a fault in the library harder to use, for the library and the program; tests and benchmarks
# do without. scripts/check_hardening.py reads it back from what was built.
#
#   every platform   canaries in the frames of functions with arrays or addresses of locals
#   ELF              checked calls of the C library (at -O1 and above), pages of the stack touched in order, addresses
#                    resolved before main and then read-only, no executable stack, position-independent programs
#   x86-64 ELF       marked targets of indirect branches, and shadow stacks
#   AArch64 ELF      the same by branch protection
#   Windows          any address, high ones too, and data that does not execute
add_library(brix_hardening INTERFACE)
if(NOT BRIX_HARDEN OR BRIX_SANITIZE)
  return()
endif()

include(CheckCXXCompilerFlag)
include(CheckCXXSourceCompiles)
include(CheckPIESupported)

target_compile_options(brix_hardening INTERFACE -fstack-protector-strong)
if(WIN32)
  # The canary is our own (platform/windows/stack_guard.cpp): the compiler's comes with another DLL. So the flag is not
  # given to the linker.
  target_link_options(brix_hardening INTERFACE -Wl,--dynamicbase,--high-entropy-va,--nxcompat)
  return()
endif()

check_pie_supported()
set(CMAKE_REQUIRED_FLAGS -Werror)  # Clang only warns of a flag that is for another processor
foreach(flag -fstack-clash-protection -fcf-protection=full -mbranch-protection=standard)
  string(MAKE_C_IDENTIFIER "BRIX_HAS${flag}" known)
  check_cxx_compiler_flag(${flag} ${known})
  if(${known})
    target_compile_options(brix_hardening INTERFACE ${flag})
  endif()
endforeach()
unset(CMAKE_REQUIRED_FLAGS)

# The third level bounds calls by sizes known only at run time.
check_cxx_source_compiles("int main(int n, char** p) { return (int)__builtin_dynamic_object_size(p[n], 0); }"
                          BRIX_HAS_DYNAMIC_OBJECT_SIZE)
set(fortify 2)
if(BRIX_HAS_DYNAMIC_OBJECT_SIZE)
  set(fortify 3)
endif()
target_compile_options(brix_hardening INTERFACE
  "$<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=${fortify}>")

target_link_options(brix_hardening INTERFACE -Wl,-z,relro -Wl,-z,now -Wl,-z,noexecstack)
if(BRIX_HAS_fcf_protection_full)
  # Said here since Debian's start files do not say it. They may: all that it asks of code is that calls and returns pair
  # up. Of marked branch targets, which those files lack, the compiler's marks in all of our objects must do.
  target_link_options(brix_hardening INTERFACE -Wl,-z,shstk)
endif()

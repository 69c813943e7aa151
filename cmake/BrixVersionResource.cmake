# SPDX-FileCopyrightText: brixcore developers
# SPDX-License-Identifier: Apache-2.0

# brix_version_resource(target file description): gives a Windows program or DLL the version that its properties show.
# An object library of its own keeps the compilers' flags away from the resource compiler.
function(brix_version_resource target file description)
  if(NOT WIN32)
    return()
  endif()
  enable_language(RC)
  set(BRIX_RC_FILE ${file})
  set(BRIX_RC_DESCRIPTION ${description})
  get_filename_component(BRIX_RC_NAME ${file} NAME_WE)
  set(BRIX_RC_TYPE VFT_APP)
  if(file MATCHES "\\.dll$")
    set(BRIX_RC_TYPE VFT_DLL)
  endif()
  configure_file(${PROJECT_SOURCE_DIR}/cmake/brixcore.rc.in ${CMAKE_CURRENT_BINARY_DIR}/${target}_version.rc @ONLY)
  add_library(${target}_version OBJECT ${CMAKE_CURRENT_BINARY_DIR}/${target}_version.rc)
  target_sources(${target} PRIVATE $<TARGET_OBJECTS:${target}_version>)
endfunction()

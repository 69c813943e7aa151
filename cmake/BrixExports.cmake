# SPDX-FileCopyrightText: brixcore developers
# SPDX-License-Identifier: Apache-2.0

# brix_export_names(target list version): lets a shared library export the names in `list` and nothing else; for ELF under
# the symbol version `version`. For Windows also makes the import library that Microsoft's linker takes, TARGET.lib.
function(brix_export_names target list version)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${list})
  file(STRINGS ${list} names REGEX "^[A-Za-z]")
  if(WIN32)
    list(JOIN names "\n  " lines)
    set(def ${CMAKE_CURRENT_BINARY_DIR}/${target}.def)
    file(CONFIGURE OUTPUT ${def} CONTENT "LIBRARY ${target}.dll\nEXPORTS\n  ${lines}\n")
    target_sources(${target} PRIVATE ${def})
    # The linker writes one for GCC only. What is in it is named after the path that is given here.
    add_custom_command(TARGET ${target} POST_BUILD VERBATIM BYPRODUCTS ${CMAKE_CURRENT_BINARY_DIR}/${target}.lib
      WORKING_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}
      COMMAND ${CMAKE_DLLTOOL} -d ${def} -D ${target}.dll -l ${target}.lib)
  else()
    list(JOIN names ";\n    " lines)
    set(script ${CMAKE_CURRENT_BINARY_DIR}/${target}.map)
    file(CONFIGURE OUTPUT ${script} CONTENT "${version} {\n  global:\n    ${lines};\n  local: *;\n};\n")
    target_link_options(${target} PRIVATE -Wl,--version-script=${script})
    if(NOT BRIX_SANITIZE)  # the sanitizers leave their own names to the program
      target_link_options(${target} PRIVATE -Wl,-z,defs)
    endif()
    set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS ${script})
  endif()
endfunction()

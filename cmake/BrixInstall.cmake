# SPDX-FileCopyrightText: brixcore developers
# SPDX-License-Identifier: Apache-2.0

# What a host, a user and a packager get: headers, libraries, CMake package, pkg-config file, program, manual pages.
#
# Nothing installed holds the prefix: the package, the pkg-config file and the program find their neighbours relative to
# themselves, so an installed tree may be moved or unpacked anywhere.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/brixcore DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} FILES_MATCHING PATTERN "*.h")
install(TARGETS brixcore brixcore_static EXPORT brixcore
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}   # brixcore.dll
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}   # libbrixcore.so and its links
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}   # libbrixcore.a; libbrixcore.dll.a, the import library
        INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
if(WIN32)  # for other linkers than GCC's
  get_target_property(library_folder brixcore BINARY_DIR)
  install(FILES ${library_folder}/brixcore.lib ${library_folder}/brixcore.def DESTINATION ${CMAKE_INSTALL_LIBDIR})
endif()

# find_package(brixcore) gives the targets brixcore::brixcore and brixcore::static. Before 1.0 each minor version is an interface of its own.
set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/brixcore)
install(EXPORT brixcore NAMESPACE brixcore:: FILE brixcoreConfig.cmake DESTINATION ${package_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/brixcoreConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/brixcoreConfigVersion.cmake DESTINATION ${package_dir})

# Folders as the pkg-config file and the program name them: relative to where they stand, where that is possible.
set(BRIX_PC_PREFIX ${CMAKE_INSTALL_PREFIX})
if(NOT IS_ABSOLUTE ${CMAKE_INSTALL_LIBDIR})
  file(RELATIVE_PATH up "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
  set(BRIX_PC_PREFIX "\${pcfiledir}/${up}")
  string(REGEX REPLACE "/$" "" BRIX_PC_PREFIX ${BRIX_PC_PREFIX})
endif()
foreach(folder LIBDIR INCLUDEDIR)
  set(BRIX_PC_${folder} ${CMAKE_INSTALL_${folder}})
  if(NOT IS_ABSOLUTE ${CMAKE_INSTALL_${folder}})
    set(BRIX_PC_${folder} "\${prefix}/${CMAKE_INSTALL_${folder}}")
  endif()
endforeach()
configure_file(${PROJECT_SOURCE_DIR}/cmake/brixcore.pc.in ${PROJECT_BINARY_DIR}/brixcore.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/brixcore.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# A manual page for each family of functions, and under each function's name a page that leads there.
file(GLOB pages CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/docs/man/*.3)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${pages})
file(REMOVE_RECURSE ${PROJECT_BINARY_DIR}/man3)
foreach(page IN LISTS pages)
  get_filename_component(name ${page} NAME)
  file(STRINGS ${page} functions REGEX "^\\.Fn [A-Za-z]")
  foreach(line IN LISTS functions)
    string(REGEX REPLACE "^\\.Fn ([A-Za-z0-9_]+).*" "\\1" function ${line})
    file(CONFIGURE OUTPUT ${PROJECT_BINARY_DIR}/man3/${function}.3 CONTENT ".so man3/${name}\n")
  endforeach()
endforeach()
install(FILES ${pages} DESTINATION ${CMAKE_INSTALL_MANDIR}/man3)
install(DIRECTORY ${PROJECT_BINARY_DIR}/man3/ DESTINATION ${CMAKE_INSTALL_MANDIR}/man3)

# The texts, in the shape that their links to each other expect; the headers lie elsewhere than in the sources.
file(RELATIVE_PATH to_headers ${CMAKE_INSTALL_FULL_DOCDIR} ${CMAKE_INSTALL_FULL_INCLUDEDIR})
file(READ ${PROJECT_SOURCE_DIR}/README.md readme)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/README.md)
string(REPLACE "](include/" "](${to_headers}/" readme "${readme}")
file(CONFIGURE OUTPUT ${PROJECT_BINARY_DIR}/README.md CONTENT "${readme}" @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/README.md DESTINATION ${CMAKE_INSTALL_DOCDIR})
foreach(text CHANGELOG.md SECURITY.md CONTRIBUTING.md docs/architecture.md docs/benchmarks.md docs/brix.md docs/formats.md LICENSES/Apache-2.0.txt
             examples/README.md examples/nested.zip)
  get_filename_component(folder ${text} DIRECTORY)
  install(FILES ${PROJECT_SOURCE_DIR}/${text} DESTINATION ${CMAKE_INSTALL_DOCDIR}/${folder})
endforeach()
install(DIRECTORY ${PROJECT_SOURCE_DIR}/docs/adr DESTINATION ${CMAKE_INSTALL_DOCDIR}/docs FILES_MATCHING PATTERN "*.md")
install(DIRECTORY ${PROJECT_SOURCE_DIR}/examples DESTINATION ${CMAKE_INSTALL_DOCDIR} FILES_MATCHING PATTERN "*.[ch]")

if(BRIX_TOOLS)
  if(NOT WIN32)
    file(RELATIVE_PATH to_library ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
    # The build tree has the shape of the installed one, so that one path serves both: a path that CMake replaces at
    # installation ends in an empty entry, which is the current folder, and that may hold a hostile library.
    set_target_properties(brix PROPERTIES INSTALL_RPATH "$ORIGIN/${to_library}" BUILD_WITH_INSTALL_RPATH ON)
    get_target_property(program_folder brix BINARY_DIR)
    set_target_properties(brixcore PROPERTIES LIBRARY_OUTPUT_DIRECTORY ${program_folder}/${to_library})
  endif()
  install(TARGETS brix RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
  install(FILES ${PROJECT_SOURCE_DIR}/docs/man/brix.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
  install(FILES ${PROJECT_SOURCE_DIR}/tools/brix/completion/brix.bash RENAME brix
          DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
  install(FILES ${PROJECT_SOURCE_DIR}/tools/brix/completion/_brix DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/site-functions)
  install(FILES ${PROJECT_SOURCE_DIR}/tools/brix/completion/brix.fish
          DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d)
endif()

# What a host, a user and a packager get: headers, library, CMake package, pkg-config file, program, manual pages.
#
# Nothing installed holds the prefix: the package, the pkg-config file and the program find their neighbours relative to
# themselves, so an installed tree may be moved or unpacked anywhere.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/brixcore DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} FILES_MATCHING PATTERN "*.h")
install(TARGETS brixcore EXPORT brixcore
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}   # brixcore.dll
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}   # libbrixcore.so and its links
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}   # libbrixcore.dll.a, the import library
        INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

# find_package(brixcore) gives the target brixcore::brixcore. Before 1.0 each minor version is an interface of its own.
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

file(GLOB pages CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/docs/man/*.3)
install(FILES ${pages} DESTINATION ${CMAKE_INSTALL_MANDIR}/man3)
install(FILES ${PROJECT_SOURCE_DIR}/README.md ${PROJECT_SOURCE_DIR}/CHANGELOG.md ${PROJECT_SOURCE_DIR}/SECURITY.md
        DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(FILES ${PROJECT_SOURCE_DIR}/docs/brix.md ${PROJECT_SOURCE_DIR}/docs/formats.md DESTINATION ${CMAKE_INSTALL_DOCDIR}/docs)
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

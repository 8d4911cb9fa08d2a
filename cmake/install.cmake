# Installs the libraries, the headers, and the files with which CMake's find_package(quill) and pkg-config find them. No
# file contains the prefix, so programs can be built with a staging folder, also after it was moved.
include(CMakePackageConfigHelpers)

install(TARGETS quill quill_static EXPORT quill
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY include/quill DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development FILES_MATCHING PATTERN
  *.h PATTERN *.hpp)
# gdb looks in share/gdb/auto-load for a file under the whole path of the shared object. This path is known only at the
# installation.
install(CODE "
  set(CMAKE_INSTALL_LIBDIR \"${CMAKE_INSTALL_LIBDIR}\")
  cmake_path(ABSOLUTE_PATH CMAKE_INSTALL_LIBDIR BASE_DIRECTORY \"\${CMAKE_INSTALL_PREFIX}\" OUTPUT_VARIABLE libraries)
  file(INSTALL DESTINATION \"\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_DATADIR}/gdb/auto-load\${libraries}\"
    TYPE FILE FILES \"${PROJECT_BINARY_DIR}/src/libquill.so.${PROJECT_VERSION}-gdb.py\")" COMPONENT development)
install(PROGRAMS tools/sign-reg-table DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
install(FILES tools/sign-reg-table.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tools)
if(QUILL_PROGRAM)
  install(TARGETS quill_program RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
  install(FILES tools/quill/quill.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tools)
  set(share ${CMAKE_INSTALL_DATADIR})
  install(FILES tools/quill/quill.bash DESTINATION ${share}/bash-completion/completions RENAME quill COMPONENT tools)
  install(FILES tools/quill/quill.zsh DESTINATION ${share}/zsh/site-functions RENAME _quill COMPONENT tools)
  install(FILES tools/quill/quill.fish DESTINATION ${share}/fish/vendor_completions.d COMPONENT tools)
  install(FILES tools/wireshark/quill.lua DESTINATION ${CMAKE_INSTALL_LIBDIR}/wireshark/plugins COMPONENT tools)
endif()

install(FILES tools/python/quill.py DESTINATION lib/python3/dist-packages COMPONENT python)

set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/quill)
configure_package_config_file(cmake/quillConfig.cmake.in ${PROJECT_BINARY_DIR}/quillConfig.cmake
  INSTALL_DESTINATION ${package_folder} NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/quillConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/quillConfig.cmake ${PROJECT_BINARY_DIR}/quillConfigVersion.cmake
  DESTINATION ${package_folder} COMPONENT development)
install(EXPORT quill NAMESPACE quill:: FILE quillTargets.cmake DESTINATION ${package_folder} COMPONENT development)

# The folders are relative to quill.pc, or absolute if a packager gives absolute paths.
set(pc_folder ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
foreach(kind LIBDIR INCLUDEDIR)
  if(IS_ABSOLUTE "${CMAKE_INSTALL_${kind}}")
    set(pc_${kind} "${CMAKE_INSTALL_${kind}}")
  else()
    set(pc_${kind} "\${prefix}/${CMAKE_INSTALL_${kind}}")
  endif()
endforeach()
if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}")
  set(pc_prefix "${CMAKE_INSTALL_PREFIX}")
else()
  string(REGEX REPLACE "[^/]+" ".." up "${pc_folder}")
  set(pc_prefix "\${pcfiledir}/${up}")
endif()
# A program that is linked with the archive must also be linked with the platform's object pool library, by its name.
set(pc_mpool "")
if(QUILL_PLATFORM_MPOOL)
  cmake_path(GET QUILL_PLATFORM_MPOOL STEM pc_mpool)
  string(REGEX REPLACE "^(lib)?(.+)" " -l\\2" pc_mpool ${pc_mpool})
endif()
configure_file(cmake/quill.pc.in ${PROJECT_BINARY_DIR}/quill.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/quill.pc DESTINATION ${pc_folder} COMPONENT development)

# --- the reference: man pages and HTML

if(QUILL_REFERENCE)
  find_program(QUILL_DOXYGEN doxygen REQUIRED)
  mark_as_advanced(QUILL_DOXYGEN)
  set(reference ${PROJECT_BINARY_DIR}/reference)
  file(GLOB reference_sources CONFIGURE_DEPENDS include/quill/*.h docs/*.md docs/reference/*)
  add_custom_command(OUTPUT ${reference}/html/index.html
    COMMAND ${PROJECT_SOURCE_DIR}/docs/reference/generate ${reference} ${PROJECT_VERSION}
    DEPENDS README.md src/libquill.map ${reference_sources}
    COMMENT "Making the reference" VERBATIM)
  add_custom_target(quill_reference ALL DEPENDS ${reference}/html/index.html)
  install(DIRECTORY ${reference}/man/man3 DESTINATION ${CMAKE_INSTALL_MANDIR} COMPONENT development)
  install(DIRECTORY ${reference}/html DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT documentation)
endif()

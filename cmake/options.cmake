# How everything in the project is compiled: interface targets for all code (quill_build), for the library's C++
# (quill_no_runtime), and for the library and what ships with it (quill_hardening). Their flags come after
# CMAKE_<LANG>_FLAGS, and so override them. A packager who has other hardening flags sets QUILL_HARDENING=OFF.
include(CheckCXXCompilerFlag)
include(CheckCSourceCompiles)

get_property(multi_config GLOBAL PROPERTY GENERATOR_IS_MULTI_CONFIG)
if(PROJECT_IS_TOP_LEVEL AND NOT multi_config AND NOT CMAKE_BUILD_TYPE)
  set(CMAKE_BUILD_TYPE Release CACHE STRING "Debug (development), Release or MinSizeRel" FORCE)
endif()

find_program(QUILL_CCACHE ccache)
mark_as_advanced(QUILL_CCACHE)
if(QUILL_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  set(CMAKE_C_COMPILER_LAUNCHER ${QUILL_CCACHE})
  set(CMAKE_CXX_COMPILER_LAUNCHER ${QUILL_CCACHE})
endif()

if(QUILL_LTO AND CMAKE_CXX_COMPILER_ID MATCHES "Clang")
  message(STATUS "QUILL_LTO with Clang: the archive is of bitcode, for programs that this Clang links with -flto")
  if(NOT CMAKE_CXX_COMPILER_AR)
    message(FATAL_ERROR "QUILL_LTO with Clang needs llvm-ar (Debian: llvm); or set -DQUILL_LTO=OFF")
  endif()
  set(CMAKE_AR ${CMAKE_CXX_COMPILER_AR})
  set(CMAKE_RANLIB ${CMAKE_CXX_COMPILER_RANLIB})
elseif(QUILL_LTO AND NOT CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  message(STATUS "QUILL_LTO takes GCC or Clang: the archive has only machine code")
  set(QUILL_LTO OFF)
endif()

# Only the sanitizers, for code of other projects that is part of the build (GoogleTest).
add_library(quill_sanitize INTERFACE)
if(QUILL_SANITIZE)
  target_compile_options(quill_sanitize INTERFACE
    -fsanitize=${QUILL_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(quill_sanitize INTERFACE -fsanitize=${QUILL_SANITIZE})
endif()

add_library(quill_build INTERFACE)
target_link_libraries(quill_build INTERFACE quill_sanitize)
target_compile_options(quill_build INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wshadow
  $<$<BOOL:${QUILL_WERROR}>:-Werror>)

if(QUILL_COVERAGE)
  # Counters are atomic, because some tests have threads.
  target_compile_options(quill_build INTERFACE --coverage -fprofile-update=atomic)
  target_link_options(quill_build INTERFACE --coverage)
endif()

# Switches off every feature that needs the C++ run-time library, even if a packager's flags switch it on.
add_library(quill_no_runtime INTERFACE)
target_compile_options(quill_no_runtime INTERFACE
  -fno-exceptions -fno-rtti -fno-threadsafe-statics -U_GLIBCXX_ASSERTIONS)

# --- hardening, of all builds except those for debugging

add_library(quill_hardening INTERFACE)
set(hardened "$<AND:$<BOOL:${QUILL_HARDENING}>,$<NOT:$<CONFIG:Debug>>>")

function(quill_harden flag)
  string(MAKE_C_IDENTIFIER "QUILL_HAS${flag}" have)
  check_cxx_compiler_flag("${flag} -Werror" ${have})
  if(${have})
    target_compile_options(quill_hardening INTERFACE $<${hardened}:${flag}>)
  endif()
endfunction()

quill_harden(-fstack-protector-strong)
if(NOT CMAKE_SYSTEM_PROCESSOR MATCHES "^arm")  # src/CMakeLists.txt has the reason
  quill_harden(-fstack-clash-protection)
endif()
if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64)$")
  quill_harden(-fcf-protection=full)
endif()
target_link_options(quill_hardening INTERFACE
  $<${hardened}:LINKER:-z,relro,-z,now,-z,noexecstack>)

# The highest level of source fortification that both the compiler and the C library support. The C library's headers
# warn about a higher level.
set(CMAKE_REQUIRED_FLAGS "-O2 -Werror -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=3")
check_c_source_compiles("#include <string.h>\nint main(void) { return 0; }" QUILL_FORTIFY_3)
unset(CMAKE_REQUIRED_FLAGS)
if(QUILL_FORTIFY_3)
  set(QUILL_FORTIFY_LEVEL 3)
else()
  set(QUILL_FORTIFY_LEVEL 2)
endif()
target_compile_options(quill_hardening INTERFACE
  $<${hardened}:-U_FORTIFY_SOURCE> $<${hardened}:-D_FORTIFY_SOURCE=${QUILL_FORTIFY_LEVEL}>)

# 32-bit big-endian ARM Linux with musl: the library's own target. scripts/device-root makes the system root. Set its
# folder with -DQUILL_SYSROOT=DIR or in the environment variable QUILL_SYSROOT.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR armeb)

if(NOT QUILL_SYSROOT)
  set(QUILL_SYSROOT "$ENV{QUILL_SYSROOT}")
endif()
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES QUILL_SYSROOT)
if(NOT EXISTS "${QUILL_SYSROOT}/usr/lib/libc.so")
  message(FATAL_ERROR "QUILL_SYSROOT does not name a system root made by scripts/device-root")
endif()
get_filename_component(QUILL_SYSROOT "${QUILL_SYSROOT}" ABSOLUTE)

set(CMAKE_C_COMPILER arm-linux-gnueabihf-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)
# C++ programs cannot be linked, because there is no C++ run-time library for this target
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)

execute_process(COMMAND ${CMAKE_C_COMPILER} -print-file-name=include
  OUTPUT_VARIABLE _gcc_include OUTPUT_STRIP_TRAILING_WHITESPACE)
execute_process(COMMAND ${CMAKE_C_COMPILER} -dumpversion
  OUTPUT_VARIABLE _gcc_version OUTPUT_STRIP_TRAILING_WHITESPACE)
set(_cxx /usr/arm-linux-gnueabihf/include/c++/${_gcc_version})

set(_machine "-mbig-endian -mcpu=cortex-a7 -mfpu=neon-vfpv4 -mfloat-abi=hard -marm -mmusl -B\"${QUILL_SYSROOT}/usr/lib/\"")
set(_c_include "-isystem \"${QUILL_SYSROOT}/usr/include\" -isystem ${_gcc_include}")
set(CMAKE_C_FLAGS_INIT "${_machine} -nostdinc ${_c_include}")
set(CMAKE_CXX_FLAGS_INIT "${_machine} -Wno-psabi -nostdinc -nostdinc++ -isystem \"${CMAKE_CURRENT_LIST_DIR}/musl-c++\" -isystem ${_cxx} -isystem ${_cxx}/arm-linux-gnueabihf -isystem ${_cxx}/backward ${_c_include}")
set(CMAKE_EXE_LINKER_FLAGS_INIT -static-libgcc)
set(CMAKE_SHARED_LINKER_FLAGS_INIT -static-libgcc)
set(CMAKE_MODULE_LINKER_FLAGS_INIT -static-libgcc)

set(CMAKE_FIND_ROOT_PATH "${QUILL_SYSROOT}")
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
include("${CMAKE_CURRENT_LIST_DIR}/emulator.cmake")
run_under(qemu-armeb "${QUILL_SYSROOT}")

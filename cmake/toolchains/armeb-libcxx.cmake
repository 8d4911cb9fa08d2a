# For C++ tests on 32-bit big-endian ARM with musl: the C++ library and GoogleTest that
# `scripts/device-cxx DIR` adds to the system root. Neither has exceptions.
if(NOT EXISTS "${QUILL_SYSROOT}/usr/lib/libgtest.a")
  message(FATAL_ERROR "QUILL_SYSROOT has no GoogleTest: scripts/device-cxx DIR adds it")
endif()
# Without -Wno-array-bounds, GCC gives a false warning when it optimises for size: it treats libc++'s vector of pointers
# as an array of one element.
set(CMAKE_CXX_FLAGS "${_machine} -Wno-psabi -Wno-array-bounds -fno-exceptions -nostdinc -nostdinc++ -isystem \"${CMAKE_CURRENT_LIST_DIR}/musl-libc++\" -isystem \"${QUILL_SYSROOT}/usr/include/c++/v1\" ${_c_include}")
add_library(libcxx INTERFACE)
target_link_options(libcxx INTERFACE -nodefaultlibs)
target_link_libraries(libcxx INTERFACE "${QUILL_SYSROOT}/usr/lib/libc++.a" c gcc)
foreach(library gtest gtest_main)
  add_library(${library} STATIC IMPORTED GLOBAL)
  set_target_properties(${library} PROPERTIES
    IMPORTED_LOCATION "${QUILL_SYSROOT}/usr/lib/libgtest.a"
    INTERFACE_COMPILE_DEFINITIONS GTEST_HAS_EXCEPTIONS=0
    INTERFACE_LINK_LIBRARIES libcxx)
endforeach()

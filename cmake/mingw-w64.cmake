# Cross-building for 64-bit Windows with Debian's mingw-w64. VELMO_SYSROOT names the unpacked GTK
# sysroot; test programs run under Wine through scripts/wine-run.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(CMAKE_C_COMPILER x86_64-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)

set(CMAKE_FIND_ROOT_PATH /usr/x86_64-w64-mingw32 ${VELMO_SYSROOT})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)

# Only the sysroot's packages. CMake's own compile checks read this file too, without the variable.
if(VELMO_SYSROOT)
  set(ENV{PKG_CONFIG_LIBDIR} "${VELMO_SYSROOT}/lib/pkgconfig")
endif()

# The compiler's own libraries go into each program, so that one without GTK is one file. CMake names the
# sysroot's import libraries by their paths, which stay as they are.
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static")
set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_CURRENT_LIST_DIR}/../scripts/wine-run)

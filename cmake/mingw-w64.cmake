# Toolchain: Windows x86-64 with mingw-w64 and POSIX threads (std::thread, std::mutex).

set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)
set(CMAKE_C_COMPILER x86_64-w64-mingw32-gcc-posix)

list(APPEND CMAKE_FIND_ROOT_PATH /usr/x86_64-w64-mingw32)  # behind what the caller names: an installation of ours
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Tests run under Wine. Debian puts the program outside of PATH.
find_program(KX_WINE64 NAMES wine64 wine PATHS /usr/lib/wine)
if(KX_WINE64)
  set(CMAKE_CROSSCOMPILING_EMULATOR "${KX_WINE64}")
endif()

# Cross-compiles for 64-bit Windows with Debian's mingw-w64.
#
# NORVANE_THREADS is the thread model of the C++ library. The programs that ship use win32, which adds no
# functions that open or change processes. GoogleTest needs posix with Debian 12's compiler.
set(NORVANE_THREADS win32 CACHE STRING "win32 or posix")
set(CMAKE_TRY_COMPILE_PLATFORM_VARIABLES NORVANE_THREADS)
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(CMAKE_C_COMPILER x86_64-w64-mingw32-gcc-${NORVANE_THREADS})
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-${NORVANE_THREADS})
# With the plugin that archives of objects for link-time optimisation need.
set(CMAKE_AR x86_64-w64-mingw32-gcc-ar-${NORVANE_THREADS})
set(CMAKE_RANLIB x86_64-w64-mingw32-gcc-ranlib-${NORVANE_THREADS})
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)
set(CMAKE_FIND_ROOT_PATH /usr/x86_64-w64-mingw32)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)

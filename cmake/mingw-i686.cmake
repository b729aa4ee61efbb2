# Cross build for 32-bit Windows: MinGW-w64, posix threads, everything static.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR i686)
set(CMAKE_C_COMPILER i686-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER i686-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER i686-w64-mingw32-windres)
set(CMAKE_DLLTOOL i686-w64-mingw32-dlltool)
set(CMAKE_FIND_ROOT_PATH /usr/i686-w64-mingw32)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
# A package that a client names in CMAKE_PREFIX_PATH lies outside the root.
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE BOTH)

# Callers built by other compilers keep the stack aligned to 4 bytes only, and
# SSE2 code wants 16: every function realigns for itself.
set(CMAKE_C_FLAGS_INIT "-march=pentium4 -mfpmath=sse -mstackrealign")
set(CMAKE_CXX_FLAGS_INIT "-march=pentium4 -mfpmath=sse -mstackrealign")
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-static")

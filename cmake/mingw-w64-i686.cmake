# MinGW-w64 cross toolchain, 32-bit, posix threads. 32-bit Wine cannot be
# installed here, so these binaries are built and inspected but not run.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR i686)
set(VANTREL_MINGW_TRIPLE i686-w64-mingw32)
set(CMAKE_C_COMPILER ${VANTREL_MINGW_TRIPLE}-gcc-posix)
set(CMAKE_CXX_COMPILER ${VANTREL_MINGW_TRIPLE}-g++-posix)
set(CMAKE_RC_COMPILER ${VANTREL_MINGW_TRIPLE}-windres)
set(CMAKE_FIND_ROOT_PATH /usr/${VANTREL_MINGW_TRIPLE})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)

# mingw-w64 for the processor that CMAKE_SYSTEM_PROCESSOR names (x86_64 or i686); included by the toolchain files.

set(CMAKE_SYSTEM_NAME Windows)
set(mingw "${CMAKE_SYSTEM_PROCESSOR}-w64-mingw32")

# GoogleTest's own project asks for a C compiler too.
set(CMAKE_C_COMPILER ${mingw}-gcc-posix)
set(CMAKE_CXX_COMPILER ${mingw}-g++-posix)
set(CMAKE_RC_COMPILER ${mingw}-windres)

set(CMAKE_FIND_ROOT_PATH "/usr/${mingw}")
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)

# Tests are Windows programs; this script starts them under Wine.
set(CMAKE_CROSSCOMPILING_EMULATOR "${CMAKE_CURRENT_LIST_DIR}/run-under-wine")
if(CMAKE_SYSTEM_PROCESSOR STREQUAL i686)
  list(APPEND CMAKE_CROSSCOMPILING_EMULATOR --32)
endif()

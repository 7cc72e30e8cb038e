# Cross builds for Windows with MinGW-w64; VESK_MINGW_ARCH picks the machine:
# i686 for the product (the host's own 32-bit platform), x86_64 for the build
# the tests run under wine64.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR ${VESK_MINGW_ARCH})
set(triple ${VESK_MINGW_ARCH}-w64-mingw32)
set(CMAKE_C_COMPILER ${triple}-gcc-posix)
set(CMAKE_CXX_COMPILER ${triple}-g++-posix)
set(CMAKE_RC_COMPILER ${triple}-windres)
set(CMAKE_FIND_ROOT_PATH /usr/${triple})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
# Compiler checks run in their own projects; they need the machine too.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES VESK_MINGW_ARCH)

# Cross build for 64-bit Windows with MinGW-w64 (posix thread model). Everything is
# linked statically so the programs run in any Wine prefix without DLLs beside them.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(ISE_MINGW_TRIPLE x86_64-w64-mingw32)
set(CMAKE_C_COMPILER ${ISE_MINGW_TRIPLE}-gcc-posix)
set(CMAKE_CXX_COMPILER ${ISE_MINGW_TRIPLE}-g++-posix)
set(CMAKE_RC_COMPILER ${ISE_MINGW_TRIPLE}-windres)

set(CMAKE_FIND_ROOT_PATH /usr/${ISE_MINGW_TRIPLE})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)

set(CMAKE_EXE_LINKER_FLAGS_INIT "-static -static-libgcc -static-libstdc++")

# Test programs run under Wine, in a private prefix inside the build tree.
set(CMAKE_CROSSCOMPILING_EMULATOR "${CMAKE_CURRENT_LIST_DIR}/../scripts/wine-run")

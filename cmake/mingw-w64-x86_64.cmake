# Cross-builds the Windows 64-bit DLL, its tests and examples on Linux with
# the mingw-w64 compiler of POSIX threads (std::thread and std::mutex need
# them). Test programs run under Wine through the cross-compiling emulator.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(TARNHIVE_MINGW_PREFIX x86_64-w64-mingw32)
set(CMAKE_C_COMPILER ${TARNHIVE_MINGW_PREFIX}-gcc-posix)
set(CMAKE_CXX_COMPILER ${TARNHIVE_MINGW_PREFIX}-g++-posix)
set(CMAKE_RC_COMPILER ${TARNHIVE_MINGW_PREFIX}-windres)

set(CMAKE_FIND_ROOT_PATH /usr/${TARNHIVE_MINGW_PREFIX})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# The compiler's own runtime is linked in, so every program and the DLL run
# under Wine without the toolchain's DLLs beside them.
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static-libgcc -static-libstdc++ -static")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-static-libgcc -static-libstdc++ -static")
set(CMAKE_MODULE_LINKER_FLAGS_INIT "-static-libgcc -static-libstdc++ -static")

find_program(TARNHIVE_WINE NAMES wine64 wine)
if(TARNHIVE_WINE)
  set(CMAKE_CROSSCOMPILING_EMULATOR ${TARNHIVE_WINE})
endif()

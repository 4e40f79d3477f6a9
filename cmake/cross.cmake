# Toolchain file for Debian's cross compilers.
#   in  KD_CROSS_TRIPLET  the compiler's prefix: mipsel-linux-gnu
#       KD_CROSS_SYSROOT  where expat (and GoogleTest, for the tests) of that processor are installed
set(CMAKE_TRY_COMPILE_PLATFORM_VARIABLES KD_CROSS_TRIPLET KD_CROSS_SYSROOT)
if(NOT KD_CROSS_TRIPLET)
  message(FATAL_ERROR "cmake/cross.cmake needs -DKD_CROSS_TRIPLET=, for example mipsel-linux-gnu.")
endif()
string(REGEX MATCH "^[^-]+" CMAKE_SYSTEM_PROCESSOR "${KD_CROSS_TRIPLET}")
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_C_COMPILER ${KD_CROSS_TRIPLET}-gcc)
set(CMAKE_CXX_COMPILER ${KD_CROSS_TRIPLET}-g++)

# Libraries and headers of this machine must not be taken for the other's.
set(CMAKE_FIND_ROOT_PATH "${KD_CROSS_SYSROOT}" "/usr/${KD_CROSS_TRIPLET}")
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

string(REPLACE i686 i386 qemu "qemu-${CMAKE_SYSTEM_PROCESSOR}-static")
set(CMAKE_CROSSCOMPILING_EMULATOR ${qemu} -L "/usr/${KD_CROSS_TRIPLET}")

# Cross build for arm64, the phones' architecture: Debian's aarch64 cross
# compiler, with Debian's arm64 builds of the Android host libraries and the
# test libraries installed through multiarch (scripts/setup --arm64). Programs
# built here run under qemu-user, which ctest and test discovery use as the
# emulator; the arm64 dynamic loader finds the arm64 libraries through the
# multiarch paths.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)
set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)

# Headers are shared between architectures under /usr/include; libraries
# are taken from the arm64 multiarch directory only.
set(CMAKE_FIND_ROOT_PATH /usr/aarch64-linux-gnu)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY BOTH)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE BOTH)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE BOTH)
set(CMAKE_IGNORE_PATH /usr/lib/x86_64-linux-gnu /lib/x86_64-linux-gnu)
# pkg-config (libzip) reads the arm64 libraries' files, not the build machine's.
set(ENV{PKG_CONFIG_LIBDIR} /usr/lib/aarch64-linux-gnu/pkgconfig:/usr/share/pkgconfig)
# Debian's arm64 libbacktrace (under libutils) needs p7zip's 7z.so, which
# multiarch cannot install beside the amd64 one: scripts/setup --arm64 puts
# the arm64 copy here, for the linker and for the loader under emulation.
set(ZSL_ARM64_P7ZIP_DIR /usr/local/lib/aarch64-linux-gnu/p7zip)
set(CMAKE_EXE_LINKER_FLAGS_INIT "-Wl,-rpath-link,/usr/lib/aarch64-linux-gnu/android -Wl,-rpath-link,${ZSL_ARM64_P7ZIP_DIR}")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "${CMAKE_EXE_LINKER_FLAGS_INIT}")
set(CMAKE_MODULE_LINKER_FLAGS_INIT "${CMAKE_EXE_LINKER_FLAGS_INIT}")

set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64 -E LD_LIBRARY_PATH=${ZSL_ARM64_P7ZIP_DIR})

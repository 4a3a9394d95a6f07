# Cross build for Linux on 64-bit ARM with Debian's cross toolchain
# (crossbuild-essential-arm64) and multiarch :arm64 dev packages. Programs
# built here run on this machine through qemu-user.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)

set(TQL_CROSS_TRIPLE aarch64-linux-gnu)
set(CMAKE_C_COMPILER ${TQL_CROSS_TRIPLE}-gcc)
set(CMAKE_CXX_COMPILER ${TQL_CROSS_TRIPLE}-g++)

# Multiarch: the target's headers and libraries sit beside the build
# machine's own under /usr, so the root is / and only the arch folders differ.
set(CMAKE_LIBRARY_ARCHITECTURE ${TQL_CROSS_TRIPLE})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)

# pkg-config must read the target's .pc files, not the build machine's.
set(ENV{PKG_CONFIG_LIBDIR} /usr/lib/${TQL_CROSS_TRIPLE}/pkgconfig:/usr/share/pkgconfig)
set(ENV{PKG_CONFIG_PATH} "")

# Test discovery and ctest run the target's programs through the emulator,
# which finds the loader and libraries of the :arm64 packages under /.
find_program(TQL_QEMU qemu-aarch64)
if(TQL_QEMU)
  set(CMAKE_CROSSCOMPILING_EMULATOR ${TQL_QEMU})
endif()

# Cross-compiling for arm64 on Debian, with Debian's compiler and libraries.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
set(PKG_CONFIG_EXECUTABLE /usr/bin/aarch64-linux-gnu-pkg-config)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64-static)
# CMake finds Debian's library directory only when it builds for the machine itself.
set(CMAKE_INSTALL_LIBDIR lib/aarch64-linux-gnu)
# moc, rcc and uic run on the machine that builds.
set(QT_HOST_PATH /usr)

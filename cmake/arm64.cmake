# Builds for 64-bit ARM on another machine. "script/packages arm64" has unpacked the libraries that
# the programs are linked with; an emulator runs the tests.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)

cmake_path(SET root NORMALIZE ${CMAKE_CURRENT_LIST_DIR}/../build/arm64-packages)
set(libraries ${root}/usr/lib/aarch64-linux-gnu)
set(CMAKE_FIND_ROOT_PATH ${root})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
foreach(kind INCLUDE LIBRARY PACKAGE)
  set(CMAKE_FIND_ROOT_PATH_MODE_${kind} ONLY)
endforeach()
set(ENV{PKG_CONFIG_LIBDIR} ${libraries}/pkgconfig)
set(ENV{PKG_CONFIG_SYSROOT_DIR} ${root})

set(CMAKE_CXX_FLAGS_INIT "-isystem \"${root}/usr/include\"")
# The directory of the libraries that the libraries need.
set(CMAKE_EXE_LINKER_FLAGS_INIT "\"-Wl,-rpath-link,${libraries}\"")

# A static emulator, because what is preloaded into a program must not be preloaded into the emulator.
find_program(QEMU_PROGRAM NAMES qemu-aarch64-static qemu-aarch64 REQUIRED)
set(CMAKE_CROSSCOMPILING_EMULATOR ${QEMU_PROGRAM} -L ${root})

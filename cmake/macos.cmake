# Builds for macOS on another system, with what "script/check-builds macos" has put into build/: a
# cross compiler, the headers of libcups and libplist, and the names in libcups.
set(CMAKE_SYSTEM_NAME Darwin)
set(CMAKE_SYSTEM_PROCESSOR arm64)
cmake_path(SET root NORMALIZE ${CMAKE_CURRENT_LIST_DIR}/../build/macos-tools)
set(CMAKE_CXX_COMPILER ${root}/c++)
set(CMAKE_AR ${root}/ar)
set(CMAKE_RANLIB ${root}/ranlib)

set(CMAKE_INSTALL_LIBDIR lib)  # CMake cannot determine the size of a pointer

set(CMAKE_FIND_ROOT_PATH ${root})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
foreach(kind INCLUDE LIBRARY PACKAGE)
  set(CMAKE_FIND_ROOT_PATH_MODE_${kind} ONLY)
endforeach()
set(CMAKE_CXX_FLAGS_INIT "-isystem \"${root}/usr/include\"")

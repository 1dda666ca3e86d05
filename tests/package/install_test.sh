#!/usr/bin/env bash
# Installs the build into a temporary prefix and builds a small C program against it, once through pkg-config and once
# through the CMake package. Arguments: build folder, this folder, C compiler, its flags.
set -eu
build=$1 here=$2 cc=$3
shift 3
prefix=$(mktemp -d)
trap 'rm -rf "$prefix"' EXIT

cmake --install "$build" --prefix "$prefix" >/dev/null
lib=$(dirname "$(find "$prefix" -name libqvovcpx.so)")
test "$(readlink "$lib/libqvovc.so.4")" = libqvovcpx.so
test "$(readlink "$lib/libqvovc.so")" = libqvovcpx.so
export LD_LIBRARY_PATH=$lib

runs() {
    readelf -d "$1" | grep -q 'NEEDED.*\[libqvovc.so.4\]' || { echo "$1 is not linked by the soname"; exit 1; }
    "$1"
}

export PKG_CONFIG_PATH=$lib/pkgconfig
# shellcheck disable=SC2046
"$cc" "$@" -std=c99 "$here/header_c.c" -o "$prefix/by_pkg_config" $(pkg-config --cflags --libs qvovc)
runs "$prefix/by_pkg_config"
pkg-config --exact-version=4.1.10 qvovc

mkdir "$prefix/project"
cp "$here/header_c.c" "$prefix/project/main.c"
cat >"$prefix/project/CMakeLists.txt" <<'END'
cmake_minimum_required(VERSION 3.25)
project(user LANGUAGES C)
find_package(qvovc 4.1 REQUIRED)
add_executable(by_cmake main.c)
target_link_libraries(by_cmake PRIVATE qvovc::qvovc)
END
cmake -S "$prefix/project" -B "$prefix/project/build" -DCMAKE_PREFIX_PATH="$prefix" \
    -DCMAKE_C_COMPILER="$cc" -DCMAKE_C_FLAGS="$*" >/dev/null
cmake --build "$prefix/project/build" >/dev/null
runs "$prefix/project/build/by_cmake"
echo "pkg-config and CMake package work"

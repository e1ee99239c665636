#!/usr/bin/env bash
# An installation serves an outside program, found through CMake and through pkg-config, wherever it is moved.
# Arguments: build directory, source directory, compiler.
set -euo pipefail

build=$1 source=$2 compiler=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

cmake --install "$build" --prefix "$work/first" >/dev/null
mv "$work/first" "$work/prefix"

cmake -S "$source/tests/packaging/outside_project" -B "$work/outside" -G Ninja -DCMAKE_CXX_COMPILER="$compiler" \
    -DCMAKE_PREFIX_PATH="$work/prefix" >"$work/configure.log" || { cat "$work/configure.log"; exit 1; }
cmake --build "$work/outside"
"$work/outside/outside"

pkgconfig=$(dirname "$(find "$work/prefix" -name krw.pc)")
flags=$(PKG_CONFIG_PATH=$pkgconfig pkg-config --cflags --libs krw)
# shellcheck disable=SC2086 # several words
"$compiler" -std=c++20 "$source/tests/packaging/outside_project/main.cpp" $flags -o "$work/by_pkg_config"
"$work/by_pkg_config"

# The command finds its library and its plug-in.
env -u KRW_PLUGIN -u LD_LIBRARY_PATH "$work/prefix/bin/krw" synth "$work/clip.krw" --size 64x48 --frames 2
env -u KRW_PLUGIN -u LD_LIBRARY_PATH "$work/prefix/bin/krw" probe "$work/clip.krw"

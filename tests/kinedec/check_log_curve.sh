#!/usr/bin/env bash
# The curves give the same results from every compiler at hand, at every level, with and without the machine's
# own instructions. Arguments: the source directory, then the options that the build gives log_curve.cpp.
set -euo pipefail

source=$1
shift
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

builds=0
for compiler in g++ g++-12 clang++ clang++-14; do
    command -v "$compiler" >"$work/path" || continue
    for level in "-O0" "-O3" "-O3 -march=native" "-O3 -march=native -ffast-math"; do
        # shellcheck disable=SC2086 # the levels are several words
        "$compiler" -std=c++20 -I"$source" $level "$@" -c "$source/kinedec/log_curve.cpp" -o "$work/curve.o"
        "$compiler" -std=c++20 -I"$source" "$source/tests/kinedec/log_curve_digest.cpp" "$work/curve.o" -o "$work/digest"
        "$work/digest" >"$work/results"
        [ -s "$work/expected" ] || cp "$work/results" "$work/expected"
        cmp "$work/expected" "$work/results" || { echo "$compiler $level differs"; exit 1; }
        builds=$((builds + 1))
    done
done
[ "$builds" -gt 0 ] || { echo "no compiler found"; exit 1; }
echo "$builds builds agree on $(stat -c %s "$work/expected") bytes"

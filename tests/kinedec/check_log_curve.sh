#!/usr/bin/env bash
# The curves give the same results from every compiler at hand, at every level, with and without the machine's
# own instructions. Arguments: the source directory, a cross compiler (or nothing), the list of words with which its
# programs run, then the options that the build gives log_curve.cpp.
set -euo pipefail

source=$1
cross=$2
IFS=';' read -ra emulator <<<"$3"
shift 3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

builds=0
# Usage: compare COMPILER OPTIONS RUNNER...
compare() {
    local compiler=$1 level=$2
    # shellcheck disable=SC2086 # the level is several words
    "$compiler" -std=c++20 -I"$source" $level "${options[@]}" -c "$source/kinedec/log_curve.cpp" -o "$work/curve.o"
    "$compiler" -std=c++20 -I"$source" "$source/tests/kinedec/log_curve_digest.cpp" "$work/curve.o" -o "$work/digest"
    "${@:3}" "$work/digest" >"$work/results"
    [ -s "$work/expected" ] || cp "$work/results" "$work/expected"
    cmp "$work/expected" "$work/results" || { echo "$compiler $level differs"; exit 1; }
    builds=$((builds + 1))
}

options=("$@")
for compiler in g++ g++-12 clang++ clang++-14; do
    command -v "$compiler" >"$work/path" || continue
    for level in "-O0" "-O3" "-O3 -march=native" "-O3 -march=native -ffast-math"; do
        compare "$compiler" "$level" env
    done
done
if [ -n "$cross" ]; then
    for level in "-O0" "-O3" "-O3 -ffast-math"; do compare "$cross" "$level" "${emulator[@]}"; done
fi
[ "$builds" -gt 0 ] || { echo "no compiler found"; exit 1; }
echo "$builds builds agree on $(stat -c %s "$work/expected") bytes"

#!/usr/bin/env bash
# The scripts that check the tree object to a small tree that breaks their rules, and to that one only. Argument: the
# scripts' folder.
set -euo pipefail

scripts=$1
tree=$(mktemp -d)
trap 'rm -rf "$tree"' EXIT
mkdir -p "$tree"/{scripts,docs,low,high,tests,fuzz/corpus/clip}
cp "$scripts"/check-* "$tree/scripts/"
git init -q "$tree"
cd "$tree"

# Usage: objects WORDS COMMAND...; the command fails and names what is wrong.
objects() {
    local words=$1
    shift
    if "$@" >out.txt 2>&1; then echo "$*: does not object to: $words"; exit 1; fi
    grep -qF -- "$words" out.txt || { cat out.txt; echo "$*: does not say: $words"; exit 1; }
}

printf '%s\n' '| Folder | May include |' '|---|---|' '| `low/` | nothing |' '| `high/` | `low/` |' \
    '| `high/one.h` | `tests/` |' '| `tests/` | `high/` |' >docs/architecture.md
echo '#include <vector>' >low/low.h
printf '#include "low/low.h"\n' >high/high.h
scripts/check-includes
echo '#include "low/low.h"' >high/one.h
objects 'high/one.h:1: includes low/low.h' scripts/check-includes
rm high/one.h
printf '#include "low/low.h"\n# include <high/high.h>\n' >low/other.cpp
objects 'low/other.cpp:2: includes high/high.h' scripts/check-includes
mkdir new && mv low/other.cpp new/
objects 'new/other.cpp: its folder has no row' scripts/check-includes

# Usage: ran NAME...; writes what ctest reports of these tests.
ran() {
    { echo '<testsuite>'; printf '<testcase name="%s" status="run"/>\n' "$@"; echo '</testsuite>'; } >results.xml
}
printf 'TEST(Plain, One) {}\nTEST_P(Rows,\n       Each) {}\n' >tests/a_test.cpp
echo 'add_test(NAME script COMMAND check.sh)' >tests/CMakeLists.txt
everything=(Plain.One 'All/Rows.Each/first  # GetParam() = 1.5' script fuzz_clip_replays_its_seeds)
ran "${everything[@]}"
scripts/check-tests results.xml
for missing in "${!everything[@]}"; do
    fewer=("${everything[@]}")
    unset "fewer[$missing]"
    ran "${fewer[@]}"
    objects ' did not run' scripts/check-tests results.xml
done
rm results.xml
objects '4 of the 4 tests' scripts/check-tests results.xml

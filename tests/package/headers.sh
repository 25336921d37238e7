#!/bin/bash
# Compiles every public header alone, as C11 and as C++.
# usage: headers.sh INCLUDE_FOLDER C_COMPILER CXX_COMPILER
set -u
include=$1 cc=$2 cxx=$3
for tool in "$cc" "$cxx"; do
  command -v "$tool" >/dev/null || { echo "SKIPPED: $tool not found"; exit 77; }
done
warnings=(-Wall -Wextra -Wpedantic -Wconversion -Wundef -Werror -fsyntax-only)

count=0 failed=0
cd "$include"
for header in orva_fp/*.h; do
  for language in "$cc -x c -std=c11 -Wstrict-prototypes" "$cxx -x c++ -std=c++11" \
                  "$cxx -x c++ -std=c++20"; do
    $language "${warnings[@]}" -I. - <<<"#include \"$header\""$'\n'"extern int not_empty;" || failed=1
    count=$((count + 1))
  done
done
echo "$count compilations"
(( count > 0 )) || failed=1
exit $failed

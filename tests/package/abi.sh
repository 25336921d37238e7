#!/bin/bash
# Compares the layouts and signatures of a library with debug information with the kept baseline.
# usage: abi.sh LIBRARY SOURCES [accept]; scripts/abi-accept calls it with accept.
set -eu
library=$1 sources=$2 mode=${3:-check}
baseline=$sources/abi/orva_fp_normal_sensor_test.abi.xml
for tool in abidw abidiff; do
  command -v $tool >/dev/null || { echo "SKIPPED: $tool not found (package abigail-tools)"; exit 77; }
done

# Only what the public headers show counts; records, types and signatures are those of every
# 64-bit processor.
if [[ $mode == accept ]]; then
  abidw --headers-dir "$sources/include" --drop-private-types --exported-interfaces-only \
    --no-architecture --no-elf-needed --no-corpus-path --no-comp-dir-path --no-show-locs \
    --out-file "$baseline" "$library"
  # The same wherever it was built.
  sed -i "s|path='$(realpath "$sources")/|path='|" "$baseline"
  echo "wrote ${baseline#"$sources/"}"
  exit
fi

abidiff --headers-dir2 "$sources/include" --drop-private-types --exported-interfaces-only \
  --no-architecture --no-show-locs "$baseline" "$library" || {
  echo "FAILED: the ABI differs from abi/. If that is meant: scripts/abi-accept"
  exit 1
}
echo "the ABI is as kept"

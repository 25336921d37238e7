#!/bin/bash
# The built library as the loader sees it: names, needed libraries, hardening.
# usage: exports.sh LIBRARY ABI_FOLDER NM READELF OBJDUMP PROCESSOR [android]
set -u
export LC_ALL=C
library=$1 abi=$2 nm=$3 readelf=$4 objdump=$5 processor=$6 system=${7:-}
for tool in "$nm" "$readelf" "$objdump"; do
  command -v "$tool" >/dev/null || { echo "SKIPPED: $tool not found"; exit 77; }
done

failed=0
fail() { echo "FAILED: $*"; failed=1; }

# expect_same NAME KEPT FOUND: prints the difference of two sorted lists.
expect_same() {
  local difference
  difference=$(diff --label kept --label built -U0 <(echo "$2") <(echo "$3")) ||
    fail "$1 differ:"$'\n'"$difference"
}
# expect_among NAME ALLOWED FOUND: prints what is not allowed.
expect_among() {
  local more
  more=$(comm -13 <(echo "$2") <(echo "$3"))
  [[ -z $more ]] || fail "$1 not allowed: $more"
}

exported=$("$nm" -D --defined-only "$library" |
  awk '{ print ($2 ~ /[TWi]/ ? "F" : "V"), $3 }' | sort)
expect_same "exported names" "$(cat "$abi/exports.txt")" "$exported"

undefined=$("$nm" -D --undefined-only "$library" |
  awk '$(NF - 1) == "U" { sub(/@.*/, "", $NF); print $NF }' | sort)
grep -qx __stack_chk_fail <<<"$undefined" || fail "no stack protector"
allowed=$(cat "$abi/undefined.txt")
needed_libraries=(ld-linux-aarch64.so.1 libc.so libc.so.6 liblog.so libm.so libm.so.6)
if [[ $system == android ]]; then
  # Fortified headers call a checked form of a function; bionic has an errno and a start file of its
  # own.
  undefined=$(sed -E 's/^__(.+)_(chk|2)$/\1/' <<<"$undefined" | sort -u)
  allowed=$(sort -u - <(printf '__%s\n' cxa_atexit cxa_finalize errno register_atfork) <<<"$allowed")
  needed_libraries+=(libdl.so)
fi
expect_among "undefined names" "$allowed" "$undefined"

dynamic=$("$readelf" -dW "$library")
tagged() { sed -n "s/.*($1).*\[\(.*\)\].*/\1/p" <<<"$dynamic" | sort; }
expect_among "needed libraries" "$(printf '%s\n' "${needed_libraries[@]}" | sort)" \
  "$(tagged NEEDED)"
grep -q 'liblog.so' <<<"$(tagged NEEDED)" || fail "liblog.so is not among the needed libraries"
expect_same "SONAME" liborva_fp_normal_sensor_test.so "$(tagged SONAME)"
grep -q '(FLAGS_1).*NOW' <<<"$dynamic" || fail "names are not bound at load (now)"
if grep -q '(TEXTREL)' <<<"$dynamic"; then fail "text relocations"; fi

segments=$("$readelf" -lW "$library")
grep -q GNU_RELRO <<<"$segments" || fail "no relro segment"
grep -q 'GNU_STACK.* RW ' <<<"$segments" || fail "the stack is executable"
if grep 'LOAD.* RWE' <<<"$segments"; then fail "a segment is writable and executable"; fi

if [[ $processor == aarch64 ]]; then
  # Devices with 16 KiB pages load no segment of a smaller alignment.
  expect_same "load alignments" 0x4000 "$(awk '/ LOAD /{ print $NF }' <<<"$segments" | sort -u)"

  # The linker notes branch protection only when libc's start files have it as well; so look at
  # where each exported function begins. LLVM's disassembler shows paciasp and bti c as hints.
  unprotected=$("$objdump" -d --no-show-raw-insn "$library" | awk '
    NR == FNR { if ($1 == "F") wanted[$2] = 1; next }
    /^[0-9a-f]+ <.*>:$/ { name = substr($2, 2, length($2) - 3); next }
    (name in wanted) {
      if ($2 $3 !~ /^(bti|paciasp|hint#(25|34)$)/) print name, $2, $3
      name = ""
    }
    name != "" && !(name in wanted) { name = "" }' <(echo "$exported") -)
  [[ -z $unprotected ]] || fail "functions without a landing pad: $unprotected"
fi

(( failed )) || echo "$(grep -c . <<<"$exported") exported names, all as kept"
exit $failed

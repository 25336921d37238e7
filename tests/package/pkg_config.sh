#!/bin/bash
# Builds and runs the two consumers through pkg-config.
# usage: pkg_config.sh PREFIX SOURCES WORK C_COMPILER CXX_COMPILER [EMULATOR...]
set -eu
prefix=$1 sources=$2 work=$3 cc=$4 cxx=$5
shift 5
name=orva_fp_normal_sensor_test
command -v pkg-config >/dev/null || { echo "SKIPPED: pkg-config not found"; exit 77; }

found=$(find "$prefix" -name $name.pc)
export PKG_CONFIG_PATH=${found%/*}
flags=$(pkg-config --cflags --libs $name)
run_path=-Wl,-rpath,$(pkg-config --variable=libdir $name)
mkdir -p "$work"
"$cc" -std=c11 "$sources/consumer.c" $flags "$run_path" -o "$work/c"
"$cxx" -std=c++11 "$sources/consumer.cpp" $flags "$run_path" -o "$work/cpp"
"$@" "$work/c"
"$@" "$work/cpp"
echo "version $(pkg-config --modversion $name)"

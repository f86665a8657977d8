#!/bin/sh
# Builds the fuzz targets with libFuzzer, AddressSanitizer and UBSan:
#   fuzz/build.sh            -> fuzz/build/fuzz_getcontent, fuzz/build/fuzz_resource
# Needs clang++ with its runtime (Debian: clang, libclang-rt-14-dev).
set -eu
here=$(cd "$(dirname "$0")" && pwd)
root=$(dirname "$here")
out=${OUT:-$here/build}
cxx=${CXX:-clang++}
rm -rf "$out/obj"  # objects of removed sources must not linger
mkdir -p "$out/obj"
flags="-std=c++17 -g -O1 -fno-omit-frame-pointer -fsanitize=address,undefined -I$root/osservices"

# The services library, instrumented for coverage but without libFuzzer's main.
for src in "$root"/osservices/os_*.cpp; do
  $cxx $flags -fsanitize=fuzzer-no-link -c "$src" -o "$out/obj/$(basename "$src" .cpp).o"
done
for target in fuzz_getcontent fuzz_resource; do
  $cxx $flags -fsanitize=fuzzer "$here/$target.cpp" "$out"/obj/*.o -o "$out/$target" -lpthread -ldl -lrt -lm
  echo "built $out/$target"
done

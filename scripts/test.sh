#!/usr/bin/env bash
# Builds and runs every test: the thread-safety cases under ThreadSanitizer,
# each fuzzer for a short fixed time, then the whole suite (unit, kittool and
# end-to-end window tests) under AddressSanitizer and UndefinedBehaviorSanitizer.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD

scripts/install-deps.sh

export LSAN_OPTIONS="suppressions=$root/tests/lsan.supp:print_suppressions=0"
export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1"
export ASAN_OPTIONS="detect_odr_violation=0"
export TSAN_OPTIONS="halt_on_error=1"

echo "== ThreadSanitizer: thread-safety cases"
scripts/build.sh build-tsan -DCMAKE_BUILD_TYPE=Debug -DKITSETUP_TSAN=ON -DKITSETUP_UI=OFF -DKITSETUP_BENCH=OFF
(cd build-tsan && ctest --output-on-failure -R ThreadSafety)

echo "== Fuzzers (${FUZZ_SECONDS:=20} s each)"
CC=clang CXX=clang++ cmake -S . -B build-fuzz -G Ninja -DCMAKE_BUILD_TYPE=Debug -DKITSETUP_FUZZ=ON \
  -DKITSETUP_UI=OFF -DKITSETUP_BENCH=OFF -DKITSETUP_TESTS=ON >/dev/null
cmake --build build-fuzz --target fuzzers -j "$(nproc)"
for fuzzer in build-fuzz/tests/fuzz/*_fuzzer; do
  [ -x "$fuzzer" ] || continue
  name=$(basename "$fuzzer")
  work=$(mktemp -d)
  dirs=("$work")
  [ -d "tests/fuzz/corpus/$name" ] && dirs+=("tests/fuzz/corpus/$name")
  echo "-- $name"
  (cd "$work" && "$root/$fuzzer" -max_total_time="$FUZZ_SECONDS" -max_len=65536 -rss_limit_mb=2048 \
    "${dirs[@]/#tests/$root/tests}") > "$work.log" 2>&1 || { tail -n 60 "$work.log"; exit 1; }
  tail -n 2 "$work.log"
  rm -rf "$work" "$work.log"
done

echo "== AddressSanitizer + UndefinedBehaviorSanitizer: the whole suite"
scripts/build.sh build-asan -DCMAKE_BUILD_TYPE=Debug -DKITSETUP_SANITIZE=ON
cd build-asan
ctest --output-on-failure -j 2

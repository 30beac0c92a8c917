#!/usr/bin/env bash
# Builds the libFuzzer targets (clang, ASan + UBSan, directory build-fuzz) and runs each from the
# frozen inputs of tests/inputs/<target> with a fixed seed for FUZZ_RUNS inputs (default 20000), so
# that every machine explores the same inputs; FUZZ_SECONDS=<n> runs for a time instead. A
# finding stops the run with a non-zero exit and leaves the input in build-fuzz/artifacts/: freeze
# it under tests/inputs/<target>/ once the defect is fixed.
set -euo pipefail
cd "$(dirname "$0")/.."
ZARN_WITH_FUZZERS=1 bash scripts/install-deps.sh
if [ -n "${FUZZ_SECONDS:-}" ]; then budget="-max_total_time=$FUZZ_SECONDS"; else budget="-runs=${FUZZ_RUNS:-20000}"; fi
CC=clang CXX=clang++ cmake -S . -B build-fuzz -DCMAKE_BUILD_TYPE=RelWithDebInfo -DZARN_BUILD_FUZZERS=ON \
  -DBUILD_SHARED_LIBS=OFF -DZARN_BUILD_TESTS=OFF -DZARN_BUILD_TOOLS=OFF >/dev/null
cmake --build build-fuzz -j2 --target fuzz_operations fuzz_readers
rm -rf build-fuzz/artifacts && mkdir -p build-fuzz/artifacts
for target in fuzz_operations fuzz_readers; do
  corpus=build-fuzz/corpus/$target
  rm -rf "$corpus" && mkdir -p "$corpus"
  cp tests/inputs/$target/* "$corpus"/
  echo "=== $target: $budget ==="
  ./build-fuzz/fuzz/$target "$budget" -seed=1 -timeout=20 -rss_limit_mb=2048 -print_final_stats=1 \
    -artifact_prefix=build-fuzz/artifacts/ "$corpus" 2>&1 | grep -E "^stat::number_of_executed_units|DEFECT|ERROR|SUMMARY" || true
  [ -z "$(ls -A build-fuzz/artifacts)" ] || { echo "fuzzer finding in build-fuzz/artifacts/"; exit 1; }
done

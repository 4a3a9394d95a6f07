#!/usr/bin/env bash
# Builds the libFuzzer targets with clang and runs each briefly from its seed
# corpus. New inputs go to a scratch folder, never into the repository.
# Every target runs even when an earlier one fails; the last line is
# "fuzz smoke: N passed, M failed". Build output goes to $FUZZ_LOG (default
# build-fuzz.log).
set -uo pipefail
cd "$(dirname "$0")/.."
seconds=${FUZZ_SECONDS:-20}
log=${FUZZ_LOG:-build-fuzz.log}

if ! { CC=clang CXX=clang++ cmake -S . -B build-fuzz -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
         -DTQL_FUZZ=ON -DTQL_BUILD_TESTS=OFF && cmake --build build-fuzz; } > "$log" 2>&1; then
  tail -n 30 "$log"
  echo "fuzz smoke: 0 passed, 1 failed (build)"
  exit 1
fi

scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
passed=0 failed=0
for target in build-fuzz/fuzz/fuzz_*; do
  name=$(basename "$target")
  seeds=fuzz/corpus/${name#fuzz_}
  mkdir -p "$scratch/$name"
  # A target whose input meets limits beyond libFuzzer's default of 4 KB
  # names its own bound in fuzz/NAME.max_len.
  max_len=()
  [ -f "fuzz/$name.max_len" ] && max_len=(-max_len="$(cat "fuzz/$name.max_len")")
  echo "=== $name: ${seconds}s from $seeds ${max_len[*]:-}"
  if "$target" "$scratch/$name" "$seeds" "${max_len[@]}" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 \
       -artifact_prefix="$scratch/$name-" -print_final_stats=1 > "$scratch/$name.out" 2>&1; then
    passed=$((passed + 1))
    tail -n 12 "$scratch/$name.out"
  else
    failed=$((failed + 1))
    tail -n 60 "$scratch/$name.out"
    echo "$name: FAILED"
  fi
done
echo "fuzz smoke: $passed passed, $failed failed"
[ "$failed" -eq 0 ]

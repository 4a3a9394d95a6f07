#!/usr/bin/env bash
# Builds the libFuzzer targets with clang and runs each briefly from its seed
# corpus. New inputs go to a scratch folder, never into the repository.
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${FUZZ_SECONDS:-20}

CC=clang CXX=clang++ cmake -S . -B build-fuzz -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DTQL_FUZZ=ON -DTQL_BUILD_TESTS=OFF > /dev/null
cmake --build build-fuzz

scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
for target in build-fuzz/fuzz/fuzz_*; do
  name=$(basename "$target")
  seeds=fuzz/corpus/${name#fuzz_}
  mkdir -p "$scratch/$name"
  # A target whose input meets limits beyond libFuzzer's default of 4 KB
  # names its own bound in fuzz/NAME.max_len.
  max_len=()
  [ -f "fuzz/$name.max_len" ] && max_len=(-max_len="$(cat "fuzz/$name.max_len")")
  echo "=== $name: ${seconds}s from $seeds ${max_len[*]:-}"
  "$target" "$scratch/$name" "$seeds" "${max_len[@]}" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 \
    -artifact_prefix="$scratch/$name-" -print_final_stats=1 2>&1 | tail -n 12
done
echo "fuzz smoke: no crash"

#!/usr/bin/env bash
# The whole test suite: installs what is missing, then builds and runs every
# test twice, in a normal build and under AddressSanitizer + UndefinedBehaviorSanitizer.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/install-deps.sh

export ASAN_OPTIONS="${ASAN_OPTIONS:-detect_leaks=1:abort_on_error=0:strict_string_checks=1}"
export UBSAN_OPTIONS="${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}"

run() {
  local dir=$1 label=$2
  shift 2
  echo "=== $label build ($dir)"
  cmake -S . -B "$dir" -G Ninja "$@" > /dev/null
  cmake --build "$dir"
  (cd "$dir" && ctest --output-on-failure -j "$(nproc)")
}

run build normal -DCMAKE_BUILD_TYPE=RelWithDebInfo
run build-asan sanitized -DCMAKE_BUILD_TYPE=Debug -DTQL_SANITIZE=ON

echo "=== fuzz smoke"
bash scripts/fuzz-smoke.sh

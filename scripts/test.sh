#!/usr/bin/env bash
# The whole test suite: installs what is missing, then builds and runs every
# test in a normal build and under AddressSanitizer + UndefinedBehaviorSanitizer,
# runs the fuzz targets briefly, and builds and runs the unit tests for
# 64-bit ARM under qemu. Every phase runs even when an earlier one failed.
# Build output goes to test-logs/; the console gets each phase's result and
# one closing summary line. Exit status 0 only when no phase failed.
set -uo pipefail
cd "$(dirname "$0")/.."
started=$SECONDS
logs=test-logs
mkdir -p "$logs"

echo "=== dependencies (log: $logs/install-deps.log)"
bash scripts/install-deps.sh > "$logs/install-deps.log" 2>&1 || {
  tail -n 30 "$logs/install-deps.log"
  echo "summary: dependencies could not be installed"
  exit 1
}

export ASAN_OPTIONS="${ASAN_OPTIONS:-detect_leaks=1:abort_on_error=0:strict_string_checks=1}"
export UBSAN_OPTIONS="${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}"

results=()     # one entry per phase: "label: N passed, M failed" or "label: skipped (...)"
any_failed=0
total_passed=0
total_failed=0

elapsed() { printf '%dm%02ds' $(($1 / 60)) $(($1 % 60)); }

# record LABEL PASSED FAILED SECONDS
record() {
  results+=("$1 $2 passed $3 failed ($(elapsed "$4"))")
  total_passed=$((total_passed + $2))
  total_failed=$((total_failed + $3))
  [ "$3" -eq 0 ] || any_failed=1
  echo "--- $1: $2 passed, $3 failed in $(elapsed "$4")"
}

# A phase's counts from the closing line its runner printed into LOG:
# ctest's "N% tests passed, F tests failed out of T", or "WHAT: N passed, M failed".
counts_from() {
  local log=$1 line
  line=$(grep -E '^[0-9]+% tests passed, [0-9]+ tests failed out of [0-9]+' "$log" | tail -n 1)
  if [ -n "$line" ]; then
    local total failed
    total=$(sed -E 's/.* out of ([0-9]+).*/\1/' <<< "$line")
    failed=$(sed -E 's/.*passed, ([0-9]+) tests failed.*/\1/' <<< "$line")
    echo "$((total - failed)) $failed"
    return
  fi
  line=$(grep -E ': [0-9]+ passed, [0-9]+ failed' "$log" | tail -n 1)
  [ -n "$line" ] && sed -E 's/.*: ([0-9]+) passed, ([0-9]+) failed.*/\1 \2/' <<< "$line"
}

# run DIR LABEL CMAKE_ARGS...: configure, build and ctest one tree.
run() {
  local dir=$1 label=$2 t0=$SECONDS
  shift 2
  local log=$logs/$label.log
  echo "=== $label ($dir; log: $log)"
  if ! { cmake -S . -B "$dir" -G Ninja "$@" && cmake --build "$dir"; } > "$log" 2>&1; then
    tail -n 40 "$log"
    record "$label" 0 1 $((SECONDS - t0))
    return
  fi
  (cd "$dir" && ctest --output-on-failure -j "$(nproc)") >> "$log" 2>&1
  local status=$? counts
  counts=$(counts_from "$log")
  [ -n "$counts" ] || counts="0 1"
  if [ $status -ne 0 ]; then
    sed -n '/The following tests FAILED/,$p' "$log"
    [ "${counts#* }" != 0 ] || counts="${counts% *} 1"
  fi
  grep -E '^[0-9]+% tests passed' "$log" | tail -n 1
  record "$label" ${counts} $((SECONDS - t0))
}

# phase_script LABEL SCRIPT: a phase that is a script of its own and ends with
# "WHAT: N passed, M failed" or "WHAT: skipped: REASON".
phase_script() {
  local label=$1 script=$2 t0=$SECONDS
  local log=$logs/$label.out
  echo "=== $label ($script)"
  bash "$script" > "$log" 2>&1
  local status=$? counts
  tail -n 1 "$log"
  local reason
  reason=$(tail -n 1 "$log" | sed -n 's/^[^:]*: skipped: //p')
  if [ -n "$reason" ] && [ $status -eq 0 ]; then
    results+=("$label skipped ($reason)")
    echo "--- $label: SKIPPED: $reason"
    return
  fi
  counts=$(counts_from "$log")
  [ -n "$counts" ] || counts="0 1"
  if [ $status -ne 0 ]; then
    tail -n 60 "$log"
    [ "${counts#* }" != 0 ] || counts="${counts% *} 1"
  fi
  record "$label" ${counts} $((SECONDS - t0))
}

run build normal -DCMAKE_BUILD_TYPE=RelWithDebInfo
run build-asan sanitized -DCMAKE_BUILD_TYPE=Debug -DTQL_SANITIZE=ON
FUZZ_LOG=$logs/fuzz-build.log phase_script fuzz-smoke scripts/fuzz-smoke.sh
CROSS_LOG=$logs/arm64-build.log phase_script arm64 scripts/cross-arm64.sh

summary=$(IFS=';'; echo "${results[*]}" | sed 's/;/, /g')
echo "summary: $summary; total $total_passed passed, $total_failed failed; wall $(elapsed $((SECONDS - started)))"
# The same totals once more, alone on the line, as any runner's closing line.
echo "tests: $total_passed passed, $total_failed failed"
exit $any_failed

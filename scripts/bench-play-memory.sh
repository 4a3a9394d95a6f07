#!/usr/bin/env bash
# Peak memory of a long playback: tqlplay plays a live channel of the
# simulator with --fast for one minute and then for ten, under
# /usr/bin/time -v, and prints the two peaks. A flat peak means nothing
# grows with the audio played. Takes about eleven minutes: past the index's
# backlog, a live edge moves at playing speed.
set -euo pipefail
cd "$(dirname "$0")/.."
build=${BUILD:-build}
[ -x "$build/tools/tqlplay" ] && [ -x "$build/sim/tqlsim" ] || {
  echo "build tqlplay and tqlsim first (cmake --build $build)" >&2
  exit 2
}

work=$(mktemp -d)
"$build/sim/tqlsim" --port 0 --quiet > "$work/sim.out" &
sim=$!
trap 'kill $sim 2>/dev/null; wait $sim 2>/dev/null; rm -rf "$work"' EXIT
for _ in $(seq 100); do grep -q 'listening on' "$work/sim.out" 2>/dev/null && break; sleep 0.05; done
service=$(sed -n 's/^tqlsim listening on //p' "$work/sim.out")

play() { "$build/tools/tqlplay" --service "$service" --account "$work/account" "$@"; }
play login demo demo > /dev/null
for seconds in 60 600; do
  /usr/bin/time -v "$build/tools/tqlplay" --service "$service" --account "$work/account" \
    play tonelab2 --fast --seconds "$seconds" --out "$work/out.aac" > /dev/null 2> "$work/time.$seconds"
  peak=$(sed -n 's/.*Maximum resident set size (kbytes): //p' "$work/time.$seconds")
  echo "tqlplay play --fast --seconds $seconds: peak resident set $peak kB"
done

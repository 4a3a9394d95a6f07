#!/usr/bin/env bash
# The main job on a fresh machine: build, start the service simulator on a
# free loopback port, log in with the catalog's demo account, print the
# line-up and play a channel for 20 seconds into tqlplay-demo.aac.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/install-deps.sh
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo > /dev/null
cmake --build build --target tqlsim tqlplay

work=$(mktemp -d)
./build/sim/tqlsim --port 0 --quiet > "$work/sim.out" &
sim=$!
trap 'kill $sim 2>/dev/null; wait $sim 2>/dev/null; rm -rf "$work"' EXIT
for _ in $(seq 100); do
  grep -q 'listening on' "$work/sim.out" 2>/dev/null && break
  sleep 0.05
done
service=$(sed -n 's/^tqlsim listening on //p' "$work/sim.out")
[ -n "$service" ] || { echo "tqlsim did not start" >&2; exit 1; }
echo "service simulator at $service"

play() { ./build/tools/tqlplay --service "$service" --account "$work/account" "$@"; }
play login demo demo
play channels
play play tonelab2 --seconds 20 --out tqlplay-demo.aac
echo "Listen with any player that reads ADTS AAC, e.g.: ffplay tqlplay-demo.aac"

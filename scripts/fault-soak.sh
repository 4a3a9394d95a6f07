#!/usr/bin/env bash
# Fault soak: tqlplay plays a live channel of tqlsim with --fast while the
# simulator misbehaves in turn: 500s, dropped and cut-off replies, missing
# chunks, chunks with a tail that makes no frame, a failing index server and
# an expired session. Checks that every fault ends (the simulator used it up,
# the audio goes on after it), that tqlplay's memory stays flat, and that
# the written audio is one unbroken run of the fixture.
#
# Usage: fault-soak.sh TQLSIM TQLPLAY [CATALOG] [STREAM_SECONDS]
#   STREAM_SECONDS  audio to play (default 3600, an hour; the live edge
#                   moves at wall-clock speed, so the run takes about as long)
# Environment: SOAK_KEEP=DIR keeps the work files in DIR; SOAK_STEP_BYTES
# is the growth of the audio that counts as "going on" after a fault
# (default 4096).
# Exit status 0 when every check held.
set -uo pipefail
here=$(cd "$(dirname "$0")" && pwd)
sim_bin=${1:?usage: fault-soak.sh TQLSIM TQLPLAY [CATALOG] [STREAM_SECONDS]}
play_bin=${2:?usage: fault-soak.sh TQLSIM TQLPLAY [CATALOG] [STREAM_SECONDS]}
catalog=${3:-$here/../sim/catalog/catalog.json}
seconds=${4:-3600}
step_bytes=${SOAK_STEP_BYTES:-4096}
fixture="$(dirname "$catalog")/../fixture"

work=${SOAK_KEEP:-$(mktemp -d)}
mkdir -p "$work"
sim_pid= play_pid=
cleanup() {
  [ -n "$play_pid" ] && kill "$play_pid" 2>/dev/null
  [ -n "$sim_pid" ] && kill "$sim_pid" 2>/dev/null && wait "$sim_pid" 2>/dev/null
  [ -n "${SOAK_KEEP:-}" ] || rm -rf "$work"
}
trap cleanup EXIT
trap 'exit 1' TERM INT

fail() {
  echo "soak FAIL: $*" >&2
  [ -f "$work/play.out" ] && tail -n 20 "$work/play.out" | sed 's/^/  | /' >&2
  exit 1
}

"$sim_bin" --port 0 --catalog "$catalog" --quiet > "$work/sim.out" 2> "$work/sim.err" &
sim_pid=$!
for _ in $(seq 200); do
  grep -q 'listening on' "$work/sim.out" 2>/dev/null && break
  sleep 0.05
done
service=$(sed -n 's/^tqlsim listening on //p' "$work/sim.out")
[ -n "$service" ] || fail "tqlsim did not start"

fault() { curl -s -m 5 -d "" "$service/__sim/fault?$1" > /dev/null || fail "could not set fault $1"; }
state() { curl -s -m 5 "$service/__sim/state" | python3 -c "import json, sys; s = json.load(sys.stdin); print($1)"; }
audio_bytes() { stat -c %s "$work/audio.aac" 2>/dev/null || echo 0; }
alive() { kill -0 "$play_pid" 2>/dev/null; }
# tqlplay runs under timeout: its memory is that of the child.
rss_kb() { ps -o rss= --ppid "$play_pid" 2>/dev/null | tr -d ' '; }
# One sample of tqlplay's resident memory a second, from the waits below.
last_sample=0
sample_rss() {
  local now
  now=$(date +%s)
  [ "$now" -gt "$last_sample" ] || return 0
  last_sample=$now
  echo "$now $(rss_kb)" >> "$work/rss"
}

timeout 60 "$play_bin" --service "$service" --account "$work/account" login demo demo > "$work/login.out" 2>&1 ||
  fail "login: $(cat "$work/login.out")"
# Every reply a little late, so that faults meet the stream while it runs.
fault latency=200
# Started as far behind the live edge as the index files reach, so that the
# faults meet a playback that runs ahead at full speed, not one that waits
# at the edge for the next index.
start=$(date -u -d "-230 seconds" +%Y-%m-%dT%H:%M:%S.000+00:00)
timeout $((seconds * 2 + 120)) "$play_bin" --service "$service" --account "$work/account" --log "${SOAK_LOG:-2}" \
  play tonelab2 --start "$start" --asset tonelab2-soak --fast --seconds "$seconds" --give-up 60 --out "$work/audio.aac" \
  > "$work/play.out" 2>&1 &
play_pid=$!

# Waits until COND (a Python expression on the state s) holds, up to LIMIT s.
wait_state() {
  local cond=$1 limit=$2 t=0
  while [ "$t" -lt $((limit * 10)) ]; do
    [ "$(state "$cond")" = True ] && return 0
    alive || return 1
    sample_rss
    sleep 0.1
    t=$((t + 1))
  done
  return 1
}

# Waits until the audio has grown by a chunk (8 s, at least 4 KB here) past
# FROM bytes, up to LIMIT s, sampling memory on the way.
wait_audio() {
  local from=$1 limit=$2 t=0
  while [ "$t" -lt $((limit * 10)) ]; do
    [ "$(audio_bytes)" -gt $((from + step_bytes)) ] && return 0
    alive || return 1
    sample_rss
    sleep 0.1
    t=$((t + 1))
  done
  return 1
}

# The server the chunks come from now: the one whose chunk count moves
# while the audio grows.
current_server() {
  local p s
  p=$(state "s['hls']['primary']['chunk']") s=$(state "s['hls']['secondary']['chunk']")
  wait_audio "$(audio_bytes)" 60 || return 1
  for _ in $(seq 100); do
    [ "$(state "s['hls']['primary']['chunk']")" -gt "$p" ] && { echo primary; return 0; }
    [ "$(state "s['hls']['secondary']['chunk']")" -gt "$s" ] && { echo secondary; return 0; }
    sleep 0.1
  done
  return 1
}

# Each fault: its switch, what "used up" means in the state, and how it ends.
faults=(
  "badtail=2|s['faults']['badtail'] == 0"
  "indexfail|True"
  "expire|True"
  "truncate=1|s['faults']['truncate'] == 0"
  "chunk404=2|s['faults']['chunk404'] == 0"
  "drop=1|s['faults']['drop'] == 0"
  "http500=2|s['faults']['http500'] == 0"
  "chunk404=1|s['faults']['chunk404'] == 0"
)
wait_audio 0 60 || fail "no audio at the start"
applied=0 round=0
while alive; do
  for entry in "${faults[@]}"; do
    alive || break
    name=${entry%%|*} used=${entry#*|}
    if [ "$name" = indexfail ]; then
      # The other server's index files fail, and a missing chunk sends the
      # playback there: it must come back at once to the server it left.
      server=$(current_server) || break
      other=$([ "$server" = primary ] && echo secondary || echo primary)
      name="indexfail=$other&chunk404=1"
      used="s['faults']['chunk404'] == 0 and s['hls']['$other']['index'] > $(state "s['hls']['$other']['index']")"
    fi
    before=$(audio_bytes)
    fault "$name"
    started=$(date +%s)
    wait_state "$used" 60 || { alive || break; fail "fault $name was not used up"; }
    wait_audio "$before" 60 || { alive || break; fail "no audio after fault $name"; }
    case $name in indexfail=*) fault indexfail=none ;; esac
    echo "fault $name: audio again after $(($(date +%s) - started)) s" >> "$work/faults"
    applied=$((applied + 1))
  done
  round=$((round + 1))
done
wait "$play_pid"
status=$?
play_pid=
[ "$status" -eq 0 ] || fail "tqlplay ended with status $status"
[ "$applied" -ge 1 ] || fail "the playback ended before any fault"
grep -q "were not audio" "$work/play.out" && fail "bytes that were no audio reached the host"

python3 "$here/check-adts.py" "$work/audio.aac" "$fixture/track1.aac" "$fixture/track2.aac" \
  "$fixture/track3.aac" > "$work/adts.out" 2>&1 || fail "output not continuous: $(cat "$work/adts.out")"

# Memory: the highest resident size of the last third of the run against
# that of the second third; a leak grows with the faults survived. Under
# AddressSanitizer the quarantine keeps freed memory resident for a while,
# so resident size says nothing there; LeakSanitizer checks leaks instead.
if [[ "$(ldd "$play_bin" 2>/dev/null)" == *libasan* ]]; then
  echo "memory: not measured under AddressSanitizer"
else
python3 - "$work/rss" <<'PY' || fail "memory grew"
import sys
rows = [int(l.split()[1]) for l in open(sys.argv[1]) if len(l.split()) == 2]
if len(rows) < 6:
    print("memory: too few samples (%d)" % len(rows))
    sys.exit(0)
third = len(rows) // 3
middle, last = max(rows[third:2 * third]), max(rows[2 * third:])
print("memory: %d KB in the middle third, %d KB in the last (%d samples)" % (middle, last, len(rows)))
sys.exit(0 if last <= middle + 1024 else 1)
PY
fi
cat "$work/faults"
echo "soak OK: $applied faults in $round rounds; $(cat "$work/adts.out")"

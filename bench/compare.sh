#!/usr/bin/env bash
# The hot paths side by side with their ceilings, measured in one run:
# builds a Release tree (build-bench), starts tqlsim, runs the benchmark
# programs, callgrind, tqlplay and ffmpeg on the same streams, and prints one
# table. Ratios are this project against its ceiling in the same run.
# Usage: bench/compare.sh [--quick]   (--quick: shorter playbacks)
# Installs valgrind and ffmpeg (Debian packages) when missing. Takes about
# ten minutes on two cores, most of it playback at a live edge.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD
build=${BUILD:-build-bench}
quick=0
[ "${1:-}" = "--quick" ] && quick=1

need=()
for tool in valgrind:valgrind ffmpeg:ffmpeg; do
  command -v "${tool%%:*}" > /dev/null || need+=("${tool##*:}")
done
if [ ${#need[@]} -gt 0 ]; then
  SUDO=""
  [ "$(id -u)" -eq 0 ] || SUDO="sudo"
  $SUDO apt-get install -y -qq --no-install-recommends "${need[@]}" > /dev/null
fi

cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DTQL_BUILD_TESTS=OFF \
  -DCMAKE_CXX_COMPILER_LAUNCHER=ccache -DCMAKE_C_COMPILER_LAUNCHER=ccache > /dev/null
cmake --build "$build" -j2 --target tqlplay tqlsim bench_chunk_path bench_channel_list bench_json_frame bench_tick > /dev/null

work=$(mktemp -d)
sim_pid=
cleanup() {
  [ -n "$sim_pid" ] && kill "$sim_pid" 2> /dev/null && wait "$sim_pid" 2> /dev/null
  rm -rf "$work"
}
trap cleanup EXIT

rows=()
row() { rows+=("$(printf '%s|%s|%s|%s|%s' "$1" "$2" "$3" "$4" "$5")"); }
calc() { python3 -c "print($1)"; }

# --- Benchmarks on the scripted port and in memory -------------------------
gbench() { # program filter -> json
  "$build/bench/$1" --benchmark_filter="$2" --benchmark_format=json --benchmark_min_time=0.3 2> /dev/null
}
field() { # json name key
  python3 -c "import json,sys; d=json.load(open('$1')); print(next(b['$3'] for b in d['benchmarks'] if b['name'].startswith('$2')))"
}
# A benchmark's CPU time in milliseconds, whatever unit it reports in.
cpu_ms() { # json name
  python3 -c "
import json
d = json.load(open('$1'))
b = next(b for b in d['benchmarks'] if b['name'].startswith('$2'))
print(b['cpu_time'] * {'ns': 1e-6, 'us': 1e-3, 'ms': 1.0, 's': 1e3}[b.get('time_unit', 'ns')])"
}

gbench bench_chunk_path '/33264' > "$work/chunk.json"
ours=$(cpu_ms "$work/chunk.json" ChunkPath/33264)
ceil=$(cpu_ms "$work/chunk.json" BareOpenSslDecrypt/33264)
row "audio chunk, 33,280 bytes (speed)" "$(calc "'%.1f us' % ($ours*1000)")" "$(calc "'%.1f us' % ($ceil*1000)")" \
  "$(calc "'%.2f x' % ($ceil/$ours)")" ">= 0.6 x"

# The same in instructions, under callgrind: the function of one iteration
# counted alone.
chunk_ir() { # benchmark function-of-one-iteration -> instructions per iteration
  valgrind --tool=callgrind --callgrind-out-file="$work/cg.$1" --toggle-collect="*$2*" \
    "$build/bench/bench_chunk_path" --benchmark_filter="^$1/33264\$" --benchmark_min_time=1 \
    --benchmark_format=json > "$work/cg.$1.json" 2> /dev/null
  python3 -c "
import json
n = json.load(open('$work/cg.$1.json'))['benchmarks'][0]['calls_so_far']
for line in open('$work/cg.$1'):
    if line.startswith(('summary:', 'totals:')):
        print(int(int(line.split()[1]) // n)); break"
}
ours=$(chunk_ir ChunkPath chunkOnce)
ceil=$(chunk_ir BareOpenSslDecrypt decryptOnce)
row "audio chunk, 33,280 bytes (instructions)" "$ours" "$ceil" "$(calc "'%.2f x' % ($ceil/$ours)")" ">= 0.6 x"

# Instructions per tick: callgrind counts the measured function only.
ticks() { # mode count -> instructions per tick
  valgrind --tool=callgrind --callgrind-out-file="$work/cg.$1" --toggle-collect=measuredTicks \
    "$build/bench/bench_tick" "$1" "$2" > /dev/null 2>&1
  python3 -c "
import re
for line in open('$work/cg.$1'):
    if line.startswith(('summary:', 'totals:')):
        print(int(line.split()[1]) // $2); break"
}
walk=$(ticks walk 20000)
idle=$(ticks idle 20000)
playing=$(ticks playing 2000)
row "idle tick, logged in (instructions)" "$idle" "$walk" "$(calc "'%.1f x' % ($idle/max($walk,1))")" "<= 200"
row "tick while playing, between turns" "$playing" "$walk" "$(calc "'%.1f x' % ($playing/max($walk,1))")" "<= 200"

gbench bench_channel_list '/2000' > "$work/lineup.json"
ours=$(cpu_ms "$work/lineup.json" ChannelList/2000)
ceil=$(cpu_ms "$work/lineup.json" BareYajl/2000)
row "line-up, 2,000 channels (CPU)" "$(calc "'%.2f ms' % $ours")" "$(calc "'%.2f ms' % $ceil")" \
  "$(calc "'%.2f x' % ($ours/$ceil)")" "<= 2 x"
allocs=$(field "$work/lineup.json" ChannelList/2000 heap_allocs_per_channel)
pallocs=$(field "$work/lineup.json" ChannelList/2000 port_allocs_per_channel)
row "line-up, allocations per channel" "$(calc "'%.1f' % ($allocs+$pallocs)")" "-" "-" "<= 4"
for n in 2000 10000; do
  [ $n = 10000 ] && gbench bench_channel_list '/10000' > "$work/lineup.json"
  # Less the scripted port's copy of the reply, which it holds while serving it.
  peak=$(calc "$(field "$work/lineup.json" ChannelList/$n peak_bytes) - $(field "$work/lineup.json" ChannelList/$n reply_copy_bytes)")
  keep=$(field "$work/lineup.json" ChannelList/$n tree_text_bytes)
  row "line-up, peak heap at $n channels" "$(calc "'%.2f MB' % ($peak/1e6)")" "$(calc "'%.2f MB' % ($keep/1e6)")" \
    "$(calc "'%.1f x' % ($peak/$keep)")" "<= 2 x"
done

gbench bench_json_frame '.' > "$work/json.json"
ours=$(cpu_ms "$work/json.json" Frame)
ceil=$(cpu_ms "$work/json.json" BareYajl)
row "JSON reply frame, 9 MB (CPU)" "$(calc "'%.1f ms' % $ours")" "$(calc "'%.1f ms' % $ceil")" \
  "$(calc "'%.2f x' % ($ours/$ceil)")" "<= 1.3 x"

# --- tqlplay and ffmpeg on tqlsim ------------------------------------------
# The backlog fault makes the large index reach 100 chunks (800 s) back, so
# that 600 s are already published when a time-shifted play starts.
"$build/sim/tqlsim" --port 0 --quiet --fault backlog=100 > "$work/sim.out" &
sim_pid=$!
for _ in $(seq 100); do grep -q 'listening on' "$work/sim.out" 2> /dev/null && break; sleep 0.05; done
service=$(sed -n 's/^tqlsim listening on //p' "$work/sim.out")
tqlplay=("$build/tools/tqlplay" --service "$service" --account "$work/account")
"${tqlplay[@]}" login demo demo > /dev/null

timed() { # label command... -> $work/time.label (user+sys, wall, peak kB)
  local label=$1
  shift
  /usr/bin/time -f '%U %S %e %M' -o "$work/time.$label" "$@" > /dev/null 2> "$work/err.$label" || true
}
# The last line holds the figures; a failed command adds a line before it,
# and its own error output is shown.
figures() {
  grep -q 'exited with non-zero' "$work/time.$1" && { echo "$1 failed:" >&2; tail -n 5 "$work/err.$1" >&2; }
  tail -n 1 "$work/time.$1"
}
cpu() { figures "$1" | awk '{print $1 + $2}'; }
wall() { figures "$1" | awk '{print $3}'; }
rss() { figures "$1" | awk '{print $4}'; }
# Seconds of audio in an ADTS file: its frames of 1024 samples.
audio_s() {
  python3 -c "
rates = [96000, 88200, 64000, 48000, 44100, 32000, 24000, 22050, 16000, 12000, 11025, 8000, 7350]
try:
    d = open('$1', 'rb').read()
except OSError:
    d = b''
at, s = 0, 0.0
while at + 7 <= len(d):
    if d[at] != 0xFF or d[at + 1] & 0xF0 != 0xF0:
        at += 1
        continue
    n = ((d[at + 3] & 3) << 11) | (d[at + 4] << 3) | (d[at + 5] >> 5)
    if n < 7:
        break
    s += 1024.0 / rates[(d[at + 2] >> 2) & 15]
    at += n
print(round(s, 3))"
}

live_s=$([ $quick = 1 ] && echo 100 || echo 160) # 80 s of backlog, the rest at the live edge
timed play_live "${tqlplay[@]}" play tonelab2 --fast --seconds "$live_s" --out "$work/live.aac"
timed ff_live ffmpeg -nostdin -v error -live_start_index 0 -i "$service/hls/primary/tonelab2/MEDIUM/32k/index.m3u8" \
  -t "$live_s" -c copy -f adts -y "$work/ff_live.aac"
a=$(audio_s "$work/live.aac")
b=$(audio_s "$work/ff_live.aac")
row "play --fast, live: CPU per hour of audio" "$(calc "'%.2f s' % ($(cpu play_live)*3600/max($a,1))")" \
  "$(calc "'%.2f s' % ($(cpu ff_live)*3600/max($b,1))")" \
  "$(calc "'%.2f x' % (($(cpu play_live)/max($a,1))/max($(cpu ff_live)/max($b,1),1e-9))")" "<= 0.5 x"

stamp=$(date -u -d '-600 sec' +%Y-%m-%dT%H:%M:%S.000+00:00)
hour=$(date -u -d '-600 sec' +%Y%m%d%H)
timed play_shift "${tqlplay[@]}" play tonelab2 --fast --seconds 600 --start "$stamp" --asset "tonelab2-$hour" --out "$work/shift.aac"
timed ff_shift ffmpeg -nostdin -v error -live_start_index 0 -i "$service/hls/primary/tonelab2/LARGE/32k/index.m3u8" \
  -t 600 -c copy -f adts -y "$work/ff_shift.aac"
a=$(audio_s "$work/shift.aac")
b=$(audio_s "$work/ff_shift.aac")
# /usr/bin/time counts CPU in 10 ms steps: a figure of 0 means less than that.
row "play --fast, time-shifted: CPU per hour" "$(calc "'%.2f s' % ($(cpu play_shift)*3600/max($a,1))")" \
  "$(calc "'%.2f s' % ($(cpu ff_shift)*3600/max($b,1))")" \
  "$(calc "'%.2f x' % (($(cpu play_shift)/max($a,1))/max($(cpu ff_shift)/max($b,1),1e-9))")" "<= 0.5 x"

# The ceiling of the pace: the same chunks fetched over loopback by curl in one go.
curl -s "$service/hls/primary/tonelab2/LARGE/32k/index.m3u8" | grep '\.aac$' | head -75 |
  sed "s|^|$service/hls/primary/tonelab2/LARGE/32k/|" > "$work/chunks.txt"
timed curl_shift curl -s $(awk '{print "-o /dev/null " $0}' "$work/chunks.txt")
row "play --fast of 600 s published (pace)" "$(calc "'%.0f x real time (%.2f s)' % ($a/max($(wall play_shift),0.01), $(wall play_shift))")" \
  "$(calc "'%.0f x (%.2f s)' % (600/max($(wall curl_shift),0.01), $(wall curl_shift))")" \
  "$(calc "'%.2f x' % ($(wall curl_shift)/max($(wall play_shift),0.01))")" ">= 20 x real time"

# From the start of the process to the first audio byte of an episode: the
# whole run for one second of audio, login and tune included, against
# ffmpeg opening the same index file and writing one second.
timed play_aod "${tqlplay[@]}" play sinegarden --episode quietsine-ep1 --fast --seconds 1 --out "$work/aod.aac"
timed ff_aod ffmpeg -nostdin -v error -i "$service/hls/aod/primary/quietsine-ep1/LARGE/32k/index.m3u8" \
  -t 1 -c copy -f adts -y "$work/ff_aod.aac"
row "play to first audio, episode (wall)" "$(wall play_aod) s" "$(wall ff_aod) s" \
  "$(calc "'%.2f x' % ($(wall play_aod)/max($(wall ff_aod),0.001))")" "<= 1 x"

row "peak RSS of tqlplay play (live run)" "$(calc "'%.1f MB' % ($(rss play_live)/1024)")" \
  "$(calc "'%.1f MB' % ($(rss ff_live)/1024)")" "$(calc "'%.2f x' % ($(rss play_live)/$(rss ff_live))")" "<= 0.25 x"

printf '\n%-44s %-26s %-22s %-9s %s\n' "path" "this project" "ceiling / ffmpeg" "ratio" "target"
for r in "${rows[@]}"; do
  IFS='|' read -r a b c d e <<< "$r"
  printf '%-44s %-26s %-22s %-9s %s\n' "$a" "$b" "$c" "$d" "$e"
done

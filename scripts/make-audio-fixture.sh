#!/usr/bin/env bash
# Makes the simulator's audio fixture: three tracks of synthetic sweeps,
# AAC-LC in ADTS, mono, 16000 Hz, 32 kbit/s, each cut to exactly 375 frames
# (375 x 1024 samples = 24 s), so that a track is three 8-second chunks of 125
# frames. Every frame of the fixture is checked to be unlike every other:
# the tests find a played frame in the fixture by its bytes.
#
# The files are committed; run this once, or with --force to make them anew.
# Usage: make-audio-fixture.sh [--force] [OUTDIR]   (default sim/fixture)
set -euo pipefail

force=0
if [ "${1:-}" = "--force" ]; then
  force=1
  shift
fi
root=$(cd "$(dirname "$0")/.." && pwd)
out=${1:-$root/sim/fixture}
frames_per_track=375
rate=16000
seconds=25   # a little more than the 375 frames hold; the rest is cut off

# Each track is a tone whose frequency glides, a different glide per track,
# with a slow swell of the level. t is the time in seconds, T the length.
T=$seconds
sweeps=(
  # 1: linear rise, 220 Hz to 3520 Hz
  "0.5*(0.8+0.2*sin(2*PI*0.25*t))*sin(2*PI*(220*t+(3520-220)*t*t/(2*$T)))"
  # 2: linear fall, 4000 Hz to 300 Hz
  "0.5*(0.8+0.2*sin(2*PI*0.4*t))*sin(2*PI*(4000*t-(4000-300)*t*t/(2*$T)))"
  # 3: exponential rise, 110 Hz to 5000 Hz, over a quieter fifth above
  "0.4*sin(2*PI*110*$T/log(5000/110)*(exp(t/$T*log(5000/110))-1))+0.15*sin(2*PI*165*$T/log(5000/110)*(exp(t/$T*log(5000/110))-1))"
)

if [ $force -eq 0 ] && [ -f "$out/track1.aac" ] && [ -f "$out/track2.aac" ] && [ -f "$out/track3.aac" ]; then
  echo "fixture already in $out (use --force to make it anew)"
  exit 0
fi

if ! command -v ffmpeg > /dev/null; then
  echo "installing ffmpeg"
  SUDO=""
  [ "$(id -u)" -eq 0 ] || SUDO="sudo"
  export DEBIAN_FRONTEND=noninteractive
  $SUDO apt-get update -qq
  $SUDO apt-get install -y -qq --no-install-recommends ffmpeg
fi

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir -p "$out"

for i in 1 2 3; do
  ffmpeg -hide_banner -loglevel error -nostdin -y \
    -f lavfi -i "aevalsrc=exprs='${sweeps[$((i - 1))]}':sample_rate=$rate:duration=$seconds" \
    -ac 1 -ar $rate -c:a aac -profile:a aac_low -b:a 32k \
    -fflags +bitexact -flags:a +bitexact -f adts "$work/track$i.aac"
done

# Cut each track to its frames and check the whole set; written only when
# all is well.
python3 - "$work" "$out" $frames_per_track $rate <<'PY'
import os, sys

work, out, per_track, rate = sys.argv[1], sys.argv[2], int(sys.argv[3]), int(sys.argv[4])
RATES = [96000, 88200, 64000, 48000, 44100, 32000, 24000, 22050, 16000, 12000, 11025, 8000, 7350]

def frames(data, name):
    pos, out = 0, []
    while pos < len(data):
        h = data[pos:pos + 7]
        if len(h) < 7 or h[0] != 0xFF or h[1] != 0xF1:
            sys.exit("%s: no ADTS frame (MPEG-4, no CRC) at byte %d" % (name, pos))
        profile = h[2] >> 6
        sr = RATES[(h[2] >> 2) & 0x0F]
        channels = ((h[2] & 0x01) << 2) | (h[3] >> 6)
        length = ((h[3] & 0x03) << 11) | (h[4] << 3) | (h[5] >> 5)
        if profile != 1 or sr != rate or channels != 1 or (h[6] & 0x03) != 0:
            sys.exit("%s: frame at byte %d is not AAC-LC mono %d Hz, one block" % (name, pos, rate))
        if length < 8 or pos + length > len(data):
            sys.exit("%s: bad frame length %d at byte %d" % (name, length, pos))
        out.append(data[pos:pos + length])
        pos += length
    return out

tracks = []
for i in (1, 2, 3):
    name = "track%d.aac" % i
    f = frames(open(os.path.join(work, name), "rb").read(), name)
    if len(f) < per_track:
        sys.exit("%s: only %d frames, %d wanted" % (name, len(f), per_track))
    tracks.append(f[:per_track])

seen = {}
for t, f in enumerate(tracks):
    for n, frame in enumerate(f):
        if frame in seen:
            sys.exit("frame %d of track %d repeats frame %d of track %d" % (n, t + 1, seen[frame][1], seen[frame][0] + 1))
        seen[frame] = (t, n)

for t, f in enumerate(tracks):
    with open(os.path.join(out, "track%d.aac" % (t + 1)), "wb") as fh:
        fh.write(b"".join(f))
    size = sum(len(x) for x in f)
    print("track%d.aac: %d frames, %d bytes, %.3f s" % (t + 1, len(f), size, len(f) * 1024 / rate))
print("all %d frames distinct" % len(seen))
PY

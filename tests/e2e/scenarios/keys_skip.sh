# n and p ask the library where the next or previous track starts and tune
# there, l goes back to the live edge, q ends the playback at once with
# status 0. At the live edge "next" has nowhere to go.
source "$(dirname "$0")/pty.sh"
start_sim --quiet
login_demo
drive 60 play tonelab2 --seconds 600 --out "$work/audio.aac" <<EOF2
expect Now playing
sleep 1
send n
expect next: already at the live edge
send \x1b[D
expect previous: from
expect kbit/s
sleep 1
send l
expect live: back to the live edge
expect kbit/s
sleep 1
send q
wait 3
EOF2
expect_status 0
[ "$(state_value 's["requests"].get("/rest/v4/experience/modules/tune/now-playing-live", 0)')" = 3 ] ||
  fail "not three tunes (start, previous, live)"
# Three runs of audio: the live start; from the start of the track heard
# when p was typed, so from a chunk at most a track and the buffer behind
# where the first run ended; live again.
adts_runs "$work/audio.aac" > "$work/runs" || fail "the output holds frames not of the fixture"
[ "$(wc -l < "$work/runs")" = 3 ] || fail "runs of audio: $(tr '\n' ' ' < "$work/runs")"
python3 - "$work/runs" <<'PY' || fail "previous went elsewhere: $(tr '\n' ' ' < "$work/runs")"
import sys
LOOP, TRACK, CHUNK, BUFFER = 1125, 375, 125, 200  # frames; the sink runs up to 10 s ahead
(s1, l1), (s2, l2), (s3, l3) = [map(int, line.split()) for line in open(sys.argv[1])]
assert s2 % CHUNK == 0
assert 0 < (s1 + l1 - s2) % LOOP <= TRACK + BUFFER
PY

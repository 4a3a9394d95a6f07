# Space pauses and resumes through the library: while paused the output
# does not grow and the clock stands; after it the audio goes on where it
# stopped, none lost and none twice. The progress line shows only on a
# terminal.
source "$(dirname "$0")/pty.sh"
start_sim --quiet
login_demo
# The chunks the simulator served: a paused library fetches none.
chunks="curl -s -m 5 $service/__sim/state | python3 -c 'import json, sys; h = json.load(sys.stdin)[\"hls\"]; print(h[\"primary\"][\"chunk\"] + h[\"secondary\"][\"chunk\"])'"
drive 60 play tonelab2 --seconds 12 --out "$work/audio.aac" <<EOF2
expect keys: space pause/resume
expect kbit/s
sleep 1.5
send \x20
expect paused at
sleep 0.3
run stat -c %s $work/audio.aac > $work/size.paused
run $chunks > $work/chunks.paused
# Longer than a turn of the library's loop, which would bring a chunk.
sleep 4
run [ "\$(stat -c %s $work/audio.aac)" = "\$(cat $work/size.paused)" ]
run [ "\$($chunks)" = "\$(cat $work/chunks.paused)" ]
send \x20
expect playing
EOF2
expect_status 0
expect_pty "[00:0"
expect_pty "/00:12] (paused) Tone Lab 2"
expect_pty "Tone Lab 2 | Chirp"
# The clock stood while paused: every progress line of the pause shows the same time.
tr '\r' '\n' < "$work/pty.log" | sed -n 's/^.*\[\([0-9:]*\)\/00:12\] (paused).*/\1/p' | sort -u > "$work/paused.times"
[ "$(wc -l < "$work/paused.times")" = 1 ] || fail "the clock moved while paused: $(tr '\n' ' ' < "$work/paused.times")"
python3 "$(dirname "$catalog")/../../scripts/check-adts.py" "$work/audio.aac" "${tracks[@]}" > "$work/adts.out" ||
  fail "the audio around the pause is not one unbroken run"
grep -qE 'seconds=12\.0[0-5]' "$work/adts.out" || fail "not 12 s of audio: $(cat "$work/adts.out")"
[ "$(state_value 's["requests"].get("/rest/v4/experience/modules/tune/now-playing-live", 0)')" = 1 ] ||
  fail "the pause tuned again"

# Off a terminal: no progress line, no key help.
play play tonelab2 --fast --seconds 2 --out "$work/audio.aac"
expect_status 0
expect_out "2.0 s of audio written"
! grep -qE 'kbit/s|keys:' "$work/out" || fail "a progress line off a terminal"

# Channels by id, number or name; a channel that is not there told apart
# from one that is not available; no output file after a failed start, an
# older one kept as it was; --seconds as seconds of audio in the file;
# write errors fail with 1.
start_sim --quiet
login_demo
cd "$work"

play play nosuch --fast --seconds 2 --out "$work/audio.aac"
expect_status 1
expect_out "tqlplay: no such channel: 'nosuch'"
[ ! -e "$work/audio.aac" ] || fail "a failed start left an output file"
play play 99 --fast --seconds 2 --out "$work/audio.aac"
expect_status 1
expect_out "no such channel: '99'"

echo "an older recording" > "$work/audio.aac"
play play "Quiz Corner" --fast --seconds 2 --out "$work/audio.aac"
expect_status 1
expect_out "tqlplay: channel 22 Quiz Corner (quizcorner) is not available to this account"
! grep -q "no such channel" "$work/out" || fail "an unavailable channel was called missing"
[ "$(cat "$work/audio.aac")" = "an older recording" ] || fail "a failed start changed the older file"
# Nothing was tuned for either: the line-up told it first.
[ "$(state_value 's["requests"].get("/rest/v4/experience/modules/tune/now-playing-live", 0)')" = 0 ] ||
  fail "a channel that could not play was tuned"

# channels shows the id that play takes.
play channels
expect_status 0
grep -qE '^ +2  Tone Lab 2 .* yes +tonelab2$' "$work/out" || fail "no id in the line-up"

# By number, with --opt=value, exactly the asked seconds of audio.
play play 2 --fast --seconds=3 --out="$work/audio.aac"
expect_status 0
faad -o /dev/null "$work/audio.aac" > /dev/null 2>&1 || fail "faad could not decode the output"
seconds=$(python3 "$(dirname "$catalog")/../../scripts/check-adts.py" "$work/audio.aac" "${tracks[@]}" |
          sed -n 's/.*seconds=\([0-9.]*\).*/\1/p')
python3 -c "import sys; s = float(sys.argv[1]); sys.exit(not 3 <= s < 3.064)" "$seconds" ||
  fail "--seconds 3 wrote $seconds s"
# By name, any letter case.
play play "tone lab 1" --fast --seconds 1 --out "$work/audio.aac"
expect_status 0

play play 2 --fast --seconds 2 --out /dev/full
expect_status 1
expect_out "tqlplay: cannot write /dev/full: No space left on device"

"$play_bin" --service "$service" --account "$work/account" channels >&- 2> "$work/out"
status=$?
expect_status 1
expect_out "tqlplay: cannot write stdout: Bad file descriptor"
"$play_bin" --service "$service" --account "$work/account" channels > /dev/full 2> "$work/out"
status=$?
expect_status 1
expect_out "tqlplay: cannot write stdout: No space left on device"

# Audio into a pipe that closes early.
"$play_bin" --service "$service" --account "$work/account" play 2 --fast --seconds 30 --out - 2> "$work/out" |
  head -c 100 > /dev/null
status=${PIPESTATUS[0]}
expect_status 1
expect_out "tqlplay: cannot write stdout: Broken pipe"

# Audio is no text for a terminal: refused before the service is asked.
source "$(dirname "$0")/pty.sh"
tunes=$(state_value 's["requests"].get("/rest/v4/experience/modules/tune/now-playing-live", 0)')
drive 20 play 2 --fast --seconds 2 --out - < /dev/null
expect_status 2
expect_pty "tqlplay: will not write audio to a terminal; redirect stdout or give --out FILE"
[ "$(state_value 's["requests"].get("/rest/v4/experience/modules/tune/now-playing-live", 0)')" = "$tunes" ] ||
  fail "audio for a terminal was tuned"

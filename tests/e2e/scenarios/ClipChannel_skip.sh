# A forward skip on a clip channel: the library answers "drav;" and the
# channel with the skips left plus one, tqlplay tunes again, and the next
# clip starts from its beginning right after the cut one.
start_sim --quiet
login_demo
mixtape=c4a00000-0000-4000-8000-000000000007
play play "$mixtape" --clips --fast --seconds 40 --give-up 30 --skip-after 10 --out "$work/audio.aac"
expect_status 0
# The shipped channel allows six skips an hour: five are left.
expect_out "Skip forward: drav;$mixtape (6)"
faad -o /dev/null "$work/audio.aac" > "$work/faad.out" 2>&1 || fail "faad could not decode the output"
python3 "$fixture/../../scripts/check-adts.py" --clips "$work/audio.aac" "${tracks[@]}" > "$work/adts.out" ||
  fail "the output is not whole clips in order: $(cat "$work/adts.out")"
grep -q "cut=1 .* order=1,2$" "$work/adts.out" || fail "the skip did not start the next clip: $(cat "$work/adts.out")"
sed -n '/^Skip forward/,$p' "$work/out" | grep -q "Now playing: Chirp 2" || fail "the next clip was not announced"

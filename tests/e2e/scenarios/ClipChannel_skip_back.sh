# A back skip on a clip channel starts the clip being heard over: the answer
# is "drav;" and the channel with the back skips left plus one, and after the
# cut the same clip plays again from its start, then the next in order.
start_sim --quiet
login_demo
mixtape=c4a00000-0000-4000-8000-000000000007
play play "$mixtape" --clips --fast --seconds 48 --give-up 30 --skip-after 10 --skip-back --out "$work/audio.aac"
expect_status 0
expect_out "Skip back: drav;$mixtape (6)"
faad -o /dev/null "$work/audio.aac" > "$work/faad.out" 2>&1 || fail "faad could not decode the output"
python3 "$fixture/../../scripts/check-adts.py" --clips "$work/audio.aac" "${tracks[@]}" > "$work/adts.out" ||
  fail "the output is not whole clips in order: $(cat "$work/adts.out")"
grep -q "cut=1 .* order=1,1,2$" "$work/adts.out" || fail "the back skip did not restart the clip: $(cat "$work/adts.out")"

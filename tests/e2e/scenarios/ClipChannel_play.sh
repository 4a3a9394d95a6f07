# A clip channel ("Mix Tape Sequencer") played for 60 s: its clips, each one
# fixture track whole, follow one another without gap or repeat; each clip's
# title is announced in order, not before its clip starts; and the library
# asks for more clips as the list runs low.
start_sim --quiet
login_demo
mixtape=c4a00000-0000-4000-8000-000000000007
play play "$mixtape" --clips --fast --seconds 60 --give-up 30 --out "$work/audio.aac"
expect_status 0
faad -o /dev/null "$work/audio.aac" > "$work/faad.out" 2>&1 || fail "faad could not decode the output"
! grep -qi "error" "$work/faad.out" || fail "faad: $(grep -i error "$work/faad.out" | head -1)"
python3 "$fixture/../../scripts/check-adts.py" --clips "$work/audio.aac" "${tracks[@]}" > "$work/adts.out" ||
  fail "the output is not whole clips in order: $(cat "$work/adts.out")"
python3 - "$work/adts.out" "$work/out" <<'PY' || fail "clips or titles out of place: $(cat "$work/adts.out")"
import re, sys
fields = dict(f.split("=") for f in open(sys.argv[1]).read().split())
order = [int(t) for t in fields["order"].split(",")]
assert fields["cut"] == "0", "a clip was cut short"
assert len(order) >= 3 and order[:3] == [1, 2, 3], f"clips {order}"
CLIP = 24  # seconds: one fixture track
announced = re.findall(r"\[(\d+):(\d+)\] Now playing: Chirp (\d)", open(sys.argv[2]).read())
firsts = []
for mm, ss, title in announced:
    if not firsts or firsts[-1][1] != int(title):
        firsts.append((int(mm) * 60 + int(ss), int(title)))
assert [t for _, t in firsts][:3] == [1, 2, 3], f"titles announced {firsts}"
for clip, (at, title) in enumerate(firsts[:3]):
    # Not before the clip starts; at most one 8 s chunk and one loop turn late.
    assert clip * CLIP <= at <= clip * CLIP + 8 + 3, f"Chirp {title} announced at {at} s"
print(f"clips {order}, titles at {firsts}")
PY
[ "$(state_value 's["requests"].get("/rest/v4/aic/tune", 0)')" = "1" ] || fail "the channel was tuned more than once"
[ "$(state_value 's["requests"].get("/rest/v4/aic/refresh-tracks", 0)')" -ge 1 ] || fail "no refresh of the clip list"

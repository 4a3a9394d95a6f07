# A live channel with a pause, a resume and the track changes of the
# stream, then a skip forward to the live edge, a short play there and a stop: the service
# hears each transition in both generations, and within each playback the
# periods it was told of follow each other in stream time with neither
# overlap nor hole, and cover what the host reported as played.
start_sim --quiet
login_demo
play play tonelab2 --fast --seconds 56 --give-up 30 --pause-at 12 --pause-ms 1500 --skip-fwd-at 48 \
  --out "$work/audio.aac"
expect_status 0
sim_state > "$work/state.json"
python3 - "$work/state.json" "$work/out" <<'PY' || fail "consume reports: $(python3 -c 'import json,sys; print(json.dumps(json.load(open(sys.argv[1]))["consume"], indent=1))' "$work/state.json")"
import json, re, sys
state = json.load(open(sys.argv[1]))["consume"]
assert state["refused"] == 0, "the simulator refused a report"
sessions = [r for r in state["sessions"].values() if r]
assert len(sessions) == 1, f"{len(sessions)} sessions reported"
reports = sessions[0]

# Each transition goes out as V2, then V4, with the same number of records.
assert len(reports) % 2 == 0, "an unpaired report"
for v2, v4 in zip(reports[0::2], reports[1::2]):
    assert (v2["v"], v4["v"]) == (2, 4), "reports not in V2, V4 order"
    assert len(v2["records"]) == len(v4["records"]), "V2 and V4 differ in records"
v4 = [r["records"] for r in reports[1::2]]

# The transitions, by what each V4 report says last.
def what(records):
    last = records[-1]
    return last["event"] + "/" + last["action"]
seen = [what(r) for r in v4]
wanted = ["start/tuneIn", "stop/active", "start/resume", "stop/fwd", "start/fwd", "stop/tuneOut"]
at = 0
for step in seen:
    if at < len(wanted) and step == wanted[at]:
        at += 1
    elif step != "start/passive":
        raise AssertionError(f"unexpected {step} in {seen}")
assert at == len(wanted), f"transitions {seen}, wanted {wanted} in order"
assert "start/passive" in seen, f"no track change in {seen}"

# Periods in stream time, per playback: every start opens one, every stop
# closes the open one, a stop with nothing open (the tune-in closing what
# the stop before it closed) closes nothing.
def ms(t):
    h, m, s = t[11:13], t[14:16], t[17:19]
    return ((int(h) * 60 + int(m)) * 60 + int(s)) * 1000 + int(t[20:27])
played = 0
open_at = None
walls = []
for records in v4:
    for r in records:
        walls.append(r["at"])
        if r["event"] == "start":
            assert open_at is None, f"a period opened over an open one at {r}"
            if r["action"] in ("resume", "passive"):
                assert ms(r["streamAt"]) == last_close, f"a hole or overlap before {r}"
            open_at = ms(r["streamAt"])
        elif r["event"] == "stop" and open_at is not None:
            assert ms(r["streamAt"]) >= open_at, f"a period ends before it starts: {r}"
            played += ms(r["streamAt"]) - open_at
            last_close = ms(r["streamAt"])
            open_at = None
assert open_at is None, "a period left open at the end"
assert walls == sorted(walls), "report times go back"
written = float(re.search(r"([0-9.]+) s of audio written", open(sys.argv[2]).read()).group(1))
# The host's position trails what it took by the audio still buffered.
assert written - 20 <= played / 1000 <= written, f"periods cover {played / 1000} s of {written} s written"
print(f"{len(v4)} transitions, {played / 1000} s reported of {written} s written")
PY

# A clip channel with a forward skip 10 s in and clips that end on their
# own: the service hears the tune-in, the stop and the tune-in of the skip,
# then at each clip end a report that closes the clip heard and opens the
# next one with that clip's token, and the closing stop. A clip's stream has
# no clock of its own: both times of every record are the wall time.
start_sim --quiet
login_demo
mixtape=c4a00000-0000-4000-8000-000000000007
play play "$mixtape" --clips --fast --seconds 84 --give-up 30 --skip-after 10 --out "$work/audio.aac"
expect_status 0
sim_state > "$work/state.json"
python3 - "$work/state.json" <<'PY' || fail "consume reports: $(python3 -c 'import json,sys; print(json.dumps(json.load(open(sys.argv[1]))["consume"], indent=1))' "$work/state.json")"
import json, sys
state = json.load(open(sys.argv[1]))["consume"]
assert state["refused"] == 0, "the simulator refused a report"
sessions = [r for r in state["sessions"].values() if r]
assert len(sessions) == 1, f"{len(sessions)} sessions reported"
reports = sessions[0]
assert len(reports) % 2 == 0, "an unpaired report"
for v2, v4 in zip(reports[0::2], reports[1::2]):
    assert (v2["v"], v4["v"]) == (2, 4), "reports not in V2, V4 order"
    assert [r["info"] for r in v2["records"]] == [r["info"] for r in v4["records"]], "V2 and V4 differ"
v4 = [r["records"] for r in reports[1::2]]

seen = [[r["event"] + "/" + r["action"] for r in records] for records in v4]
wanted = [["start/tuneIn"], ["stop/fwd"], ["stop/tuneOut", "start/fwd"]]
assert seen[:3] == wanted, f"transitions {seen}"
ends = seen[3:-1]
assert len(ends) >= 2, f"fewer than two clips ended on their own in {seen}"
assert all(e == ["stop/passive", "start/passive"] for e in ends), f"clip ends {seen}"
assert seen[-1] == ["stop/tuneOut"], f"last {seen}"

# Every record of a clip channel is of the clip channel, at the wall time.
for records in v4:
    for r in records:
        assert r["info"].startswith("clip="), f"not a clip's token: {r}"
        assert r["at"] == r["streamAt"], f"stream time is not the wall time: {r}"

# Each report closes the clip the last one opened; a clip end opens the
# next clip, never the one just heard; the skip moved on to another clip.
infos = [[r["info"] for r in records] for records in v4]
first, skipped_to = infos[0][0], infos[2][1]
assert infos[1] == [first] and infos[2][0] == first, f"the skip closed {infos[1:3]}"
assert skipped_to != first, "the skip did not move to another clip"
opened = skipped_to
for pair in infos[3:-1]:
    assert pair[0] == opened, f"a clip end closed {pair[0]}, not {opened}"
    assert pair[1] != opened, f"a clip end opened the clip just heard: {pair}"
    opened = pair[1]
assert infos[-1] == [opened], f"the stop closed {infos[-1]}, not {opened}"
print(f"{len(v4)} transitions: {infos}")
PY

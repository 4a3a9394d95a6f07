# Helpers of the scenarios that drive tqlplay on a pseudo-terminal; sourced
# by a scenario after e2e.sh's own helpers.

# drive SECONDS ARG... < SCRIPT: tqlplay with the scenario's service and
# account on a terminal, driven by SCRIPT (see ptydrive.py). What it showed
# is in $work/pty.log, its exit status in $status.
drive() {
  local limit=$1
  shift
  python3 "$(dirname "$0")/ptydrive.py" "$limit" "$work/pty.log" \
    "$play_bin" --service "$service" --account "$work/account" "$@"
  status=$?
  [ $status -ne 125 ] || fail "the terminal script stopped: $(tr '\r' '\n' < "$work/pty.log" | tail -n 5)"
}

expect_pty() { grep -qF -- "$1" "$work/pty.log" || fail "the terminal did not show: $1"; }

# The runs of consecutive fixture frames that the output holds, one line
# each: the fixture frame it starts at and its length in frames.
adts_runs() {
  python3 - "$(dirname "$catalog")/../../scripts/check-adts.py" "$1" "${tracks[@]}" <<'PY'
import importlib.util, sys
spec = importlib.util.spec_from_file_location("check_adts", sys.argv[1])
adts = importlib.util.module_from_spec(spec)
spec.loader.exec_module(adts)
fixture, _, _ = adts.load_fixture(sys.argv[3:])
index = {frame: i for i, frame in enumerate(fixture)}
frames, _ = adts.adts_frames(open(sys.argv[2], "rb").read(), "output")
runs = []
for frame in frames:
    at = index[frame]
    if runs and (runs[-1][0] + runs[-1][1]) % len(fixture) == at:
        runs[-1][1] += 1
    else:
        runs.append([at, 1])
for start, length in runs:
    print(start, length)
PY
}

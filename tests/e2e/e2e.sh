#!/usr/bin/env bash
# End-to-end scenarios: tqlplay, the library and the reference host against
# tqlsim on a free loopback port. Usage: e2e.sh TQLSIM TQLPLAY CATALOG SCENARIO
# Every step is bounded in time; a scenario prints what it checked.
set -uo pipefail
sim_bin=$1 play_bin=$2 catalog=$3 scenario=$4

work=$(mktemp -d)
sim_pid=
cleanup() {
  [ -n "$sim_pid" ] && kill "$sim_pid" 2>/dev/null && wait "$sim_pid" 2>/dev/null
  rm -rf "$work"
}
trap cleanup EXIT

fail() {
  echo "FAIL [$scenario]: $*" >&2
  [ -f "$work/out" ] && sed 's/^/  | /' "$work/out" >&2
  [ -s "$work/sim.err" ] && { echo "  simulator log:" >&2; tail -n 30 "$work/sim.err" | sed 's/^/  > /' >&2; }
  exit 1
}

# The simulator logs each request to $work/sim.err.
start_sim() { start_sim_with "$catalog" "$@"; }

start_sim_with() {
  local with=$1
  shift
  "$sim_bin" --port 0 --catalog "$with" "$@" > "$work/sim.out" 2> "$work/sim.err" &
  sim_pid=$!
  for _ in $(seq 200); do
    grep -q 'listening on' "$work/sim.out" 2>/dev/null && break
    sleep 0.05
  done
  service=$(sed -n 's/^tqlsim listening on //p' "$work/sim.out")
  [ -n "$service" ] || fail "tqlsim did not start"
}

fault() { curl -s -m 5 -d "" "$service/__sim/fault?$1" > /dev/null || fail "could not set fault $1"; }
sim_state() { curl -s -m 5 "$service/__sim/state" || fail "no simulator state"; }
# One value of the state document, by a Python expression on it named s.
state_value() { sim_state | python3 -c "import json, sys; s = json.load(sys.stdin); print($1)"; }

# The log is written once a reply is out, so a line may trail the reply a
# little: wait until every service request counted so far has its line.
settle_log() {
  local total
  total=$(state_value 's["total"]')
  for _ in $(seq 100); do
    [ "$(grep -cE '^tqlsim: [A-Z]+ /(rest|images|hls)/' "$work/sim.err")" -ge "$total" ] && return
    sleep 0.05
  done
  fail "simulator log lacks requests"
}

# The query of the last request to a path, as the simulator received it.
last_query() {
  curl -s -m 5 -D - -o /dev/null "$service/__sim/last?path=$1" | tr -d '\r' | sed -n 's/^X-Sim-Query: //Ip'
}

# Runs tqlplay with a time limit; output in $work/out, status in $status.
play() {
  timeout 60 "$play_bin" --service "$service" --account "$work/account" "$@" > "$work/out" 2>&1
  status=$?
  [ $status -ne 124 ] || fail "tqlplay hung: $*"
}

fixture="$(dirname "$catalog")/../fixture"
tracks=("$fixture/track1.aac" "$fixture/track2.aac" "$fixture/track3.aac")

# The written stream: it decodes without an error, it is a contiguous run of
# the fixture's frames (no ID3, no gap, no repeat), its length lies between
# MIN and MAX seconds, and every "Now playing" line names the track that the
# audio holds at the position the line shows. FIRST, when given, is the
# fixture frame the audio must start at.
expect_audio() {
  local min=$1 max=$2 first=${3:-}
  faad -o /dev/null "$work/audio.aac" > "$work/faad.out" 2>&1 || fail "faad could not decode the output"
  ! grep -qi "error" "$work/faad.out" || fail "faad: $(grep -i error "$work/faad.out" | head -1)"
  python3 "$(dirname "$catalog")/../../scripts/check-adts.py" "$work/audio.aac" "${tracks[@]}" > "$work/adts.out" ||
    fail "the output is not the fixture's frames: $(cat "$work/adts.out")"
  python3 - "$work/adts.out" "$work/out" "$min" "$max" "$first" <<'PY' || fail "audio or metadata out of place: $(cat "$work/adts.out")"
import re, sys
adts, out, low, high, first = sys.argv[1:]
fields = dict(f.split("=") for f in open(adts).read().split())
seconds, start = float(fields["seconds"]), int(fields["first"])
assert float(low) <= seconds <= float(high), f"{seconds} s written"
assert not first or start == int(first), f"starts at frame {start}"
FRAME, PER_TRACK, LOOP = 0.064, 375, 1125
lines = re.findall(r"\[(\d+):(\d+)\] Now playing: Chirp (\d)", open(out).read())
assert lines, "no track was announced"
for mm, ss, title in lines:
    # The line shows whole seconds; the track is the one heard just after.
    at = int(mm) * 60 + int(ss) + 0.9
    heard = (start + int(at / FRAME)) % LOOP // PER_TRACK + 1
    assert heard == int(title), f"Chirp {title} announced at {mm}:{ss}, Chirp {heard} is heard"
print(f"{seconds} s from frame {start}, {len(lines)} tracks announced")
PY
}

# A playback in the background, for scenarios that act on it while it runs.
play_in_background() {
  timeout 90 "$play_bin" --service "$service" --account "$work/account" "$@" > "$work/out" 2>&1 &
  play_pid=$!
}

wait_play() {
  wait "$play_pid"; status=$?
  [ $status -ne 124 ] || fail "tqlplay hung"
}

expect_status() { [ "$status" -eq "$1" ] || fail "exit status $status, expected $1"; }
expect_out() { grep -qF -- "$1" "$work/out" || fail "output lacks: $1"; }

login_demo() {
  play login demo demo
  expect_status 0
}

# Compares a tile table of tqlplay with what the catalog holds for a list.
# LIST is favorites, recents, for_you or search; KEY the user, or the term
# for search. Images are sized copies of the tile logo on the image base.
expect_tiles() {
  python3 - "$catalog" "$work/out" "$service/images" "$1" "$2" <<'PY' || fail "$1 $2 differs from the catalog"
import json, re, sys
catalog_file, out_file, images, kind, key = sys.argv[1:]
catalog = json.load(open(catalog_file))
channels = {c["guid"]: c for c in catalog["channels"]}
shows = {s["guid"]: s for s in catalog.get("shows", [])}
account = next((a for a in catalog["accounts"] if a["user"] == key), {})
if kind == "search":
    term = key.lower()
    guids = [c["guid"] for c in catalog["channels"] if term in c["name"].lower()]
    guids += [s["guid"] for s in catalog.get("shows", []) if term in s["title"].lower()]
elif kind == "for_you":
    guids = catalog["forYou"]["items"]
else:
    guids = account.get(kind, [])

def image(logo):
    if not logo:
        return "-"
    return logo.replace("%Root%", images) + "?width=700&height=700&preserveAspect=true"

def row(guid):
    if guid in channels:
        c = channels[guid]
        text = c["description"] if kind == "search" else c["description"] + " • " + c["name"]
        return ["channel", guid, c["name"], text, image(c.get("logo"))]
    s = shows[guid]
    count = "%d episode%s" % (s["episodes"], "" if s["episodes"] == 1 else "s")
    first = s["title"] if kind == "search" else channels[s["channel"]]["name"]
    return ["show", guid, s["title"], first + " • " + count, image(s.get("logo"))]

expected = [row(g) for g in guids]
lines = open(out_file, encoding="utf-8").read().splitlines()
if not expected:
    got_ok = lines == ["(none)"]
    got = lines
else:
    got = [re.split(r"  +", l) for l in lines[1:-1]]
    tail = "%d tile%s" % (len(expected), "" if len(expected) == 1 else "s")
    got_ok = lines[0].split() == ["TYPE", "ID", "NAME", "DESCRIPTION", "IMAGE"] and lines[-1] == tail \
             and got == expected
if not got_ok:
    print("expected", expected, "\ngot", got)
    sys.exit(1)
PY
}

# A scenario of its own file (scenarios/NAME.sh) runs in this shell with
# every helper above; the others are the cases below.
scenario_file="$(dirname "$0")/scenarios/$scenario.sh"
if [ -f "$scenario_file" ]; then
  source "$scenario_file"
else
case "$scenario" in
good_login)
  start_sim
  login_demo
  expect_out "Logged in as demo"
  [ "$(stat -c %a "$work/account")" = 600 ] || fail "account file is readable by others"
  ;;
bad_password)
  start_sim
  play login demo wrong
  expect_status 1
  expect_out "Invalid or missing TamberQL credentials. (error 50)"
  [ ! -e "$work/account" ] || fail "a refused account was stored"
  ;;
no_account)
  start_sim
  play channels
  expect_status 1
  expect_out "Authentication failed. (error 49)"
  ;;
lineup)
  start_sim
  login_demo
  play channels
  expect_status 0
  # Every channel that a category lists, once per listing category, as the catalog holds it.
  python3 - "$catalog" "$work/out" <<'PY' || fail "line-up differs from the catalog"
import json, sys
catalog = json.load(open(sys.argv[1]))
names = {cat["key"]: cat["name"] for sc in catalog["superCategories"] for cat in sc["categories"]}
expected = sorted((ch["number"], ch["name"], names[c["key"]])
                  for ch in catalog["channels"] for c in ch.get("categories", []) if c["key"] in names)
rows = [l for l in open(sys.argv[2]).read().splitlines()[1:] if l and not l.endswith("listings")]
got = sorted((int(l[:6]), l[8:36].rstrip(), l[38:58].rstrip()) for l in rows)
if got != expected:
    print("expected", expected, "\ngot", got)
    sys.exit(1)
PY
  ;;
notification_reload)
  start_sim
  login_demo
  fault notify
  play --log 3 channels
  expect_status 0
  expect_out "Trigger list forced update!"
  ;;
server_errors)
  start_sim --fault http500=20
  play login demo demo
  expect_status 1
  expect_out "(error 500)"
  ;;
dropped_connections)
  start_sim --fault drop=20
  play login demo demo
  expect_status 1
  expect_out "(error 500)"
  ;;
truncated_reply)
  # Five cut replies: routing gets no good answer in its five tries.
  start_sim
  login_demo
  fault truncate=5
  play channels
  expect_status 1
  expect_out "(error 500)"
  ;;
invalid_json)
  start_sim
  login_demo
  fault invalidjson=5
  play channels
  expect_status 1
  expect_out "(error 500)"
  ;;
account_states)
  start_sim
  play login nosub nosub
  expect_status 1
  expect_out "Please purchase a subscription to continue listening (error 57)"
  play login pastdue pastdue
  expect_out "(error 56)"
  play login closed closed
  expect_out "Subscriber account closed (error 58)"
  play login legacy legacy
  expect_out "Your account is not compatible with this device. (error 5260)"
  ;;
lockout)
  start_sim
  for _ in 1 2 3; do play login listener wrong; done
  expect_status 1
  expect_out "Too many unsuccessful login attempts. Please wait a few minutes and try again. (error 52)"
  ;;
slow_service)
  start_sim --fault latency=300
  login_demo
  play channels
  expect_status 0
  ;;
service_gone)
  start_sim
  login_demo
  kill "$sim_pid"; wait "$sim_pid" 2>/dev/null; sim_pid=
  play channels
  expect_status 1
  expect_out "(error 500)"
  ;;
favorites)
  # Each account has its own list; listener's is empty. Without an account
  # the command fails with the library's error text.
  start_sim
  play favorites
  expect_status 1
  expect_out "Authentication failed. (error 49)"
  login_demo
  play favorites
  expect_status 0
  expect_tiles favorites demo
  [ "$(last_query /rest/v4/experience/carousels)" = "page-name=favorites_norvale&result-template=norvale%7Cweb" ] ||
    fail "favorites asked for with another query"
  play login listener listen123
  play favorites
  expect_status 0
  expect_tiles favorites listener
  ;;
recents)
  start_sim
  login_demo
  play recents
  expect_status 0
  expect_tiles recents demo
  [ "$(last_query /rest/v4/experience/carousels)" = "page-name=recents&entities-only=false&result-template=norvale%7Cweb" ] ||
    fail "recents asked for with another query"
  play login listener listen123
  play recents
  expect_status 0
  expect_tiles recents listener
  ;;
for_you)
  start_sim
  login_demo
  play foryou
  expect_status 0
  expect_tiles for_you demo
  ;;
search)
  # Case does not matter; a blank in the term reaches the service encoded.
  start_sim
  login_demo
  play search SINE
  expect_status 0
  expect_tiles search SINE
  play search "rain d"
  expect_status 0
  expect_tiles search "rain d"
  [ "$(last_query /rest/v4/experience/carousels)" = "page-name=search&result-template=mobile&search-term=rain%20d" ] ||
    fail "search term sent as: $(last_query /rest/v4/experience/carousels)"
  ;;
session_expired_resumed)
  # A clean run shows how many requests come before the favorites; the
  # sessions then end right before the favorites request of a second run.
  start_sim
  login_demo
  before=$(state_value 's["total"]')
  play favorites
  expect_status 0
  settle_log
  [ "$(grep -vF /__sim/ "$work/sim.err" | tail -n 1 | grep -c 'carousels?page-name=favorites_norvale')" = 1 ] ||
    fail "favorites is not the last request of a run"
  requests=$(( $(state_value 's["total"]') - before ))
  mark=$(wc -l < "$work/sim.err")
  fault "expire-after=$((requests - 1))"
  play favorites
  expect_status 0
  expect_tiles favorites demo
  settle_log
  # After the expiry: the favorites request the service refused, a new
  # login, and the favorites asked for again.
  tail -n +"$((mark + 1))" "$work/sim.err" | python3 -c '
import sys
lines = sys.stdin.read().splitlines()
at = next(i for i, l in enumerate(lines) if "expire-after:" in l)
after = lines[at + 1:]
def first(text, start):
    return next(i for i in range(start, len(after)) if text in after[i])
refused = first("page-name=favorites_norvale", 0)
login = first("/authentication-partner", refused + 1)
first("page-name=favorites_norvale", login + 1)
' 2> /dev/null || fail "the library did not log in again after the expiry"
  [ "$(state_value 's["sessions"]["valid"], s["faults"]["expire-after"]')" = "1 0" ] ||
    fail "state after the run: $(sim_state)"
  ;;
play_live)
  start_sim --quiet
  login_demo
  play play tonelab2 --fast --seconds 20 --give-up 30 --out "$work/audio.aac"
  expect_status 0
  # Whole chunks arrive: at most one chunk of 8 s more than asked.
  expect_audio 20 28.1
  ;;
play_episode)
  start_sim --quiet
  login_demo
  play play sinegarden --episode quietsine-ep1 --fast --seconds 60 --give-up 30 --out "$work/audio.aac"
  expect_status 0
  expect_audio 60 72.001 0
  for n in 1 2 3; do expect_out "Now playing: Chirp $n / Sweeper $n / Sweeps $n"; done
  ;;
play_wrong_key)
  start_sim --quiet --fault wrongkey
  login_demo
  play play tonelab2 --fast --seconds 10 --give-up 8 --out "$work/audio.aac"
  expect_status 1
  # Chunks under the wrong key decrypt to noise, which never reaches the host.
  expect_out "no audio for 8 s"
  ! grep -q "of the stream were not audio" "$work/out" || fail "bytes that were no audio reached the host"
  ;;
play_chunk_404)
  start_sim --quiet --fault chunk404=1
  login_demo
  play play tonelab2 --fast --seconds 20 --give-up 30 --out "$work/audio.aac"
  expect_status 0
  expect_audio 20 28.1
  ;;
play_index_failover)
  start_sim --quiet --fault indexfail=primary
  login_demo
  play play tonelab2 --fast --seconds 20 --give-up 40 --out "$work/audio.aac"
  expect_status 0
  expect_audio 20 28.1
  [ "$(state_value 's["hls"]["secondary"]["index"] > 0')" = True ] || fail "no index file came from the secondary server"
  ;;
play_logged_elsewhere)
  # Short token and no-op periods, so that the next check comes soon.
  python3 - "$catalog" "$work/catalog.json" <<'PY'
import json, os, sys
source, target = sys.argv[1:]
c = json.load(open(source))
c["tokenSeconds"], c["updateFrequency"] = 6, 3
base = os.path.dirname(os.path.abspath(source))
for t in c["tracks"]:
    t["file"] = os.path.join(base, t["file"])
json.dump(c, open(target, "w"))
PY
  start_sim_with "$work/catalog.json" --quiet
  login_demo
  play_in_background play tonelab2 --seconds 40 --give-up 30 --out "$work/audio.aac"
  sleep 4
  fault elsewhere=demo
  wait_play
  expect_status 1
  expect_out "(error 33)"
  ;;
play_service_gone)
  start_sim --quiet
  login_demo
  play_in_background play tonelab2 --seconds 60 --give-up 8 --out "$work/audio.aac"
  sleep 4
  kill "$sim_pid"; wait "$sim_pid" 2>/dev/null; sim_pid=
  wait_play
  expect_status 1
  grep -qE "giving up|\(error [0-9]+\)" "$work/out" || fail "no clear error after the service went away"
  ;;
*)
  fail "unknown scenario"
  ;;
esac
fi

# The simulator must end cleanly too: in the sanitizer build a report of its
# own would otherwise go unseen.
if [ -n "$sim_pid" ]; then
  kill "$sim_pid"
  for _ in $(seq 200); do kill -0 "$sim_pid" 2>/dev/null || break; sleep 0.05; done
  kill -0 "$sim_pid" 2>/dev/null && fail "tqlsim did not stop"
  wait "$sim_pid"; sim_status=$?; sim_pid=
  [ "$sim_status" -eq 0 ] || fail "tqlsim ended with status $sim_status"
  ! grep -qE 'Sanitizer|runtime error:' "$work/sim.err" || fail "tqlsim reported a sanitizer error"
fi
echo "ok [$scenario]"

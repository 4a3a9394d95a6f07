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

fail() { echo "FAIL [$scenario]: $*" >&2; [ -f "$work/out" ] && sed 's/^/  | /' "$work/out" >&2; exit 1; }

start_sim() {
  "$sim_bin" --port 0 --quiet --catalog "$catalog" "$@" > "$work/sim.out" 2> "$work/sim.err" &
  sim_pid=$!
  for _ in $(seq 200); do
    grep -q 'listening on' "$work/sim.out" 2>/dev/null && break
    sleep 0.05
  done
  service=$(sed -n 's/^tqlsim listening on //p' "$work/sim.out")
  [ -n "$service" ] || fail "tqlsim did not start"
}

fault() { curl -s -m 5 -d "" "$service/__sim/fault?$1" > /dev/null || fail "could not set fault $1"; }

# Runs tqlplay with a time limit; output in $work/out, status in $status.
play() {
  timeout 60 "$play_bin" --service "$service" --account "$work/account" "$@" > "$work/out" 2>&1
  status=$?
  [ $status -ne 124 ] || fail "tqlplay hung: $*"
}

expect_status() { [ "$status" -eq "$1" ] || fail "exit status $status, expected $1"; }
expect_out() { grep -qF -- "$1" "$work/out" || fail "output lacks: $1"; }

login_demo() {
  play login demo demo
  expect_status 0
}

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
*)
  fail "unknown scenario"
  ;;
esac
echo "ok [$scenario]"

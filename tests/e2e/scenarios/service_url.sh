# tqlsim prints the line that points tqlplay at it; a service that cannot
# be reached is named in the error.
start_sim --quiet
line=$(grep '^export TQLPLAY_SERVICE=' "$work/sim.out")
[ "$line" = "export TQLPLAY_SERVICE=$service" ] || fail "tqlsim printed: $(cat "$work/sim.out")"
(
  eval "$line"
  "$play_bin" --account "$work/account" login demo demo
) > "$work/out" 2>&1 || fail "the exported service did not work: $(cat "$work/out")"
expect_out "Logged in as demo"

# A port where nothing listens.
gone="http://127.0.0.1:1"
TQLPLAY_SERVICE=$gone "$play_bin" --account "$work/account" channels > "$work/out" 2>&1
status=$?
expect_status 1
expect_out "(error 500)"
expect_out "tqlplay: the service asked was $gone (set it with --service or TQLPLAY_SERVICE)"

# A short fault soak: a live channel played from the oldest chunk its index
# files reach, with every kind of fault thrown at it in turn; no audio is
# lost or heard twice, and every fault ends. scripts/fault-soak.sh runs the
# same for an hour.
SOAK_STEP_BYTES=1 timeout 100 bash "$(dirname "$catalog")/../../scripts/fault-soak.sh" \
  "$sim_bin" "$play_bin" "$catalog" 170 > "$work/out" 2>&1
status=$?
[ $status -ne 124 ] || fail "the soak hung"
expect_status 0
expect_out "soak OK"
for kind in badtail indexfail expire truncate chunk404 drop http500; do
  grep -q "^fault $kind" "$work/out" || fail "no $kind fault was thrown"
done

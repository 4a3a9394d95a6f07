# Favorites round trip: adding and removing a channel and a show, each read
# back as the favorites carousel, and a second account untouched.
start_sim
login_demo
sinegarden=c4a00000-0000-4000-8000-000000000003
quietsine=5a0e0000-0000-4000-8000-000000000002

play favorite add tonelab1
expect_status 0
expect_out "c4a00000-0000-4000-8000-000000000001  Tone Lab 1"
expect_out "5 tiles"
play favorite add "$quietsine"
expect_status 0
expect_out "$quietsine  The Quiet Sine"
play favorite remove sinegarden
expect_status 0
! grep -q "$sinegarden" "$work/out" || fail "a removed favorite is still listed"
expect_out "5 tiles"
# Read back on its own, in the order the service keeps them.
play favorites
expect_status 0
[ "$(awk 'NR > 1 && NF > 2 {print $2}' "$work/out" | tr '\n' ' ')" = \
  "5a0e0000-0000-4000-8000-000000000001 c4a00000-0000-4000-8000-000000000005 5a0e0000-0000-4000-8000-000000000004 c4a00000-0000-4000-8000-000000000001 $quietsine " ] ||
  fail "favorites read back differ"

play login listener listen123
play favorites
expect_status 0
[ "$(cat "$work/out")" = "(none)" ] || fail "another account's favorites changed"
echo "favorites written and read back"

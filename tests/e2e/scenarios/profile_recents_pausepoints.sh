# Clearing the recents empties the list the library reads back; the pause
# points come from the account's profile.
start_sim
login_demo
play recents
expect_status 0
expect_out "3 tiles"
play recents clear
expect_status 0
[ "$(cat "$work/out")" = "(none)" ] || fail "recents remain after clearing"
play recents
[ "$(cat "$work/out")" = "(none)" ] || fail "recents came back"

play pausepoints
expect_status 0
expect_out "e9000000-0000-4000-8000-000000000001      5a0e0000-0000-4000-8000-000000000002      40%"
expect_out "1 pause point"
play login listener listen123
play pausepoints
expect_status 0
[ "$(cat "$work/out")" = "(none)" ] || fail "an account without pause points lists some"
echo "recents cleared, pause points read"

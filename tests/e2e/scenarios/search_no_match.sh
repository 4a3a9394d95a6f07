# A search that matches nothing: the library says so in its log, and tqlplay
# prints "(none)".
start_sim
login_demo
play --log 2 search "no such title"
expect_status 0
expect_out "Empty search callback sent"
play search "no such title"
expect_status 0
[ "$(cat "$work/out")" = "(none)" ] || fail "an empty result is not printed as (none)"

# Refused profile writes: the host sees the library's error, the profile
# stays as it was, and each call asks as often as it is meant to.
start_sim
login_demo
modify=/rest/v4/experience/modules/modify
count() { state_value "s['requests'].get('$1', 0)"; }

fault "refuse=favorites"
play favorite add tonelab1
expect_status 1
expect_out "Failed to save favorites. (error 406)"
play favorites
expect_out "4 tiles"

# The preset update asks five times before it gives up.
before=$(count $modify)
fault "refuse=presets:5"
play preset set 1 sinegarden
expect_status 1
expect_out "the service did not take the preset"
[ "$(( $(count $modify) - before ))" = 5 ] || fail "the preset update did not ask five times"
play presets
[ "$(cat "$work/out")" = "(none)" ] || fail "a refused preset was kept"

fault "refuse=recents"
play recents clear
expect_status 1
play recents
expect_out "3 tiles"

fault "refuse=settings"
play settings TimeZone=CET
expect_status 1
play settings
expect_out "TimeZone=UTC"

# A session that dies just before the write: the library brings it back and
# asks once more. Routing, configuration, login and the line-up come first.
fault "expire-after=4"
before=$(count $modify)
play favorite add tonelab1
expect_status 0
expect_out "5 tiles"
[ "$(( $(count $modify) - before ))" = 2 ] || fail "the write was not asked again after the repair"
echo "refused writes reported and nothing kept"

# Global settings: a write is read back with the next login, which is how
# the service hands settings to a device.
start_sim
login_demo
play settings
expect_status 0
[ "$(cat "$work/out" | tr '\n' ' ')" = "TimeZone=UTC AutoPlayNext=true " ] || fail "default settings differ"
play settings TimeZone=CET "Greeting=hello world"
expect_status 0
[ "$(cat "$work/out" | tr '\n' ' ')" = "TimeZone=CET AutoPlayNext=true Greeting=hello world " ] ||
  fail "settings read back differ"
play settings
[ "$(cat "$work/out" | tr '\n' ' ')" = "TimeZone=CET AutoPlayNext=true Greeting=hello world " ] ||
  fail "settings did not stay"
play settings novalue
expect_status 2
echo "settings written and read back"

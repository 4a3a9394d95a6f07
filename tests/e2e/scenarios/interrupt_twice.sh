# Against a slow service the first Ctrl-C stops in order, which waits for
# the request under way; a second one ends tqlplay at once, with status 130
# and no output file left behind.
source "$(dirname "$0")/pty.sh"
start_sim --quiet
login_demo
fault latency=4000
drive 30 play tonelab2 --seconds 20 --out "$work/audio.aac" <<EOF2
sleep 1
send \x03
expect Ctrl-C again to quit at once
send \x03
wait 1
EOF2
expect_status 130
[ ! -e "$work/audio.aac" ] || fail "an interrupted start left an output file"
fault latency=0

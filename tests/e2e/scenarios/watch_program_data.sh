# tqlplay watch follows program data on the tick: the simulator's current
# cut moves with its clock, so a channel shows successive tracks; a login
# elsewhere then ends the watch with the service's words and status 1.
start_sim
login_demo
play_in_background --fast watch sinegarden pulseroom
# Tracks change every 24 s of the simulator's clock.
for _ in $(seq 400); do
  [ "$(grep -c '  sinegarden ' "$work/out")" -ge 2 ] && break
  kill -0 "$play_pid" 2>/dev/null || break
  sleep 0.1
done
titles=$(grep '  sinegarden ' "$work/out" | sed 's/.*  sinegarden *//; s/ \/.*//' | sort -u | wc -l)
[ "$titles" -ge 2 ] || fail "fewer than two tracks of sinegarden came"
grep -q '  pulseroom  *Chirp [123] / Sweeper [123] / Sweeps [123]$' "$work/out" || fail "pulseroom's cut is missing"
! grep -q '  tonelab1 ' "$work/out" || fail "a channel not asked for was watched"
[ "$(last_query /rest/v2/experience/modules/get/discover-channel-list | grep -o 'channelIds=[^&]*')" = \
  "channelIds=sinegarden,pulseroom" ] || fail "the watch did not ask for its two channels"

fault "elsewhere=demo"
wait_play
expect_status 1
expect_out "tqlplay: program data stopped: Logged in on another device"
echo "watch: $titles tracks of sinegarden, then the login elsewhere"

# Presets round trip: each write is read back through the library, a slot
# that is set again takes the new channel, and the update posts the preset
# document the service reads.
start_sim
login_demo
play presets
expect_status 0
[ "$(cat "$work/out")" = "(none)" ] || fail "a new account has presets"

play preset set 1 sinegarden
expect_status 0
expect_out "1      sinegarden    live        c4a00000-0000-4000-8000-000000000003"
python3 - "$service" <<'PY' || fail "the preset update is not the document the service reads"
import json, sys, urllib.request
body = json.load(urllib.request.urlopen(sys.argv[1] + "/__sim/last?path=/rest/v4/experience/modules/modify", timeout=5))
module = body["moduleList"]["modules"][0]
assert (module["moduleArea"], module["moduleType"]) == ("Profile", "Presets"), module
preset = module["moduleDetails"]["presetsList"]["presets"][0]
want = {"assetGUID": "c4a00000-0000-4000-8000-000000000003", "assetType": "channel", "changeType": "add",
        "channelId": "sinegarden", "contentType": "live", "tabSortOrder": 1, "createdDateTime": "",
        "modifiedDateTime": ""}
assert preset == want, preset
PY

play preset set 4 drumcircle
expect_status 0
play preset set 1 rainfall
expect_status 0
play presets
expect_status 0
[ "$(sed -n '2p;3p;4p' "$work/out" | awk '{print $1, $2}' | tr '\n' ' ')" = "1 rainfall 4 drumcircle 2 presets " ] ||
  fail "presets read back differ"

play preset set 2 nosuchchannel
expect_status 1
expect_out "no channel \"nosuchchannel\" in the line-up"
echo "presets written and read back"

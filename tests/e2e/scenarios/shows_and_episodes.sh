# On-demand shows by genre and by channel, the episodes of a show, and an
# episode id from that list played with play --episode.
start_sim
login_demo
quietsine=5a0e0000-0000-4000-8000-000000000002

play shows --genre nature
expect_status 0
expect_out "2 shows"
# The first of the four sizes of the show logo is its plain URL.
grep -qE "^$quietsine +The Quiet Sine +sinegarden +3 +$service/images/shows/quietsine.png$" "$work/out" ||
  fail "The Quiet Sine is not listed with its channel, count and logo"
! grep -q "Tuning Fork" "$work/out" || fail "a show of another genre was listed"
[ "$(last_query /rest/v2/experience/modules/get/discover-aod)" = \
  "request-option=discover-aod-shows&genre=nature&format=json&page=1&count=1000&result-template=radio&exclude=episodes" ] ||
  fail "the genre was not asked for"

play shows --channel readers
expect_status 0
expect_out "1 show"
grep -qE "Tuning Fork Stories +readers +12 +$service/images/shows/tuningfork.png$" "$work/out" ||
  fail "Tuning Fork Stories is not listed for its channel"

# A show without a logo for dark backgrounds keeps no image.
play shows --channel rainfall
expect_status 0
grep -qE 'Rain Diaries +rainfall +8 +-$' "$work/out" || fail "Rain Diaries is not listed without an image"

play shows --genre nothing
expect_status 0
[ "$(cat "$work/out")" = "(none)" ] || fail "an empty list is not printed as (none)"

play episodes "$quietsine"
expect_status 0
expect_out "2 episodes"
grep -qE "^quietsine-ep1 +Three sweeps, played once +The Quiet Sine: Three Chirps +2024-03-01T09:00:00.000\+00:00 +72 s$" \
  "$work/out" || fail "the first episode is not listed as the catalog has it"
episode=$(awk 'NR == 3 { print $1 }' "$work/out")
[ "$episode" = "quietsine-ep2" ] || fail "the second episode is not listed second"

play episodes 5a0e0000-0000-4000-8000-000000000003
expect_status 0
[ "$(cat "$work/out")" = "(none)" ] || fail "a show without episodes is not printed as (none)"

# The id alone is enough to play it.
play play --episode "$episode" --fast --seconds 10 --give-up 30 --out "$work/audio.aac"
expect_status 0
expect_out "Now playing: Chirp 1"
echo "shows, episodes and $episode played"

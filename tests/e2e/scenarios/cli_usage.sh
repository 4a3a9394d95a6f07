# A bad command line: one line that says what is wrong, a pointer to
# --help, exit status 2, and nothing done (no output file). No service is
# needed for any of it.
cd "$work"
usage_case() {
  local message=$1
  shift
  "$play_bin" "$@" > "$work/out" 2> "$work/err"
  status=$?
  expect_status 2
  [ "$(cat "$work/err")" = "tqlplay: $message
try 'tqlplay --help'" ] || fail "for $*: $(cat "$work/err")"
  [ ! -s "$work/out" ] || fail "for $*, stdout got: $(cat "$work/out")"
}
usage_case "unknown command 'chanels' (did you mean 'channels'?)" chanels
usage_case "unknown command 'dance'" dance
usage_case "no command given"
usage_case "unknown option '--bogus'" --bogus channels
usage_case "unknown option '--bogus'" channels --bogus=1
usage_case "--service needs a value" channels --service
usage_case "play needs a CHANNEL, or --episode CAID" play
usage_case "'channels' takes no operands, not 1: tqlplay channels" channels extra
usage_case "--seconds needs a whole number, not '10abc'" play tonelab2 --seconds 10abc
usage_case "--seconds needs a whole number, not ''" play tonelab2 --seconds=
usage_case "--seconds must be from 1 to 2147483, not 4294968" play tonelab2 --seconds 4294968
usage_case "--seconds must be from 1 to 2147483, not 0" play tonelab2 --seconds=0
usage_case "--seconds must be from 1 to 2147483, not -5" play tonelab2 --seconds=-5
usage_case "--give-up needs a whole number, not ' 7'" play tonelab2 --give-up " 7"
usage_case "--log must be from 0 to 4, not 9" --log=9 channels
[ ! -e "$work/tqlplay.aac" ] || fail "a refused play left an output file"

"$play_bin" --version > "$work/out" 2>&1
status=$?
expect_status 0
grep -qE '^tqlplay [0-9.]+ \(libtqllib 3\.0\.0\)$' "$work/out" || fail "version: $(cat "$work/out")"

# The help tells every command, both spellings of a value and the exit statuses.
"$play_bin" --help > "$work/out" 2>&1
status=$?
expect_status 0
for text in "login USER PASSWORD" "play [CHANNEL]" "--seconds N" "--version" "--name=value" \
            "exit status:" "2    a bad command line" "130  stopped by Ctrl-C"; do
  expect_out "$text"
done

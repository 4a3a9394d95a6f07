# A login whose account cannot be kept fails with 1, and the account kept
# before stays as it was.
start_sim --quiet
login_demo
cp "$work/account" "$work/account.before"

# The account is written beside itself first: a folder in that place makes
# the store fail even for root.
mkdir "$work/account.tmp"
play login listener listen123
expect_status 1
expect_out "tqlplay: logged in as listener, but the account could not be kept in $work/account"
! grep -q "Logged in as" "$work/out" || fail "a login that was not kept said it was"
cmp -s "$work/account" "$work/account.before" || fail "the kept account changed"
rmdir "$work/account.tmp"

# A folder that is not there: told before the service is asked.
logins=$(state_value 's["requests"].get("/rest/v2/experience/modules/modify/authentication-partner", 0)')
"$play_bin" --service "$service" --account "$work/none/account" login demo demo > "$work/out" 2>&1
status=$?
expect_status 1
expect_out "tqlplay: cannot keep the account in $work/none/account: No such file or directory"
[ "$(state_value 's["requests"].get("/rest/v2/experience/modules/modify/authentication-partner", 0)')" = "$logins" ] ||
  fail "the service was asked though the account could not be kept"

# A refused login leaves the kept account alone as well.
play login demo wrong
expect_status 1
cmp -s "$work/account" "$work/account.before" || fail "a refused login changed the kept account"

#!/usr/bin/env bash
# The installed library as an integrator meets it: install the build tree
# into a fresh prefix, check the sonames, build examples/play_channel.c
# against that prefix with pkg-config and with find_package, and run both
# builds (and the installed tqlplay) against the installed tqlsim.
# Usage: install_test.sh BUILD_DIR SOURCE_DIR [EXTRA_C_FLAGS]
set -uo pipefail
build=$1 source=$2 extra=${3:-}

work=$(mktemp -d)
sim_pid=
cleanup() {
  [ -n "$sim_pid" ] && kill "$sim_pid" 2>/dev/null && wait "$sim_pid" 2>/dev/null
  rm -rf "$work"
}
trap cleanup EXIT
fail() {
  echo "FAIL: $*" >&2
  for f in "$work"/*.log; do [ -s "$f" ] && { echo "--- $(basename "$f")" >&2; tail -n 30 "$f" >&2; }; done
  exit 1
}
prefix=$work/prefix

cmake --install "$build" --prefix "$prefix" > "$work/install.log" 2>&1 || fail "cmake --install"
pcdir=$(dirname "$(find "$prefix" -name tqllib.pc | head -1)")
[ -d "$pcdir" ] || fail "no tqllib.pc under the prefix"
libdir=$(dirname "$pcdir")
for lib in tqllib tqlhost; do
  soname=$(readelf -d "$libdir/lib$lib.so" | sed -n 's/.*(SONAME).*\[\(.*\)\]/\1/p')
  [ "$soname" = "lib$lib.so.3" ] || fail "lib$lib.so has soname '$soname', not lib$lib.so.3"
  [ -f "$libdir/lib$lib.so.3.0.0" ] || fail "lib$lib.so.3.0.0 not installed"
done
for h in tqllib.h tqlhost.h; do
  [ -f "$prefix/include/tqllib/$h" ] || fail "include/tqllib/$h not installed"
done
echo "installed into ${libdir#"$prefix"/}/: sonames libtqllib.so.3 and libtqlhost.so.3"

# pkg-config, with nothing but the prefix's own files.
export PKG_CONFIG_PATH=$pcdir PKG_CONFIG_LIBDIR=$pcdir:/usr/lib/pkgconfig:/usr/share/pkgconfig
libs=$(pkg-config --libs tqllib) || fail "pkg-config --libs tqllib"
[[ "$libs" == *-ltqllib* ]] || fail "pkg-config --libs tqllib gave '$libs'"
[ "$(pkg-config --modversion tqlhost)" = "3.0.0" ] || fail "tqlhost.pc version"
mkdir -p "$work/pc"
# shellcheck disable=SC2086,SC2046
cc -std=c99 -Wall -Wextra -pedantic -Werror $extra "$source/examples/play_channel.c" \
  $(pkg-config --cflags --libs tqlhost) -o "$work/pc/play_channel" > "$work/pkg-config.log" 2>&1 ||
  fail "building the example with pkg-config"
echo "built with pkg-config: $(pkg-config --cflags --libs tqlhost)"

# CMake's find_package, from the examples folder on its own.
cmake -S "$source/examples" -B "$work/cm" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" \
  -DCMAKE_C_FLAGS="$extra" -DCMAKE_EXE_LINKER_FLAGS="$extra" > "$work/find_package.log" 2>&1 &&
  cmake --build "$work/cm" >> "$work/find_package.log" 2>&1 || fail "building the example with find_package"
grep -q "$prefix" "$work/cm/CMakeCache.txt" || fail "find_package did not use the prefix"
echo "built with find_package(tqllib)"

# The installed simulator, started from elsewhere: it must find its catalog
# and audio below the prefix.
(cd / && exec "$prefix/bin/tqlsim" --port 0 --quiet) > "$work/sim.out" 2> "$work/sim.log" &
sim_pid=$!
for _ in $(seq 200); do
  grep -q 'listening on' "$work/sim.out" 2>/dev/null && break
  sleep 0.05
done
service=$(sed -n 's/^tqlsim listening on //p' "$work/sim.out")
[ -n "$service" ] || fail "installed tqlsim did not start"

fixture=$prefix/share/tqllib/sim/fixture
play_example() {
  local how=$1 bin=$2
  mkdir -p "$work/run-$how"
  (cd "$work/run-$how" && LD_LIBRARY_PATH=$libdir timeout 90 "$bin" "$service" demo demo tonelab2 3 out.aac) \
    > "$work/run-$how.log" 2>&1 || fail "the $how build of the example failed"
  grep -q "^line-up: [1-9][0-9]* channels" "$work/run-$how.log" || fail "$how: no line-up"
  [ -f "$work/run-$how/play_channel.account" ] || fail "$how: the first login kept no account"
  python3 "$source/scripts/check-adts.py" "$work/run-$how/out.aac" "$fixture"/track{1,2,3}.aac \
    > "$work/adts-$how.log" 2>&1 || fail "$how: the audio is not an unbroken run of the fixture"
  awk '{ for (i = 1; i <= NF; i++) if ($i ~ /^seconds=/) { split($i, a, "="); exit !(a[2] >= 3) } exit 1 }' \
    "$work/adts-$how.log" || fail "$how: less than 3 s of audio ($(cat "$work/adts-$how.log"))"
  echo "$how build played: $(cat "$work/adts-$how.log")"
}
play_example pkg-config "$work/pc/play_channel"
play_example find_package "$work/cm/play_channel"

# The installed tqlplay finds its libraries through its own run path.
timeout 60 "$prefix/bin/tqlplay" --service "$service" --account "$work/tqlplay.account" login demo demo \
  > "$work/tqlplay.log" 2>&1 || fail "installed tqlplay could not log in"
echo "installed tqlplay logs in"

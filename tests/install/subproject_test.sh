#!/usr/bin/env bash
# Pulled into another project with add_subdirectory, the tree gives that
# project tqllib::tqllib and tqllib::host and adds no tests, benchmarks,
# examples or simulator of its own. Configures a small parent project and
# reads its build graph; builds nothing.
# Usage: subproject_test.sh SOURCE_DIR
set -uo pipefail
source=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { echo "FAIL: $*" >&2; [ -f "$work/configure.log" ] && tail -n 30 "$work/configure.log" >&2; exit 1; }

mkdir -p "$work/parent"
cat > "$work/parent/CMakeLists.txt" <<CMAKE
cmake_minimum_required(VERSION 3.16)
project(parent LANGUAGES C CXX)
add_subdirectory("$source" tqllib)
add_executable(device_app "$source/examples/play_channel.c")
target_link_libraries(device_app PRIVATE tqllib::host)
CMAKE
cmake -S "$work/parent" -B "$work/build" -G Ninja > "$work/configure.log" 2>&1 || fail "the parent project does not configure"
targets=$(ninja -C "$work/build" -t targets all | sed 's/:.*//')
for wanted in device_app tqlplay tqllib/library/libtqllib.so tqllib/host/libtqlhost.so; do
  grep -qx "$wanted" <<< "$targets" || fail "no target $wanted in the parent's build"
done
for unwanted in tql_unit_tests tql_host_tests c_surface tqlsim play_channel bench_json_frame; do
  ! grep -q "/$unwanted\$\|^$unwanted\$" <<< "$targets" || fail "add_subdirectory brought in $unwanted"
done
[ ! -f "$work/build/tqllib/CTestTestfile.cmake" ] || ! grep -q add_test "$work/build/tqllib/CTestTestfile.cmake" ||
  fail "add_subdirectory registered tests"
echo "add_subdirectory gives tqllib::host and no tests, benchmarks, examples or simulator"

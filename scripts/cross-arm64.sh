#!/usr/bin/env bash
# The library, the reference port and the unit tests built for Linux on
# 64-bit ARM, the processor of the devices the library is made for, with
# Debian's cross toolchain, and the unit tests run under qemu-user.
#
# Installs what is missing (the arm64 architecture for multiarch packages,
# crossbuild-essential-arm64, qemu-user, the :arm64 dev packages) when it
# can. Its last line is "arm64: N passed, M failed", or "arm64: skipped:
# REASON" when the toolchain cannot be had here (no root or sudo, no
# package source for arm64); a skip exits 0, a failure 1.
# Build output goes to $CROSS_LOG (default build-arm64.log).
set -uo pipefail
cd "$(dirname "$0")/.."
dir=${CROSS_BUILD_DIR:-build-arm64}
log=${CROSS_LOG:-build-arm64.log}
: > "$log"

skip() {
  echo "arm64: skipped: $*"
  exit 0
}

packages=(crossbuild-essential-arm64 qemu-user
  libstdc++6:arm64 libyajl-dev:arm64 libgtest-dev:arm64 libcurl4-openssl-dev:arm64 libssl-dev:arm64)

install_toolchain() {
  local missing=() p
  for p in "${packages[@]}"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
  done
  [ ${#missing[@]} -eq 0 ] && return 0
  command -v apt-get > /dev/null || skip "no apt-get to install ${missing[*]}"
  local sudo=""
  if [ "$(id -u)" -ne 0 ]; then
    sudo -n true 2> /dev/null || skip "installing ${missing[*]} needs root or password-less sudo"
    sudo="sudo -n"
  fi
  echo "arm64: installing ${missing[*]}"
  export DEBIAN_FRONTEND=noninteractive
  local added=0
  if ! dpkg --print-foreign-architectures | grep -qx arm64; then
    $sudo dpkg --add-architecture arm64 >> "$log" 2>&1 || skip "could not add the arm64 architecture"
    added=1
  fi
  if ! { $sudo apt-get update -qq && $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"; } \
       >> "$log" 2>&1; then
    # A package source without arm64 would make every later apt-get update
    # fail: take the architecture back out if this script put it in.
    [ $added -eq 0 ] || { $sudo dpkg --remove-architecture arm64 && $sudo apt-get update -qq; } >> "$log" 2>&1
    skip "the cross toolchain is not installable here (see $log)"
  fi
}

install_toolchain

# The library, the port and what tests them; no simulator, benchmarks,
# examples or fuzz targets.
echo "arm64: building in $dir (log: $log)"
if ! { cmake -S . -B "$dir" -G Ninja -DCMAKE_TOOLCHAIN_FILE=cmake/aarch64-linux-gnu.cmake \
         -DCMAKE_BUILD_TYPE=RelWithDebInfo -DTQL_BUILD_BENCH=OFF -DTQL_BUILD_SIM=OFF \
         -DTQL_BUILD_EXAMPLES=OFF &&
       cmake --build "$dir" --target tqllib tqlhost tql_unit_tests c_surface tql_host_tests; } >> "$log" 2>&1; then
  tail -n 30 "$log"
  echo "arm64: 0 passed, 1 failed (build)"
  exit 1
fi
readelf -h "$dir/library/libtqllib.so.3" 2>/dev/null | grep -q 'Machine:.*AArch64' || {
  echo "arm64: 0 passed, 1 failed (libtqllib.so.3 is not an aarch64 object)"
  exit 1
}

# ctest runs each test through qemu-aarch64, the toolchain's emulator.
(cd "$dir" && ctest --output-on-failure -j "$(nproc)") >> "$log" 2>&1
status=$?
line=$(grep -E '^[0-9]+% tests passed' "$log" | tail -n 1)
total=$(sed -n 's/.* out of \([0-9]*\).*/\1/p' <<< "$line")
failed=$(sed -n 's/.*passed, \([0-9]*\) tests failed.*/\1/p' <<< "$line")
if [ -z "$total" ]; then
  tail -n 30 "$log"
  echo "arm64: 0 passed, 1 failed (ctest ran no test)"
  exit 1
fi
if [ "$status" -ne 0 ]; then
  sed -n '/The following tests FAILED/,$p' "$log"
fi
echo "arm64: $((total - failed)) passed, $failed failed"
[ "$status" -eq 0 ]

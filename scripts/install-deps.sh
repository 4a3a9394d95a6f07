#!/usr/bin/env bash
# Installs the Debian packages the build and the tests need, only those missing.
# Runs as root on a fresh machine; a no-op when everything is there.
set -euo pipefail

packages=(
  cmake ninja-build g++ clang libclang-rt-dev pkg-config binutils python3 tzdata curl coreutils time
  libyajl-dev
  libgtest-dev libgmock-dev libbenchmark-dev
  libcurl4-openssl-dev libssl-dev libcpp-httplib-dev
  faad openssl
)

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0

echo "installing: ${missing[*]}"
SUDO=""
[ "$(id -u)" -eq 0 ] || SUDO="sudo"
export DEBIAN_FRONTEND=noninteractive
$SUDO apt-get update -qq
$SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}"

#!/usr/bin/env bash
# Installs, from Debian's archive, what building and testing Tessarine needs.
# Non-interactive and idempotent: when everything is present it only checks.
set -euo pipefail

packages=(
  g++-mingw-w64-x86-64-posix   # cross compiler (posix threads: std::thread, std::mutex)
  binutils-mingw-w64-x86-64    # windres for the version resource, windmc for the event messages
  wixl msitools                # builds Tessarine.msi (wixl); msiinfo and msidump to inspect it
  wine wine64                  # runs the product and the tests
  cmake ninja-build            # build
  googletest                   # gtest/gmock sources, cross-compiled with the tests
  file                         # reports the PE format in the checks
  clang-format                 # the format check of our C++ (scripts/check-format.sh)
  iproute2                     # ip netns: the network tests' own namespaces (tests/netns)
  libxml2-utils                # xmllint: the Group Policy templates against their schema (tests/policy)
)

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done

if ((${#missing[@]})); then
  echo "setup: installing ${missing[*]}"
  sudo_cmd=()
  [ "$(id -u)" -eq 0 ] || sudo_cmd=(sudo)
  export DEBIAN_FRONTEND=noninteractive
  "${sudo_cmd[@]}" apt-get update -qq
  "${sudo_cmd[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
fi

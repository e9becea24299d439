#!/usr/bin/env bash
# Tessarine.msi end to end in a Wine prefix of this test's own:
#   msi-test.sh PREFIX MSI_TESTS.exe
# Makes PREFIX (removing what a killed run left there), starts its Wine
# session, runs the checks of MSI_TESTS.exe in it (they install, upgrade and
# remove the packages with msiexec), then ends the session and removes
# PREFIX whatever happened. The last line, "msi-test: N failure(s) in T s",
# comes once the prefix is gone.
set -uo pipefail

prefix=$1
program=$2
scripts=$(cd "$(dirname "$0")/../../scripts" && pwd)
started=$(date +%s)
failures=0

fail() {
  echo "msi-test: FAIL $*"
  failures=$((failures + 1))
}

# Ends every program of the prefix (the installed service among them) and
# removes the prefix.
remove_prefix() {
  if [ -d "$prefix" ]; then
    WINEPREFIX=$prefix wineserver --kill 2>/dev/null || true
    WINEPREFIX=$prefix wineserver --wait 2>/dev/null || true
  fi
  rm -rf "$prefix" "$prefix.lock"
}
trap remove_prefix EXIT

output=$(mktemp)
remove_prefix
if bash "$scripts/wine-session.sh" up "$prefix"; then
  # The program's output passes through; under Wine a program that dies of
  # a fault may still exit 0, so its own summary decides too.
  "$scripts/wine-run.sh" "$prefix" "$program" </dev/null 2>&1 | tee "$output"
  rc=${PIPESTATUS[0]}
  ((rc == 0)) || fail "the checks exited $rc"
  grep -qE '^\[  PASSED  \] [0-9]+ tests?\.' "$output" || fail "the checks did not reach their summary"
  grep -q '^\[  FAILED  \]' "$output" && fail "a check failed"
else
  fail "the Wine prefix could not be made"
fi
rm -f "$output"

remove_prefix
[ -e "$prefix" ] && fail "$prefix is still there"
echo "msi-test: $failures failure(s) in $(($(date +%s) - started)) s"

#!/usr/bin/env bash
# The recogniser's table (diag/explain/ServiceTexts.cpp) against the
# service's source: every function name and every text of the table must be
# a string literal of src/ exactly as written there (adjacent literals
# joined), and every signal of diag/explain/Signal.h must have a text. Then
# it breaks a copy of the table, one text changed, and checks that the break
# is reported, so that a check that sees nothing cannot pass.
#
#   check-texts.sh REPOSITORY
#
# Prints "check-texts: FAIL ..." for each failure and ends with
# "check-texts: N failure(s)".
set -uo pipefail

repo=$1
table=$repo/diag/explain/ServiceTexts.cpp
signals=$repo/diag/explain/Signal.h
failures=0

fail() {
  echo "check-texts: FAIL $*"
  failures=$((failures + 1))
}

# The string literals of the files named on standard input, one a line,
# adjacent literals joined, escapes as written.
literals() {
  xargs cat | perl -0777 -ne '
    s{//[^\n]*}{}g;  # comments hold no text of the log
    while (/((?:L?"(?:[^"\\\n]|\\.)*"\s*)+)/g) {
      my $joined = join "", ($1 =~ /"((?:[^"\\\n]|\\.)*)"/g);
      print "$joined\n";
    }'
}

# "FUNCTION<TAB>FORMAT" for each entry of a table file.
entries() {
  perl -0777 -ne '
    my %name;
    while (/constexpr char (k\w+)\[\] = "((?:[^"\\]|\\.)*)";/g) { $name{$1} = $2; }
    while (/\{\s*(k\w+|"(?:[^"\\]|\\.)*")\s*,\s*k\w+\s*,\s*((?:"(?:[^"\\]|\\.)*"\s*)+),\s*Signal::\w+\s*\}/g) {
      my ($function, $formats) = ($1, $2);
      $function = $function =~ /^"(.*)"$/ ? $1 : $name{$function};
      my $format = join "", ($formats =~ /"((?:[^"\\]|\\.)*)"/g);
      print "$function\t$format\n";
    }' "$1"
}

source_literals=$(mktemp)
trap 'rm -f "$source_literals" "$broken"' EXIT
find "$repo/src" -name '*.cpp' -o -name '*.h' | sort | literals | sort -u >"$source_literals"

# check_table FILE: prints one line for each entry whose function or text
# src/ does not have; its count is the number of such entries.
check_table() {
  local function format missing=0
  while IFS=$'\t' read -r function format; do
    if ! grep -qxF -- "$function" "$source_literals"; then
      echo "function '$function' is not a name of src/"
      missing=$((missing + 1))
    elif [ -n "$format" ] && ! grep -qxF -- "$format" "$source_literals"; then
      echo "text '$format' ($function) is not a text of src/"
      missing=$((missing + 1))
    fi
  done < <(entries "$1")
  return "$missing"
}

count=$(entries "$table" | wc -l)
[ "$count" -ge 100 ] || fail "only $count entries read from $table (the reading of the table broke)"
while read -r problem; do
  fail "$problem"
done < <(check_table "$table")

for signal in $(sed -n 's/^    \([A-Z][A-Za-z]*\),.*/\1/p' "$signals"); do
  grep -q "Signal::$signal}" "$table" || fail "signal $signal has no text in the table"
done

# A broken copy: one text of the table changed by one character.
broken=$(mktemp)
sed '0,/"Connection ID : %s"/s//"Connection ID: %s"/' "$table" >"$broken"
reported=$(check_table "$broken")
grep -q "Connection ID: %s" <<<"$reported" || fail "a changed text (Connection ID: %s) was not reported"

echo "check-texts: $count texts of the table checked against src/"
echo "check-texts: $failures failure(s)"

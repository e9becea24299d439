#!/usr/bin/env bash
# The Group Policy templates as files: the .admx and the .adml are
# well-formed and valid against policy/PolicyDefinitions.xsd, and what the
# schema cannot see holds too: every $(string.X) of the .admx is a string of
# the .adml, every $(presentation.X) a presentation there, and each
# presentation has exactly one control for each element of its policy, of
# the element's kind (a list for an enum, a number box for a decimal, a text
# box for a text). Then it breaks copies of the pair, one way each, and
# checks that each break is reported, so that a check that sees nothing
# cannot pass.
#
#   check-templates.sh SCHEMA ADMX ADML
#
# Prints "check-templates: FAIL ..." for each failure and ends with
# "check-templates: N failure(s)".
set -uo pipefail

schema=$1 admx=$2 adml=$3
failures=0

fail() {
  echo "check-templates: FAIL $*"
  failures=$((failures + 1))
}

# An XPath over one file; nothing (not xmllint's "set is empty") when no node matches.
xp() { xmllint --xpath "$1" "$2" 2>/dev/null; }

# The values of the attributes that an XPath selects, one a line.
attribute_values() { xp "$1" "$2" | sed -n 's/^ *[A-Za-z]*="\(.*\)"$/\1/p'; }

# "kind id" for each node that XPath selects, the id taken from `attribute`.
kinds_and_ids() {
  local path=$1 file=$2 attribute=$3 count i
  count=$(xp "count($path)" "$file")
  for ((i = 1; i <= ${count:-0}; i++)); do
    echo "$(xp "local-name(($path)[$i])" "$file") $(xp "string(($path)[$i]/@$attribute)" "$file")"
  done
}

# The control each kind of element is shown with.
control_of() {
  case $1 in
    enum) echo dropdownList ;;
    decimal) echo decimalTextBox ;;
    text) echo textBox ;;
    *) echo "none-for-$1" ;;
  esac
}

# Prints one line for each problem of the pair; nothing when it is sound.
problems() {
  local schema=$1 admx=$2 adml=$3 file id policy reference presentation expected actual
  for file in "$admx" "$adml"; do
    if ! xmllint --noout "$file" 2>/dev/null; then
      echo "$(basename "$file"): not well-formed"
      return
    fi
    xmllint --noout --schema "$schema" "$file" 2>/dev/null ||
      echo "$(basename "$file"): not valid against $(basename "$schema")"
  done

  for id in $(attribute_values '//@*[starts-with(., "$(string.")]' "$admx" |
              sed 's/^\$(string\.\(.*\))$/\1/' | sort -u); do
    [ "$(xp "count(//*[local-name()='string'][@id='$id'])" "$adml")" = 1 ] ||
      echo "string $id: not in the .adml"
  done

  for policy in $(attribute_values '//*[local-name()="policy"]/@name' "$admx"); do
    local path="//*[local-name()='policy'][@name='$policy']"
    expected=$(kinds_and_ids "$path/*[local-name()='elements']/*" "$admx" id |
               while read -r kind id; do echo "$(control_of "$kind") $id"; done | sort)
    reference=$(xp "string($path/@presentation)" "$admx")
    if [ -z "$reference" ]; then
      [ -z "$expected" ] || echo "policy $policy: elements but no presentation"
      continue
    fi
    presentation=$(sed 's/^\$(presentation\.\(.*\))$/\1/' <<<"$reference")
    local shown="//*[local-name()='presentation'][@id='$presentation']"
    if [ "$(xp "count($shown)" "$adml")" != 1 ]; then
      echo "presentation $presentation: not in the .adml"
      continue
    fi
    actual=$(kinds_and_ids "$shown/*[@refId]" "$adml" refId | sort)
    [ "$actual" = "$expected" ] ||
      echo "presentation $presentation: controls [$(echo $actual)] for elements [$(echo $expected)]"
  done
}

# --- the templates ------------------------------------------------------------
found=$(problems "$schema" "$admx" "$adml")
if [ -n "$found" ]; then
  while read -r line; do fail "$line"; done <<<"$found"
else
  echo "check-templates: the templates are valid and every reference resolves"
fi

# --- each break of a copy is reported ----------------------------------------
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# broken NAME EXPECTED FILE SED-SCRIPT: a copy of the pair with FILE (admx or
# adml) changed by SED-SCRIPT must be reported with a line matching EXPECTED.
broken() {
  local name=$1 expected=$2 which=$3 script=$4 copy_admx=$work/$1.admx copy_adml=$work/$1.adml report
  cp "$admx" "$copy_admx"
  cp "$adml" "$copy_adml"
  local target=$copy_admx
  [ "$which" = adml ] && target=$copy_adml
  sed -i "$script" "$target"
  if cmp -s "$target" "$([ "$which" = adml ] && echo "$adml" || echo "$admx")"; then
    fail "break '$name' changed nothing (the templates changed?)"
    return
  fi
  report=$(problems "$schema" "$copy_admx" "$copy_adml")
  if grep -q -- "$expected" <<<"$report"; then
    echo "check-templates: break '$name' reported"
  else
    fail "break '$name' not reported as '$expected' (got: $(echo $report))"
  fi
}

broken not-well-formed 'Tessarine.admx\|not well-formed' admx 's|</policies>||'
broken unknown-element 'not valid' admx 's|<categories>|<categories><folder/>|'
broken no-supported-on 'not valid' admx '0,/<supportedOn ref=[^>]*>/s///'
broken string-missing 'string MaxLogSize_Help: not in the .adml' adml '/<string id="MaxLogSize_Help">/,/<\/string>/d'
broken presentation-missing 'presentation MaxLogSize: not in the .adml' adml 's|<presentation id="MaxLogSize">|<presentation id="MaxLogSizeBox">|'
broken control-for-no-element 'presentation MinLogLevel: controls' adml 's|refId="MinLogLevel"|refId="MinimumLevel"|'
broken control-of-wrong-kind 'presentation MaxLogSize: controls' adml 's|<decimalTextBox refId="MaxLogSize"\([^>]*\)>\([^<]*\)</decimalTextBox>|<dropdownList refId="MaxLogSize">\2</dropdownList>|'

echo "check-templates: $failures failure(s)"

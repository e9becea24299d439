# shellcheck shell=bash
# The laptop's registry as the controller writes and reads it: one .reg file
# imported by one Wine program for each change (the values written in the
# order given), and the data of a value in what `reg query` printed.

# reg_import LINES...: the lines, after the REGEDIT4 header, as one import.
reg_import() {
  local file=$program_dir/controller.reg out
  mkdir -p "$program_dir"
  { echo "REGEDIT4"; printf '%s\n' "$@"; } >"$file"
  out=$(wine_do 30 reg import "$program_dir_win\\controller.reg") ||
    die "reg import failed: $(head -n 1 <<<"$out")"
}

# reg_text TEXT: TEXT as a quoted string of a REGEDIT4 file.
reg_text() {
  local text=${1//\\/\\\\}
  printf '"%s"' "${text//\"/\\\"}"
}

# reg_value OUTPUT NAME: the data of value NAME in reg query's OUTPUT, as it
# is; <none> when missing, "" when empty.
reg_value() {
  local line rest
  while IFS= read -r line; do
    [[ $line == "    $2    REG_"* ]] || continue
    rest=${line#"    $2    "}
    [[ $rest == *"    "* ]] || { echo '""'; return; }
    echo "${rest#*    }"
    return
  done <<<"$1"
  echo "<none>"
}

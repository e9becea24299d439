# The values at one path of TessarineDiag's JSON report, one a line (for the
# laptop's status test and scripts/bench-status.sh):
#   awk -v want=explanations.wifi.cause -f status-json.awk REPORT
# The path is the members' names joined by dots, with [N] for the N-th
# element of an array (from 0): ethernet.adapters.[1].verdict. A string is
# printed without its quotes (\" and \\ undone), anything else as written;
# a path that names an array prints each of its string or number elements.
# It reads the report as TessarineDiag writes it (one member or element a
# line, indented two blanks a level), not JSON at large.
{
  sub(/\r$/, "")
  match($0, /^ */)
  depth = RLENGTH / 2
  rest = substr($0, RLENGTH + 1)
  if (depth == 0 || rest ~ /^[\]\}]/)
    next
  if (match(rest, /^"[^"]*": /)) {
    key = substr(rest, 2, RLENGTH - 4)
    value = substr(rest, RLENGTH + 1)
  } else {
    key = "[" count[depth - 1]++ "]"
    value = rest
  }
  path[depth] = key
  sub(/,$/, "", value)
  # A container opens: its members or elements come on the next lines.
  if (value == "{" || value == "[") {
    count[depth] = 0
    next
  }
  joined = path[1]
  for (i = 2; i <= depth; i++)
    joined = joined "." path[i]
  if (joined == want || (depth > 1 && key ~ /^\[/ && parent(depth) == want))
    print unquote(value)
}

function parent(depth,    p, i) {
  p = path[1]
  for (i = 2; i < depth; i++)
    p = p "." path[i]
  return p
}

function unquote(value) {
  if (value !~ /^".*"$/)
    return value
  value = substr(value, 2, length(value) - 2)
  gsub(/\\"/, "\"", value)
  gsub(/\\\\/, "\\", value)
  return value
}

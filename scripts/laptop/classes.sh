# shellcheck shell=bash
# The COM classes of the simulated devices. The simulated COM server
# (TessarineSimDevices.dll beside the program) is made the InprocServer32 of
# the network list manager, the MBN interface manager and the WMI locator in
# the prefix (sim_classes). up keeps Wine's own values of those classes in
# the home (wine_classes) and down puts them back; an up after a run that
# was killed puts them back first.

# The classes at up: Wine's own, put back from an earlier run that did not
# come down, then kept before the simulated COM server takes them.
take_classes() {
  if [ -f "$wine_classes" ]; then
    restore_wine_classes
  fi
  if [ -f "$program_dir/$sim_com_dll" ]; then
    save_wine_classes
    register_sim_classes
  fi
}

# Keeps Wine's own registration of sim_classes in wine_classes, as the .reg
# lines that put it back. One reg query per class, side by side.
save_wine_classes() {
  local dir=$home/classes-query i key first
  query_classes "$dir"
  : >"$wine_classes.new"
  for i in "${!sim_classes[@]}"; do
    key="$classes_key\\${sim_classes[$i]}"
    if ! class_restore_lines "$key" "$dir/$i" >>"$wine_classes.new"; then
      first=$(head -n 1 "$dir/$i")
      rm -rf "$dir" "$wine_classes.new"
      die "up: reg query $key failed: $first"
    fi
  done
  rm -rf "$dir"
  mv "$wine_classes.new" "$wine_classes"
}

# query_classes DIR: each class's subtree as reg query lists it in DIR/N
# (N its place in sim_classes), and the query's exit code in DIR/N.rc when
# it failed.
query_classes() {
  local dir=$1 i
  rm -rf "$dir"
  mkdir -p "$dir"
  for i in "${!sim_classes[@]}"; do
    query_class "$dir" "$i" &
  done
  wait
  # Wine's reg, on a busy machine, now and then fails a query without a
  # word; such a query is asked again, twice at most.
  for _ in 1 2; do
    for i in "${!sim_classes[@]}"; do
      [ -f "$dir/$i.rc" ] && [ ! -s "$dir/$i" ] && query_class "$dir" "$i"
    done
  done
  return 0
}

# query_class DIR N: one class's query, as query_classes keeps it.
query_class() {
  rm -f "$1/$2.rc"
  wine_do 30 reg query "$classes_key\\${sim_classes[$2]}" /s >"$1/$2" || echo $? >"$1/$2.rc"
}

# class_restore_lines KEY ANSWER: the .reg lines that put class KEY back as
# the query's ANSWER file found it: a class or InprocServer32 Wine lacks is
# deleted, a value it lacks removed. Fails when the query failed for another
# reason than a missing key.
class_restore_lines() {
  local key=$1 out section
  out=$(cat "$2")
  if [ -f "$2.rc" ]; then
    grep -q "Unable to find" <<<"$out" || return 1
    printf '%s\n' "[-$key]" ""
    return 0
  fi
  # The InprocServer32 section of the subtree listing.
  section=$(awk -v k="$key\\InprocServer32" 'tolower($0) == tolower(k) { on = 1; next } /^HKEY_/ { on = 0 } on' <<<"$out")
  if [ -z "$section" ] && ! grep -qixF "$key\\InprocServer32" <<<"$out"; then
    printf '%s\n' "[-$key\\InprocServer32]" ""
    return 0
  fi
  printf '%s\n' "[$key\\InprocServer32]" "@=$(reg_data "$(reg_value "$section" '(Default)')")" \
    "\"ThreadingModel\"=$(reg_data "$(reg_value "$section" ThreadingModel)")" ""
}

# reg_data DATA: reg query's DATA as a .reg file writes it back: a value
# that was <none> is removed.
reg_data() {
  if [ "$1" = "<none>" ]; then echo -; else reg_text "$1"; fi
}

# Makes the simulated COM server the InprocServer32 of sim_classes.
register_sim_classes() {
  local entries=() class path
  path=$(reg_text "$program_dir_win\\$sim_com_dll")
  for class in "${sim_classes[@]}"; do
    entries+=("[$classes_key\\$class\\InprocServer32]" "@=$path" '"ThreadingModel"="Both"' "")
  done
  reg_import "${entries[@]}"
}

# Puts Wine's own registration of sim_classes back, when up had replaced it.
restore_wine_classes() {
  [ -f "$wine_classes" ] || return 0
  local saved
  mapfile -t saved <"$wine_classes"
  reg_import "" "${saved[@]}"
  rm -f "$wine_classes"
}

#!/usr/bin/env bash
# The layers of src/, checked at the include: a file of a library may include
# its own headers and those of the libraries it links (directly or through
# them), which are always in lower layers; so an include from a later layer,
# or from a library it does not link, fails here with the file and the line.
# The links themselves are checked by CMake (tessarine_library), which keeps
# them below the library's own layer; with both, no circle can form among the
# libraries. Headers of the tests and of the device models (tests/, models/)
# are never the product's to include.
#
# The layer order comes from the top-level CMakeLists.txt (TESSARINE_LAYERS),
# each library's links from its src/<layer>/CMakeLists.txt. Exits 1 on any
# finding, after listing them all.
set -euo pipefail
cd "$(dirname "$0")/.."

read -r -a layers < <(sed -n 's/^set(TESSARINE_LAYERS \(.*\))$/\1/p' CMakeLists.txt)
if ((${#layers[@]} == 0)); then
  echo "check-layers: TESSARINE_LAYERS not found in CMakeLists.txt" >&2
  exit 1
fi

declare -A position links
for i in "${!layers[@]}"; do
  position[${layers[$i]}]=$i
done

# The libraries a library links directly, among the layers.
direct_links() {
  local layer=$1 word
  for word in $(sed -n "s/^tessarine_library($layer \(.*\))$/\1/p" "src/$layer/CMakeLists.txt"); do
    [[ -n ${position[$word]+x} ]] && printf '%s ' "$word"
  done
}

# Every library a library reaches through its links, itself included.
# Layers are taken bottom-up, so the links of each link are already known.
for layer in "${layers[@]}"; do
  reach=" $layer "
  for dependency in $(direct_links "$layer"); do
    for reached in ${links[$dependency]}; do
      [[ $reach == *" $reached "* ]] || reach+="$reached "
    done
  done
  links[$layer]=$reach
done

findings=0
for layer in "${layers[@]}"; do
  while IFS=: read -r file line text; do
    included=$(sed -n 's/^[[:space:]]*#[[:space:]]*include[[:space:]]*"\([^/"]*\)\/.*/\1/p' <<<"$text")
    [[ -n $included ]] || continue
    if [[ -z ${position[$included]+x} ]]; then
      echo "$file:$line: includes \"$included/...\", which is not a library of the product"
    elif ((position[$included] > position[$layer])); then
      echo "$file:$line: includes \"$included/...\" of a later layer than $layer"
    elif [[ ${links[$layer]} != *" $included "* ]]; then
      echo "$file:$line: includes \"$included/...\", which $layer does not link"
    else
      continue
    fi
    findings=$((findings + 1))
  done < <(grep -Hn '^[[:space:]]*#[[:space:]]*include[[:space:]]*"' "src/$layer"/*.h "src/$layer"/*.cpp 2>/dev/null || true)
done

if ((findings > 0)); then
  echo "check-layers: $findings include(s) across the layers" >&2
  exit 1
fi
echo "check-layers: every include of src/ stays within its library and the ones it links (${#layers[@]} layers)"

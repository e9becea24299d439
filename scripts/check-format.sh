#!/usr/bin/env bash
# Fails on a C or C++ file of ours that .clang-format would change, naming
# each one; `--fix` rewrites them instead. Our files are the ones git tracks
# under src/, models/, sim/, bench/, tests/ and diag/.
set -euo pipefail
cd "$(dirname "$0")/.."

mapfile -t files < <(git ls-files -- 'src/*.cpp' 'src/*.h' 'models/*.cpp' 'models/*.h' 'sim/*.cpp' 'sim/*.h' \
                                   'bench/*.cpp' 'bench/*.h' 'tests/*.cpp' 'tests/*.h' \
                                   'diag/*.cpp' 'diag/*.h')
if [[ ${1:-} == --fix ]]; then
  clang-format -i "${files[@]}"
  echo "check-format: ${#files[@]} files formatted"
  exit 0
fi

misformatted=()
for file in "${files[@]}"; do
  clang-format --dry-run --Werror "$file" 2>/dev/null || misformatted+=("$file")
done
if ((${#misformatted[@]} > 0)); then
  printf '%s: not as .clang-format has it\n' "${misformatted[@]}"
  echo "check-format: ${#misformatted[@]} of ${#files[@]} files misformatted; bash scripts/check-format.sh --fix rewrites them" >&2
  exit 1
fi
echo "check-format: ${#files[@]} files as .clang-format has them"

#!/usr/bin/env bash
# Compiles every header alone with both compilers, but those of bench and tests, seeing only what its layer may include.
set -euo pipefail
cd "$(dirname "$0")/.."

check() {
  local compiler=$1 header=$2 include_paths=(-Iplatform/include)
  [[ $header == platform/* ]] || include_paths+=(-Iinclude)
  [[ $header != host/* && $header != cli/* && $header != soak/* && $header != fuzz/* ]] || include_paths+=(-Ihost)
  [[ $header != soak/* ]] || include_paths+=(-Isoak)
  [[ $header != fuzz/* ]] || include_paths+=(-Ifuzz)
  echo "#include \"$header\"" |
    "$compiler" -std=c++20 -Wall -Wextra -Wconversion -Wshadow -Werror -fsyntax-only -I. "${include_paths[@]}" -x c++ -
}
export -f check

headers=$(git ls-files 'platform/include/*.h' 'include/*.h' 'host/*.h' 'cli/*.h' 'soak/*.h' 'fuzz/*.h' 'examples/*.h')
for compiler in g++ clang++; do
  xargs -P "$(nproc)" -I{} bash -c "check $compiler {} || { echo '{} does not compile alone with $compiler' >&2; exit 255; }" \
    <<<"$headers"
done
echo "$(wc -l <<<"$headers") headers compile alone"

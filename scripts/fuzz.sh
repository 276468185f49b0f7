#!/usr/bin/env bash
# Looks for inputs that break what readers promise: scripts/fuzz.sh TARGET SECONDS, or "all" for each target, JOBS at a time:
# scripts/fuzz.sh all SECONDS [JOBS]. Without arguments it lists the targets.
#
# Inputs that reach new code go to build/fuzz/corpus/TARGET, and are there for the next run; those that break something to
# build/fuzz/found/TARGET. At the end it says how much of each source file that the inputs reach is covered.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/dependencies.sh

bytes_per_input=4096
mebibytes=2048

targets() { sed -n 's/^orvex_fuzz_target( \([a-z0-9-]*\) .*/\1/p' fuzz/CMakeLists.txt; }

# Of libFuzzer's list of functions: how much of each source file of the readers has been reached. The edges are also those to
# the sanitizers' reports, which are never taken, so that even the whole file is far below 100 per cent of them.
by_file() {
  sed -n 's/^ *\(UN\)\?COVERED_FUNC: hits: \([0-9]*\) edges: \([0-9]*\)\/\([0-9]*\) .*[/ ]\(\(host\|platform\/src\/Vell\)\/[A-Za-z0-9/]*[.]cpp\):[0-9:]*$/\2 \3 \4 \5/p' |
    awk '{ ++functions[$4]; if ( $1 > 0 ) ++entered[$4]; covered[$4] += $2; all[$4] += $3 }
         END { for ( file in all ) if ( entered[file] ) printf "%4d of %4d functions, %5d of %5d edges  %s\n",
                 entered[file], functions[file], covered[file], all[file], file }' | sort -k9
}

fuzz() {
  local target=$1 seconds=$2 program=build/fuzz/fuzz/$1 own=build/fuzz/corpus/$1 found=build/fuzz/found/$1/ folders options
  mkdir -p "$own" "$found"
  mapfile -t folders <"$program.folders"
  options=(-timeout=60 "-rss_limit_mb=$mebibytes" "-artifact_prefix=$found")
  [ ! -f "fuzz/dictionaries/$target.dict" ] || options+=("-dict=fuzz/dictionaries/$target.dict")
  if ! "$program" "${options[@]}" "-max_len=$bytes_per_input" "-max_total_time=$seconds" -print_final_stats=1 -verbosity=1 \
    "$own" "${folders[@]}" >"build/fuzz/$target.log" 2>&1; then
    grep -aE '^(found:|SUMMARY:|==.*ERROR|.*runtime error:|terminate called|  what\(\):)' "build/fuzz/$target.log" | head -n 20 || true
    echo "An input breaks $target: it is in $found, what it breaks in build/fuzz/$target.log."
    echo "Again: $program $found..."
    echo "When the fault is repaired, copy the input to fuzz/corpus/$target/, under a name that says what went wrong."
    return 1
  fi
  grep -aE '^#[0-9]+.*DONE|^stat::(number_of_executed_units|average_exec_per_sec|new_units_added)' \
    "build/fuzz/$target.log" | tail -n 4
  "$program" -runs=0 -print_coverage=1 "$own" "${folders[@]}" 2>&1 | by_file
}

# Prints what a target has to say in one piece.
report() {
  local output failed=0
  output=$(fuzz "$@") || failed=1
  printf '== fuzz: %s\n%s\n' "$1" "$output"
  return "$failed"
}

if [ $# -eq 0 ]; then
  targets
  exit
fi
if [ $# -lt 2 ] || { [ "$1" != all ] && ! grep -qx -- "$1" <<<"$(targets)"; }; then
  sed -n '2,3s/^# //p' "$0" >&2
  exit 2
fi
require_packages "${build_packages[@]}" "${fuzz_packages[@]}"
mapfile -t chosen < <([ "$1" = all ] && targets || echo "$1")
build_preset fuzz "${chosen[@]/#/fuzz_}"
failed=0
running=0
for target in "${chosen[@]}"; do
  if [ "$running" -eq "${3:-1}" ]; then
    wait -n || failed=1
    running=$((running - 1))
  fi
  report "$target" "$2" &
  running=$((running + 1))
done
for ((; running != 0; --running)); do wait -n || failed=1; done
exit "$failed"

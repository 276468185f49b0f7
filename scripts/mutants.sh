#!/usr/bin/env bash
# Puts small faults into the library's sources, one at a time, and reports how many the tests of library and host notice, and
# the soak in those modes that go through the library, with the counts of .ci/run. The faults follow from the seed; what has
# been tried with the same sources stands in build/mutants/log, and is not tried again, so that a run that was cut off, or
# asked for more, goes on. With --again those that survived are tried once more, with the tests that there are now. With
# --tests-only the soak, which takes minutes for those that survive, does not judge.
#
# Usage: scripts/mutants.sh --count N [--seed S] [--jobs J] [--again] [--tests-only]
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/dependencies.sh

count=20
seed=1
jobs=1
again=
tests_only=
while [ $# -gt 0 ]; do
  case $1 in
    --again) again=yes; shift; continue ;;
    --tests-only) tests_only=yes; shift; continue ;;
    --count) count=$2 ;;
    --seed) seed=$2 ;;
    --jobs) jobs=$2 ;;
    *) sed -n 's/^# Usage: /usage: /p' "$0" >&2; exit 2 ;;
  esac
  shift 2
done
if [ -n "$(git status --porcelain -- src include platform host soak tests)" ]; then
  echo "There are changes that are not committed: faults are put into what is." >&2
  exit 2
fi
require_packages "${build_packages[@]}" >&2

work=$PWD/build/mutants
log=$work/log
mkdir -p "$work"
touch "$log"
sources=$(git rev-parse --short=12 HEAD:src)
[ -z "$again" ] || sed -i "/^$sources\t.*\tsurvived\$/d" "$log"

# A tree and a build of its own for each job. The library alone is built again for a fault: nothing is linked anew for a
# shared library that changes.
prepare() {
  local tree=$work/tree-$1
  [ -d "$tree" ] || git worktree add --quiet --detach "$tree" HEAD
  git -C "$tree" checkout --quiet --force --detach "$(git rev-parse HEAD)"
  cmake -S "$tree" -B "$tree/build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DCMAKE_LINK_DEPENDS_NO_SHARED=ON \
    -DORVEX_BENCHMARKS=OFF >/dev/null
  cmake --build "$tree/build" --target orvex_tests host_tests orvex-soak orvex >/dev/null
}

# Runs a command quietly, and fails as it does. What runs ten times as long as it should hangs; what takes 8 GiB grows for ever.
quietly() { ( ulimit -v 8388608; timeout "$1" "${@:2}" </dev/null ) >/dev/null 2>&1; }

# What notices the fault; "survived" when nothing does. The quickest first.
verdict() {
  local tree=$1 mode
  local tests=$tree/build/tests
  if ! cmake --build "$tree/build" --target Orvex >"$tree/build.log" 2>&1; then echo "does not compile"; return; fi
  if cmp -s "$tree/build/libOrvex.so" "$tree/libOrvex.unchanged"; then echo "same code"; return; fi
  quietly 60 "$tests/orvex_tests" --gtest_fail_fast || { echo "orvex_tests"; return; }
  quietly 300 "$tests/host_tests" --gtest_fail_fast || { echo "host_tests"; return; }
  [ -z "$tests_only" ] || { echo "survived"; return; }
  while read -r mode cases; do
    quietly 300 "$tree/build/soak/orvex-soak" "$mode" --count "$cases" || { echo "soak $mode"; return; }
  done <<<"$soak_modes"
  echo "survived"
}
soak_modes="equiv 20000
edits 800
packets 1000
faults 2000
exhaustive 60000
metamorphic 4000
exhaustion 1000
handshake 4300"

run_job() {
  local tree=$work/tree-$1 file line old new result
  cp "$tree/build/libOrvex.so" "$tree/libOrvex.unchanged"
  while IFS=$'\t' read -r file line old new; do
    grep -qF "$(printf '%s\t%s\t%s\t%s\t' "$sources" "$file" "$line" "$new")" "$log" && continue
    [ "$(tried)" -lt "$count" ] || break
    LINE=$line NEW=$new awk 'NR == ENVIRON["LINE"] { print ENVIRON["NEW"]; next } { print }' "$file" >"$tree/$file"
    result=$(verdict "$tree")
    printf '%s\t%s\t%s\t%s\t%s\t%s\n' "$sources" "$file" "$line" "$new" "$old" "$result" >>"$log"
    cp "$file" "$tree/$file"
  done < <(awk -v jobs="$jobs" -v job="$1" 'NR % jobs == job' "$work/faults")
}
# Those that compile to something else count.
tried() { awk -F'\t' -v sources="$sources" '$1 == sources && $6 != "does not compile" && $6 != "same code"' "$log" | wc -l; }

python3 scripts/mutants.py "$seed" src/*.cpp >"$work/faults"
for job in $(seq 0 $((jobs - 1))); do prepare "$job"; done
for job in $(seq 0 $((jobs - 1))); do run_job "$job" & done
wait

awk -F'\t' -v sources="$sources" '
  $1 != sources || $6 == "does not compile" || $6 == "same code" { next }
  { ++all; ++by[$6] }
  $6 == "survived" { survivors = survivors "\n" $2 ":" $3 "\n-" $5 "\n+" $4 "\n" }
  END {
    for ( what in by ) printf "%8d  %s\n", by[what], what
    printf "%d of %d killed (%.1f %%)\n%s", all - by["survived"], all, 100 * ( all - by["survived"] ) / all, survivors
  }' "$log"

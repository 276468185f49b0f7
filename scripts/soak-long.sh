#!/usr/bin/env bash
# The long campaign, in chunks that it need not do at one go: 1,000,000 policies proved cold, 1,000,000 edit states,
# 1,000,000,000 packets, 100,000 broken tables, all small worlds, and the other modes.
#
#   scripts/soak-long.sh LOG [SEED [MODE...]]    does what LOG does not have of these sources, and appends a line for each chunk:
#                                                mode seed first count passed failed seconds sources
#   scripts/soak-long.sh --summary LOG           adds up by sources and mode
#
# The sources are told by a hash of what the soaked programs are made of, whatever commit that is in.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/dependencies.sh

# mode, cases in all, cases a chunk; "all" is as many as the mode has
campaign="
equiv 1000000 20000
edits 40000 1000
packets 100000 2000
faults 100000 5000
exhaustive all 100000
metamorphic 100000 5000
roundtrip 200000 10000
exhaustion 20000 2000
judge 2000 250
handshake 104000 4000
kill 2000 500
"

soak=build/release/soak/orvex-soak

summary() {
  awk '{ key = $8 " " $1; cases[key] += $4; passed[key] += $5; failed[key] += $6; seconds[key] += $7 }
       END { for (key in cases) print key, cases[key], passed[key], failed[key], seconds[key] }' "$1" | sort |
    awk 'BEGIN { print "sources mode cases passed failed seconds" } { print }' | column -t
}

# Chunks with failures are in the log too; what failed is in LOG.failures, with the command that does it again.
chunk() {
  local mode=$1 first=$2 count=$3 started=$SECONDS output result
  output=$("$soak" "$mode" --seed "$seed" --first "$first" --count "$count" --jobs "$(nproc)") || true
  result=$(sed -n '$s/^\([0-9]*\) passed, \([0-9]*\) failed$/\1 \2/p' <<<"$output")
  if [ -z "$result" ]; then
    echo "$mode has ended at cases from $first on without a result" >&2
    exit 1
  fi
  [ "${result#* }" -eq 0 ] || echo "$output" >>"$log.failures"
  echo "$mode $seed $first $count $result $((SECONDS - started)) $sources" | tee -a "$log"
}

cases_of() { "$soak" "$1" --help | sed -n 's/.*all \([0-9]*\) cases there are.*/\1/p'; }

if [ "${1:-}" = --summary ]; then
  summary "$2"
  exit
fi
log=${1:?the file to log to}
seed=${2:-1}
wanted=" ${*:3} "
touch "$log"
if [ -n "$(git status --porcelain --untracked-files=no)" ]; then
  echo "There are changes that are in no commit." >&2
  exit 2
fi
sources=$(git ls-tree HEAD cli host include platform soak src | git hash-object --stdin | head -c 12)
require_packages "${build_packages[@]}" >&2
build_preset release orvex-soak >&2

while read -r mode total size <&3; do
  [ -n "$mode" ] || continue
  [ "$wanted" = "  " ] || [[ $wanted == *" $mode "* ]] || continue
  [ "$total" != all ] || total=$(cases_of "$mode")
  for ((first = 1; first <= total; first += size)); do
    count=$((first + size > total + 1 ? total + 1 - first : size))
    awk -v key="$mode $seed $first $count $sources" '$1 " " $2 " " $3 " " $4 " " $8 == key { found = 1 } END { exit !found }' \
      "$log" || chunk "$mode" "$first" "$count"
  done
done 3<<<"$campaign"
summary "$log"

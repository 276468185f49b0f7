#!/usr/bin/env bash
# Compares `orvex compile` to a JSON file with `nft -c -f` on the same rules written as an nftables ruleset: both read a
# text, check it and build their tables. The two run alternately; printed are the medians of their times and the ratio.
#
# Usage: bench/against-nft.sh FILTERS [RUNS]     FILTERS: a ClassBench filter set of IPv4; needs nft, unshare, awk
set -euo pipefail

filters=$(realpath "$1")
runs=${2:-11}
# Root alone may enlarge the buffer that large rulesets go through.
namespace=(-n)
[ "$(id -u)" -eq 0 ] || namespace=(-Urn)
orvex=$(cd "$(dirname "$0")/.." && pwd)/build/release/cli/orvex
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# Ports of rules without a protocol that has them are matched as `th`, as both programs then take them: two fields.
awk 'BEGIN { print "table ip orvex {\n chain edge {\n  type filter hook forward priority 0; policy drop;" }
  /^@/ {
    gsub( /[ \t]*:[ \t]*/, "-" ); sub( /^@/, "" )
    rule = "  "
    if ( $1 !~ /\/0$/ ) rule = rule " ip saddr " $1
    if ( $2 !~ /\/0$/ ) rule = rule " ip daddr " $2
    split( $5, protocol, "/" )
    if ( protocol[2] != "0x00" ) rule = rule " ip protocol " protocol[1]
    if ( $3 != "0-65535" ) rule = rule " th sport " $3
    if ( $4 != "0-65535" ) rule = rule " th dport " $4
    print rule " accept"
  }
  END { print " }\n}" }' "$filters" | sed -E 's/ (sport|dport) ([0-9]+)-\2 / \1 \2 /g' >"$work/rules.nft"

seconds() {
  local started=$EPOCHREALTIME
  "$@" >/dev/null 2>&1 || { echo "failed: $*" >&2; exit 1; }
  echo "$started $EPOCHREALTIME" | awk '{ printf "%.4f\n", $2 - $1 }'
}
median() { sort -n "$1" | awk '{ value[NR] = $1 } END { print value[int( ( NR + 1 ) / 2 )] }'; }

for _ in $(seq "$runs"); do
  seconds unshare "${namespace[@]}" nft -c -f "$work/rules.nft" >>"$work/nft"
  seconds "$orvex" compile -q "$filters" --format json -o "$work/out.json" >>"$work/orvex"
done
awk -v nft="$(median "$work/nft")" -v orvex="$(median "$work/orvex")" -v rules="$(grep -c accept "$work/rules.nft")" \
  'BEGIN { printf "%d rules: nft %.3f s, orvex %.3f s, ratio %.2f\n", rules, nft, orvex, orvex / nft }'

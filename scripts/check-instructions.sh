#!/usr/bin/env bash
# Counts the instructions of three fixed pieces of work, and fails when one takes over a tenth more than is recorded in
# bench/instructions. Instructions and not seconds: they are nearly the same on every machine, however busy.
#
# Usage: scripts/check-instructions.sh [--record]     --record: writes down what is counted now
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/dependencies.sh

require_packages "${build_packages[@]}" valgrind >&2
build_preset release orvex >&2
orvex=$PWD/build/release/cli/orvex
recorded=$PWD/bench/instructions
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# 4,000 filters of nested prefixes and of ports, in the ClassBench form.
awk 'function number( below ) { seed = ( seed * 16807 ) % 2147483647; return int( seed / 65536 ) % below }
  function prefix( length_ ) {
    length_ = 8 * ( 1 + number( 4 ) )
    return sprintf( "%d.%d.%d.%d/%d", 10 + number( 8 ), length_ > 8 ? number( 64 ) : 0, length_ > 16 ? number( 64 ) : 0,
                    length_ > 24 ? number( 256 ) : 0, length_ )
  }
  BEGIN {
    seed = 1
    for ( rule = 0; rule != 4000; ++rule ) {
      first = number( 3 ) ? number( 1024 ) : 1024
      printf "@%s\t%s\t0 : 65535\t%d : %d\t0x%02X/0xFF\n", prefix(), prefix(), first, first == 1024 ? 65535 : first,
             number( 2 ) ? 6 : 17
    }
  }' >"$work/filters.txt"

# 400 rules over 60 lists of 40 neighbouring prefixes each; a third of a list is also in the next one.
awk 'BEGIN {
    for ( list = 0; list != 60; ++list ) {
      printf "ip prefix-list site%d\n", list
      for ( at = 26 * list; at != 26 * list + 40; ++at ) printf "  10.%d.%d.0/24\n", int( at / 256 ), at % 256
    }
    print "ip access-list lists"
    for ( rule = 1; rule <= 400; ++rule )
      printf "  %d %s tcp prefix-list site%d prefix-list site%d eq %d\n", 10 * rule, rule % 3 ? "permit" : "deny", rule % 60,
             ( 7 * rule ) % 59, 20 + rule % 50
  }' >"$work/lists.acl"

"$orvex" packets "$work/filters.txt" --count 20000 --seed 1 -o "$work/packets"

instructions() {
  local name=$1
  shift
  valgrind --tool=callgrind --callgrind-out-file=/dev/null "$orvex" "$@" >"$work/output" 2>"$work/messages" ||
    { cat "$work/messages" >&2; exit 1; }
  awk -v name="$name" '/Collected :/ { print name, $NF }' "$work/messages"
}

{
  instructions compile-filters compile "$work/filters.txt"
  instructions compile-lists compile "$work/lists.acl"
  instructions classify classify "$work/filters.txt" --packets "$work/packets"
} >"$work/counted"

if [ "${1:-}" = --record ]; then
  cp "$work/counted" "$recorded"
  cat "$recorded"
  exit
fi
awk 'NR == FNR { counted[$1] = $2; next }
  {
    ratio = counted[$1] / $2
    printf "%-16s %14d instructions, %.3f of what is recorded\n", $1, counted[$1], ratio
    if ( ratio > 1.1 ) { slower = 1 }
    if ( ratio < 0.9 ) { faster = 1 }
  }
  END {
    if ( faster ) print "Something has become faster: scripts/check-instructions.sh --record writes it down."
    if ( slower ) { print "Something takes over a tenth more than is recorded in bench/instructions."; exit 1 }
  }' "$work/counted" "$recorded"

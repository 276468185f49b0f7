#!/usr/bin/env bash
# Compares the compiler with DPDK's librte_acl and with nft (bench/compare), and puts the tables and plots into
# docs/performance.md and docs/plots. Arguments: ClassBench filter sets, and options of bench/compare before them. Beside the
# filter sets it takes generated ones, so a run takes a quarter of an hour on a calm machine.
#
#   scripts/compare.sh acl1_10k.txt fw1_10k.txt
#
# It installs what is missing. Where nft may not have a network of its own it is left out, and the tables say so.
set -euo pipefail
started_in=$PWD
cd "$(dirname "$0")/.."
root=$PWD
source scripts/dependencies.sh

require_packages "${build_packages[@]}" "${compare_packages[@]}" >&2
build_preset release compare >&2
tables=$(mktemp)
trap 'rm -f "$tables"' EXIT
cd "$started_in"
"$root/build/release/bench/compare" --generated --markdown --plots "$root/docs/plots" "$@" >"$tables"
awk -v tables="$tables" '
  $0 == "<!-- compare: end -->" { inside = 0 }
  !inside { print }
  $0 == "<!-- compare: begin -->" { while ( ( getline line < tables ) > 0 ) print line; inside = 1 }
' "$root/docs/performance.md" >"$root/docs/performance.md.new"
mv "$root/docs/performance.md.new" "$root/docs/performance.md"
echo "docs/performance.md has the new tables"

#!/usr/bin/env bash
# Builds the orvex command and runs it with the arguments given; without any, compiles the example policies onto the default
# chip, shows what they take, and writes the snapshot as JSON to build/example.json.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
started_in=$PWD
cd "$root"
source scripts/dependencies.sh

require_packages "${build_packages[@]}" >&2
build_preset release orvex >&2
orvex=$root/build/release/cli/orvex
cd "$started_in"
[ $# -eq 0 ] || exec "$orvex" "$@"

for policy in "$root"/examples/*.acl; do
  echo "orvex compile examples/${policy##*/}"
  "$orvex" compile "$policy"
  echo
done
"$orvex" compile "$root/examples/edge.acl" --format json -o "$root/build/example.json"
echo "The snapshot of examples/edge.acl is in build/example.json:"
head -n 12 "$root/build/example.json"

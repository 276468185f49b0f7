#!/usr/bin/env bash
# How fast a capture is classified, and in how much memory: the frames of examples/edge.pcap, 1 and 65,536 times over.
#
# Usage: bench/capture-speed.sh ORVEX EXAMPLES     needs /usr/bin/time, and 2 GB below TMPDIR
set -euo pipefail

orvex=$1
examples=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

file_header=24
tail -c +$((file_header + 1)) "$examples/edge.pcap" >"$work/frames"
for ((doubling = 0; doubling < 16; ++doubling)); do
  cat "$work/frames" "$work/frames" >"$work/twice"
  mv "$work/twice" "$work/frames"
done
{ head -c "$file_header" "$examples/edge.pcap"; cat "$work/frames"; } >"$work/large.pcap"
rm "$work/frames"

for capture in "$examples/edge.pcap" "$work/large.pcap"; do
  echo "$(stat -c %s "$capture") bytes"
  for _ in 1 2 3 4 5; do
    /usr/bin/time -f '%e s, of a processor %U s and in the system %S s; %M KB' \
      "$orvex" classify "$examples/edge.acl" --pcap "$capture" -q -o "$work/hits"
  done
  head -n 1 "$work/hits" | sed 's/^[^ ]* //'
done

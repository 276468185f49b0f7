#!/usr/bin/env bash
# Whatever a file of 64 KiB says, the orvex command ends within a time and a memory: with a result, or with a message.
#
# Usage: hostile-test.sh ORVEX SECONDS KIB
# The seconds are of processor time, since the machine may be busy with something else.
set -euo pipefail

orvex=$1
seconds=$2
kib=$3
tests=$(dirname "$(realpath "$0")")
source "$tests/checks.sh"
runs=0

# run STATUSES ARGUMENT...: the exit status is one of those given.
run() {
  local statuses=$1 status=0
  shift
  runs=$((runs + 1))
  (
    ulimit -v "$kib" -t "$seconds"
    exec timeout $((10 * seconds)) "$orvex" "$@" >output 2>messages </dev/null
  ) || status=$?
  [[ " $statuses " == *" $status "* ]] || fail "orvex $*: exit status $status: $(head -c 500 messages)"
}

"$tests/hostile-inputs.sh" .
# Chips that would take anything: one with every label, one that matches fields by value.
chip() {
  local prefix='{"source": {"width": 16}, "destination": {"width": 16}}'
  echo "{\"schema\": \"orvex.chip/1\", \"name\": \"$1\", \"prefixes\": {\"ipv4\": $prefix, \"ipv6\": $prefix}, $2
    \"capacities\": {\"ruleEntries\": \"unlimited\", \"ipv4PrefixEntries\": \"unlimited\",
    \"ipv6PrefixEntries\": \"unlimited\", \"rangeEntries\": \"unlimited\", \"comboEntries\": \"unlimited\"}}" >"chips/$1.json"
}
mkdir chips
chip by-value ''
chip labels '"ranges": {"sport": {"width": 16}, "dport": {"width": 16}, "length": {"width": 16}}, "combos": {
  "ipv4SrcDstPrefix": {"width": 16}, "ipv6SrcDstPrefix": {"width": 16}, "srcDstL4Port": {"width": 16}},'

for policy in *.acl *.txt; do
  run "0 2" check "$policy"
  run "0 2" convert "$policy"
  for chip in default combined chips/by-value.json chips/labels.json; do run "0 1 2" compile -q --chip "$chip" "$policy"; done
done
run 1 compile --chip chips/by-value.json product.acl
says messages "most cost ipv4 ACL a, rule 10 (10000000000)"
run 1 compile --chip chips/labels.json all-but-one.acl
says messages "pairs of labels for all rules"
run 0 classify -q overlaps.acl --chip chips/by-value.json --packets packets.json
echo '{"acl": "ranges", "src": "10.0.0.1", "dst": "0.0.0.0", "sport": 7, "proto": 6}' >packet
run 0 classify -q ranges.txt --chip chips/by-value.json --packets packet
run 0 compile -q ranges.txt --chip chips/by-value.json --format json -o snapshot
run "0 2" verify --equal covers.acl covers-in-halves.acl
printf 'ip access-list a\n 10 permit ip any any\n' >any.acl
run "1 2" verify any.acl masks.snapshot
echo "include /dev/zero" >device.acl
run 2 check device.acl
says messages "device.acl:1:9: error: /dev/zero is no regular file"
for file in *.json zeros.acl long-word.acl; do
  run 2 compile --chip "./$file" same-rules.acl
  run 2 verify same-rules.acl "$file"
  [ "$file" = packets.json ] || run 2 classify same-rules.acl --packets "$file"
done

echo "$runs runs, $failures failures"
[ "$failures" -eq 0 ]

#!/usr/bin/env bash
# The orvex command as its users call it: what it prints, what it writes, and how it exits. What the guide shows is tried
# where the guide is (Documents.TheGuideHolds).
#
# Usage: orvex-test.sh ORVEX EXAMPLES
set -euo pipefail

orvex=$1
examples=$2
source "$(dirname "$(realpath "$0")")/checks.sh"
is_empty() { [ ! -s "$1" ] || fail "$1 is not empty: $(head -c 500 "$1")"; }

cat >small.acl <<'ACL'
ip access-list edge
  10 permit tcp 10.0.0.0/8 any eq 80
  20 deny ip any any
ACL
cat >filters.txt <<'FILTERS'
# comment
@10.0.0.0/8	192.0.2.0/24	0 : 65535	80 : 443	0x06/0xFF	0x0000/0x0200
@0.0.0.0/0 0.0.0.0/0 0:65535 53:53 0x00/0x00
FILTERS

# Help and usage
run 0 --help && says output "orvex compile edge.acl"
run 0 --version && says output "orvex 0."
for arguments in "" "comple" "compile" "compile small.acl --format yaml" "classify small.acl" \
  "classify small.acl --packets p --interpret --compare" "compile small.acl --trace 12" \
  "compile small.acl --trace 6:NoSuchModule"; do
  # shellcheck disable=SC2086
  run 2 $arguments
done

# check
run 2 check missing.acl && says messages "missing.acl: error: cannot be read"

# compile
run 0 compile small.acl --format json -o snapshot.json && is_empty output
python3 -m json.tool <snapshot.json >/dev/null || fail "the snapshot is no JSON"
run 0 compile small.acl --format json
cmp -s output snapshot.json || fail "two equal compiles differ"
run 0 compile "$examples/edge.acl" && says output "25 rules in 2 ACLs"
run 0 compile "$examples/datacentre.acl"

# Placements. The nested one is at least as good in every table of the example, and the profile's choice can be overridden.
run 0 compile "$examples/datacentre.acl" --compare-placements && says output "plain" && says output "costOrder"
awk '{ gsub( ",", "", $2 ); entries[$1] = $2 } END { exit !( entries["nested"] <= entries["costOrder"] ) }' output ||
  fail "nested placement takes more entries than the cost order"
run 0 compile "$examples/datacentre.acl" --format json --chip cost-order -o cost-order.json
run 0 compile "$examples/datacentre.acl" --format json --placement costOrder
cmp -s output cost-order.json || fail "--placement costOrder is not what the chip cost-order does"
run 2 compile small.acl --compare-placements --placement nested

says_loaded() { says output "loaded into chip default" && says output "proved equal to the policy"; }
run 0 compile small.acl && says_loaded && is_empty messages
run 0 compile small.acl --no-verify && says output "not loaded into chip default" && says messages "not proved"

# verify
run 0 verify small.acl snapshot.json && says output "equal: 2 rules with 2 entries"
sed 's/"default": "deny"/"default": "permit"/' snapshot.json >wrong.json
run 1 verify small.acl wrong.json # no packet misses this ACL
says output "different, though no packet shows it" && says output "edge, default: the policy says deny, the table permit"
sed 's/"label": 1/"label": 65536/' snapshot.json >wrong.json
run 2 verify small.acl wrong.json && says messages "wrong.json:"
head -c 300 snapshot.json >wrong.json
run 2 verify small.acl wrong.json && says messages "wrong.json:"
run 2 verify small.acl
sed 's/eq 80/eq 81/' small.acl >other.acl
run 0 verify --equal small.acl small.acl && says output "equal"
run 1 verify --equal small.acl other.acl && says output "dport 80" && says output "dport 81"

# explain
run 0 explain small.acl --packet '{"acl": "edge", "src": "10.1.1.1", "dst": "1.1.1.1", "proto": 6, "dport": 81}' --format json
python3 -c 'import json, sys; x = json.load(sys.stdin); assert x["rule"] == 20 and x["nearMisses"][0]["field"] == "dport"' \
  <output || fail "explain --format json: $(head -c 500 output)"
for arguments in "" "--src 10.1.1.1 --dst ::1" "--src ::1 --dst ::1" "--src 1.1.1.1 --dst 1.1.1.1 --acl egde" \
  "--src 1.1.1.1 --dst 1.1.1.1 --proto tpc" "--packet {} --src 1.1.1.1"; do
  # shellcheck disable=SC2086
  run 2 explain small.acl $arguments
done

# update
run 0 update small.acl small.acl && says output "nothing is to be written"
run 0 update small.acl other.acl --format json
python3 -c 'import json, sys; x = json.load(sys.stdin); assert len(x["operations"]) == 2, x' <output || fail "update: $(cat output)"
run 2 update small.acl
run 2 update small.acl missing.acl

# A file that cannot be written, or an input with an error, leaves the old file as it is.
echo old >out.json
run 2 compile missing.acl --format json -o out.json && says out.json old
run 2 compile small.acl --format json -o no/such/directory/out.json
run 2 compile small.acl -o /dev/full && says messages "No space left on device"

# Chips
run 0 chips && says output "default"
run 0 chips default && cp output mine.json
run 0 compile small.acl --chip ./mine.json
sed 's/"ruleEntries": [0-9]*/"ruleEntries": 1/' mine.json >tiny.json
run 1 compile small.acl --format json -o out.json --chip ./tiny.json
says messages "ruleEntries: there are 1, it would take 2" && says out.json old
says messages "without ipv4 ACL edge, rule 10 (1 entry)" && says messages "tried in"
run 1 update small.acl other.acl --chip ./tiny.json && says messages "the old policy is not loaded"
sed '/20/d' small.acl >one.acl
run 1 update one.acl small.acl --chip ./tiny.json && says messages "refused: " && says messages "tried in"
run 2 compile small.acl --chip defalt && says messages 'did you mean "default"?'
sed 's/"width": 16/"width": 17/' mine.json >wide.json
run 2 compile small.acl --chip ./wide.json && says messages "wide.json:"

# ClassBench sets
run 0 compile filters.txt && says messages "the flags of 1 filter are left out"
says messages "1 filter match ports on protocols without ports"
run 2 compile filters.txt --classbench-flags honour && says messages "filters.txt:2:"
run 0 convert filters.txt --classbench-action alternate -o filters.acl -q
run 0 compile filters.acl --format json && cp output converted.json
run 0 compile filters.txt --classbench-action alternate --format json -q
cmp -s output converted.json || fail "a converted set compiles otherwise"
run 0 convert filters.acl && cmp -s output filters.acl || fail "text to text is no fixed point"

# Other formats
cat >edge.json <<'JSON'
{"ietf-access-control-list:acls": {"acl": [
  {"name": "edge", "type": "ipv4-acl-type", "aces": {"ace": [
    {"name": "10", "matches": {"ipv4": {"source-ipv4-network": "10.0.0.0/8"}, "tcp": {"destination-port": {"port": 80}}},
     "actions": {"forwarding": "accept"}},
    {"name": "20", "actions": {"forwarding": "drop"}}]}},
  {"name": "reject", "type": "ipv4-acl-type", "aces": {"ace": [{"name": "all", "actions": {"forwarding": "reject"}}]}}]}}
JSON
run 2 check edge.json && says messages "edge.json:6:106: error: /ietf-access-control-list:acls/acl[name='reject']/aces/ace[name='all']/actions/forwarding: "
run 2 check edge.json --from openconfig && says messages "openconfig-acl:acl"
run 0 verify --equal small.acl edge.json --skip-unsupported && says output "equal" && says messages "edge.json:6:3: warning:"
run 0 compile edge.json --skip-unsupported && says_loaded
for format in acl rfc8519 openconfig; do
  run 0 convert small.acl --to $format -o "small.$format" && is_empty output
  run 0 verify --equal small.acl "small.$format"
  run 0 convert "small.$format" && cp output "formatted.$format"
  run 0 convert "small.$format" --to $format && cmp -s output "small.$format" || fail "$format is no fixed point"
done
cmp -s formatted.acl formatted.rfc8519 && cmp -s formatted.acl formatted.openconfig || fail "texts from other formats differ"
run 2 convert "$examples/edge.acl" --to classbench -o out.json
says messages "ClassBench has one ACL in a file" && says out.json old
sed '$d' small.acl >permits.acl
run 0 convert permits.acl --to classbench -o edge.txt && run 0 verify --equal permits.acl edge.txt
run 2 convert small.acl --to yaml

# Packets
for policy in small.acl small.openconfig filters.txt "$examples"/*.acl "$examples"/*.json; do
  run 0 packets "$policy" --count 2000 --seed 3 -o packets.json -q
  [ "$(wc -l <packets.json)" -eq 2000 ] || fail "there are not 2000 packets"
  run 0 classify "$policy" --packets packets.json --compare -q && says output "2,000 packets: table and policy agree"
  run 0 classify "$policy" --packets packets.json -q && cp output verdicts
  run 0 classify "$policy" --packets packets.json --interpret -q
  cmp -s output verdicts || fail "verdicts of table and policy differ"
done
echo '{"acl": "edge", "src": "10.1.1.1", "dst": "1.1.1.1", "proto": 6, "dport": 80}' >packets.json
run 0 classify small.acl --packets packets.json && says output '{"rule": 10, "action": "permit"}'
echo '{"acl": "egde", "src": "10.1.1.1", "dst": "1.1.1.1"}' >packets.json
run 2 classify small.acl --packets packets.json && says messages 'did you mean "edge"?'
echo '{"acl": "edge", "src": "10.1.1.1", "dst": "1.1.1.1", "dprot": 80}' >packets.json
run 2 classify small.acl --packets packets.json && says messages 'packets.json:1:54: error: a packet has no "dprot"; did you mean "dport"?'

# Captures: pcap and pcapng with the same frames, by name and through a pipe
cat >captures.py <<'PYTHON'
from struct import pack


def ipv4(source, protocol, payload):
    return pack(">BBHIBBH4s4s", 0x45, 0, 20 + len(payload), 0, 64, protocol, 0, bytes(source), bytes([192, 0, 2, 1])) + payload


def ethernet(ether_type, packet):
    return bytes(12) + pack(">H", ether_type) + packet


tcp = pack(">HHIIHHI", 1024, 80, 1, 0, 0x5002, 0, 0)
frames = [  # with the length that was captured
    (ethernet(0x0800, ipv4([10, 1, 1, 1], 6, tcp)), 100),
    (ethernet(0x8100, pack(">HH", 7, 0x0800) + ipv4([10, 1, 1, 2], 6, tcp + bytes(960))), 100),
    (ethernet(0x0800, ipv4([11, 1, 1, 1], 6, tcp)), 100),
    (ethernet(0x86DD, pack(">IHBB32s", 0x60000000, 8, 17, 64, bytes(32)) + bytes(8)), 100),
    (ethernet(0x0806, bytes(46)), 100),
    (ethernet(0x0800, ipv4([10, 1, 1, 1], 6, tcp)), 40),
]


def write(name, *parts):
    with open(name, "wb") as file:
        file.write(b"".join(parts))


def pcap(link, kept):
    return pack("<IHHIIII", 0xA1B2C3D4, 2, 4, 0, 0, 65535, link), *(
        pack("<IIII", 0, 0, len(frame[:cut]), len(frame)) + frame[:cut] for frame, cut in kept)


def block(kind, body):
    body += bytes(-len(body) % 4)
    return pack("<II", kind, len(body) + 12) + body + pack("<I", len(body) + 12)


write("frames.pcap", *pcap(1, frames))
write("broken.pcap", b"".join(pcap(1, frames))[:-1])
write("other.pcap", *pcap(105, []))
write("frames.pcapng", block(0x0A0D0D0A, pack("<IHHq", 0x1A2B3C4D, 1, 0, -1)), block(1, pack("<HHI", 1, 0, 65535)),
      *(block(6, pack("<IIIII", 0, 0, 0, len(frame[:cut]), len(frame)) + frame[:cut]) for frame, cut in frames))
PYTHON
python3 captures.py
run 0 classify small.acl --pcap frames.pcap && is_empty messages
says output "frames.pcap: 6 packets: 3 IPv4, 1 IPv6, 2 not decoded"
says output "IPv4 ACL edge: 3 packets, 1,080 bytes"
for row in "no IP packet 1" "captured only into the transport header 1" "10 permit 2 1,040" "20 deny 1 40" "default deny 0 0"; do
  grep -qE "^ ?$row\$" <<<"$(tr -s ' ' <output)" || fail "the table has no row $row: $(cat output)"
done
sed 's/frames.pcap/standard input/' output >hits
for file in frames.pcap frames.pcapng; do
  "$orvex" classify small.acl --acl edge --pcap - <"$file" | cmp -s - hits || fail "$file from a pipe counts otherwise"
done
run 0 classify small.acl --pcap frames.pcap --interpret && sed 's/frames.pcap/standard input/' output | cmp -s - hits ||
  fail "table and policy count otherwise"
run 0 classify small.acl --pcap frames.pcapng --compare && says output "table and policy agree"
run 0 classify "$examples/edge.acl" --pcap "$examples/edge.pcap" --compare && says output "44 packets: 35 IPv4, 5 IPv6, 4 not"
run 2 classify small.acl --pcap frames.pcap --acl egde && says messages 'there is no ACL "egde"; did you mean "edge"?'
run 2 classify small.acl --pcap frames.pcap --packets packets.json
run 2 classify small.acl --packets packets.json --acl edge
run 2 classify small.acl --pcap missing.pcap && says messages "missing.pcap: No such file"
run 2 classify small.acl --pcap small.acl && says messages "small.acl: unknown file format"
run 2 classify small.acl --pcap other.pcap && says messages "other.pcap: captures of link type 802.11 are not decoded"
echo old >out.txt
run 2 classify small.acl --pcap broken.pcap -o out.txt && says messages "broken.pcap: truncated dump file" && says out.txt old

# Completion, in this bash: completes WANT WORD...
"$orvex" completion bash >completion.bash
# shellcheck source=/dev/null
source completion.bash
complete_words() {
  COMP_WORDS=(orvex "$@") COMP_CWORD=$#
  _orvex
}
completes() {
  local want=$1
  shift
  complete_words "$@" || true
  [ "${COMPREPLY[*]}" = "$want" ] || fail "orvex $*: completes to ${COMPREPLY[*]}, not $want"
}
completes "check chips" ch
completes "$("$orvex" --help | sed -n '/^Commands:/,/^$/s/^  \([a-z]\+\) .*/\1/p' | xargs)" ""
completes "--interpret" classify small.acl --int
completes "--packets --pcap" classify --p
completes "json" compile small.acl --format js
completes "auto always never" check -q --colour ""
completes "bash fish zsh" completion ""
completes "" compile sma # a file
for shell in zsh fish; do
  run 0 completion "$shell" && says output "classbench-action"
  if command -v "$shell" >/dev/null; then
    "$shell" -n output || fail "$shell does not read its completion"
  else
    echo "there is no $shell here to read its completion"
  fi
done

[ "$failures" -eq 0 ] || exit 1
echo "all as expected"

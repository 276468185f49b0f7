#!/usr/bin/env bash
# Writes small files that ask for as much work as files of 64 KiB can: lists that double with every level, products of
# long lists, rules that overlap in every way, texts that nest, and texts that are none.
#
# Usage: hostile-inputs.sh DIRECTORY
set -euo pipefail
mkdir -p "$1"
cd "$1"

# Numbers of which no two differ in one bit only cannot be written as one value with a mask.
functions='
  function address( number ) { return int( number / 65536 ) % 256 "." int( number / 256 ) % 256 "." number % 256 }
  function apart( i, ones, left ) {
    for ( left = i; left; left = int( left / 2 ) ) ones += left % 2
    return 2 * i + ones % 2
  }'

# text NAME PROGRAM: what an awk program prints, cut behind the last line that ends within 64 KiB.
text() {
  awk "$functions BEGIN { $2 }" </dev/null | awk -v limit=65536 '( size += length( $0 ) + 1 ) <= limit' >"$1"
}

# Every list is twice the one before.
text doubling.acl '
  print "ip prefix-list l0\n  10.0.0.0/8\n  except 10.1.0.0/16\nport-list p0\n  80-90"
  for ( i = 1; i <= 900; ++i )
    print "ip prefix-list l" i "\n  list l" i - 1 ", l" i - 1 "\nport-list p" i "\n  list p" i - 1 ", p" i - 1
  print "ip access-list a\n  10 permit tcp prefix-list l900 any port-list p900"'
# Every list has what the one before has, and an address.
text growing.acl '
  for ( i = 0; i < 900; ++i )
    print "ip prefix-list l" i "\n  host 10." address( i * 3 ) ( i ? "\n  list l" i - 1 : "" )
  print "ip access-list a"
  for ( i = 0; i < 600; ++i ) print "  permit ip prefix-list l" i " any"'
# Each holds all addresses but one, on both sides.
text all-but-one.acl '
  for ( i = 0; i < 650; ++i ) print "ip prefix-list l" i "\n any\n except host 10." address( i * 3 )
  print "ip access-list a"
  for ( i = 0; i < 650; ++i ) print " permit ip prefix-list l" i " prefix-list l" 649 - i'
text all-ports-but-one.acl '
  print "ip access-list a"
  for ( i = 0; i < 1300; ++i ) print "permit tcp any neq " i * 50 " any neq " 65535 - i * 49'
# Long lists in every field of one rule: 10^10 entries where fields are matched by value.
text product.acl '
  print "port-list p"
  for ( i = 0; i < 1000; ++i ) print " " apart( i )
  for ( i = 0; i < 100; ++i ) values = values " " apart( i )
  print "ip access-list a\n 10 permit tcp any port-list p any port-list p length" values " ttl" values'
text products.acl '
  for ( i = 0; i < 400; ++i )
    print "ip prefix-list l" i "\n host 10." address( i * 3 ) ( i ? "\n list l" i - 1 : "" ) "\nport-list p" i "\n " i * 97 ( i ? "\n list p" i - 1 : "" )
  print "ip access-list a"
  for ( i = 0; i < 400; ++i ) print " permit tcp prefix-list l" i " port-list p" i " prefix-list l" 399 - i " port-list p" 399 - i'
# Lists of half of the hosts each, so that few labels merge, and a product of two of them in every rule.
text halves.acl '
  for ( i = 0; i < 30; ++i ) {
    print "ip prefix-list l" i
    for ( j = 0; j < 80; ++j ) if ( int( ( i * 7919 + j * 104729 ) / 7 ) % 2 ) print " host 10." address( j * 3 )
  }
  print "ip access-list a"
  for ( i = 0; i < 900; ++i ) print "permit tcp prefix-list l" i % 30 " prefix-list l" int( i / 30 ) " eq " i'
# Nothing is covered by one rule alone.
text overlaps.acl '
  print "ip access-list a"
  for ( i = 0; i < 900; ++i )
    print ( i % 2 ? "deny" : "permit" ) " tcp " i * 7 % 256 ".0.0.0/" i % 9 " gt " i * 61 " " i * 5 % 256 ".0.0.0/" i % 7 " lt " 65000 - i * 59 " ttl gt " i % 200'
# Two policies that are one, though no rule of the first is covered by one of the second.
covers='
  print "ip access-list a"
  for ( i = 0; i < 290; ++i ) {
    a = i * 7919 % 20000; b = i * 6151 % 20000; c = i * 4517 % 20000; d = i * 37 % 60; e = i * 23 % 25
    rest = " any range " b " " b + 41000 " dscp range " e " " e + 30 " length range " c " " c + 42000 " ttl range " d " " d + 160
    if ( HALVES ) {
      print "permit tcp any range " a " " a + i * 97 % 40000 rest
      print "permit tcp any range " a + i * 97 % 40000 + 1 " " a + 43000 rest
    } else print "permit tcp any range " a " " a + 43000 rest
  }'
text covers.acl "${covers/HALVES/0}"
text covers-in-halves.acl "${covers/HALVES/1}"
text same-rules.acl 'print "ip access-list a"; for ( i = 0; i < 5000; ++i ) print "permit ip any any"'
text same-lists.acl '
  for ( i = 0; i < 900; ++i ) print "ip prefix-list l" i "\n 10.0.0.0/8\n except 10.1.0.0/16"
  print "ip access-list a"
  for ( i = 0; i < 900; ++i ) print " permit ip prefix-list l" i " any"'
text errors.acl 'print "ip access-list a"; for ( i = 0; i < 20000; ++i ) print "permti"'
text names.acl 'print "ip access-list a"; for ( i = 0; i < 4000; ++i ) print "permit tcpp any any"'
text circle.acl 'for ( i = 0; i < 2500; ++i ) print "ip prefix-list l" i "\nlist l" ( i + 1 ) % 2000; print "ip access-list a\npermit ip prefix-list l1 any"'
text acls.acl 'for ( i = 0; i < 4000; ++i ) print "ip access-list a" i'
text deep-ipv6.acl '
  for ( i = 0; i <= 128; ++i ) print "ipv6 prefix-list l" i "\n ::/" i ( i ? "\n except ::/" i - 1 "\n list l" i - 1 : "" )
  print "ipv6 access-list a"
  for ( i = 0; i <= 128; ++i ) for ( j = 0; j <= 128; j += 9 ) print " permit ipv6 prefix-list l" i " prefix-list l" j'
# Nearly as many entries as a compile makes at most, where fields are matched by value.
text ranges.txt 'for ( i = 0; i < 720; ++i ) print "@" i % 200 ".0.0.0/" i % 32 "\t0.0.0.0/" i % 32 "\t" i " : " 65535 - i "\t" i * 3 " : " 65000 - i "\t0x06/0xFF"'
text nothing.txt 'for ( i = 0; i < 30000; ++i ) print "@"'
text packets.json 'for ( i = 0; i < 1500; ++i ) print "{\"acl\":\"a\",\"src\":\"10.0.0." i % 256 "\",\"dst\":\"0.0.0.0\"}"'
awk 'BEGIN { for ( i = 0; i < 65536; ++i ) printf "[" }' >deep.json
awk 'BEGIN { for ( i = 0; i < 9362; ++i ) printf "{\"acl\":" }' >deep-objects.json
awk 'BEGIN { printf "ip access-list \""; for ( i = 0; i < 65000; ++i ) printf "x" }' >long-word.acl
head -c 65536 /dev/zero >zeros.acl
awk 'BEGIN { printf "{\"schema\": \"orvex.chip/1\", \"name\": \""; for ( i = 0; i < 65000; ++i ) printf "\\" }' >escapes.json
# A table whose one rule has entries with masks that leave out bits at random: together they nearly cover everything.
text masks.snapshot '
  srand( 1 )
  print "{\"schema\": \"orvex.snapshot/1\", \"chip\": 0, \"prefixTables\": [], \"rangeTables\": [], \"comboTables\": [],"
  print "\"acls\": [{\"name\": \"a\", \"family\": \"ipv4\", \"default\": \"deny\", \"rules\": [{\"index\": 10, \"name\": \"10\","
  print "\"action\": {\"drop\": false, \"log\": false, \"dscp\": null, \"tc\": null, \"sflow\": false}, \"entries\": ["
  split( "ttl proto length dport sport", fields, " " )
  for ( i = 0; i < 700; ++i ) {
    line = ""
    for ( j = 1; j <= 5; ++j ) {
      bit = 2 ^ int( rand() * 8 )
      line = line ( j > 1 ? ", " : "" ) "\"" fields[j] "\": [" ( rand() < 0.5 ? bit : 0 ) ", " bit "]"
    }
    print "{" line "}" ( i < 699 ? "," : "]}]}]}" )
  }'

#!/usr/bin/env bash
# Lets each call that writes an output fail, at every position and in every way, for every subcommand that has one: the old
# file is there or the whole new one, nothing else, and a failure is told. Then standard output.
# Arguments: the command, the library of FailingCalls.cpp.
set -uo pipefail
orvex=$1 library=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir "$work/out"
out=$work/out/result
runs=0 faults=0 refused=0
fail() { echo "FAILED: $*" >&2; sed 's/^/  /' "$work/errors" >&2; exit 1; }

policy=$work/policy.acl
{
  echo "ip access-list edge"
  for i in $(seq 1 300); do echo "  $i permit tcp 10.0.$((i % 250)).0/24 any range 80 $((1000 + i))"; done
} >"$policy"
sed 's/range 80 /range 79 /' "$policy" >"$work/new.acl"
"$orvex" packets "$policy" --count 2000 -o "$work/packets" || exit 1

# The command's output with a fault; environment assignments come first.
try() {
  local name=$1 command=$2 call=$3 how=$4 hasOld=$5 environment=$6
  local at status
  for ((at = 1; ; ++at)); do
    rm -rf "$work/out" "$work/mark"
    mkdir "$work/out"
    [ "$hasOld" = yes ] && echo old >"$out"
    # shellcheck disable=SC2086
    env LD_PRELOAD="$library" FAILING_CALL="$call" FAILING_AT=$at FAILING_HOW="$how" FAILING_MARK="$work/mark" \
      $environment "$orvex" $command "$out" >"$work/printed" 2>"$work/errors"
    status=$?
    runs=$((runs + 1))
    local where="$name, $call $at fails with $how, old file: $hasOld $environment"
    local others
    others=$(find "$work/out" -mindepth 1 ! -name result)
    [ -z "$others" ] || fail "$where: left over: $others"
    local isNew=no isOld=no
    cmp -s "$out" "$work/expected" && isNew=yes
    if [ "$hasOld" = yes ]; then [ "$(head -c 100 "$out")" = old ] && isOld=yes; else [ -e "$out" ] || isOld=yes; fi
    if [ $status = 0 ]; then
      [ $isNew = yes ] || fail "$where: done, and the output is not the new one"
    else
      [ $status = 2 ] || fail "$where: exit status $status"
      [ $isNew = yes ] || [ $isOld = yes ] || fail "$where: the output is neither the old file nor the new one"
      grep -qE "error: cannot write ($out|standard output): ." "$work/errors" || fail "$where: no reason is told"
      refused=$((refused + 1))
    fi
    [ -e "$work/mark" ] || return 0
    faults=$((faults + 1))
  done
}

every_fault() {
  local name=$1 command=$2
  # shellcheck disable=SC2086
  "$orvex" $command "$work/expected" >"$work/printed" 2>"$work/errors" || fail "$name does not work"
  shift 2
  for environment in "$@"; do
    for hasOld in yes no; do
      for call in open flock access fchmod linkat fsync rename close; do
        try "$name" "$command" $call 5 $hasOld "$environment" # EIO
      done
      for how in 28 4 short; do try "$name" "$command" write $how $hasOld "$environment"; done # ENOSPC, EINTR
    done
  done
}

every_fault compile "compile $policy --format json --output" "FAILING=1" "FAILING_NAMELESS=1"
every_fault "compile with both placements" "compile $policy --compare-placements --output" "FAILING=1"
every_fault "a page" "compile $policy --quiet --report" "FAILING=1"
every_fault convert "convert $policy --to rfc8519 --output" "FAILING=1"
every_fault update "update $policy $work/new.acl --format json --output" "FAILING=1"
every_fault packets "packets $policy --count 2000 --output" "FAILING=1"
every_fault classify "classify $policy --packets $work/packets --output" "FAILING=1"
every_fault explain "explain $policy --src 10.0.1.1 --dst 192.0.2.1 --proto tcp --dport 90 --output" "FAILING=1"
[ $faults -gt 200 ] && [ $refused -gt 80 ] || fail "only $faults faults were met, and $refused told"

# Standard output and standard error, full and closed.
: >"$work/errors"
while IFS= read -r command; do
  # shellcheck disable=SC2086
  "$orvex" $command >/dev/full 2>"$work/errors"
  [ $? = 2 ] || fail "$command: exit status on a full disk"
  grep -q "cannot write standard output: No space left on device" "$work/errors" || fail "$command: no reason is told"
  # shellcheck disable=SC2086
  "$orvex" $command >&- 2>"$work/errors"
  [ $? = 2 ] || fail "$command: exit status without standard output"
  # shellcheck disable=SC2086
  "$orvex" $command >"$work/expected" 2>"$work/errors" || fail "$command does not work"
  # shellcheck disable=SC2086
  "$orvex" $command >"$work/here" 2>/dev/full || fail "$command: exit status with standard error full"
  cmp -s "$work/here" "$work/expected" || fail "$command: output with standard error full"
done <<END
check $policy
compile $policy --format json
convert $policy
verify --equal $policy $policy
packets $policy --count 10
chips
completion bash
END
"$orvex" --version >/dev/full 2>/dev/null && fail "--version on a full disk"

# A file must not take the place of a stream that is closed, or messages go into it.
"$orvex" compile "$policy" --format json --output "$work/expected" 2>/dev/null
"$orvex" compile "$policy" --format json --output "$out" <&- >&- 2>&- || fail "exit status without streams"
cmp -s "$out" "$work/expected" || fail "output without streams"

# What a killed writer has left goes with the next one; what a living writer holds, and what is named otherwise, stays.
rm -rf "$work/out"
mkdir "$work/out"
touch "$work/out/.result.12-0.new" "$work/out/.result.13-0.new" "$work/out/.result.x-0.new" "$work/out/.other.12-0.new"
exec 9>>"$work/out/.result.13-0.new"
flock 9
"$orvex" convert "$policy" --output "$out" || fail "exit status beside a leftover"
[ "$(ls -A "$work/out" | sort | tr '\n' ' ')" = ".other.12-0.new .result.13-0.new .result.x-0.new result " ] ||
  fail "leftovers: $(ls -A "$work/out")"
echo "$runs runs, $faults faults met, $refused told"

# Sourced by the tests of the command `$orvex`: a folder of their own to work in, and
# checks that go on after a failure.

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
failures=0

fail() {
  echo "FAILED: $1" >&2
  failures=$((failures + 1))
}

# run STATUS ARGUMENT...: output and messages go to files, and the exit status must be the one given.
run() {
  local want=$1 have=0
  shift
  "$orvex" "$@" >output 2>messages </dev/null || have=$?
  [ "$have" -eq "$want" ] || fail "orvex $*: exit status $have, not $want: $(head -c 500 messages)"
}

# says FILE TEXT: the file has the text.
says() { grep -qF -- "$2" "$1" || fail "$1 does not say: $2; it says: $(head -c 500 "$1")"; }

#!/usr/bin/env bash
# documented-output.sh PROGRAM DOCUMENT: runs every command of the document that is an indented line "$ .../PROGRAM ARGUMENT...",
# and fails unless each prints what the document shows below it.
set -euo pipefail
program=$1 document=$2 name=$(basename "$1")

if ! commands=$(grep -E "^    [$] [^ ]*/$name( |\$)" "$document"); then
  echo "$document does not show what $name prints" >&2
  exit 1
fi
while IFS= read -r command; do
  shown=$(awk -v command="$command" '
    inside && !/^    / { exit }
    inside { print substr($0, 5) }
    $0 == command { inside = 1 }
  ' "$document")
  read -ra arguments <<<"${command##*/"$name"}"
  printed=$("$program" "${arguments[@]}")
  diff --label "$document: $command" --label "$program" -u <(echo "$shown") <(echo "$printed")
done <<<"$commands"

#!/usr/bin/env bash
# documented-output.sh PROGRAM DOCUMENT: runs the program, and fails unless it prints what the document shows below the
# indented line "$ .../PROGRAM".
set -euo pipefail

shown=$(awk -v line="^    [$] .*/$(basename "$1")\$" '
  inside && !/^    / { exit }
  inside { print substr($0, 5) }
  $0 ~ line { inside = 1 }
' "$2")
if [ -z "$shown" ]; then
  echo "$2 does not show what $(basename "$1") prints" >&2
  exit 1
fi
printed=$("$1")
diff --label "$2" --label "$1" -u <(echo "$shown") <(echo "$printed")

#!/usr/bin/env bash
# reference-test.sh ORVEX REFERENCE: fails unless the reference has a section for every command that the help names, and every
# option of that command in it, or among the options of many commands; and unless it has no section for another command.
set -euo pipefail
orvex=$1 reference=$2
missing=0

section() { awk -v title="## $1" '$0 == title { inside = 1; next } /^## / { inside = 0 } inside' "$reference"; }
options_of() { "$orvex" "$@" --help | sed -n '/^Options:/,/^$/p' | grep -oE '^ +(-[a-z], )?--[a-z-]+' | grep -oE -- '--?[a-z-]+'; }
lacks() { echo "$reference does not have $1" >&2 && missing=$((missing + 1)); }

commands=$("$orvex" --help | sed -n '/^Commands:/,/^$/s/^  \([a-z]*\) .*/\1/p' | sort)
[ "$(wc -w <<<"$commands")" -ge 10 ]
for option in $(options_of); do
  grep -qF -- "$option" <<<"$(section Output)" || lacks "$option"
done
for command in $commands; do
  known=$(section "orvex $command"; section Output; section "Options of many commands" | sed '/^Of some/,$d')
  for option in $(options_of "$command"); do
    grep -qE -- "(^|[^a-z-])$option([^a-z-]|\$)" <<<"$known" || lacks "$option of $command"
  done
done
diff --label "orvex --help" --label "$reference" <(echo "$commands") <(sed -n 's/^## orvex //p' "$reference" | sort)
[ "$missing" -eq 0 ]

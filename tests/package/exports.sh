#!/usr/bin/env bash
# exports.sh LIBRARY: fails when the library exports a symbol outside its own namespaces, and prints which.
set -euo pipefail

symbols=$(nm -DC --defined-only "$1" | sed 's/^[0-9a-f]* . //')
grep -q '^Orvex::orvexRootSmFactory(' <<<"$symbols"
! grep -vE '^(|.* (for|to) )(Brae|Kiv|Orvex|Vell)::' <<<"$symbols"

#!/usr/bin/env bash
# Soaks the compiler, the chip and the prover, mode by mode. Argument: how many times as many cases (1), and the seed (1):
# scripts/soak.sh 10 7
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/dependencies.sh
times=${1:-1}
seed=${2:-1}

# mode and cases
modes="
equiv 20000
edits 800
packets 1000
faults 2000
exhaustive 60000
metamorphic 4000
roundtrip 10000
exhaustion 1000
judge 100
handshake 4300
kill 240
"

require_packages "${build_packages[@]}" >&2
build_preset release orvex-soak >&2
while read -r mode cases; do
  [ -z "$mode" ] ||
    step "soak: $mode" build/release/soak/orvex-soak "$mode" --count $((cases * times)) --seed "$seed" --jobs "$(nproc)"
done <<<"$modes"

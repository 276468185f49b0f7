#!/usr/bin/env bash
# Soaks the compiler, the chip and the prover with random cases: 20,000 policies and 20,000 edits proved, 10,000,000 packets,
# 2,000 broken tables. Argument: how many times as many (1), and the seed (1): scripts/soak.sh 10 7
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/dependencies.sh
times=${1:-1}
seed=${2:-1}

require_packages "${build_packages[@]}" >&2
build_preset release orvex-soak >&2
soak() { step "soak: $1" build/release/soak/orvex-soak "$1" --count $(($2 * times)) --seed "$seed" --jobs "$(nproc)"; }

soak equiv 20000
soak edits 800
soak packets 1000
soak faults 2000

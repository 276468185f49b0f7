#!/usr/bin/env bash
# Builds the project. Once there is a command that compiles policies, this runs it on the examples.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/dependencies.sh

require_packages "${build_packages[@]}"
build_preset release
echo "Built build/release/libOrvex.so. There is no command to run yet; scripts/test.sh shows what the library does."

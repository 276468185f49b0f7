#!/usr/bin/env bash
# Builds the project and runs its whole test suite. Arguments go to ctest: scripts/test.sh -R RangeSplit
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/dependencies.sh

require_packages "${build_packages[@]}"
build_preset release
ctest --preset release --no-tests=error -j "$(nproc)" "$@"

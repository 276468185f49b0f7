#!/usr/bin/env bash
# Builds the Debian packages into build/packages, checks them, and prints their names.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/dependencies.sh

require_packages "${build_packages[@]}" "${package_packages[@]}" >&2
rm -f build/packages/*.deb
build_preset packages >&2
(cd build/packages && cpack) >&2
tests/package/debian.sh build/packages build/packages/check g++ >&2
# CPack calls ldconfig in the library's scripts, besides the trigger that does.
lintian --allow-root --fail-on error,warning --suppress-tags maintscript-calls-ldconfig \
  build/packages/*.deb >&2
ls build/packages/*.deb

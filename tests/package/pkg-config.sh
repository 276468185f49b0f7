#!/usr/bin/env bash
# pkg-config.sh PKGCONFIG_DIR PROGRAM COMPILER [FLAG...]: builds main.cpp with what pkg-config says, and runs it. Ends with 77
# where there is no pkg-config.
set -euo pipefail
command -v pkg-config >/dev/null || exit 77

export PKG_CONFIG_PATH=$1
program=$2
shift 2
read -ra package <<<"$(pkg-config --cflags --libs orvex)"
"$@" -std=c++20 -pthread "$(dirname "$0")/main.cpp" -o "$program" "${package[@]}"
LD_LIBRARY_PATH=$(pkg-config --variable=libdir orvex) "$program"

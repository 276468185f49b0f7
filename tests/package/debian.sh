#!/usr/bin/env bash
# debian.sh PACKAGE_DIR WORK_DIR COMPILER: unpacks the Debian packages of PACKAGE_DIR into a directory that they were not made
# for, and fails unless each holds what it should and an outside program builds and runs against them there.
set -euo pipefail
packages=$(realpath "$1") work=$(realpath -m "$2") compiler=$3
tests=$(cd "$(dirname "$0")" && pwd)

fail() { echo "$1" >&2 && exit 1; }
# holds PACKAGE PATTERN...: its files, each pattern's at least one.
holds() {
  local package=$1 files pattern
  shift
  files=$(dpkg-deb --fsys-tarfile "$packages/$package"_*.deb | tar -t)
  for pattern in "$@"; do grep -qE "^\./usr/$pattern\$" <<<"$files" || fail "$package does not hold $pattern"; done
}

holds liborvex0.1 'lib/.*libOrvex\.so\.0\.1' 'lib/.*libOrvex\.so\.0\.1\.[0-9]+' 'share/doc/liborvex0\.1/copyright'
holds liborvex-dev 'lib/.*libOrvex\.so' 'lib/.*/orvex\.pc' 'lib/.*/OrvexConfig\.cmake' 'include/orvex/Orvex/OrvexRootSm\.h' \
  'include/orvex/Kiv/Ptr\.h' 'share/doc/orvex/docs/embedding\.md' 'share/doc/orvex/examples/driver/Driver\.cpp'
holds orvex bin/orvex 'share/bash-completion/completions/orvex' 'share/zsh/.*/_orvex' \
  'share/fish/vendor_completions\.d/orvex\.fish' 'share/doc/orvex/docs/guide\.md' 'share/doc/orvex/examples/edge\.acl'

rm -rf "$work"
mkdir -p "$work/root"
for package in "$packages"/*.deb; do
  depends=$(dpkg-deb -f "$package" Depends)
  [[ $package == */liborvex0.1_* || $depends == "liborvex0.1 (= "* ]] || fail "$package depends on another library: $depends"
  dpkg-deb -x "$package" "$work/root"
done
usr=$work/root/usr
library_dir=$(dirname "$(find "$usr/lib" -name libOrvex.so)")
[ -z "$(find "$usr" -name '*.a')" ] || fail "a static library is installed"
if grep -rlF "$(dirname "$(dirname "$tests")")" "$usr"; then fail "these files name the build's directory"; fi

# A manual page a command, without a complaint from the formatter.
export LD_LIBRARY_PATH=$library_dir
"$usr/bin/orvex" compile "$usr/share/doc/orvex/examples/edge.acl" -q >/dev/null
if [ -d "$usr/share/man" ] && command -v man >/dev/null; then
  for command in "" $("$usr/bin/orvex" --help | sed -n '/^Commands:/,/^$/s/^  \([a-z]*\) .*/-\1/p'); do
    complaints=$(MANWIDTH=100 man --warnings -l "$usr/share/man/man1/orvex$command.1.gz" 2>&1 >/dev/null) || true
    [ -z "$complaints" ] || fail "orvex$command(1): $complaints"
  done
fi

pkg_config_dir=$library_dir/pkgconfig
if command -v pkg-config >/dev/null; then
  "$tests/pkg-config.sh" "$pkg_config_dir" "$work/pkg_config_program" "$compiler"
fi
unset LD_LIBRARY_PATH
cmake -S "$tests" -B "$work/build" -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_PREFIX_PATH="$usr" >/dev/null
cmake --build "$work/build" >/dev/null
"$work/build/package_program"
grep -qF "$usr" <<<"$(ldd "$work/build/package_program")" || fail "the program does not use the unpacked library"

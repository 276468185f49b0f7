#!/usr/bin/env bash
# Installs the packages of scripts/package.sh into an empty Debian 12, made for this, and runs the guide there: every command
# has to print what the guide shows. Needs root, and the apt sources of this machine.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/dependencies.sh

require_packages mmdebstrap python3 >&2
scripts/package.sh
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
system=$work/debian

# The sources of the distribution itself; other repositories have nothing that a package may need.
sources=(/etc/apt/sources.list.d/debian.sources)
[ -e "${sources[0]}" ] || sources=(/etc/apt/sources.list)
mmdebstrap --variant=minbase --quiet bookworm "$system" "${sources[@]}"

cp build/packages/*.deb "$system/tmp/"
in_system() { env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin DEBIAN_FRONTEND=noninteractive chroot "$system" "$@"; }
in_system bash -c 'apt-get update -qq && apt-get install -y -qq --no-install-recommends /tmp/*.deb >/tmp/install.log 2>&1 ||
  { cat /tmp/install.log; exit 1; }'
in_system bash -c 'mkdir /srv/guide && cp -r /usr/share/doc/orvex/examples /srv/guide'
tests/examples/documented-commands.py "$system/usr/share/doc/orvex/docs/guide.md" /srv/guide --shell "chroot $system /bin/bash"
in_system bash -c 'apt-get purge -y -qq orvex liborvex-dev liborvex0.1 >/dev/null 2>&1 && ! find /usr -iname "*orvex*" | grep .'

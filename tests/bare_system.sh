#!/usr/bin/env bash
# Installs the packages in the folder PACKAGES with apt-get in a bare Debian system, made for that and removed again, builds
# README's first call against them, and converts records: bare_system.sh PACKAGES, as root.
set -euo pipefail
cd "$(dirname "$0")/.."

packages=$1
system=$(mktemp -d)
trap 'rm -rf --one-file-system "$system"' EXIT

inside() {
    chroot "$system" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin DEBIAN_FRONTEND=noninteractive "$@"
}

# Runs a command without its output, which is shown only if the command fails.
quietly() {
    "$@" > "$system/log" 2>&1 || {
        cat "$system/log" >&2
        exit 1
    }
}

quietly debootstrap --variant=minbase "$(. /etc/os-release && echo "$VERSION_CODENAME")" "$system"
cp "$packages"/{libzemt2,libzemt-dev,zemt-tools}_*.deb "$system/tmp"
cp tools/recordcsv/sample/cities.{layout,csv} "$system/tmp"
sed -n '/^```c$/,/^```$/{//!p}' README.md > "$system/tmp/first_call.c"

quietly inside sh -c 'apt-get install -y --no-install-recommends gcc libc6-dev pkg-config /tmp/*.deb'
quietly inside sh -c 'cc /tmp/first_call.c -o /tmp/first_call $(pkg-config --cflags --libs zemt)'
[[ $(inside /tmp/first_call) == "year 2024, month 1, day 15, 13:45:30" ]]
echo "ok: the first call, built against the packages"
inside sh -ec 'cd /tmp && recordcsv from-csv cities.layout cities.csv records && recordcsv to-csv cities.layout records | cmp - cities.csv'
echo "ok: recordcsv from its package, there and back"
quietly inside apt-get purge -y libzemt2 libzemt-dev zemt-tools
[[ -z $(inside find / -xdev -name '*zemt*' -not -path '/tmp/*' -not -path '/var/*') ]]
echo "ok: nothing is left when the packages are removed"

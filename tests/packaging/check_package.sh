#!/usr/bin/env bash
# The Debian package installs into a scratch root, its command reads a clip there, and nothing is left behind
# when it is removed. lintian has nothing to object to but that no bug asked for the first upload. Argument: build
# directory.
set -euo pipefail

build=$1
as_root=()
[ "$(id -u)" -eq 0 ] || as_root=(fakeroot)
for program in dpkg-deb dpkg-shlibdeps file lintian "${as_root[@]}"; do
    command -v "$program" >/dev/null || { echo "$program is missing"; exit 1; }
done
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

cpack --config "$build/CPackConfig.cmake" -B "$work/package" >"$work/cpack.log" 2>&1 ||
    { cat "$work/cpack.log"; exit 1; }
package=$(find "$work/package" -maxdepth 1 -name 'krw_*.deb')
dpkg-deb --field "$package" Package Version Architecture Depends

objections=$(lintian --allow-root --fail-on none "$work/package/"*.deb 2>&1 | grep -v ' initial-upload-closes-no-bugs ' || true)
[ -z "$objections" ] || { echo "$objections"; exit 1; }

root=$work/root
mkdir -p "$root/var/lib/dpkg/info" "$root/var/lib/dpkg/updates"
touch "$root/var/lib/dpkg/status"
in_root() {
    "${as_root[@]}" dpkg --root="$root" --log=/dev/null --force-not-root \
        --force-depends "$@" >"$work/dpkg.log" 2>&1 ||
        { cat "$work/dpkg.log"; return 1; }
}
in_root --install "$package"
env -u KRW_PLUGIN -u LD_LIBRARY_PATH "$root/usr/bin/krw" synth "$work/clip.krw" --size 64x48 --frames 2
env -u KRW_PLUGIN -u LD_LIBRARY_PATH "$root/usr/bin/krw" verify "$work/clip.krw"

in_root --purge krw
left=$(find "$root" -path "$root/var/lib/dpkg" -prune -o \( -type f -o -type l \) -print)
[ -z "$left" ] || { echo "left behind: $left"; exit 1; }
left=$(find "$root/usr" -name '*krw*' 2>/dev/null || true)
[ -z "$left" ] || { echo "left behind: $left"; exit 1; }

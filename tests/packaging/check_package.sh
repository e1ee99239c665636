#!/usr/bin/env bash
# The Debian packages install into a scratch root, the command reads a clip there, OpenImageIO's programs do so with the
# adapter, and nothing is left behind when the packages are removed. lintian has nothing to object to but that no bug
# asked for the first upload. Arguments: build directory, and ON when the adapter for OpenImageIO is built.
set -euo pipefail

build=$1 adapter=$2
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
dpkg-deb --field "$package" Package Version Architecture Depends Recommends

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

if [ "$adapter" = ON ]; then
    package=$(find "$work/package" -maxdepth 1 -name 'krw-openimageio_*.deb')
    dpkg-deb --field "$package" Package Version Architecture Depends | tee "$work/fields"
    grep '^Depends:' "$work/fields" | grep -F 'krw (= ' | grep -qF libopenimageio
    in_root --install "$package"
    "$root/usr/bin/krw" -q synth "$work/A001.krw" --size 256x128 --frames 24
    "$root/usr/bin/krw" -q export "$work/A001.krw" -o "$work" --format tiff --frames 12
    (
        cd "$work"
        export OIIO_LIBRARY_PATH=$root/usr/lib/krw/openimageio
        unset KRW_PLUGIN LD_LIBRARY_PATH
        oiiotool A001.krw --subimage 12 -o frame.exr
        idiff -fail 1e-4 -warn 1e-4 frame.exr A001_000012.tiff
        # Debian's modules belong to Debian's Python. The examples are those of the installed page.
        sed 's/A001C003.krw/A001.krw/' "$root/usr/share/doc/krw-openimageio/openimageio.md" |
            awk '/^```python$/ { inside = 1; next } /^```$/ { inside = 0 } inside { print }' >example.py
        /usr/bin/python3 example.py >values
        [ "$(wc -l <values)" -eq 28 ] || { cat values; exit 1; }
    )
    in_root --purge krw-openimageio
fi

in_root --purge krw
left=$(find "$root" -path "$root/var/lib/dpkg" -prune -o \( -type f -o -type l \) -print)
[ -z "$left" ] || { echo "left behind: $left"; exit 1; }
left=$(find "$root/usr" -name '*krw*' 2>/dev/null || true)
[ -z "$left" ] || { echo "left behind: $left"; exit 1; }

#!/usr/bin/env bash
# check_mount.sh KRW PAGE: runs every command of PAGE (docs/mount.md) with real mounts, and looks at mounted clips with
# the programs that people use.
set -euo pipefail
krw=$1
page=$2
for program in fusermount3 mountpoint rsync exiftool ffmpeg dcraw_emu gdk-pixbuf-thumbnailer; do
    command -v $program >/dev/null || { echo "$program is missing"; exit 1; }
done
[ -c /dev/fuse ] || { echo "/dev/fuse is missing"; exit 1; }
work=$(mktemp -d)
cd "$work"
mkdir mnt cards out
trap 'fusermount3 -uzq mnt || true; cd /; rm -rf "$work"' EXIT
PATH=$(dirname "$krw"):$PATH

fail() { echo "$*"; exit 1; }
# unmounted SECONDS: the mount ends within that time.
unmounted() {
    for ((i = 0; i < 10 * $1; i++)); do
        mountpoint -q mnt || return 0
        sleep 0.1
    done
    fail "the mount does not end"
}
# ends PROCESS: the process ends, which may be no child.
ends() {
    for ((i = 0; i < 300; i++)); do
        kill -0 "$1" 2>/dev/null || return 0
        sleep 0.1
    done
    fail "process $1 does not end"
}

krw -q synth A001C003.krw --size 512x256 --frames 24 --fps 23.976 --side-car sony
ln A001C003* cards/
krw -q synth cards/B.krw --size 512x256 --frames 6 --no-trailer

awk '/^```sh$/ { inside = 1; name = sprintf("recipe-%02d", ++count); next } /^```$/ { inside = 0 } inside { print > name }' "$page"
recipes=(recipe-*)
[ ${#recipes[@]} -eq 4 ] || fail "$page: ${#recipes[@]} commands, 4 expected"
for recipe in "${recipes[@]}"; do
    bash -euo pipefail "$recipe" >"$recipe.out" 2>err </dev/null || { cat "$recipe" err; fail "fails"; }
    [ ! -s err ] || { cat "$recipe" err; fail "complains"; }
    unmounted 10
done
[ "$(wc -l <recipe-01.out)" = 26 ] || fail "24 frames, a report and a sheet are expected"
grep -q '^mnt/B/B_000000.dng$' recipe-02.out || fail "find does not find"
diff -r copy mirror
grep -q 'Time Codes' recipe-04.out || fail "exiftool does not read the timecode"

# The bytes of an export, of the report, of the sheet.
log=$work/log
mounted() {
    krw mount "$@" mnt -f 2>"$log" &
    daemon=$!
    for ((i = 0; i < 100; i++)); do mountpoint -q mnt && return 0; sleep 0.1; done
    cat "$log"
    fail "no mount"
}
for clip in A001C003 B; do krw -q export cards/$clip.krw -o exported/$clip --compression none; done
mounted cards
for clip in A001C003 B; do
    for file in exported/$clip/*.dng; do cmp "$file" "mnt/$clip/$(basename "$file")"; done
    cmp <(jq . "mnt/$clip/$clip.json") <(krw info --json "$work/cards/$clip.krw" | jq "del(.frameTable)")
    krw sheet cards/$clip.krw -o sheet_$clip.png
    cmp "mnt/$clip/$clip.png" sheet_$clip.png
    [ "$(stat -c %Y mnt/$clip/${clip}_000003.dng)" = "$(stat -c %Y cards/$clip.krw)" ] || fail "not the clip's time"
done
[ "$(du -s --apparent-size --block-size=1 mnt/B | cut -f1)" -gt $((6 * 512 * 256 * 2)) ] || fail "du"
[ "$(find mnt -type f -size +1k | wc -l)" = $((24 + 6 + 4)) ] || fail "find -size"

# Other people's readers.
dcraw_emu -T -Z out/raw.tiff mnt/B/B_000002.dng
[ -s out/raw.tiff ] || fail "LibRaw"
exiftool -q -q -validate -warning -error mnt/B/*.dng exported/B/*.dng >out/exif
[ "$(sort out/exif | uniq -c | awk '{ print $1 % 2 }' | sort -u)" != 1 ] || { cat out/exif; fail "exiftool"; }
gdk-pixbuf-thumbnailer -s 128 mnt/B/B.png out/thumbnail.png
file out/thumbnail.png | grep -q 'PNG image data, 128 x' || fail "thumbnailer"

# Programs that map files, and programs that read row by row: so many small reads change how files are opened next.
for round in 1 2; do
    for file in exported/A001C003/*.dng; do
        python3 -c 'import mmap, sys; sys.stdout.buffer.write(mmap.mmap(sys.stdin.fileno(), 0, access=mmap.ACCESS_READ))' \
            <"mnt/A001C003/$(basename "$file")" | cmp - "$file"
        dd if="mnt/A001C003/$(basename "$file")" bs=1024 status=none | cmp - "$file"
    done
done

# A proxy of the mounted clip and one of the stream. FFmpeg brings the samples of a DNG to 16 bits by black and white
# level, in single precision; the stream's get the same here.
cat >levels.py <<'END'
import array, struct, sys
single = lambda x: struct.unpack("f", struct.pack("f", x))[0]
scale = single(1 / single(4095 - 256))
levels = [int(min(max(single(single(single(v - 256) * scale) * 65535), 0), 65535)) for v in range(65536)]
samples = array.array("H", sys.stdin.buffer.read())
sys.stdout.buffer.write(array.array("H", [levels[v] for v in samples]))
END
ffmpeg -v error -framerate 24000/1001 -i mnt/A001C003/A001C003_%06d.dng -c:v libx264 -pix_fmt yuv420p out/mounted.mov
krw stream cards/A001C003.krw --as mosaic | python3 levels.py |
    ffmpeg -v error -f rawvideo -pixel_format bayer_grbg16le -video_size 512x256 -framerate 24000/1001 -i - \
        -c:v libx264 -pix_fmt yuv420p out/streamed.mov
for proxy in mounted streamed; do ffmpeg -v error -i out/$proxy.mov -f framemd5 out/$proxy.md5; done
cmp out/mounted.md5 out/streamed.md5
[ "$(grep -vc '^#' out/mounted.md5)" = 24 ] || fail "24 frames are expected"

# Nothing can be written.
for write in 'echo > mnt/B/new' 'echo > mnt/B/B.json' 'rm -f mnt/B/B_000000.dng' 'mkdir mnt/new' 'touch -c mnt/B' 'mv mnt/B mnt/C'; do
    bash -c "$write" 2>out/complaint && fail "$write: succeeds"
    grep -q 'Read-only file system' out/complaint || { cat out/complaint; fail "$write: no EROFS"; }
done

# Clips come and go. The kernel asks again after a second.
cp cards/B.krw cards/D.krw
ls mnt | grep -qx D || fail "D is not noticed"
exec 5<mnt/D/D_000004.dng
rm cards/D.krw
sleep 1.2
[ ! -e mnt/D ] || fail "D is still there"
if cat <&5 >/dev/null 2>out/complaint; then fail "D can be read"; fi
exec 5<&-
[ "$(ls mnt | tr '\n' ' ')" = 'A001C003 B ' ] || fail "not what is in the source"
kill -TERM $daemon
wait $daemon || fail "status $? after SIGTERM"
unmounted 1

# Frames that are not there; a cache that is smaller than a clip; readers at once; the end while they read.
krw -q synth cards/broken.krw --size 2048x1080 --frames 30
printf 'XXXX' | dd of=cards/broken.krw bs=1 seek=$(($(stat -c %s cards/broken.krw) * 2 / 3)) conv=notrunc status=none
size=$(stat -c %s cards/broken.krw)
truncate -s $((size * 3 / 4)) cards/broken.krw
krw -q synth cards/large.krw --size 2048x1080 --frames 30
mounted cards --cache 32M --jobs 2
: >out/sums
for ((reader = 0; reader < 4; reader++)); do
    (cat mnt/large/*.dng | md5sum >>out/sums) &
    readers[reader]=$!
done
wait "${readers[@]}"
[ "$(sort -u out/sums | wc -l)" = 1 ] || fail "the readers got different bytes"
krw -q export cards/large.krw -o exported/large --compression none
[ "$(cat exported/large/*.dng | md5sum)" = "$(head -1 out/sums)" ] || fail "not the exported bytes"
# Beside the cache: the program itself, the workers' planes, the requests' buffers. The sanitizers have more.
peak=$(awk '/VmHWM/ { print $2 }' /proc/$daemon/status)
nm "$krw" | grep __asan_init >/dev/null || [ "$peak" -lt $((96 * 1024)) ] || fail "$peak KiB with a cache of 32 MiB"
for file in mnt/broken/*.dng; do cat "$file" >/dev/null 2>>out/errors || true; done
(while cat mnt/large/*.dng; do :; done >/dev/null 2>&1; true) &
reader=$!
sleep 0.3
fusermount3 -uz mnt
ends $daemon
wait $reader

# A daemon leaves nothing of its caller open, and says where it cannot mount.
bash -c "krw mount cards mnt" | cat
[ -e mnt/B/B_000000.dng ] || fail "no daemon"
fusermount3 -u mnt
for wrong in 'cards cards' 'cards cards/B.krw' 'nothing mnt' "$page mnt" 'cards nowhere'; do
    if krw mount $wrong 2>out/complaint; then fail "krw mount $wrong: succeeds"; fi
    [ "$(grep -c '^krw: ' out/complaint)" = 1 ] || { cat out/complaint; fail "krw mount $wrong: no reason"; }
done
echo "mounted clips are folders that programs use"

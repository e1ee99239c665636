#!/usr/bin/env bash
# check_programs.sh KRW ADAPTER-DIRECTORY PAGE: runs every command of PAGE (docs/openimageio.md) with OpenImageIO's own
# programs on a small clip, and holds what comes out against exports.
set -euo pipefail
krw=$1
page=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
export OIIO_LIBRARY_PATH=$2
unset KRW_PLUGIN

"$krw" -q synth A001C003.krw --size 512x256 --frames 24 --fps 23.976 --side-car sony

awk '/^```(sh|python)$/ { inside = 1; name = sprintf("recipe-%02d.%s", ++count, substr($0, 4)); next }
    /^```$/ { inside = 0 } inside { print > name }' "$page"
recipes=(recipe-*)
[ ${#recipes[@]} -eq 6 ] || { echo "$page: ${#recipes[@]} blocks, 6 expected"; exit 1; }
for recipe in "${recipes[@]}"; do
    case $recipe in
    *.sh) run=(bash -euo pipefail) ;;
    *.python) run=(/usr/bin/python3) ;; # whose modules Debian's packages are
    esac
    "${run[@]}" "$recipe" >"$recipe.out" 2>err </dev/null || { echo "fails:"; cat "$recipe" err; exit 1; }
    [ ! -s err ] || { echo "complains:"; cat "$recipe" err; exit 1; }
done

# expect FILE WORDS...: a file's description has these lines.
expect() {
    local line
    iinfo -v "$1" >described
    for line in "${@:2}"; do
        grep -qF -- "$line" described || { echo "$1: no \"$line\" in"; cat described; exit 1; }
    done
}
expect A001C003.krw 'A001C003.krw :  512 x  256, 1 channel, uint16 krw' '24 subimages' 'oiio:Movie: 1' \
    'FramesPerSecond: 24000/1001' 'smpte:TimeCode: 01:00:00:00' 'Make: "Sony"' 'Model: "CAM-1"' \
    'Exif:BodySerialNumber: "S042"' 'Exif:ISOSpeedRatings: 800' 'DateTime: "2017:05:06 10:20:30"' 'krw:Reel: "A001"' \
    'krw:Scene: "12"' 'krw:Take: "3"' 'krw:BlackLevel: 256' 'krw:WhiteLevel: 4095' 'raw:FilterPattern: "GRBG"'
grep -q 'A001C003.krw *:  512 x  256, 1 channel, uint16 krw (24 subimages)' recipe-01.sh.out

# Mosaics are those of an export, bit for bit; developed pictures are those of `krw frame`.
"$krw" -q export A001C003.krw -o tiff --format tiff --frames 12
for frame in frame.exr frame.tif checked.tif; do
    idiff -fail 0 -warn 0 "$frame" tiff/A001C003_000012.tiff
done
expect frame.exr 'smpte:TimeCode: 01:00:00:12' 'FramesPerSecond: 24000/1001'
expect frame.tif 'FNumber: 2.8' 'Exif:BodySerialNumber: "S042"'
[ "$(ls A001C003.*.exr | wc -l)" -eq 8 ]
expect A001C003.0015.exr '256 x  128, 3 channel, half openexr' 'smpte:TimeCode: 01:00:00:15'
"$krw" -q frame A001C003.krw 12 -o frame.png
oiiotool --iconfig krw:develop 1 A001C003.krw --subimage 12 -d uint8 -o developed.png
idiff -fail 0.004 -warn 0.004 frame.png developed.png
expect sheet.png '976 x  328, 3 channel, uint8 png'

# Histograms in the order of the planes, all samples counted; a line for each frame.
awk 'NF != 17 { exit 1 } { sum = 0; for (i = 2; i <= 17; ++i) sum += $i; if (sum != 128 * 256) exit 1; names = names $1 }
    END { exit names != "GRBG" }' recipe-05.python.out
[ "$(wc -l <recipe-06.python.out)" -eq 24 ]

# A damaged frame is an error of the program, with the frame and the reason; a hint delivers it.
cp A001C003.krw spoilt.krw
head -c 4000 /dev/zero | dd of=spoilt.krw bs=1 seek=$(($(stat -c %s spoilt.krw) * 2 / 3 + 30000)) conv=notrunc status=none
frame=$("$krw" verify -q spoilt.krw 2>/dev/null | awk '/damaged/ { print $1 }' || true)
if oiiotool --iconfig krw:frame "$frame" spoilt.krw -o none.tif >out 2>&1; then echo "a damaged frame is read"; exit 1; fi
grep -q "spoilt.krw: frame $frame: damaged: plane " out || { cat out; exit 1; }
oiiotool --iconfig krw:frame "$frame" --iconfig krw:damaged 1 spoilt.krw -o damaged.tif
echo "all ${#recipes[@]} blocks of $page do what it says"

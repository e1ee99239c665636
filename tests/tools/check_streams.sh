#!/usr/bin/env bash
# check_streams.sh KRW PAGE: runs every command of PAGE (docs/streams.md) on a small clip, and looks at what
# came out with ffprobe.
set -euo pipefail
krw=$1
page=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
PATH=$(dirname "$krw"):$PATH
export SDL_VIDEODRIVER=dummy SDL_AUDIODRIVER=dummy # ffplay without a display

krw -q synth A001C003.krw --size 512x256 --frames 24 --fps 23.976 --side-car sony
ffmpeg -v error -f lavfi -i sine=duration=1 A001C003.wav

awk '/^```sh$/ { inside = 1; name = sprintf("recipe-%02d", ++count); next } /^```$/ { inside = 0 } inside { print > name }' "$page"
recipes=(recipe-*)
[ ${#recipes[@]} -eq 7 ] || { echo "$page: ${#recipes[@]} commands, 7 expected"; exit 1; }
for recipe in "${recipes[@]}"; do
    bash -euo pipefail "$recipe" >out 2>err </dev/null || { echo "fails:"; cat "$recipe" err; exit 1; }
    [ ! -s err ] || { echo "complains:"; cat "$recipe" err; exit 1; }
done

# expect FILE PROBE-ARGUMENTS EXPECTED: one value of a file.
expect() {
    local found
    found=$(ffprobe -v error ${*:2:$#-2} -of csv=p=0 "$1" | tr '\n' ' ')
    [ "$found" = "${*: -1} " ] || { echo "$1: ${*:2:$#-2} gives \"$found\", expected \"${*: -1}\""; exit 1; }
}
timecode=$(krw verify -q A001C003.krw --frames 0 | awk '{ print $2 }')
for file in A001C003_h264.mov A001C003_prores.mov; do
    expect $file -count_frames -select_streams v -show_entries stream=nb_read_frames 24
    expect $file -select_streams v -show_entries stream=r_frame_rate 24000/1001
    expect $file -select_streams v -show_entries stream=color_range,color_space,color_transfer,color_primaries tv,bt709,bt709,bt709
    expect $file -select_streams d -show_entries stream_tags=timecode "$timecode"
    expect $file -select_streams d -show_entries stream_tags=reel_name A001
done
expect A001C003_h264.mov -select_streams v -show_entries stream=codec_name,width,height,pix_fmt h264,256,128,yuv420p
expect A001C003_prores.mov -select_streams v -show_entries stream=codec_name,width,height,pix_fmt prores,256,128,yuv422p10le
expect A001C003_prores.mov -select_streams a -show_entries stream=codec_name pcm_s24le
expect A001C003_part.mov -count_frames -select_streams v -show_entries stream=nb_read_frames 8
expect A001C003_part.mov -select_streams d -show_entries stream_tags=timecode "$(krw verify -q A001C003.krw --frames 12 | awk '{ print $2 }')"
expect A001C003_scrub.mp4 -select_streams v -show_entries stream=width,height 640,320
ffprobe -v error -show_entries frame=key_frame A001C003_scrub.mp4 >frames
[ "$(grep -c key_frame=1 frames)" = 24 ] || { echo "A001C003_scrub.mp4: not all frames are key frames"; exit 1; }
expect A001C003_poster.jpg -show_entries stream=codec_name,width,height mjpeg,256,128
expect A001C003_mosaic.mkv -count_frames -show_entries stream=codec_name,width,height,pix_fmt,nb_read_frames ffv1,512,256,gray16le,24

# The lossless copy holds the mosaics that an export holds.
krw -q export A001C003.krw -o pgm --format pgm
ffmpeg -v error -i A001C003_mosaic.mkv -f rawvideo copied.raw
ffmpeg -v error -framerate 24000/1001 -i pgm/A001C003_%06d.pgm -pix_fmt gray16le -f rawvideo exported.raw
cmp copied.raw exported.raw
echo "all ${#recipes[@]} commands of $page do what it says"

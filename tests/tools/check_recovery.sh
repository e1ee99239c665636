#!/usr/bin/env bash
# check_recovery.sh KRW PAGE [update]: breaks clips in the ways that PAGE (docs/recovery.md) describes, runs every command
# of the page and compares what is printed with what the page says. `update` writes what is printed into the page.
set -euo pipefail
krw=$1
page=$(realpath "$2")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
PATH=$(dirname "$krw"):$PATH:/usr/sbin

# wipe FILE FIRST COUNT: zeros over a part of a file. With a fourth argument, that file's bytes instead.
wipe() { dd if="${4:-/dev/zero}" of="$1" bs=1 seek="$2" count="$3" conv=notrunc status=none; }

krw -q synth A001C003.krw --size 512x256 --frames 20
krw -q synth A001C004.krw --size 512x256 --frames 12 --fps 50
size=$(stat -c %s A001C003.krw)

cp A001C003.krw torn.krw && wipe torn.krw 1000000 65536
head -c $(((size - 1) / 4096 * 4096)) A001C003.krw >wiped.krw && wipe wiped.krw 986909 80000
head -c 1500000 A001C003.krw >cut.krw
cp A001C003.krw wrong_trailer.krw && wipe wrong_trailer.krw $(((size - 1) / 4096 * 4096 + 4)) 4 <(printf '\377\377\377\377')
cp A001C003.krw no_header.krw && wipe no_header.krw 0 2000
tail -c 1200000 A001C003.krw >tail.krw
split -b 700000 -d A001C003.krw fragment
mv fragment00 begin.part && mv fragment01 middle.part && mv fragment02 end.part

# A card with both clips, of which the first is deleted.
truncate -s 40M card.img
mkfs.fat -F 16 -s 8 -i 12345678 card.img >mkfs.log 2>&1

mcopy -i card.img A001C003.krw A001C004.krw ::
mdel -i card.img ::A001C003.krw
rm A001C003.krw A001C004.krw

# Standard output and standard error of each line that begins with "$ ", in place of what the page has there.
while IFS= read -r line; do
    case $line in
    '```console') inside=1; printf '%s\n' "$line" ;;
    '```') unset inside; printf '%s\n' "$line" ;;
    '$ '*) printf '%s\n' "$line"; [ -z "${inside:-}" ] || bash -c "${line#\$ }" 2>&1 </dev/null || true ;;
    *) [ -n "${inside:-}" ] || printf '%s\n' "$line" ;;
    esac
done <"$page" >printed
if [ "${3:-}" = update ]; then cp printed "$page"; exit; fi
diff "$page" printed || { echo "$page: does not say what is printed"; exit 1; }
echo "all commands of $page print what it says"

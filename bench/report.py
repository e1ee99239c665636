#!/usr/bin/env python3
"""Makes a table and a bar chart of a run of krw_bench: report.py RESULT.json MACHINE OUT.md OUT.svg

Each figure is the fastest of the run's repetitions in processor time: what else runs on the machine can only add.
"""
import json
import sys
from xml.sax.saxutils import escape

DECODERS = [  # subject, title, note
    ("picture", "picture decoder"),
    ("read", "whole Read, page cache"),
    ("openimageio", "the same frame through OpenImageIO"),
    ("planes_known", "plane after plane, length known"),
    ("planes_bytewise", "plane after plane, byte-wise"),
    ("read_bytewise", "whole Read, plane after plane, byte-wise"),
    ("ffmpeg", "FFmpeg, lossless-JPEG DNG"),
    ("libraw", "LibRaw, lossless-JPEG DNG"),
    ("interleave", "interleaving alone"),
    ("memcpy", "memcpy of the picture"),
]
ENCODERS = [
    ("encode", "lossless JPEG"),
    ("encode_ffmpeg", "FFmpeg, lossless JPEG of 8-bit samples"),
]
EXPORTS = [
    ("read_and_write", "whole Read, and a bare write of an uncompressed DNG's bytes"),
    ("export_none", "export, uncompressed DNG"),
    ("export_lossless", "export, lossless DNG"),
]
RATIOS = [  # numerator (the slower), denominator
    ("planes_bytewise", "picture"),
    ("ffmpeg", "picture"),
    ("libraw", "picture"),
    ("read_bytewise", "read"),
    ("planes_bytewise", "planes_known"),
]
CLIP = [
    ("table_load", "load a stored frame table, 100,000 records"),
    ("table_rebuild", "rebuild it from the records"),
    ("open", "open and close that clip"),
    ("probe", "probe it"),
    ("file_read", "read a file of 40 frames, page cache"),
    ("file_scan", "look for frame records in it"),
]
UNITS = {"ns": 1e-9, "us": 1e-6, "ms": 1e-3, "s": 1.0}


def fastest(result):
    """{(subject, image): (seconds, samples, bits a sample)}"""
    best = {}
    for run in result["benchmarks"]:
        if run["run_type"] != "iteration":
            continue
        subject, _, image = run["run_name"].partition("/")
        seconds = run["cpu_time"] * UNITS[run["time_unit"]]
        samples = run.get("items_per_second", 0) * seconds
        key = (subject, image)
        if key not in best or seconds < best[key][0]:
            best[key] = (seconds, samples, run.get("bits_per_sample", 0))
    return best


def speed(best, subject, image):
    seconds, samples, _ = best[subject, image]
    return samples / seconds / 1e6


def table(best, images, machine):
    titles = dict(DECODERS)
    head = [f"{image} ({best['picture', image][2]:.1f})" for image in images]
    lines = [machine, "", "Million samples a second; in brackets, bits a sample.", ""]
    lines += ["| | " + " | ".join(head) + " |", "|---|" + "---:|" * len(images)]
    for subject, title in DECODERS:
        lines.append(f"| {title} | " + " | ".join(f"{speed(best, subject, i):,.0f}" for i in images) + " |")
    lines += ["", "Times as fast.", "", "| | " + " | ".join(head) + " |", "|---|" + "---:|" * len(images)]
    for slow, fast in RATIOS:
        cells = [f"{best[slow, i][0] / best[fast, i][0]:.2f}" for i in images]
        lines.append(f"| {titles[fast]} : {titles[slow]} | " + " | ".join(cells) + " |")
    outside = [f"{100 * (1 - best['picture', i][0] / best['read', i][0]):.0f} %" for i in images]
    lines.append("| part of a Read outside decoding | " + " | ".join(outside) + " |")

    through = [f"{100 * best['read', i][0] / best['openimageio', i][0]:.0f} %" for i in images]
    lines.append("| speed through OpenImageIO, in parts of a Read's | " + " | ".join(through) + " |")

    lines += ["", "Encoders, million samples a second.", "", "| | " + " | ".join(head) + " |",
              "|---|" + "---:|" * len(images)]
    for subject, title in ENCODERS:
        lines.append(f"| {title} | " + " | ".join(f"{speed(best, subject, i):,.0f}" for i in images) + " |")

    lines += ["", "Exports of one frame into memory, milliseconds of processor time.", "",
              "| | " + " | ".join(head) + " |", "|---|" + "---:|" * len(images)]
    for subject, title in EXPORTS:
        lines.append(f"| {title} | " + " | ".join(f"{best[subject, i][0] * 1e3:.1f}" for i in images) + " |")

    lines += ["", "Picture decoder by size, drawn scene.", "", "| | ns a sample | bits a sample |", "|---|---:|---:|"]
    sizes = sorted((samples, image) for (subject, image), (_, samples, _) in best.items() if subject == "size")
    for samples, image in sizes:
        seconds, _, bits = best["size", image]
        lines.append(f"| {image} | {seconds / samples * 1e9:.3f} | {bits:.2f} |")

    lines += ["", "| | milliseconds |", "|---|---:|"]
    for subject, title in CLIP:
        lines.append(f"| {title} | {best[subject, ''][0] * 1e3:.3f} |")
    for subject, title in [("tables_kinedec", "four tables of KineDec"),
                           ("tables_picture", "four tables of the picture decoder, and one column")]:
        lines.append(f"| {title} | {best[subject, images[0]][0] * 1e3:.4f} |")
    return "\n".join(lines) + "\n"


def chart(best, images):
    bars = [s for s in DECODERS if s[0] not in ("interleave", "memcpy")]
    width, left, bar, gap = 760, 270, 15, 26
    height = len(images) * (len(bars) * bar + gap + 14) + 10
    scale = (width - left - 60) / max(speed(best, s, i) for s, _ in bars for i in images)
    out = [f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {width} {height}" '
           'font-family="sans-serif" font-size="11">',
           f'<rect width="{width}" height="{height}" fill="white"/>']
    y = 6
    for image in images:
        y += 14
        out.append(f'<text x="8" y="{y}" font-weight="bold">{escape(image)}, '
                   f'{best["picture", image][2]:.1f} bits a sample: million samples a second</text>')
        y += 6
        for subject, title in bars:
            value = speed(best, subject, image)
            colour = "#1f6f8b" if subject in ("picture", "read", "openimageio") else "#b0b7bd"
            out.append(f'<text x="{left - 6}" y="{y + 11}" text-anchor="end">{escape(title)}</text>'
                       f'<rect x="{left}" y="{y + 1}" width="{value * scale:.1f}" height="{bar - 3}" fill="{colour}"/>'
                       f'<text x="{left + value * scale + 4:.1f}" y="{y + 11}">{value:,.0f}</text>')
            y += bar
        y += gap - 6
    return "\n".join(out + ["</svg>"]) + "\n"


def main():
    result_path, machine, table_path, chart_path = sys.argv[1:]
    with open(result_path, encoding="utf-8") as file:
        best = fastest(json.load(file))
    drawn = ["clean", "noisy"]
    images = drawn + sorted(image for subject, image in best if subject == "picture" and image not in drawn)
    with open(table_path, "w", encoding="utf-8") as file:
        file.write(table(best, images, machine))
    with open(chart_path, "w", encoding="utf-8") as file:
        file.write(chart(best, images))


main()

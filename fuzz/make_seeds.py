#!/usr/bin/env python3
"""Writes seed inputs for the fuzz targets: valid CGATS files and spectrobin
streams, and byte strings for the chart and colour targets.

    make_seeds.py OUTDIR      -> OUTDIR/<target>/seed_*
"""
import os
import random
import struct
import sys


def cgats(kinds, sets=3, eol="\n", sensor=False, comment=False):
    names, rows = ["SAMPLE_ID"], []
    if "rgb" in kinds:
        names += ["RGB_R", "RGB_G", "RGB_B"]
    if "cmyk" in kinds:
        names += ["CMYK_C", "CMYK_M", "CMYK_Y", "CMYK_K"]
    if "lab" in kinds:
        names += ["LAB_L", "LAB_A", "LAB_B"]
    if "xyz" in kinds:
        names += ["XYZ_X", "XYZ_Y", "XYZ_Z"]
    if "spectral" in kinds:
        names += ["SPECTRAL_%d" % nm for nm in range(380, 740, 10)]
    for i in range(sets):
        row = [str(i + 1)]
        for n in names[1:]:
            if n.startswith("SPECTRAL_"):
                row.append("%.4f" % (0.05 + 0.9 * ((i * 7 + len(row)) % 10) / 10))
            elif n.startswith("LAB_A") or n.startswith("LAB_B"):
                row.append("%.2f" % (-20 + 13.5 * i))
            else:
                row.append("%.2f" % (10 + 20 * i))
        rows.append("\t".join(row))
    lines = ["CGATS.17", 'CREATED\t"11/22/2026" # Time: 10:00']
    if sensor:
        lines += ['INSTRUMENTATION\t"fuzz"',
                  'MEASUREMENT_SOURCE\t"Filter=No\tIllumination=D50\tObserverAngle=2\tWhiteBase=Abs"',
                  'SAMPLE_BACKING\t"white"', "INSIDE_TEMPERATURE\t23", "INSIDE_HUMIDITY\t45"]
    if comment:
        lines.append("# a comment line")
    lines += ["NUMBER_OF_FIELDS\t%d" % len(names), "BEGIN_DATA_FORMAT", "\t".join(names), "END_DATA_FORMAT",
              "NUMBER_OF_SETS\t%d" % sets, "BEGIN_DATA"] + rows + ["END_DATA"]
    return (eol.join(lines) + eol).encode()


def spectrobin(blocks, data_dir=0, bpp=62, name=b"fuzz spectro"):
    out = bytearray([1, len(blocks)]) + name.ljust(32, b"\0") + bytes([1, 23, 45])
    for cid, cols, rows, patches in blocks:
        cells = cols * rows
        out += bytes([cid]) + struct.pack(">II", cells * bpp + 16, patches)
        out += struct.pack(">HH", cols, rows) + bytes([0, 2, 0, 0, 0, data_dir]) + struct.pack(">H", bpp)
        for k in range(cells):
            vals = [min(65535, 500 + 300 * k + 200 * b) for b in range(bpp // 2)]
            out += struct.pack(">%dH" % (bpp // 2), *vals) + b"\0" * (bpp % 2)
    return bytes(out)


def main():
    root = sys.argv[1] if len(sys.argv) > 1 else "corpus"
    rnd = random.Random(20261122)
    seeds = {
        "fuzz_cgats": [
            cgats({"lab"}), cgats({"lab"}, eol="\r\n"), cgats({"lab"}, eol="\r"),
            cgats({"rgb", "cmyk", "lab", "xyz", "spectral"}, sets=4, sensor=True),
            cgats({"rgb", "cmyk"}, comment=True), cgats({"xyz", "spectral"}, sets=2),
        ],
        "fuzz_spectrobin": [
            spectrobin([(1, 2, 2, 4)]), spectrobin([(7, 3, 2, 5), (3, 1, 1, 1), (9, 2, 3, 6)]),
            spectrobin([(1, 2, 2, 3)], data_dir=1), spectrobin([(4, 2, 1, 2)], bpp=64),
            spectrobin([(5, 3, 1, 3)], bpp=40), spectrobin([]),
        ],
        "fuzz_mchart": [bytes(rnd.getrandbits(8) for _ in range(n)) for n in (16, 64, 256, 1024, 4096)],
        "fuzz_colour": [bytes(rnd.getrandbits(8) for _ in range(n)) for n in (16, 64, 256, 1024, 4096)],
    }
    for target, items in seeds.items():
        d = os.path.join(root, target)
        os.makedirs(d, exist_ok=True)
        for i, data in enumerate(items):
            with open(os.path.join(d, "seed_%02d" % i), "wb") as f:
                f.write(data)


if __name__ == "__main__":
    main()

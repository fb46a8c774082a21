#!/usr/bin/env python3
"""Writes the illuminant and colour-matching tables into spectrotransform.cpp.

Usage: gen_tables.py CIE_5NM_CSV [SOURCE]

CIE_5NM_CSV is the CIE table at 5 nm, 380..780 nm (81 rows), with the columns
nm, D50, D65, A, C, F1..F12, x2, y2, z2, x10, y10, z10. The values are copied
as written (no reformatting, so each literal is the same double as the text).
The block between the "BEGIN generated tables" and "END generated tables"
lines of SOURCE (default: ../source/spectrotransform.cpp next to this script)
is replaced; without a SOURCE file the block is printed.
"""
import csv
import os
import sys

LIGHTS = ["D50", "D65", "A", "C"] + ["F%d" % i for i in range(1, 13)]
BEGIN = "// BEGIN generated tables"
END = "// END generated tables"


def table(name, rows, cols, comment):
    out = ["// %s" % comment,
           "const double %s[kTableRows][%d] = {" % (name, len(cols) + 1)]
    for r in rows:
        out.append("    {%s}," % ", ".join([r["nm"]] + [r[c] for c in cols]))
    out.append("};")
    return out


def main():
    if len(sys.argv) < 2:
        sys.exit(__doc__)
    with open(sys.argv[1], newline="") as fh:
        rows = list(csv.DictReader(fh))
    if len(rows) != 81 or any(int(r["nm"]) != 380 + 5 * i for i, r in enumerate(rows)):
        sys.exit("expected 81 rows, 380..780 nm every 5 nm")

    lines = [BEGIN + " (tools/gen_tables.py from the CIE 5 nm tables; do not edit)"]
    lines += table("g_dlight_data", rows, LIGHTS,
                   "nm, then the relative spectral power of D50, D65, A, C, F1 .. F12")
    lines.append("")
    lines += table("g_dcmf_2degree_data", rows, ["x2", "y2", "z2"],
                   "nm, x, y, z of the CIE 1931 standard observer (2 degrees)")
    lines.append("")
    lines += table("g_dcmf_10degree_data", rows, ["x10", "y10", "z10"],
                   "nm, x10, y10, z10 of the CIE 1964 supplementary observer (10 degrees)")
    lines.append(END)
    block = "\n".join(lines) + "\n"

    here = os.path.dirname(os.path.abspath(__file__))
    source = sys.argv[2] if len(sys.argv) > 2 else os.path.join(here, "..", "source", "spectrotransform.cpp")
    if not os.path.exists(source):
        sys.stdout.write(block)
        return
    with open(source) as fh:
        text = fh.read()
    a = text.find(BEGIN)
    b = text.find(END)
    if a < 0 or b < a:
        sys.exit("%s has no generated-tables block" % source)
    b = text.index("\n", b) + 1
    with open(source, "w") as fh:
        fh.write(text[:a] + block + text[b:])


if __name__ == "__main__":
    main()

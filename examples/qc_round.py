#!/usr/bin/env python3
"""The demo's measurement round in Python: a CMYK chart, its printed and
measured spectra as an instrument's spectrobin stream, L*a*b*, and CIEDE2000
against the reference as a pandas DataFrame.

    PYTHONPATH=build/python /usr/bin/python3 examples/qc_round.py [OUTDIR]
"""
import struct
import sys

import numpy as np
import pandas as pd

import hxtvel

WAVELENGTHS = np.arange(400, 701, 10)
# Absorption of the four inks across 400-700 nm (a simple subtractive model).
INKS = np.array([np.exp(-((WAVELENGTHS - c) / w) ** 2) * d for c, w, d in
                 ((620, 70, 1.1), (530, 50, 1.0), (440, 45, 0.9), (550, 400, 1.3))])


def printed(cmyk, gain=0.0):
    """Reflectance of CMYK patches (percent) on white paper."""
    coverage = np.clip(cmyk / 100 * (1 + gain), 0, 1)
    return 0.9 * 10 ** -(coverage @ INKS)


def spectrobin(spectra, columns):
    """One chart of the spectrobin stream: header, block, 16-bit values (10000 = 1.0)."""
    n = len(spectra)
    rows = -(-n // columns)
    cells = np.zeros((rows * columns, 31))
    cells[:n] = spectra
    data = (np.round(cells * 10000).astype(">u2")).tobytes()
    head = bytes([1, 1]) + b"qc_round instrument".ljust(32, b"\0") + bytes([1, 23, 45])
    block = bytes([1]) + struct.pack(">IIHH", rows * columns * 62 + 16, n, columns, rows)
    return head + block + bytes([0, 2, 0, 0, 0, 0]) + struct.pack(">H", 62) + data


def main(out="qc_round"):
    levels = np.arange(0, 101, 25.0)
    cmyk = np.array([[c, m, y, k] for c in levels for m in levels for y in levels for k in (0, 60)])
    chart = hxtvel.Chart(page="A4", dpi=150, patch=(8, 8), colours=cmyk)
    files = chart.write(out + "_chart")
    reference = hxtvel.spectra_to_lab(printed(cmyk), 400, 700, 10)
    stream = spectrobin(printed(cmyk, gain=0.08), chart.geometry()[0]["columns"])
    (chart_id,) = hxtvel.spectrobin.chart_ids(stream)
    spectra, wavelengths, sensor = hxtvel.spectrobin.spectra(stream, chart_id)
    measured = hxtvel.spectra_to_lab(spectra, 400, 700, 10)
    table = pd.DataFrame({"C": cmyk[:, 0], "M": cmyk[:, 1], "Y": cmyk[:, 2], "K": cmyk[:, 3],
                          "L_ref": reference[:, 0], "L": measured[:, 0],
                          "dE00": hxtvel.delta_e(reference, measured)}, index=pd.RangeIndex(1, len(cmyk) + 1, name="patch"))
    print("%d patches on %d page%s (%s ...), measured by %s"
          % (len(cmyk), len(files), "" if len(files) == 1 else "s", files[0], sensor.instrument))
    print(table.sort_values("dE00", ascending=False).head(5).round(2).to_string())
    print("CIEDE2000: mean %.2f, 95th percentile %.2f, max %.2f" % (table.dE00.mean(), table.dE00.quantile(0.95),
                                                                   table.dE00.max()))
    return table


if __name__ == "__main__":
    main(*sys.argv[1:])

#!/usr/bin/env python3
"""The Python package against its peers, side by side in one run (best of 7):

  delta_e on 10^6 pairs        vs a numpy-vectorised CIEDE2000 (Sharma, Wu, Dalal 2005)
  read_cgats, 20,000 sets      vs the C reader (HXTVEL_ReadCGATS) on the same file,
                                  the file bench_cgats writes (same generator, same values)
  spectra_to_lab, 10^5 spectra vs a numpy matrix product with the CIE L*a*b* formulas

The package's array loops are timed on one thread and on set_threads()'s
default (one per core, at most 8); numpy runs on one.

Usage: PYTHONPATH=build/python /usr/bin/python3 bench/python/bench_python.py
"""
import os
import tempfile
import time

import numpy as np

import hxtvel
from hxtvel import _core


def best(f, runs=7):
    times = []
    for _ in range(runs):
        t = time.perf_counter()
        f()
        times.append(time.perf_counter() - t)
    return min(times)


def ciede2000_numpy(lab1, lab2):
    L1, a1, b1 = lab1.T
    L2, a2, b2 = lab2.T
    C1, C2 = np.hypot(a1, b1), np.hypot(a2, b2)
    Cm = (C1 + C2) / 2
    G = 0.5 * (1 - np.sqrt(Cm ** 7 / (Cm ** 7 + 25.0 ** 7)))
    a1p, a2p = (1 + G) * a1, (1 + G) * a2
    C1p, C2p = np.hypot(a1p, b1), np.hypot(a2p, b2)
    h1p = np.degrees(np.arctan2(b1, a1p)) % 360
    h2p = np.degrees(np.arctan2(b2, a2p)) % 360
    dLp, dCp = L2 - L1, C2p - C1p
    dhp = h2p - h1p
    dhp = np.where(dhp > 180, dhp - 360, np.where(dhp < -180, dhp + 360, dhp))
    dhp = np.where(C1p * C2p == 0, 0, dhp)
    dHp = 2 * np.sqrt(C1p * C2p) * np.sin(np.radians(dhp / 2))
    Lm, Cmp = (L1 + L2) / 2, (C1p + C2p) / 2
    hs = h1p + h2p
    Hm = np.where(C1p * C2p == 0, hs, np.where(np.abs(h1p - h2p) <= 180, hs / 2,
                                               np.where(hs < 360, (hs + 360) / 2, (hs - 360) / 2)))
    T = (1 - 0.17 * np.cos(np.radians(Hm - 30)) + 0.24 * np.cos(np.radians(2 * Hm))
         + 0.32 * np.cos(np.radians(3 * Hm + 6)) - 0.20 * np.cos(np.radians(4 * Hm - 63)))
    SL = 1 + 0.015 * (Lm - 50) ** 2 / np.sqrt(20 + (Lm - 50) ** 2)
    SC, SH = 1 + 0.045 * Cmp, 1 + 0.015 * Cmp * T
    RT = -np.sin(np.radians(60 * np.exp(-((Hm - 275) / 25) ** 2))) * 2 * np.sqrt(Cmp ** 7 / (Cmp ** 7 + 25.0 ** 7))
    return np.sqrt((dLp / SL) ** 2 + (dCp / SC) ** 2 + (dHp / SH) ** 2 + RT * (dCp / SC) * (dHp / SH))


def lab_numpy(spectra, S, cmf):
    w = S[:, None] * cmf                      # (k, 3)
    white = w.sum(axis=0)
    xyz = spectra @ w * (100.0 / white[1])
    t = xyz / (white * (100.0 / white[1]))
    f = np.where(t > 0.008856, np.cbrt(t), 7.787 * t + 16 / 116)
    return np.stack([116 * f[:, 1] - 16, 500 * (f[:, 0] - f[:, 1]), 200 * (f[:, 1] - f[:, 2])], axis=1)


def bench_cgats_file(path, sets=20000):
    """The file of bench/bench_cgats.cpp: its generator, draw for draw."""
    seed, draws = 12345, np.empty(sets * 49)
    for i in range(len(draws)):
        seed = (seed * 1664525 + 1013904223) & 0xFFFFFFFF
        draws[i] = (seed >> 8) / float(1 << 24)
    d = draws.reshape(sets, 49)
    hxtvel.Measurement(rgb=d[:, 0:3] * 255, cmyk=d[:, 3:7] * 100,
                       lab=np.stack([d[:, 7] * 100, d[:, 8] * 256 - 128, d[:, 9] * 256 - 128], axis=1),
                       xyz=d[:, 10:13] * [96, 100, 109], spectra=d[:, 13:49],
                       wavelengths=np.arange(380, 731, 10)).write_cgats(path)


def on_threads(f):
    """f's best time on one thread and on the default threads."""
    old = hxtvel.set_threads(1)
    one = best(f)
    hxtvel.set_threads(0)
    many = best(f)
    hxtvel.set_threads(old)
    return one, many


def main():
    threads = hxtvel.set_threads()
    hxtvel.set_threads(threads)
    print("%d threads by default (%d cores)" % (threads, os.cpu_count()))
    rng = np.random.default_rng(7)
    lab1 = rng.uniform([0, -100, -100], [90, 100, 100], (1_000_000, 3))
    lab2 = lab1 + rng.uniform(-5, 5, lab1.shape)
    lab2[:, 0] = np.clip(lab2[:, 0], 0, 100)
    agree = np.max(np.abs(hxtvel.delta_e(lab1, lab2) - ciede2000_numpy(lab1, lab2)))
    one, many = on_threads(lambda: hxtvel.delta_e(lab1, lab2))
    peer = best(lambda: ciede2000_numpy(lab1, lab2))
    print("delta_e 10^6 pairs: 1 thread %.1f ms (%.2f x), %d threads %.1f ms (%.2f x); numpy CIEDE2000 %.1f ms"
          " (largest difference %.1e)" % (one * 1e3, one / peer, threads, many * 1e3, many / peer, peer * 1e3, agree))

    with tempfile.TemporaryDirectory() as d:
        path = os.path.join(d, "measure.txt")
        bench_cgats_file(path)
        ours = best(lambda: hxtvel.read_cgats(path))
        c = min(_core.c_read_seconds(path, 31) for _ in range(7))
        print("read_cgats 20,000 sets (%.2f MB): %.1f ms, C reader %.1f ms: %.2f x"
              % (os.path.getsize(path) / 1e6, ours * 1e3, c * 1e3, ours / c))

    spectra = rng.uniform(0, 1, (100_000, 31))
    one, many = on_threads(lambda: hxtvel.spectra_to_lab(spectra, 400, 700, 10))
    S = rng.uniform(50, 120, 31)
    cmf = rng.uniform(0, 1, (31, 3))
    peer = best(lambda: lab_numpy(spectra, S, cmf))
    print("spectra_to_lab 10^5 spectra: 1 thread %.1f ms (%.2f x), %d threads %.1f ms (%.2f x); numpy matrix product"
          " %.1f ms" % (one * 1e3, one / peer, threads, many * 1e3, many / peer, peer * 1e3))


if __name__ == "__main__":
    main()

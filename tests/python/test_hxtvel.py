"""The Python package: agreement with the C interface bit for bit, round trips
through files, every refusal once, charts and streams, threads, the examples.

Run by ctest with PYTHONPATH at the built package; HXTVEL_LIBRARY names the
shared library that the C interface is called through (ctypes)."""
import ctypes
import os
import pickle
import subprocess
import sys
import threading
import time
import warnings

import numpy as np
import pytest

import hxtvel

LIB = ctypes.CDLL(os.environ["HXTVEL_LIBRARY"])
SOURCE = os.environ.get("HXTVEL_SOURCE_DIR", os.path.join(os.path.dirname(__file__), "..", ".."))


class Lab(ctypes.Structure):
    _fields_ = [("L", ctypes.c_double), ("a", ctypes.c_double), ("b", ctypes.c_double)]


class Ref(ctypes.Structure):
    _fields_ = [("start", ctypes.c_uint16), ("end", ctypes.c_uint16), ("pitch", ctypes.c_uint16),
                ("data", ctypes.POINTER(ctypes.c_double))]


LIB.HXTVEL_DeltaE.argtypes = [ctypes.c_uint32, Lab, Lab, ctypes.POINTER(ctypes.c_double)]
for f in (LIB.HXTVEL_SpectroRefToLAB, LIB.HXTVEL_SpectroRefToXYZ):
    f.argtypes = [ctypes.c_int32, Ref, ctypes.c_uint32, ctypes.POINTER(Lab)]


def c_delta_e(method, r, s):
    out = ctypes.c_double()
    assert LIB.HXTVEL_DeltaE(method, Lab(*r), Lab(*s), ctypes.byref(out)) == 0
    return out.value


RNG = np.random.default_rng(20261124)


EDGE_PAIRS = [((50, -20, 0), (50, 20, 0)),            # hue 0 on the negative a* axis
              ((60.2574, -34.0099, 36.2677), (60.4626, -34.1751, 39.4387)),  # CIEDE2000 test pair 14 ...
              ((63.0109, -31.0961, -5.8663), (62.8187, -29.7946, -4.0864)),   # ... and 15 (Sharma, Wu, Dalal)
              ((0, 0, 0), (100, 0, 0)), ((100, 128, 128), (0, -128, -128)), ((50, 0, 0), (50, 0, 0))]


@pytest.mark.parametrize("method,code", [("76", 0), ("94", 1), ("2000", 2), ("cmc21", 3), ("cmc11", 4)])
def test_delta_e_is_the_c_functions_bit_for_bit(method, code):
    ref = RNG.uniform([0, -128, -128], [100, 128, 128], (40000, 3))  # split over threads
    smp = np.clip(ref + RNG.normal(0, 8, ref.shape), [0, -128, -128], [100, 128, 128])
    ref[:len(EDGE_PAIRS)], smp[:len(EDGE_PAIRS)] = zip(*EDGE_PAIRS)
    ref[20:40, 2] = 0
    smp[40:60] = ref[40:60]
    ours = hxtvel.delta_e(ref, smp, method)
    old = hxtvel.set_threads(1)
    try:
        assert np.array_equal(hxtvel.delta_e(ref, smp, method), ours)
    finally:
        hxtvel.set_threads(old)
    rows = list(range(60)) + list(range(60, len(ref), 397)) + [len(ref) - 1]
    assert [float(ours[i]).hex() for i in rows] == [c_delta_e(code, ref[i], smp[i]).hex() for i in rows]


# Spectra the tables read exactly, off the 10 nm grid at one end, and at 5 nm
# (read every 10 nm from the start, as the library reads them).
@pytest.mark.parametrize("start,end,step", [(380, 730, 10), (385, 735, 10), (380, 580, 5)])
@pytest.mark.parametrize("light,observer", [("D50", 2), ("D65", 10), ("A", 2)])
@pytest.mark.parametrize("lab", [True, False], ids=["lab", "xyz"])
def test_spectra_convert_as_the_c_functions_row_by_row(start, end, step, light, observer, lab):
    k = (end - start) // step + 1
    spectra = RNG.uniform(0, 1.2, (20000, k))  # split over threads
    spectra[1] = 0.002  # the linear part of L*a*b*
    spectra[2] = RNG.uniform(-0.1, 0, k)
    convert = hxtvel.spectra_to_lab if lab else hxtvel.spectra_to_xyz
    ours = convert(spectra, start, end, step, illuminant=light, observer=observer)
    c = LIB.HXTVEL_SpectroRefToLAB if lab else LIB.HXTVEL_SpectroRefToXYZ
    for row in [0, 1, 2] + list(range(3, len(spectra), 1999)) + [len(spectra) - 1]:
        values = np.ascontiguousarray(spectra[row])
        out = Lab()
        rc = c({"D50": 1, "D65": 2, "A": 3}[light],
               Ref(start, end, step, values.ctypes.data_as(ctypes.POINTER(ctypes.c_double))),
               0 if observer == 2 else 1, ctypes.byref(out))
        assert rc == 0 and list(ours[row]) == [out.L, out.a, out.b]


def test_broadcasting_and_shapes():
    grid = RNG.uniform([0, -50, -50], [100, 50, 50], (4, 5, 3))
    assert hxtvel.delta_e(grid, [50, 0, 0]).shape == (4, 5)
    assert hxtvel.spectra_to_lab(np.ones((2, 3, 31)), 400, 700, 10).shape == (2, 3, 3)
    assert hxtvel.delta_e([50, 0, 0], [50, 0, 10], "76") == 10


def test_round_trip_through_files(tmp_path):
    n = 7
    sensor = hxtvel.Sensor("i1 #2 (M1)", "white", 23, 45, "D65", 10, "UVcut")
    m = hxtvel.Measurement(rgb=RNG.uniform(0, 255, (n, 3)), cmyk=RNG.uniform(0, 100, (n, 4)),
                           lab=RNG.uniform([0, -128, -128], [100, 128, 128], (n, 3)), xyz=RNG.uniform(0, 100, (n, 3)),
                           spectra=RNG.uniform(0, 1, (n, 31)), wavelengths=np.arange(400, 701, 10), sensor=sensor)
    m.write_cgats(tmp_path / "m.cgats")
    back = hxtvel.read_cgats(tmp_path / "m.cgats")
    for kind, digits in (("rgb", 2), ("cmyk", 2), ("lab", 2), ("xyz", 2), ("spectra", 4)):
        np.testing.assert_allclose(getattr(back, kind), getattr(m, kind), atol=0.6 * 10 ** -digits)
    assert back.ids == [str(i) for i in range(1, n + 1)] and back.sensor == sensor
    assert list(back.wavelengths) == list(range(400, 701, 10))
    m.write_text(tmp_path / "m.txt", sep="\t")
    assert len(open(tmp_path / "m.txt").read().splitlines()) == n
    frame = back.to_pandas()
    assert frame.shape == (n, 3 + 4 + 3 + 3 + 31) and frame.index[0] == "1"
    assert hxtvel.read_cgats(tmp_path / "m.cgats", kinds="lab").cmyk is None
    e = pickle.loads(pickle.dumps(hxtvel.Error("lab[3, 0] ...", 105)))  # as Dask returns it from a worker
    assert (e.code, str(e)) == (105, "lab[3, 0] ...")


def test_other_dialects_read_with_notes_as_warnings(tmp_path):
    path = tmp_path / "argyll.ti3"
    rows = "\n".join("%d %s" % (i + 1, " ".join(["50.0"] * 21)) for i in range(2))
    path.write_text('CTI3\nORIGINATOR "Argyll target"\nNUMBER_OF_FIELDS 22\nBEGIN_DATA_FORMAT\nSAMPLE_ID '
                    + " ".join("SPEC_%d" % nm for nm in range(400, 701, 15)) + "\nEND_DATA_FORMAT\n"
                    "NUMBER_OF_SETS 2\nBEGIN_DATA\n" + rows + "\nEND_DATA\n")
    with pytest.warns(UserWarning, match="15 nm -> 10 nm"):
        m = hxtvel.read_cgats(path)
    assert m.spectra.shape == (2, 31) and np.allclose(m.spectra, 0.5)


LAB1 = [[50, 0, 0]]


@pytest.mark.parametrize("call,code,words", [
    (lambda: hxtvel.Measurement(lab=[[101, 0, 0]]), 105, "lab[0, 0] (L*) = 101 is outside L* 0 to 100"),
    (lambda: hxtvel.Measurement(xyz=[[1, np.nan, 0]]), 105, "xyz[0, 1] (Y) is nan, not a finite number"),
    (lambda: hxtvel.Measurement(spectra=[[0.1, 0.2]], wavelengths=[400, 405.5]), 107, "whole nanometres"),
    (lambda: hxtvel.Measurement(lab=LAB1, cmyk=[[0] * 4] * 2), 107, "one row per patch in every kind: cmyk 2, lab 1"),
    (lambda: hxtvel.Measurement(lab=LAB1, sensor=hxtvel.Sensor('X"\nNUMBER_OF_SETS 7')), 105, "a double quote"),
    (lambda: hxtvel.Measurement(lab=LAB1, sensor=hxtvel.Sensor("X\tY")), 105, "a control character"),
    (lambda: hxtvel.Measurement(lab=LAB1, sensor=hxtvel.Sensor("X BEGIN_DATA")), 105, "the CGATS keyword BEGIN_DATA"),
    (lambda: hxtvel.Measurement(lab=LAB1, sensor=hxtvel.Sensor("x" * 32)), 105, "32 bytes; at most 31"),
    (lambda: hxtvel.Measurement(lab=LAB1, sensor=hxtvel.Sensor(illumination="D99")), 105, "sensor.illumination"),
    (lambda: hxtvel.Measurement(lab=LAB1, sensor=hxtvel.Sensor(temperature=300)), 105, "sensor.temperature"),
    (lambda: hxtvel.read_cgats(__file__, kinds=["lab", "hsv"]), 107, "kinds: expected some of"),
    (lambda: hxtvel.delta_e([[50, 0, 0], [50, 0, 0]], [[50, 0, 0], [50, 0, 129]]), 304, "lab2[1] = (50, 0, 129)"),
    (lambda: hxtvel.delta_e(np.full((2, 2, 3), 50.0), [50, np.nan, 0]), 304, "lab2[0, 0] = (50, nan, 0)"),
    (lambda: hxtvel.delta_e([50, 0, 0], [50, 0, 0], "2001"), 302, "method"),
    (lambda: hxtvel.spectra_to_lab(np.ones(31), 405, 705, 5), 304, "off the 10 nm grid"),
    (lambda: hxtvel.spectra_to_lab(np.ones(41), 380, 790, 10), 304, "leave 380-780 nm"),
    (lambda: hxtvel.spectra_to_lab(np.ones(30), 400, 700, 10), 302, "31 values per spectrum, not 30"),
    (lambda: hxtvel.spectra_to_lab(np.ones(31), 400, 700, 10, illuminant="F2"), 302, "illuminant"),
    (lambda: hxtvel.Chart(layout="middle", colours=[[0, 0, 0]]), 206, "layout"),
    (lambda: hxtvel.Chart(page=(210, -1), colours=[[0, 0, 0]]), 206, "page: width and height"),
    (lambda: hxtvel.Chart(dpi=2000, colours=[[0, 0, 0]]).pages(), 204, "resolution"),
    (lambda: hxtvel.Chart(colours=[[300, 0, 0]]).pages(), 105, "colours[0, 0] (R) = 300 is outside 0 to 255"),
    (lambda: hxtvel.Chart(colours=[[0, 0, 0]]).write("/nonexistent/p"), 208, "/nonexistent/p<n>.tif"),
    (lambda: hxtvel.Measurement(lab=LAB1).write_cgats("/nonexistent/m.cgats"), 104, "cannot be created"),
    (lambda: hxtvel.spectrobin.chart_ids(STREAM[:100]), 402, "truncated at byte 100: block 0 patch data"),
    (lambda: hxtvel.spectrobin.chart_ids(STREAM[:42] + (5).to_bytes(4, "big") + STREAM[46:]), 402,
     "block 0 patch count 5 breaks its bound 4"),
    (lambda: hxtvel.spectrobin.spectra(b"\x01\x00" + bytes(35), 1), 402, "no charts"),
    (lambda: hxtvel.spectrobin.spectra(STREAM, 6), 402, "chart 6 is not in the stream"),
], ids=["range", "not_finite", "uneven_wavelengths", "rows_differ", "name_quote", "name_control", "name_keyword",
        "name_long", "sensor_code", "sensor_byte", "kinds", "de_range", "de_nan_broadcast", "de_method", "off_grid",
        "outside_tables", "values_per_row", "illuminant", "layout", "page_size", "dpi", "colour_range",
        "chart_folder", "file_folder", "truncated", "implausible", "no_charts", "no_such_chart"])
def test_refusals_name_code_and_cause(call, code, words):
    with pytest.raises(hxtvel.Error) as e:
        call()
    assert e.value.code == code and words in str(e.value), str(e.value)


def test_files_missing_or_broken(tmp_path):
    with pytest.raises(FileNotFoundError):
        hxtvel.read_cgats(tmp_path / "none.cgats")
    (tmp_path / "bad.cgats").write_text("CGATS.17\nBEGIN_DATA_FORMAT\nLAB_L LAB_A LAB_B\nEND_DATA_FORMAT\n"
                                        "NUMBER_OF_SETS 2\nBEGIN_DATA\n50 0 0\nEND_DATA\n")
    with pytest.raises(hxtvel.Error, match="NUMBER_OF_SETS"):
        hxtvel.read_cgats(tmp_path / "bad.cgats")


def test_chart_pages_arrays_tiffs_and_files(tmp_path):
    colours = np.array([[100, 0, 0, 0], [0, 100, 0, 0], [0, 0, 100, 0], [0, 0, 0, 100]] * 30, dtype=float)
    chart = hxtvel.Chart(page=(60, 80), dpi=100, patch=(10, 10), layout="tl-right", colours=colours)
    pages, tiffs = chart.pages(), chart.tiff_pages()
    geometry = chart.geometry()
    assert len(pages) == len(tiffs) == len(geometry) > 1 and pages[0].shape[2] == 4
    assert pages[0].shape[:2] == (geometry[0]["height"], geometry[0]["width"])
    g = geometry[0]
    left = (g["width"] - g["columns"] * g["patch_width"]) // 2  # the grid is centred
    assert list(pages[0][5, left + 5]) == [255, 0, 0, 0]  # patch 0: cyan at 100 %
    assert list(pages[0][5, left + g["patch_width"] + 5]) == [0, 255, 0, 0]
    from PIL import Image
    import io
    assert Image.open(io.BytesIO(tiffs[0])).mode == "CMYK"
    files = chart.write(str(tmp_path / "p"))
    assert open(files[0], "rb").read() == tiffs[0]


VALUES = np.arange(4 * 31).reshape(4, 31) * 7
# Chart 5 of 2 x 2 cells, 3 patches, D65/10 with a UV cut, 62 bytes a patch.
STREAM = (bytes([1, 1]) + b"probe".ljust(32, b"\0") + bytes([1, 20, 40]) + bytes([5]) + (4 * 62 + 16).to_bytes(4, "big")
          + (3).to_bytes(4, "big") + (2).to_bytes(2, "big") * 2 + bytes([0, 3, 1, 0, 1, 0]) + (62).to_bytes(2, "big")
          + VALUES.astype(">u2").tobytes())


def test_stream_charts_and_spectra():
    stream = STREAM
    assert hxtvel.spectrobin.chart_ids(stream) == [5]
    spectra, wl, sensor = hxtvel.spectrobin.spectra(stream, 5)
    assert spectra.shape == (3, 31) and wl[0] == 400 and wl[-1] == 700
    assert np.array_equal(spectra, VALUES[:3] / 10000.0)
    assert sensor == hxtvel.Sensor("probe", "white", 20, 40, "D65", 10, "UVcut")


def test_threads_run_while_delta_e_works():
    """Two threads in delta_e and the main thread in Python at one moment:
    with a switch interval of 100 s, no thread hands the GIL on unless it
    releases it, so the main thread can only see both workers between their
    marks if delta_e runs without the GIL. No clock decides anything."""
    lab1 = RNG.uniform([0, -50, -50], [100, 50, 50], (2_000_000, 3))
    lab2 = lab1[::-1].copy()
    inside = [0, 0]

    def work(i):
        inside[i] += 1
        hxtvel.delta_e(lab1, lab2)
        inside[i] += 1

    seen = set()
    interval = sys.getswitchinterval()
    sys.setswitchinterval(100)
    try:
        workers = [threading.Thread(target=work, args=(i,)) for i in (0, 1)]
        for w in workers:
            w.start()
        while any(w.is_alive() for w in workers):
            seen.add(tuple(inside))  # pure Python, between the workers' marks
            time.sleep(0.001)
    finally:
        sys.setswitchinterval(interval)
    assert (1, 1) in seen, seen


def test_examples_run(tmp_path):
    env = dict(os.environ)
    qc = subprocess.run([sys.executable, os.path.join(SOURCE, "examples", "qc_round.py"), str(tmp_path / "qc")],
                        capture_output=True, text=True, env=env)
    assert qc.returncode == 0 and "CIEDE2000: mean" in qc.stdout, qc.stderr
    pytest.importorskip("distributed")
    ref = RNG.uniform([20, 5, 5], [90, 50, 50], (40, 3))  # away from the negative a* axis
    hxtvel.Measurement(lab=ref).write_cgats(tmp_path / "ref.cgats")
    os.mkdir(tmp_path / "archive")
    for i in range(300):
        off = 6.0 if i == 17 else 0.5
        hxtvel.Measurement(lab=np.clip(ref + RNG.normal(0, off, ref.shape), [0, -128, -128], [100, 128, 128])) \
            .write_cgats(tmp_path / "archive" / ("m%03d.cgats" % i))
    (tmp_path / "archive" / "m300.cgats").write_text("CGATS.17\nBEGIN_DATA\n")
    run = subprocess.run([sys.executable, os.path.join(SOURCE, "examples", "archive_dask.py"),
                          str(tmp_path / "ref.cgats"), str(tmp_path / "archive"), "--tolerance", "4"],
                         capture_output=True, text=True, env=env, timeout=300)
    assert "301 files, 1 above dE 4.00, 1 without values" in run.stdout and run.returncode == 1, \
        run.stdout[-500:] + run.stderr[-2000:]
    assert "m300.cgats: cannot be read" in run.stdout
    assert "m017.cgats: mean" in run.stdout and "FAIL" in run.stdout.split("m017.cgats")[1].splitlines()[0]

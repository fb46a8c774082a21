"""Colour measurements, measurement charts and colour differences on numpy arrays.

The library behind the hxtvel tool, for Python::

    import hxtvel
    ref = hxtvel.read_cgats("reference.cgats")        # Lab, CMYK, spectra ... as arrays
    smp = hxtvel.read_cgats("measured.ti3")           # ArgyllCMS, instrument exports ...
    de = hxtvel.delta_e(ref.lab, smp.lab)             # CIEDE2000 per patch, shape (n,)
    lab = hxtvel.spectra_to_lab(smp.spectra, 380, 730, 10, illuminant="D65", observer=10)
    pages = hxtvel.Chart(page="A4", patch=(6, 6), colours=ref.cmyk).pages()

Contents:
    read_cgats, Measurement, Sensor   measurement files (CGATS.17 and other dialects)
    delta_e                           CIE 1976, 1994, CIEDE2000 and CMC differences
    spectra_to_xyz, spectra_to_lab    spectral reflectance to XYZ and L*a*b*
    Chart                             measurement chart pages as TIFF or arrays
    spectrobin                        charts and spectra of an instrument's stream
    Error                             every refusal, with the library's code
    set_threads                       threads of the array loops

Values are bit-identical to the library's C functions for the same inputs.
Array loops, files and drawings run without the GIL, so Python threads run
beside them; array loops are also split over set_threads() threads.
"""
import dataclasses
import math
import warnings
from typing import List, Optional, Sequence, Tuple, Union

import numpy as np


class Error(Exception):
    """A refusal of the library: `code` is its numeric result code (102 a file
    that breaks the format, 105 a value out of range, 304 wavelengths or L*a*b*
    out of range, 402 a malformed stream ...), the message says what and where."""

    def __init__(self, message: str, code: int = 0):
        super().__init__(message)
        self.code = code

    def __reduce__(self):  # keeps the code across processes (Dask, multiprocessing)
        return type(self), (str(self), self.code)


from . import _core  # noqa: E402  (the error type must exist first)

_core._set_error_type(Error)

from . import spectrobin  # noqa: E402

__all__ = ["Error", "Sensor", "Measurement", "read_cgats", "delta_e", "spectra_to_xyz", "spectra_to_lab",
           "Chart", "spectrobin", "set_threads", "LAYOUTS", "KINDS", "METHODS", "ILLUMINANTS"]

KINDS = ("rgb", "cmyk", "lab", "xyz", "spectra")
_KIND_FLAGS = {"rgb": 1, "cmyk": 2, "lab": 4, "xyz": 8, "spectra": 16, "spectral": 16}

_BACKINGS = ("unknown", "white", "black")
_ILLUMINANTS = ("A", "C", "D50", "D65", "F2", "F7", "F11", "F12", "D75", "D55", "F8", "F10")
_OBSERVERS = (2, 10)
_FILTERS = ("none", "UVcut")


def _code(table, value, what):
    if isinstance(value, str):
        names = [str(t).lower() for t in table]
        if value.lower() in names:
            return names.index(value.lower())
    elif value in table and not isinstance(value, bool) and table is _OBSERVERS:
        return table.index(value)
    raise Error("%s: expected one of %s, not %r" % (what, ", ".join(map(str, table)), value), 105)


def _byte(value, what):
    if isinstance(value, bool) or not isinstance(value, (int, np.integer)) or not 0 <= value <= 255:
        raise Error("%s: expected a whole number 0 to 255, not %r" % (what, value), 105)
    return int(value)


@dataclasses.dataclass
class Sensor:
    """The measuring conditions of an instrument, as a CGATS file states them.

    backing: "unknown", "white" or "black"; illumination: "A", "C", "D50", "D65",
    "F2", "F7", "F11", "F12", "D75", "D55", "F8" or "F10"; observer: 2 or 10
    (degrees); filter: "none" or "UVcut"; temperature and humidity: 0 to 255.
    The instrument name holds at most 31 bytes, no double quote, no control
    character and no CGATS block keyword.
    """
    instrument: str = ""
    backing: str = "unknown"
    temperature: int = 0
    humidity: int = 0
    illumination: str = "D50"
    observer: int = 2
    filter: str = "none"

    def _codes(self) -> tuple:
        if not isinstance(self.instrument, str):
            raise Error("sensor.instrument: expected a str, not %r" % (self.instrument,), 105)
        return (self.instrument, _code(_BACKINGS, self.backing, "sensor.backing"),
                _byte(self.temperature, "sensor.temperature"), _byte(self.humidity, "sensor.humidity"),
                _code(_ILLUMINANTS, self.illumination, "sensor.illumination"),
                _code(_OBSERVERS, self.observer, "sensor.observer"), _code(_FILTERS, self.filter, "sensor.filter"))

    @classmethod
    def _from_codes(cls, t) -> "Sensor":
        def name(table, i):
            return table[i] if i < len(table) else "code %d" % i
        return cls(t[0], name(_BACKINGS, t[1]), t[2], t[3], name(_ILLUMINANTS, t[4]), name(_OBSERVERS, t[5]),
                   name(_FILTERS, t[6]))


def _array(value, width=None, name="array"):
    if value is None:
        return None
    a = np.ascontiguousarray(value, dtype=np.float64)
    if width is not None and (a.ndim != 2 or a.shape[1] != width):
        raise Error("%s: expected shape (n, %d), got %s" % (name, width, a.shape), 107)
    return a


class Measurement:
    """One set of colour measurements: numpy arrays of one row per patch.

    Attributes (None when the kind is absent): rgb (n, 3) 0-255, cmyk (n, 4)
    percent, lab (n, 3), xyz (n, 3), spectra (n, k) reflectance (1.0 = white)
    at wavelengths (k,) nm, ids (SAMPLE_ID of each patch), sensor (Sensor).

    Built from arrays, the library's range checks apply at once (hxtvel.Error
    naming row and column): ``Measurement(lab=lab, spectra=s, wavelengths=w)``.
    """

    def __init__(self, rgb=None, cmyk=None, lab=None, xyz=None, spectra=None, wavelengths=None,
                 sensor: Optional[Sensor] = None, ids: Optional[Sequence[str]] = None, _checked=False):
        self.rgb = _array(rgb, 3, "rgb")
        self.cmyk = _array(cmyk, 4, "cmyk")
        self.lab = _array(lab, 3, "lab")
        self.xyz = _array(xyz, 3, "xyz")
        self.spectra = _array(spectra, None, "spectra")
        self.wavelengths = _array(wavelengths, None, "wavelengths")
        self.sensor = sensor
        self.ids = list(ids) if ids is not None else None
        if (self.spectra is None) != (self.wavelengths is None):
            raise Error("spectra and wavelengths come together", 107)
        rows = {k: len(getattr(self, k)) for k in KINDS if getattr(self, k) is not None}
        if self.ids is not None:
            rows["ids"] = len(self.ids)
        if len(set(rows.values())) > 1:
            raise Error("one row per patch in every kind: %s" % ", ".join("%s %d" % kv for kv in rows.items()), 107)
        if not _checked:
            _core.check_arrays(*self._arrays())

    def _arrays(self):
        return (self.rgb, self.cmyk, self.lab, self.xyz, self.spectra, self.wavelengths,
                self.sensor._codes() if self.sensor is not None else None)

    def __len__(self) -> int:
        return max((len(a) for a in (self.rgb, self.cmyk, self.lab, self.xyz, self.spectra) if a is not None),
                   default=0)

    def __repr__(self) -> str:
        kinds = [k for k in KINDS if getattr(self, k) is not None]
        return "<hxtvel.Measurement %d patches: %s>" % (len(self), ", ".join(kinds) or "empty")

    def write_cgats(self, path: str) -> None:
        """Writes a CGATS.17 file (the sensor's conditions in its header)."""
        _core.write_file(str(path), -1, *self._arrays())

    def write_text(self, path: str, sep: str = ",") -> None:
        """Writes the values only, one line per patch, separated by "," or a tab."""
        if sep not in (",", "\t"):
            raise Error("sep: expected ',' or '\\t'", 107)
        _core.write_file(str(path), 0 if sep == "," else 1, *self._arrays())

    def to_pandas(self):
        """The values as a pandas DataFrame, one row per patch, indexed by SAMPLE_ID
        (1, 2, ... when the file had none); columns named as in CGATS files."""
        try:
            import pandas as pd
        except ImportError:
            raise ImportError("to_pandas needs pandas (Debian: python3-pandas)") from None
        columns = {}
        names = {"rgb": "RGB_R RGB_G RGB_B", "cmyk": "CMYK_C CMYK_M CMYK_Y CMYK_K", "lab": "LAB_L LAB_A LAB_B",
                 "xyz": "XYZ_X XYZ_Y XYZ_Z"}
        for kind, cols in names.items():
            a = getattr(self, kind)
            if a is not None:
                for i, c in enumerate(cols.split()):
                    columns[c] = a[:, i]
        if self.spectra is not None:
            for i, w in enumerate(self.wavelengths):
                columns["SPECTRAL_%g" % w] = self.spectra[:, i]
        index = pd.Index(self.ids if self.ids is not None else range(1, len(self) + 1), name="SAMPLE_ID")
        return pd.DataFrame(columns, index=index)


def read_cgats(path, kinds: Optional[Sequence[str]] = None, table: int = 1) -> Measurement:
    """Reads a measurement file: CGATS.17 as the library writes it, and the
    dialects of instruments and other colour tools (ArgyllCMS .ti1/.ti3/.gam,
    instrument exports: any spectral column spelling, several tables, any
    wavelength spacing resampled to 10 nm, scales converted). Every
    adjustment the import makes is issued as a warning. `kinds` limits what
    is read ("rgb", "cmyk", "lab", "xyz", "spectra"); `table` counts from 1.
    A file that cannot be opened raises the OSError that open() raises
    (FileNotFoundError ...), a file that cannot be taken hxtvel.Error (102)
    naming the line and the rule."""
    flags = 31
    if isinstance(kinds, str):
        kinds = [kinds]
    if kinds is not None:
        try:
            flags = sum({_KIND_FLAGS[k] for k in kinds})
        except KeyError as e:
            raise Error("kinds: expected some of %s, not %s" % (", ".join(KINDS), e), 107) from None
    with open(path, "rb"):  # FileNotFoundError, PermissionError ... as Python raises them
        pass
    d = _core.read_cgats(str(path), flags, int(table))
    for note in d["notes"]:
        warnings.warn("%s: %s" % (path, note), stacklevel=2)
    sensor = Sensor._from_codes(d["sensor"]) if d["sensor"] is not None else None
    return Measurement(d["rgb"], d["cmyk"], d["lab"], d["xyz"], d["spectra"], d["wavelengths"], sensor, d["ids"],
                       _checked=True)


METHODS = ("76", "94", "2000", "cmc21", "cmc11")
_METHODS = {"76": 0, "94": 1, "2000": 2, "00": 2, "cmc21": 3, "cmc11": 4}


def delta_e(lab1, lab2, method: str = "2000") -> np.ndarray:
    """Colour difference of lab2 (samples) against lab1 (references), arrays of
    L*a*b* of shape (..., 3), broadcast together; result of shape (...).

    method: "76" (CIE 1976), "94" (CIE 1994), "2000" (CIEDE2000), "cmc21",
    "cmc11" (CMC l:c). L* must lie in 0-100, a* and b* in -128-128 (Error
    304 names the first pair outside). Every value is bit-identical to
    HXTVEL_DeltaE's for that pair; the GIL is released and the pairs are
    split over set_threads() threads."""
    if str(method) not in _METHODS:
        raise Error("method: expected one of 76, 94, 2000, cmc21, cmc11, not %r" % (method,), 302)
    a, b = np.broadcast_arrays(np.asarray(lab1, dtype=np.float64), np.asarray(lab2, dtype=np.float64))
    if a.shape[-1:] != (3,):
        raise Error("delta_e: expected arrays of shape (..., 3), got %s" % (a.shape,), 302)
    shape = a.shape[:-1]
    out = _core.delta_e(np.ascontiguousarray(a).reshape(-1, 3), np.ascontiguousarray(b).reshape(-1, 3),
                        _METHODS[str(method)], list(shape))
    return out.reshape(shape)


ILLUMINANTS = ("D50", "D65", "A")
_LIGHTS = {"D50": 1, "D65": 2, "A": 3}


def _convert(spectra, start, end, step, illuminant, observer, lab):
    light = _LIGHTS.get(str(illuminant).upper())
    if light is None or observer not in (2, 10) or isinstance(observer, bool):
        raise Error("expected the illuminant D50, D65 or A and the observer 2 or 10, not %r and %r"
                    % (illuminant, observer), 302)
    for name, v in (("start", start), ("end", end), ("step", step)):
        if isinstance(v, bool) or not isinstance(v, (int, np.integer)) or not 0 <= v <= 65535:
            raise Error("%s: expected whole nanometres 0 to 65535, not %r" % (name, v), 304)
    s = np.asarray(spectra, dtype=np.float64)
    if s.ndim == 0:
        raise Error("spectra: expected an array (..., k) of reflectances", 302)
    shape = s.shape[:-1]
    out = _core.spectra_convert(np.ascontiguousarray(s).reshape(-1, s.shape[-1]), int(start),
                                int(end), int(step), light, 0 if observer == 2 else 1, lab)
    return out.reshape(shape + (3,))


def spectra_to_xyz(spectra, start: int, end: int, step: int, illuminant: str = "D50", observer: int = 2):
    """Spectral reflectance (..., k) at start..end nm by step to CIE XYZ (..., 3),
    white normalised to Y = 100, under "D50", "D65" or "A" and the 2 or 10
    degree observer. Wavelengths must lie within 380-780 nm; the tables are
    read every 10 nm, so give 10 nm spectra (read_cgats resamples others).
    Each row is bit-identical to HXTVEL_SpectroRefToXYZ's for it, and the
    wavelengths are refused as it refuses them (Error 304, 302 for the
    illuminant, the observer or the number of values per row)."""
    return _convert(spectra, start, end, step, illuminant, observer, False)


def spectra_to_lab(spectra, start: int, end: int, step: int, illuminant: str = "D50", observer: int = 2):
    """As spectra_to_xyz, but CIE L*a*b* against the white of the same
    illuminant and observer (HXTVEL_SpectroRefToLAB row by row)."""
    return _convert(spectra, start, end, step, illuminant, observer, True)


def set_threads(n: Optional[int] = None) -> int:
    """Sets how many threads delta_e and the spectral conversions split their
    rows over (None or 0: one per core, at most 8; 1 for a process that runs
    beside others, e.g. a Dask worker per core); returns the number before."""
    if n is not None and (isinstance(n, bool) or not isinstance(n, (int, np.integer)) or n < 0):
        raise ValueError("set_threads: expected a whole number 0 or more, not %r" % (n,))
    return _core.set_threads(int(n or 0))


LAYOUTS = {"tl-right": (8, 4), "tl-down": (8, 1), "tr-left": (4, 8), "tr-down": (4, 1),
           "bl-right": (2, 4), "bl-up": (2, 2), "br-left": (1, 8), "br-up": (1, 2)}
_PAGES = {"A3": (297, 420), "A4": (210, 297), "A5": (148, 210), "LETTER": (215.9, 279.4)}


def _tenths(value, what):
    """Millimetres (0 < mm < 100000, as the tool takes them) in tenths, rounded half away from zero."""
    try:
        w, h = (float(v) for v in value)
    except (TypeError, ValueError):
        raise Error("%s: expected (width, height) in mm, not %r" % (what, value), 206) from None
    if not (0 < w < 100000 and 0 < h < 100000):
        raise Error("%s: width and height must lie between 0 and 100000 mm, not %r" % (what, value), 206)
    return [int(math.floor(v * 10 + 0.5)) for v in (w, h)]


class Chart:
    """A measurement chart: patches in a grid, pages, positioning bar.

    page: "A3", "A4", "A5", "letter" or (width, height) in mm; dpi: 30-1200;
    patch: (width, height) in mm; layout: corner of patch 0 and the first
    direction, one of LAYOUTS ("tl-right" ... "br-up", as the tool names
    them); colours: (n, 3) RGB 0-255 or (n, 4) CMYK in percent; whitebar:
    white breaks in the side bars of pages drawn to files, pixels at 300 dpi
    (0-60). Lengths go to the library in tenths of a millimetre, rounded as
    the tool rounds them. Drawing releases the GIL.

        chart = hxtvel.Chart(page="A4", dpi=300, patch=(6, 6), colours=cmyk)
        chart.geometry()[0]["columns"], chart.pages()[0].shape  # (H, W, 4)
    """

    def __init__(self, page: Union[str, Tuple[float, float]] = "A4", dpi: int = 300,
                 patch: Tuple[float, float] = (6, 6), layout: str = "tl-right", colours=None, whitebar: int = 0):
        if isinstance(page, str):
            if page.upper() not in _PAGES:
                raise Error("page: expected A3, A4, A5, letter or (width, height) in mm, not %r" % page, 206)
            page = _PAGES[page.upper()]
        if layout not in LAYOUTS:
            raise Error("layout: expected one of %s, not %r" % (", ".join(LAYOUTS), layout), 206)
        if colours is None:
            raise Error("colours: the patch colours are needed", 206)
        for name, v in (("dpi", dpi), ("whitebar", whitebar)):
            if isinstance(v, bool) or not isinstance(v, (int, np.integer)) or not 0 <= v < 2 ** 32:
                raise Error("%s: expected a whole number, not %r" % (name, v), 206)
        self.colours = np.ascontiguousarray(colours, dtype=np.float64)
        self.page, self.dpi, self.patch, self.layout, self.whitebar = page, int(dpi), patch, layout, int(whitebar)
        first, second = LAYOUTS[layout]
        self._setting = (*_tenths(page, "page"), int(dpi), *_tenths(patch, "patch"), first, second, int(whitebar))

    def __repr__(self) -> str:
        return "<hxtvel.Chart %d %s patches, page %s mm at %d dpi, patch %s mm, %s>" % (
            len(self.colours), "CMYK" if self.colours.shape[-1] == 4 else "RGB", tuple(self.page), self.dpi,
            tuple(self.patch), self.layout)

    def geometry(self, bar: bool = True) -> List[dict]:
        """The pages, without drawing: one dict per page (patches, columns,
        rows, width and height of the page, patch_width, patch_height,
        sidebar_left, grid_top, bar_left, bar_top; all in pixels)."""
        return _core.chart_geometry(self._setting, self.colours, bool(bar))

    def tiff_pages(self, bar: bool = True) -> List[bytes]:
        """Every page as the bytes of an uncompressed TIFF file."""
        return _core.chart_pages(self._setting, self.colours, bool(bar), False)

    def pages(self, bar: bool = True) -> List[np.ndarray]:
        """Every page as an array (height, width, 3) RGB or (height, width, 4) CMYK, uint8."""
        return _core.chart_pages(self._setting, self.colours, bool(bar), True)

    def write(self, prefix: str, bar: bool = True) -> List[str]:
        """Writes page n to "<prefix><n>.tif" as the library draws to files
        (page by page); returns the file names."""
        pages = _core.chart_write(self._setting, self.colours, bool(bar), str(prefix))
        return ["%s%d.tif" % (prefix, n) for n in range(pages)]

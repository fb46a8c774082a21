"""The charts and spectra of an instrument's spectrobin stream.

    ids = hxtvel.spectrobin.chart_ids(data)              # data: the stream's bytes
    spectra, wavelengths, sensor = hxtvel.spectrobin.spectra(data, ids[0])

The stream is checked for length and plausibility before the library reads
it, so no stream, however broken, reaches past its end: a truncated stream,
or one declaring what no instrument writes, raises hxtvel.Error (402).
"""
from typing import List, Tuple

import numpy as np

from . import _core

WAVELENGTHS = np.arange(400, 701, 10, dtype=np.float64)


def chart_ids(data: bytes) -> List[int]:
    """The chart IDs of the stream, in stream order (empty for a stream of no
    charts). data: the stream's bytes (bytes, bytearray, memoryview)."""
    return _core.chart_ids(bytes(data))


def spectra(data: bytes, chart_id: int) -> Tuple[np.ndarray, np.ndarray, "Sensor"]:
    """The patches of one chart: spectra (n, 31) from 400 to 700 nm by 10 in
    chart order, the wavelengths (31,), and the instrument's conditions."""
    from . import Sensor
    values, sensor = _core.chart_spectra(bytes(data), int(chart_id))
    return values, WAVELENGTHS.copy(), Sensor._from_codes(sensor)

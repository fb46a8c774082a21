from typing import List, Tuple, Union

import numpy as np
import numpy.typing as npt

from . import Sensor

WAVELENGTHS: npt.NDArray[np.float64]

Bytes = Union[bytes, bytearray, memoryview]

def chart_ids(data: Bytes) -> List[int]: ...
def spectra(data: Bytes, chart_id: int) -> Tuple[npt.NDArray[np.float64], npt.NDArray[np.float64], Sensor]: ...

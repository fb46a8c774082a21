from typing import List, Tuple

import numpy as np
import numpy.typing as npt

from . import Sensor

WAVELENGTHS: npt.NDArray[np.float64]

def chart_ids(data: bytes) -> List[int]: ...
def spectra(data: bytes, chart_id: int) -> Tuple[npt.NDArray[np.float64], npt.NDArray[np.float64], Sensor]: ...

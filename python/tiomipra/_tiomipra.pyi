import os
from typing import Any, Dict, List, Literal, Mapping, Optional, Sequence, Tuple, Union

import numpy as np
import numpy.typing as npt

from ._matching import Image
from ._rigs import Images, RectifiedCameras, Rig, StrPath

__version__: str
reasons: Dict[int, str]

class OpenCVError(RuntimeError):
    code: int
    func: str
    err: str

class InputError(ValueError): ...

class Calibration:
    width: int
    height: int
    def __init__(
        self,
        width: int = 0,
        height: int = 0,
        camera_matrix: Optional[npt.NDArray[np.floating[Any]]] = None,
        distortion: Optional[npt.NDArray[np.floating[Any]]] = None,
        rectification_matrix: Optional[npt.NDArray[np.floating[Any]]] = None,
        projection_matrix: Optional[npt.NDArray[np.floating[Any]]] = None,
    ) -> None: ...
    camera_matrix: npt.NDArray[np.floating[Any]]
    distortion: npt.NDArray[np.floating[Any]]
    rectification_matrix: npt.NDArray[np.floating[Any]]
    projection_matrix: npt.NDArray[np.floating[Any]]
    @staticmethod
    def load(path: StrPath) -> Calibration: ...
    def save(self, path: StrPath) -> None: ...
    def scale_to(self, width: int, height: int) -> Calibration: ...
    def __eq__(self, other: object) -> bool: ...
    def __ne__(self, other: object) -> bool: ...
    __hash__: None  # type: ignore[assignment]

class Stereo:
    max_depth: float
    algorithm: Literal["bm", "sgbm"]
    window_size: int
    min_disparity: int
    disparity_number: int
    pre_filter_cap: int
    pre_filter_size: int
    texture_threshold: int
    uniqueness_ratio: int
    speckle_window_size: int
    speckle_range: int
    p1: int
    p2: int
    disp12_max_diff: int
    full_dp: bool
    def __init__(self) -> None: ...
    @property
    def calibrations(self) -> Tuple[Calibration, Calibration]: ...
    def set_calibrations(self, left: Calibration, right: Calibration) -> None: ...
    def rectify(
        self, left: npt.NDArray[Any], right: npt.NDArray[Any]
    ) -> Tuple[npt.NDArray[Any], npt.NDArray[Any]]: ...
    def rectify_left(self, image: npt.NDArray[Any]) -> npt.NDArray[Any]: ...
    def rectify_right(self, image: npt.NDArray[Any]) -> npt.NDArray[Any]: ...
    def compute_disparity(
        self, left: npt.NDArray[np.uint8], right: npt.NDArray[np.uint8]
    ) -> npt.NDArray[np.float32]: ...
    def compute_depth(self, disparity: npt.NDArray[np.float32]) -> npt.NDArray[np.float32]: ...
    def compute_image_transforms(
        self, width: int, height: int
    ) -> Dict[str, npt.NDArray[np.float32]]: ...
    def reset_parameters(self) -> None: ...

class Matcher:
    def __init__(
        self,
        rig: Union[Rig, RectifiedCameras, None],
        preset: Optional[str],
        range: Union[Tuple[float, float], str, None],
        max_depth: Optional[float],
        scale: int,
        confidence: bool,
        parameters: Mapping[str, Union[int, bool, str]],
    ) -> None: ...
    def match(self, left: Image, right: Image) -> Dict[str, Any]: ...

def matching_kernels() -> str: ...
def parameters() -> Dict[str, str]: ...
def presets() -> Dict[str, Tuple[str, Dict[str, Union[int, bool, str]]]]: ...
def read_image(
    path: StrPath, *, as_stored: bool = False, max_pixels: int = 100000000
) -> npt.NDArray[Any]: ...
def write_image(path: StrPath, image: npt.NDArray[Any]) -> None: ...
def read_disparity(path: StrPath, scale: Optional[float] = None) -> npt.NDArray[np.float32]: ...
def collect_cloud(
    points: npt.NDArray[np.float32],
    measured: Optional[npt.NDArray[Any]],
    image: npt.NDArray[np.uint8],
) -> Tuple[npt.NDArray[np.float32], npt.NDArray[np.uint8]]: ...
def save_cloud(
    path: StrPath, points: npt.NDArray[np.float32], colours: npt.NDArray[np.uint8]
) -> None: ...
def evaluate(
    disparity: npt.NDArray[np.float32],
    truth: npt.NDArray[np.float32],
    mask: Optional[npt.NDArray[Any]],
) -> str: ...
def calibrate(left: Images, right: Images, options: Dict[str, Any]) -> Dict[str, Any]: ...
def check(
    rig: Rig,
    left: Images,
    right: Images,
    max_row_difference: float,
    rotate_left: int,
    rotate_right: int,
) -> Tuple[bool, str, str]: ...
def load_rig(folder: StrPath) -> Dict[str, Any]: ...
def save_rig(
    folder: StrPath, rig: Rig, report: str, pictures: Sequence[Tuple[str, npt.NDArray[np.uint8]]]
) -> None: ...
def find_faults(rig: Rig) -> List[Tuple[str, str]]: ...
def describe_geometry(rig: Rig) -> str: ...
def import_rig(
    files: Sequence[StrPath],
    format: str,
    unit: str,
    size: Optional[Tuple[int, int]],
    cameras: Sequence[str],
    swap: bool,
    alpha: Optional[float],
    field_of_view: Optional[float],
) -> Dict[str, Any]: ...
def export_rig(rig: Rig, format: str, files: Sequence[StrPath]) -> None: ...
def formats(exported: bool) -> Dict[str, str]: ...

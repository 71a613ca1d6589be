"""A program as a user with ``mypy --strict`` would write it."""

from pathlib import Path
from typing import Any, List, Optional

import numpy as np
import numpy.typing as npt
import tiomipra


def load(folder: Path) -> tiomipra.Rig:
    rig = tiomipra.Rig.load(folder)
    left: tiomipra.Calibration = rig.left.scale_to(320, 240)
    left.camera_matrix = np.eye(3)
    half: npt.NDArray[np.floating[Any]] = left.camera_matrix
    print(tiomipra.__version__, half.shape, left == rig.left, tiomipra.RigModel.__doc__)
    return rig


def calibrate(left: List[Path], right: List[npt.NDArray[np.uint8]]) -> Optional[tiomipra.Rig]:
    result = tiomipra.calibrate(left, "right*.jpg", corners=(9, 6), square=0.025)
    again = tiomipra.calibrate(right, right, corners=(9, 6), square=0.025, lens="fisheye")
    return result.rig if result.pair_error < again.pair_error else None


def measure(rig: tiomipra.Rig, image: npt.NDArray[np.uint8]) -> npt.NDArray[np.float32]:
    stereo = tiomipra.Stereo()
    stereo.algorithm = "sgbm"
    stereo.set_calibrations(rig.left, rig.right)
    left, right = stereo.rectify(image, image)
    points = stereo.compute_depth(stereo.compute_disparity(left, right))
    match = tiomipra.Matcher(rig, preset="fast", range=(0.4, 3.0), window_size=9).match(left, right)
    tiomipra.Matcher(rig, **tiomipra.presets()["fast"].parameters)
    tiomipra.Matcher(None).match("left.png", image)  # type: ignore[call-overload]
    if match.depth is not None:
        match.cloud().save("scene.ply")
    return points

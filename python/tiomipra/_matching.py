"""Matching pairs with presets and ranges; clouds; evaluation."""

from __future__ import annotations

import json
import math
from dataclasses import dataclass
from typing import Any, Dict, Mapping, Optional, Tuple, Union, overload

import numpy as np
import numpy.typing as npt

from . import _tiomipra
from ._rigs import RectifiedCameras, Rig, StrPath

Image = Union[StrPath, npt.NDArray[Any]]


@dataclass(frozen=True)
class Preset:
    """Parameters for people who don't want to know: a few words, and the parameters by name."""

    summary: str
    parameters: Mapping[str, Any]


@dataclass(frozen=True, eq=False)
class Cloud:
    """Points with colours.

    points: X right, Y down, Z forward from the left camera, float32, (n, 3). colours: red, green,
    blue, uint8, (n, 3).
    """

    points: npt.NDArray[np.float32]
    colours: npt.NDArray[np.uint8]

    def save(self, path: StrPath) -> None:
        """Write a ``.ply`` or ``.pcd`` file. Raises ``OSError``."""
        _tiomipra.save_cloud(path, self.points, self.colours)

    def __len__(self) -> int:
        return len(self.points)

    def __repr__(self) -> str:
        return f"<Cloud of {len(self)} points>"


@dataclass(frozen=True, eq=False, repr=False)
class Match:
    """What was found in a pair; all images have the size of the rectified left one.

    image: the rectified left image, uint8, (rows, columns) or (rows, columns, 3) with blue, green,
    red. disparity: pixels, float32, NaN where there is none. measured: bool, where there is a
    disparity and, with a rig, a point. reasons: uint8, why not; ``tiomipra.reasons`` says what the
    numbers mean. confidence: uint8, or None unless it was wanted. points: X right, Y down, Z
    forward, float32, (rows, columns, 3); it counts where ``measured`` says so. depth: its Z, float32,
    NaN where there is none. Both are None without a rig. report: the numbers, as
    ``tiomipra depth --json`` has them.
    """

    image: npt.NDArray[np.uint8]
    disparity: npt.NDArray[np.float32]
    measured: npt.NDArray[np.bool_]
    reasons: npt.NDArray[np.uint8]
    confidence: Optional[npt.NDArray[np.uint8]]
    points: Optional[npt.NDArray[np.float32]]
    depth: Optional[npt.NDArray[np.float32]]
    report: Mapping[str, Any]

    def cloud(self) -> Cloud:
        """Return the measured points in the colours of the image.

        Raises ``ValueError`` where there are none, as there is no rig.
        """
        if self.points is None:
            raise ValueError("there are no points: the pair was matched without a rig")
        return make_cloud(self.points, self.image, self.measured)

    def __repr__(self) -> str:
        rows, columns = self.disparity.shape
        what = "disparities" if self.depth is None else "depths"
        return f"<Match {columns}x{rows}, {what} of {self.measured.mean():.1%} of the pixels>"


class Matcher:
    """Rectifies and matches pairs.

    rig: a `Rig`, `RectifiedCameras` for images that are rectified already, or None for these where
    disparities are all that is wanted. preset: a key of ``presets()``. range: (nearest, farthest)
    depth in the unit of the rig, where farthest may be infinite, or ``"auto"``, found from the
    first pair. max_depth: points farther away are removed. scale: 1, 2 or 4, images are matched at
    1 / scale of their size. confidence: whether that of every disparity is wanted, which takes
    time. parameters: any of ``parameters()`` by name, over those of the preset.

    Raises ``TypeError`` and ``ValueError`` for arguments, ``InputError`` for a rig that can't be
    used.

    One object works on one pair at a time; threads that share it wait for each other.
    """

    def __init__(
        self,
        rig: Union[Rig, RectifiedCameras, None],
        *,
        preset: Optional[str] = None,
        range: Union[Tuple[float, float], str, None] = None,
        max_depth: Optional[float] = None,
        scale: int = 1,
        confidence: bool = False,
        **parameters: Union[int, bool, str],
    ) -> None:
        self._matcher = _tiomipra.Matcher(
            rig, preset, range, max_depth, scale, confidence, parameters
        )
        self._described = f"{rig!r}, preset {preset}, range {range}"

    @overload
    def match(self, left: StrPath, right: StrPath) -> Match: ...

    @overload
    def match(self, left: npt.NDArray[Any], right: npt.NDArray[Any]) -> Match: ...

    def match(self, left: Image, right: Image) -> Match:
        """Match a pair of images, two files or two arrays; not several pairs at once.

        Arrays are uint8, uint16 or float32, (rows, columns) or (rows, columns, 3) with blue, green,
        red, of the calibrated size or another of the same aspect ratio. What is not 8 bits is
        stretched, both alike. Hints go to the logger ``tiomipra``.

        Raises ``OSError`` for files that can't be read, ``InputError`` and ``ValueError`` for images
        that don't fit, ``TypeError`` for what is no image.
        """
        found = self._matcher.match(left, right)
        found["measured"] = found["measured"].astype(bool)
        found["report"] = json.loads(found["report"])
        return Match(**found)

    def __repr__(self) -> str:
        return f"<Matcher {self._described}>"


@dataclass(frozen=True)
class Evaluation:
    """How good disparities are; shares in percent, errors in pixels.

    known: pixels whose true disparity is known. measured: those of them that have a disparity.
    average_error, root_mean_square_error: over the measured pixels. bad: by the error in pixels, as
    in ``bad[2.0]``, the measured pixels that are off by more. bad_of_known: the same, where a known
    pixel without a disparity counts as bad.
    """

    known: int
    measured: int
    average_error: float
    root_mean_square_error: float
    bad: Mapping[float, float]
    bad_of_known: Mapping[float, float]


def make_cloud(
    points: npt.NDArray[np.float32],
    image: npt.NDArray[np.uint8],
    measured: Optional[npt.NDArray[np.bool_]] = None,
) -> Cloud:
    """Gather points in the colours of the left image.

    points: float32, (rows, columns, 3), as ``Stereo.compute_depth`` gives them. image: uint8, (rows,
    columns) or (rows, columns, 3) with blue, green, red. measured: bool, (rows, columns), the points
    that count; unless given, those that are not (0, 0, 0).
    """
    return Cloud(*_tiomipra.collect_cloud(points, measured, image))


def presets() -> Dict[str, Preset]:
    """Return the presets of a `Matcher` by name."""
    return {name: Preset(*values) for name, values in _tiomipra.presets().items()}


def evaluate(
    disparity: npt.NDArray[np.float32],
    truth: npt.NDArray[np.float32],
    mask: Optional[npt.NDArray[Any]] = None,
) -> Evaluation:
    """Compare disparities with ground truth.

    disparity, truth: float32, (rows, columns), in pixels; known is what is finite and above 0.
    mask: bool or uint8, (rows, columns); only pixels where it is not 0 count.

    Raises ``TypeError`` and ``ValueError`` for arrays that don't fit.
    """
    report = json.loads(_tiomipra.evaluate(disparity, truth, mask))
    return Evaluation(
        known=report["known"],
        measured=report["measured"],
        average_error=_number(report["averageError"]),
        root_mean_square_error=_number(report["rmsError"]),
        bad=_bad_shares(report["percentOfMeasured"]),
        bad_of_known=_bad_shares(report["percentOfKnown"]),
    )


def _number(value: Optional[float]) -> float:
    """JSON has no NaN."""
    return math.nan if value is None else value


def _bad_shares(report: Mapping[str, Optional[float]]) -> Dict[float, float]:
    shares = ((name, _number(value)) for name, value in report.items())
    return {float(name[len("bad") :]): share for name, share in shares if name.startswith("bad")}

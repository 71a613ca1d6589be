"""Rigs: what a calibrated pair of cameras is, from where it comes, and where it goes."""

from __future__ import annotations

import json
import math
import os
from dataclasses import dataclass, field
from typing import Any, Dict, List, Mapping, Optional, Sequence, Tuple, Union

import numpy as np
import numpy.typing as npt

from . import _tiomipra
from ._tiomipra import Calibration

StrPath = Union[str, "os.PathLike[str]"]
Images = Union[StrPath, Sequence[StrPath], npt.NDArray[Any], Sequence[npt.NDArray[Any]]]


@dataclass(eq=False)
class Camera:
    """A camera before rectification, as it was measured.

    image_size: (width, height) in pixels. camera_matrix: float64, (3, 3), in pixels.
    lens: ``"radial-tangential"``, with 0, 4, 5, 8, 12 or 14 coefficients in OpenCV's order, or
    ``"fisheye"``, with 4. coefficients: float64, (n,).
    """

    image_size: Tuple[int, int]
    camera_matrix: npt.NDArray[np.float64]
    lens: str
    coefficients: npt.NDArray[np.float64]


@dataclass(eq=False)
class RigModel:
    """Both cameras, and how they stand to each other, before rectification.

    A point at p in the left camera's frame is at ``rotation @ p + translation`` in the right one's.
    rotation: float64, (3, 3). translation: float64, (3,), in unit: ``"m"``, or ``""`` for one of
    your own.
    """

    left: Camera
    right: Camera
    rotation: npt.NDArray[np.float64]
    translation: npt.NDArray[np.float64]
    unit: str = ""


@dataclass(eq=False, repr=False)
class Rig:
    """A calibrated pair of cameras.

    left, right: the calibrations that rectify their images. unit: of lengths, ``"m"``, ``""`` for
    one of your own, or None where nobody has said. verdict: of the calibration, ``"good"``,
    ``"usable"``, ``"redo"`` or ``""``. model: what was measured, if it is known.
    """

    left: Calibration
    right: Calibration
    unit: Optional[str] = None
    verdict: str = ""
    model: Optional[RigModel] = None

    def __post_init__(self) -> None:
        for name in ("left", "right"):
            value = getattr(self, name)
            if not isinstance(value, Calibration):
                kind = "None" if value is None else f"of type {type(value).__name__}"
                raise TypeError(f"{name} is {kind}, must be a Calibration")

    @classmethod
    def load(cls, folder: StrPath) -> Rig:
        """Return the rig in a folder with ``left.yml`` and ``right.yml``.

        Raises ``OSError`` for a file that can't be read, ``InputError`` for one that is no
        calibration.
        """
        return cls(**_tiomipra.load_rig(folder))

    def save(self, folder: StrPath) -> None:
        """Write ``left.yml``, ``right.yml``, ``report.json`` and, with a model, ``rig.yml``.

        The folder is created if it is missing; all files appear together, or none if an error is
        raised.

        Raises ``OSError``, and what `load` would refuse: ``InputError`` for calibrations that lack
        something or hold NaN, ``TypeError`` and ``ValueError`` for a unit, a verdict or a model.
        """
        _tiomipra.save_rig(folder, self, "", [])

    @property
    def faults(self) -> List[Tuple[str, str]]:
        """What keeps the rig from being used, with what to do about it; empty if it is usable."""
        return _tiomipra.find_faults(self)

    @property
    def geometry(self) -> Dict[str, Any]:
        """Fields of view, baseline and depth resolution, as ``tiomipra inspect --json`` has them.

        Raises ``InputError`` for a rig that can't be used.
        """
        geometry: Dict[str, Any] = json.loads(_tiomipra.describe_geometry(self))
        return geometry

    @property
    def focal_length(self) -> float:
        """Of the rectified images, in pixels. Raises ``InputError`` for a rig that is not rectified."""
        return float(self._projections()[0][0, 0])

    @property
    def baseline(self) -> float:
        """Distance of the cameras, in the unit of lengths. Raises ``InputError`` as `focal_length`."""
        left, right = self._projections()
        return float((left[0, 3] - right[0, 3]) / right[0, 0])

    def _projections(self) -> Tuple[npt.NDArray[np.floating[Any]], npt.NDArray[np.floating[Any]]]:
        if not self._is_rectified:
            raise _tiomipra.InputError("the rig is not rectified: it has no projection matrices")
        return self.left.projection_matrix, self.right.projection_matrix

    @property
    def _is_rectified(self) -> bool:
        return self.left.projection_matrix.shape == self.right.projection_matrix.shape == (3, 4)

    def __repr__(self) -> str:
        size = f"{self.left.width}x{self.left.height}"
        if not self._is_rectified:
            return f"<Rig {size}, not rectified>"
        baseline = f"{self.baseline:.4g} {self.unit or ''}".strip()
        verdict = f", {self.verdict}" if self.verdict else ""
        return f"<Rig {size}, focal length {self.focal_length:.4g} pixels, baseline {baseline}{verdict}>"


@dataclass(frozen=True)
class RectifiedCameras:
    """Cameras that deliver rectified images, in place of a ``Rig``.

    A point at depth Z has a disparity of ``focal_length * baseline / Z - centre_offset`` pixels.
    focal_length: pixels. baseline: in ``unit``, ``"m"`` or ``""``. centre_offset: x of the right
    principal point minus x of the left one. centre: left principal point (x, y), the middle of the
    images unless given.
    """

    focal_length: float
    baseline: float
    centre_offset: float = 0.0
    centre: Optional[Tuple[float, float]] = None
    unit: str = "m"


@dataclass(eq=False, repr=False)
class CalibrationResult:
    """What `calibrate` found.

    rig: the calibrated rig. report: all numbers, as in ``report.json`` of ``tiomipra calibrate``.
    coverage: how many corners lie in which part of the images, and rectified: a rectified pair
    under row lines, both pictures of uint8, (rows, columns, 3). ``print(result)`` shows the report.
    """

    rig: Rig
    report: Mapping[str, Any]
    coverage: npt.NDArray[np.uint8] = field(repr=False)
    rectified: npt.NDArray[np.uint8] = field(repr=False)
    text: str = field(repr=False)
    report_text: str = field(repr=False)

    @property
    def verdict(self) -> str:
        """``"good"``, ``"usable"`` or ``"redo"``."""
        return self.rig.verdict

    @property
    def pair_error(self) -> float:
        """Root mean square reprojection error of both cameras together, in pixels."""
        return float(self.report["pairError"])

    def save(self, folder: StrPath) -> None:
        """Write the files that ``tiomipra calibrate`` writes, but for the page ``report.html``.

        ``tiomipra report --calibration FOLDER`` makes it from these. Raises ``OSError``.
        """
        pictures = [("coverage.png", self.coverage), ("rectified.png", self.rectified)]
        _tiomipra.save_rig(folder, self.rig, self.report_text, pictures)

    def __str__(self) -> str:
        return self.text

    def __repr__(self) -> str:
        return f"<CalibrationResult {self.verdict}, pair error {self.pair_error:.3f} pixels, {self.rig!r}>"


@dataclass(frozen=True, repr=False)
class CheckResult:
    """Whether a rig is still calibrated, which is also the truth of this object.

    report: the numbers, as ``tiomipra check --json`` has them; ``print(result)`` shows them.
    """

    calibrated: bool
    report: Mapping[str, Any]
    text: str

    def __bool__(self) -> bool:
        return self.calibrated

    def __str__(self) -> str:
        return self.text

    def __repr__(self) -> str:
        return f"<CheckResult {self.report['verdict']}: {self.report['reason']}>"


def calibrate(
    left: Images,
    right: Images,
    *,
    corners: Tuple[int, int],
    square: float,
    unit: str = "m",
    pattern: str = "chessboard",
    marker: Optional[float] = None,
    dictionary: str = "6x6_250",
    lens: str = "auto",
    alpha: float = 0.0,
    field_of_view: Optional[float] = None,
    fixed_intrinsics: Optional[Rig] = None,
    max_pairs: int = 40,
    reject_above: float = math.inf,
    rotate_left: int = 0,
    rotate_right: int = 0,
) -> CalibrationResult:
    """Calibrate two cameras with pictures of a board.

    left, right: as many images of each camera, taken at the same moments: sequences of files, a
    folder, a pattern such as ``"left[01]*.jpg"``, a video, or sequences of arrays, uint8, uint16 or
    float32, (rows, columns) or (rows, columns, 3) with blue, green, red; files of both cameras or
    arrays of both. All processors look for the board.

    corners: points per row and rows, as in (9, 6) for 10 x 7 squares. square: side of a square, in
    ``unit``, ``"m"`` or ``""`` for one of your own, in which all lengths then are. pattern:
    ``"chessboard"``, ``"circles"``, ``"asymmetric-circles"`` or ``"charuco"``, whose markers have
    the side ``marker`` and are of ``dictionary``. lens: ``"auto"``, ``"pinhole"``, ``"rational"``
    or ``"fisheye"``. alpha: 0 crops empty pixels away, 1 keeps all pixels. field_of_view: of the
    rectified images of fisheyes, in degrees. fixed_intrinsics: a rig whose cameras are kept, so
    that only their positions are found. max_pairs: as many pairs are used at most, those that
    differ most. reject_above: pairs with an error above that, in pixels, are left out. rotate_left,
    rotate_right: by how many degrees images are turned clockwise first: 0, 90, 180 or 270.

    Raises ``OSError`` for files that can't be read, ``InputError`` where the images determine no
    calibration, ``TypeError`` and ``ValueError`` for arguments.
    """
    options = dict(locals())
    del options["left"], options["right"]
    found = _tiomipra.calibrate(left, right, options)
    return CalibrationResult(
        rig=Rig(**found["rig"]),
        report=json.loads(found["report"]),
        coverage=found["coverage"],
        rectified=found["rectified"],
        text=found["text"],
        report_text=found["report"],
    )


def check(
    rig: Rig,
    left: Images,
    right: Images,
    *,
    max_row_difference: float = 0.75,
    rotate_left: int = 0,
    rotate_right: int = 0,
) -> CheckResult:
    """Tell from ordinary pictures, without a board, whether a rig is still calibrated.

    left, right: images as `calibrate` takes them. max_row_difference: median of the row differences
    after rectification that is accepted, in pixels.

    Raises ``OSError`` for files that can't be read, ``InputError`` where the images tell too little.
    """
    answer = _tiomipra.check(rig, left, right, max_row_difference, rotate_left, rotate_right)
    calibrated, report, text = answer
    return CheckResult(calibrated, json.loads(report), text)


def import_rig(
    *files: StrPath,
    format: str = "",
    unit: str = "",
    size: Optional[Tuple[int, int]] = None,
    cameras: Sequence[str] = (),
    swap: bool = False,
    alpha: Optional[float] = None,
    field_of_view: Optional[float] = None,
) -> Rig:
    """Take over the calibration of another program.

    format: a key of ``import_formats()``, found out from the content unless given. unit: of lengths
    in the files, ``"m"``, ``"cm"``, ``"mm"`` or ``"in"``; else that of the format. The rig is in
    metres wherever either says it. size: (width, height) of the images where files have none.
    cameras: names of left and right where there are more than two. swap: the files have the right
    camera first. alpha, field_of_view: of the rectification, as for `calibrate`.

    Raises ``OSError`` for files that can't be read, ``InputError`` for those that can't be right.
    """
    found = _tiomipra.import_rig(
        list(files), format, unit, size, cameras, swap, alpha, field_of_view
    )
    return Rig(**found)


def export_rig(rig: Rig, format: str, *files: StrPath) -> None:
    """Write a calibration for another program.

    format: a key of ``export_formats()``. files: as many as the format has, one or two, all
    different.

    Raises ``OSError`` when they can't be written, ``ValueError`` for what the format can't hold.
    """
    _tiomipra.export_rig(rig, format, list(files))


def import_formats() -> Dict[str, str]:
    """Return the formats that `import_rig` reads, with what they are."""
    return _tiomipra.formats(False)


def export_formats() -> Dict[str, str]:
    """Return the formats that `export_rig` writes, with what they are."""
    return _tiomipra.formats(True)

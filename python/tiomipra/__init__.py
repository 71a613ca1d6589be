"""Metric depth from two cameras.

From photographs of a chessboard to a point cloud::

    import tiomipra

    result = tiomipra.calibrate("left[01]*.jpg", "right[01]*.jpg", corners=(9, 6), square=0.025)
    matcher = tiomipra.Matcher(result.rig, preset="balanced", range=(0.4, 3.0))
    matcher.match("a.png", "b.png").cloud().save("scene.ply")

``Calibration`` and ``Stereo`` are the two classes of the C++ library. Images are numpy arrays of
shape (rows, columns), or (rows, columns, 3) with blue, green, red, as OpenCV has them. The library
logs to the loggers ``vision.stereo`` and ``vision.stereo.calibration`` of ``logging``, all else to
``tiomipra``.
"""

import logging as _logging_module

from ._matching import Cloud, Evaluation, Match, Matcher, Preset, evaluate, make_cloud, presets
from ._rigs import (
    CalibrationResult,
    Camera,
    CheckResult,
    RectifiedCameras,
    Rig,
    RigModel,
    calibrate,
    check,
    export_formats,
    export_rig,
    import_formats,
    import_rig,
)
from ._tiomipra import (
    Calibration,
    InputError,
    OpenCVError,
    Stereo,
    __version__,
    matching_kernels,
    parameters,
    read_disparity,
    read_image,
    reasons,
    write_image,
)

__all__ = [
    "Calibration",
    "CalibrationResult",
    "Camera",
    "CheckResult",
    "Cloud",
    "Evaluation",
    "InputError",
    "Match",
    "Matcher",
    "OpenCVError",
    "Preset",
    "RectifiedCameras",
    "Rig",
    "RigModel",
    "Stereo",
    "__version__",
    "calibrate",
    "check",
    "evaluate",
    "export_formats",
    "export_rig",
    "import_formats",
    "import_rig",
    "make_cloud",
    "matching_kernels",
    "parameters",
    "presets",
    "read_disparity",
    "read_image",
    "reasons",
    "write_image",
]

# Whoever wants the records adds a handler; errors are exceptions anyway.
for _name in ("vision", "tiomipra"):
    _logging_module.getLogger(_name).addHandler(_logging_module.NullHandler())
del _logging_module, _name

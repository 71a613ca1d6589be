"""A calibrated rig and pictures, and what the command makes of them."""

import os
import subprocess
from pathlib import Path

import numpy as np
import pytest
import tiomipra

PHOTOGRAPHS = Path(os.environ["TIOMIPRA_PHOTOGRAPHS"])


def photographs(side):
    return sorted(PHOTOGRAPHS.glob(f"{side}[01]*.jpg"))


def run_command(*arguments):
    subprocess.run([os.environ["TIOMIPRA_PROGRAM"], *map(str, arguments)], check=True)


@pytest.fixture(scope="session")
def command_rig(tmp_path_factory):
    """The folder of the rig that the command calibrates."""
    folder = tmp_path_factory.mktemp("rig")
    run_command("calibrate", "--corners", "9x6", "--square", "25mm", "--left",
                *photographs("left"), "--right", *photographs("right"), "--output", folder)
    return folder


@pytest.fixture(scope="session")
def rig(command_rig):
    return tiomipra.Rig.load(command_rig)


@pytest.fixture(scope="session")
def pair():
    """A raw pair, grey."""
    return tuple(tiomipra.read_image(PHOTOGRAPHS / f"{side}13.jpg") for side in ("left", "right"))


@pytest.fixture
def stereo(rig):
    result = tiomipra.Stereo()
    result.max_depth = 3.0
    result.set_calibrations(rig.left, rig.right)
    return result


def depths(stereo, pair):
    """Rectified, matched and measured."""
    return stereo.compute_depth(stereo.compute_disparity(*stereo.rectify(*pair)))


def same_bits(one, other):
    return one.dtype == other.dtype and one.shape == other.shape and np.array_equal(
        np.ascontiguousarray(one).view(np.uint8), np.ascontiguousarray(other).view(np.uint8))

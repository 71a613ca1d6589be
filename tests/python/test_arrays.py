"""Which arrays are taken, without a copy or with one, and what becomes of results."""

import gc

import numpy as np
import pytest
import tiomipra
from conftest import same_bits


def layouts(image):
    """The same pixels in other layouts, with whether they can be read as they are."""
    rows, columns = image.shape
    wide = np.full((rows, columns + 70), 255, np.uint8)
    wide[:, 30 : 30 + columns] = image
    sparse = np.zeros((2 * rows, columns), np.uint8)
    sparse[::2] = image
    read_only = image.copy()
    read_only.flags.writeable = False
    return [wide[:, 30 : 30 + columns], sparse[::2], np.asfortranarray(image), read_only,
            image[::-1].copy()[::-1], image[:, ::-1].copy()[:, ::-1]]


def test_layouts_do_not_matter(stereo, pair):
    expected = stereo.rectify(*pair)
    for left, right in zip(layouts(pair[0]), layouts(pair[1])):
        assert all(map(same_bits, stereo.rectify(left, right), expected))
        assert same_bits(stereo.compute_disparity(left, right), stereo.compute_disparity(*pair))


@pytest.mark.parametrize("dtype", [np.uint8, np.uint16, np.int16, np.float32, np.float64])
@pytest.mark.parametrize("channels", [1, 3, 4])
def test_types_and_channels_pass_through(stereo, pair, dtype, channels):
    grey = stereo.rectify_left(pair[0].astype(dtype))
    image = np.repeat(pair[0].astype(dtype)[:, :, None], channels, axis=2)
    rectified = stereo.rectify_left(image)
    assert rectified.dtype == dtype and rectified.shape == image.shape
    assert all(same_bits(rectified[:, :, i], grey) for i in range(channels))


def test_elements_that_are_not_aligned(stereo, pair):
    disparity = stereo.compute_disparity(*stereo.rectify(*pair))
    moved = np.zeros(disparity.nbytes + 1, np.uint8)[1:].view(np.float32).reshape(disparity.shape)
    moved[:] = disparity
    assert not moved.flags.aligned
    assert same_bits(stereo.compute_depth(moved), stereo.compute_depth(disparity))


def test_results_own_their_memory(stereo, pair):
    disparity = stereo.compute_disparity(*stereo.rectify(*pair))
    copy = disparity.copy()
    part = disparity[100:200, ::2]
    del disparity, stereo
    gc.collect()
    tiomipra.Stereo()
    assert same_bits(part, copy[100:200, ::2]) and part.flags.writeable


@pytest.mark.parametrize(("left", "right", "error", "words"), [
    ([[1, 2]], None, TypeError, "left is of type list, must be an array of uint8"),
    (None, None, TypeError, "left is None"),
    (np.zeros((480, 640), np.uint8), 0, TypeError, "right is of type int"),
    (np.zeros((480, 640), bool), 0, TypeError, "left has dtype bool"),
    (np.lib.stride_tricks.as_strided(np.zeros(1, np.uint8), (1 << 32, 1), (0, 0)), 0, ValueError,
     r"left has shape \(4294967296, 1\)"),
    (np.zeros((480, 640), ">u2"), 0, TypeError, "left has dtype >u2"),
    (np.ma.zeros((480, 640), np.uint8), 0, TypeError, "left has a mask, which would be lost"),
    (np.zeros((480, 640), complex), 0, TypeError, "left has dtype complex128"),
    (np.zeros(640, np.uint8), 0, ValueError, r"left has shape \(640,\)"),
    (np.zeros((480, 640, 5), np.uint8), 0, ValueError, r"left has shape \(480, 640, 5\)"),
    (np.zeros((480, 640), np.uint8), np.zeros((480, 639), np.uint8), ValueError,
     r"right has shape \(480, 639\), must have that of left, \(480, 640\)"),
    (np.zeros((480, 640), np.uint8), np.zeros((480, 640), np.uint16), TypeError,
     "right has dtype uint16, must have that of left, uint8"),
    (np.zeros((400, 640), np.uint8), np.zeros((400, 640), np.uint8), ValueError,
     "left has 400 rows and 640 columns, must have the aspect ratio"),
    (np.zeros((0, 0), np.uint8), np.zeros((0, 0), np.uint8), ValueError,
     r"left has shape \(0, 0\), must be"),
])
def test_refused_arrays(stereo, left, right, error, words):
    with pytest.raises(error, match=words):
        stereo.rectify(left, right)


def test_copies_that_find_no_memory(stereo):
    with pytest.raises(MemoryError):
        stereo.compute_disparity(*[np.broadcast_to(np.uint8(0), (1 << 20, 1 << 20))] * 2)


def test_images_beyond_the_matchers(stereo, pair):
    with pytest.raises(TypeError, match="left has dtype float64, must be a uint8 array"):
        stereo.compute_disparity(pair[0].astype(float), pair[1])
    with pytest.raises(TypeError, match="disparity has dtype uint8, must be a float32 array"):
        stereo.compute_depth(pair[0])
    with pytest.raises(ValueError, match="1280 pixels wide, must be at most"):
        stereo.compute_disparity(*[np.zeros((960, 1280), np.uint8)] * 2)

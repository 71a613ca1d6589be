"""Calibrating, checking, importing, matching and evaluating, as the command does it."""

import collections
import copy
import functools
import logging
import shutil
import signal
import threading
import time

import numpy as np
import pytest
import tiomipra
from conftest import PHOTOGRAPHS, photographs, run_command, same_bits


@pytest.fixture(scope="module")
def result():
    return tiomipra.calibrate(photographs("left"), photographs("right"), corners=(9, 6),
                              square=0.025)


def test_calibrates_as_the_command(result, rig, command_rig, tmp_path):
    assert result.verdict == "good" and result.pair_error == pytest.approx(0.197, abs=0.001)
    result.save(tmp_path)
    for name in ("left.yml", "right.yml", "rig.yml", "coverage.png", "rectified.png"):
        assert (tmp_path / name).read_bytes() == (command_rig / name).read_bytes(), name
    again = tiomipra.Rig.load(tmp_path)
    assert (again.unit, again.verdict, again.left) == ("m", "good", rig.left)
    assert again.model.unit == "m" and np.array_equal(again.model.translation,
                                                      result.rig.model.translation)
    again.save(tmp_path)
    assert not list(tmp_path.glob("*.png")), "which are of a calibration"
    arrays = [[tiomipra.read_image(file) for file in photographs(side)]
              for side in ("left", "right")]
    other = tiomipra.calibrate(*arrays, corners=(9, 6), square=0.025, unit="")
    assert other.rig.unit == "" and (other.rig.left, other.rig.right) == (rig.left, rig.right)
    assert "Verdict: good" in str(result) and "0.197" in repr(result)


def test_calibrating_what_it_can_not(rig, pair):
    arguments = {"corners": (9, 6), "square": 0.025}
    for change, error, words in [({"corners": 9}, TypeError, "corners is of type int"),
                                 ({"corners": (1, 6)}, ValueError, "corners"),
                                 ({"square": -1.0}, ValueError, "square is -1"),
                                 ({"lens": "zoom"}, ValueError, "lens is 'zoom', must be auto"),
                                 ({"unit": "km"}, ValueError, "unit is 'km', must be 'm'"),
                                 ({"pattern": "dots"}, ValueError, "pattern is 'dots'"),
                                 ({"rotate_left": 45}, ValueError, "rotate_left is 45, must be 0"),
                                 ({"max_pairs": 1}, ValueError, "max_pairs is 1, must be 3")]:
        with pytest.raises(error, match=words):
            tiomipra.calibrate([pair[0]], [pair[1]], **{**arguments, **change})
    with pytest.raises(tiomipra.InputError, match="left"):
        tiomipra.calibrate([pair[0]] * 4, [np.zeros_like(pair[0])] * 4, **arguments)
    with pytest.raises(ValueError, match="left has 2 images, right has 1"):
        tiomipra.calibrate([pair[0]] * 2, [pair[1]], **arguments)
    with pytest.raises(TypeError, match=r"left\[1\] is of type str"):
        tiomipra.calibrate([pair[0], "a.png"], list(pair), **arguments)


def test_a_signal_ends_calibrating(pair):
    threading.Timer(0.3, signal.raise_signal, [signal.SIGINT]).start()
    start = time.monotonic()
    with pytest.raises(KeyboardInterrupt):
        tiomipra.calibrate([pair[0]] * 3000, [pair[1]] * 3000, corners=(9, 6), square=0.025)
    assert time.monotonic() - start < 5


def test_checks(rig, result):
    good = tiomipra.check(rig, photographs("left"), photographs("right"))
    assert good and good.report["verdict"] == "calibrated" and "still" not in repr(good)
    swapped = tiomipra.check(rig, photographs("right"), photographs("left"))
    assert not swapped and swapped.report["verdict"] == "swapped"
    with pytest.raises(tiomipra.InputError):
        tiomipra.check(rig, np.zeros((480, 640), np.uint8), np.zeros((480, 640), np.uint8))


CAMERAS = tiomipra.RectifiedCameras(500.0, 0.1)


@pytest.mark.parametrize(("call", "error", "words"), [
    (lambda rig: tiomipra.import_rig("a", format=3), TypeError, "format is of type int, must be"),
    (lambda rig: tiomipra.import_rig("a", unit=3), TypeError, "unit is of type int, must be a str"),
    (lambda rig: tiomipra.import_rig("a", cameras=[3]), TypeError, "cameras is of type int"),
    (lambda rig: tiomipra.import_rig("a", swap=1), TypeError, "swap is of type int, must be True"),
    (lambda rig: tiomipra.import_rig("a", alpha="x"), TypeError, "alpha is of type str"),
    (lambda rig: tiomipra.import_rig("a", field_of_view="x"), TypeError, "field_of_view is of"),
    (lambda rig: tiomipra.export_rig(rig, 3, "a"), TypeError, "format is of type int"),
    (lambda rig: tiomipra.Rig(rig.left, None), TypeError, "right is None, must be a Calib"),
    (lambda rig: tiomipra.Cloud(np.zeros((2, 3)), np.zeros((2, 3), np.uint8)).save("a.ply"),
     TypeError, r"points has dtype float64 and shape \(2, 3\), must be an array of dtype float32"),
    (lambda rig: tiomipra.Cloud(np.ma.zeros((2, 3), np.float32), np.zeros((2, 3), np.uint8))
     .save("a.ply"), TypeError, "points has a mask, which would be lost"),
    (lambda rig: tiomipra.import_rig("a", cameras="left"), TypeError, "cameras is of type str"),
    (lambda rig: tiomipra.import_rig("a", format="\ud800"), ValueError, r"format is '\\ud800', must"),
    (lambda rig: tiomipra.export_rig(CAMERAS, "ros", "a", "b"), TypeError,
     "rig is of type RectifiedCameras, must be a tiomipra.Rig$"),
    (lambda rig: tiomipra.check(CAMERAS, "a", "b"), TypeError, "rig is of type RectifiedCameras"),
    (lambda rig: tiomipra.Rig.load(3), TypeError, "folder is of type int, must be a str or a path"),
    (lambda rig: tiomipra.read_image("a\0b"), ValueError, r"path is 'a\\x00b', must have neither"),
    (lambda rig: tiomipra.Rig(tiomipra.Calibration(), rig.right).baseline, tiomipra.InputError,
     "the rig is not rectified"),
    (lambda rig: tiomipra.Cloud([], np.zeros((2, 3), np.uint8)).save("a.ply"), TypeError,
     "points is of type list, must be"),
    (lambda rig: tiomipra.Cloud(np.zeros((2, 3), np.float32), np.zeros((2, 4), np.uint8))
     .save("a.ply"), ValueError, r"colours has dtype uint8 and shape \(2, 4\), must be"),
    (lambda rig: tiomipra.Cloud(np.zeros((2, 3), np.float32), np.zeros((1, 3), np.uint8))
     .save("a.ply"), ValueError, "points has 2 rows, colours has 1"),
])
def test_refused_arguments(rig, call, error, words):
    with pytest.raises(error, match=words):
        call(rig)


def test_saved_rigs_keep_nothing_of_others(rig, result, command_rig, tmp_path):
    shutil.copytree(command_rig, tmp_path / "a")
    tiomipra.Rig(rig.left, rig.right).save(tmp_path / "a")
    assert not (tmp_path / "a" / "rig.yml").exists()
    assert not (tmp_path / "a" / "report.html").exists()
    (tmp_path / "a" / "report.html").write_text("mine")
    result.save(tmp_path / "a")
    assert (tmp_path / "a" / "report.html").read_text() == "mine"
    (tmp_path / "a" / "report.html").unlink()
    run_command("report", "--calibration", tmp_path / "a")
    assert (tmp_path / "a" / "report.html").stat().st_size > 1_000_000


def changed(rig, path, value):
    """A deep copy of the rig with another value below it, as in "model.left.lens"."""
    result = copy.deepcopy(rig)
    *parents, name = path.split(".")
    setattr(functools.reduce(getattr, parents, result), name, value)
    return result


def test_nothing_is_saved_that_would_not_load(rig, command_rig, tmp_path):
    shutil.copytree(command_rig, tmp_path / "a")
    for path, value, error, words in [
            ("model.unit", "km", ValueError, "is 'km', must be 'm', or ''"),
            ("model.rotation", np.zeros((3, 3)), ValueError, "not a rotation"),
            ("model.translation", np.zeros(3), ValueError, "must lead"),
            ("model.translation", np.full(3, np.nan), ValueError, "must hold finite numbers"),
            ("model.translation", np.array(["1"] * 3), TypeError, "must be an array of numbers"),
            ("model.left.camera_matrix", np.ones((3, 3)), ValueError, "must be fx 0 cx"),
            ("model.right.image_size", (0, -4), ValueError, "is 0x-4, must be above 0x0"),
            ("model.right.lens", "zoom", ValueError, "is 'zoom', must be radial-tangential or fisheye"),
            ("model.right", 3, TypeError, "is of type int, must be a tiomipra.Camera"),
            ("model", 3, TypeError, "is of type int, must be a tiomipra.RigModel"),
            ("verdict", "splendid", ValueError, "is 'splendid', must be empty or one of good, usable, redo")]:
        with pytest.raises(error, match=f"^{path} .*{words}"):
            changed(rig, path, value).save(tmp_path / "a")
    for path, value, words in [
            ("left.width", 7, "width is 7"),
            ("left.projection_matrix", np.full((3, 4), np.nan), "projectionMatrix must hold finite")]:
        with pytest.raises(tiomipra.InputError, match=f"left.yml' is not a whole cal.*: {words}"):
            changed(rig, path, value).save(tmp_path / "a")
    assert tiomipra.Rig.load(tmp_path / "a").left == rig.left
    with pytest.raises(ValueError, match="model.translation must hold finite"):
        tiomipra.export_rig(changed(rig, "model.translation", np.full(3, np.inf)), "opencv",
                            tmp_path / "b")


def test_rigs_in_folders_of_any_name(rig, tmp_path):
    for name in ("q?d", "line\nbreak"):
        rig.save(tmp_path / name)
        assert tiomipra.Rig.load(tmp_path / name).left == rig.left


def test_rigs_mean_something(rig):
    assert rig.faults == [] and rig.geometry["baseline"] == pytest.approx(rig.baseline, rel=1e-6)
    assert repr(rig) == "<Rig 640x480, focal length 516.7 pixels, baseline 0.08317 m, good>"
    exchanged = tiomipra.Rig(rig.right, rig.left)
    assert len(exchanged.faults) == 1
    with pytest.raises(tiomipra.InputError, match="what to do"):
        exchanged.geometry
    with pytest.raises(ValueError, match="unit is 'km'"):
        tiomipra.Rig(rig.left, rig.right, "km").faults


@pytest.mark.parametrize("name", ["opencv", "ros"])
def test_exported_rigs_come_back(rig, tmp_path, name):
    files = [tmp_path / "left.yaml", tmp_path / "right.yaml"][: 2 if name == "ros" else 1]
    tiomipra.export_rig(rig, name, *files)
    assert name in tiomipra.export_formats() and name in tiomipra.import_formats()
    again = tiomipra.import_rig(*files, unit="m")
    assert np.allclose(again.left.projection_matrix, rig.left.projection_matrix, atol=1e-3)
    with pytest.raises(ValueError, match="format"):
        tiomipra.export_rig(rig, "none", *files)
    with pytest.raises(ValueError, match="are the same file, must be two"):
        tiomipra.export_rig(rig, "ros", files[0], f"{tmp_path}/./left.yaml")
    with pytest.raises(ValueError, match="a lens has 5 coefficients"):
        tiomipra.export_rig(rig, "kalibr", files[0])
    with pytest.raises(ValueError, match="files is empty"):
        tiomipra.import_rig()
    with pytest.raises(FileNotFoundError) as caught:
        tiomipra.import_rig(tmp_path / "none.yml")
    assert caught.value.filename == str(tmp_path / "none.yml")


def test_matches_as_the_command(rig, command_rig, pair, tmp_path):
    run_command("depth", "--calibration", command_rig, "--left", PHOTOGRAPHS / "left13.jpg",
                "--right", PHOTOGRAPHS / "right13.jpg", "--output", tmp_path, "--preset",
                "accurate", "--range", "0.3..2", "--formats", "npy,ply,confidence")
    matcher = tiomipra.Matcher(rig, preset="accurate", range=(0.3, 2.0), confidence=True)
    match = matcher.match(*pair)
    assert same_bits(match.depth, np.load(tmp_path / "left13_depth.npy"))
    assert same_bits(match.confidence, tiomipra.read_image(tmp_path / "left13_depth_confidence.png"))
    cloud = match.cloud()
    cloud.save(tmp_path / "cloud.ply")
    body = (tmp_path / "cloud.ply").read_bytes().split(b"end_header\n")[1]
    assert (tmp_path / "left13.ply").read_bytes().endswith(b"end_header\n" + body)
    assert len(cloud) == match.measured.sum() == (match.reasons == 0).sum()
    files = [PHOTOGRAPHS / f"{side}13.jpg" for side in ("left", "right")]
    for images in (files, [collections.deque([file]) for file in files]):
        assert same_bits(matcher.match(*images).depth, match.depth)
    for images, error, words in [
            ((files[0], pair[1]), TypeError, "left is of type .*Path, right is of type ndarray, both"),
            ((5, 5), TypeError, "left is of type int, must be a file, an array, or a sequence of"),
            ((pair[0][:400], pair[1]), ValueError, "^'left' is 640x400, 'right' is 640x480"),
            ((pair[0][:400], pair[1][:400]), ValueError, "'left' is 640x400, 'rig.left' is for")]:
        with pytest.raises(error, match=words):
            matcher.match(*images)


def test_settings_of_matchers(rig, pair, caplog):
    for arguments, error, words in [
            ({"windowsize": 5}, TypeError, "'windowsize' is no parameter"),
            ({"window_size": 4}, ValueError, "window_size 4"),
            ({"preset": "best"}, ValueError, "preset is 'best', must be one of fast"),
            ({"range": (3.0, 1.0)}, ValueError, r"range is \(3, 1\)"),
            ({"range": 3.0}, TypeError, "range is of type float"),
            ({"range": np.array(3.0)}, TypeError, "range is of type ndarray, must be"),
            ({"range": b"ab"}, TypeError, "range is of type bytes, must be"),
            ({"range": "\udcff"}, ValueError, r"range is '\\udcff', must have no lone surrogates"),
            ({"\ud800": 1}, ValueError, "the name of a parameter is"),
            ({"preset": "fast", "algorithm": "\ud800"}, ValueError, "algorithm is"),
            ({"range": "auto", "window_size": 4}, ValueError, "window_size 4"),
            ({"confidence": "yes"}, TypeError, "confidence is of type str, must be True or False"),
            ({"scale": 3}, ValueError, "scale is 3, must be 1, 2 or 4"),
            ({"median": 7}, ValueError, "median"),
            ({"equalise": "yes"}, TypeError, "equalise is of type str, must be True")]:
        with pytest.raises(error, match=words):
            tiomipra.Matcher(rig, **arguments)
    with caplog.at_level(logging.INFO, "tiomipra"):
        automatic = tiomipra.Matcher(rig, preset="fast", range="auto", scale=2,
                                     equalise=np.False_).match(*pair)
    assert automatic.depth.shape == (240, 320) and "the range found is" in caplog.text
    preset = tiomipra.presets()["fast"].parameters
    assert set(preset) <= set(tiomipra.parameters()) and preset["algorithm"] == "bm"
    by_hand = tiomipra.Matcher(rig, range=(0.3, 2.0), **preset).match(*pair)
    by_name = tiomipra.Matcher(rig, range=(0.3, 2.0), preset="fast").match(*pair)
    assert same_bits(by_hand.disparity, by_name.disparity)


def test_rectified_images(stereo, pair, rig):
    rectified = stereo.rectify(*pair)
    cameras = tiomipra.RectifiedCameras(rig.focal_length, rig.baseline)
    deep = tiomipra.Matcher(cameras, preset="fast", range=(0.3, 2.0)).match(*rectified)
    flat = tiomipra.Matcher(None, preset="fast", disparity_number=144).match(*rectified)
    assert flat.depth is None and deep.depth is not None
    assert np.array_equal(np.isnan(flat.disparity), ~flat.measured)
    both = deep.measured & flat.measured
    product = (deep.depth * deep.disparity)[both]
    assert np.allclose(product, rig.focal_length * rig.baseline, rtol=1e-4)
    with pytest.raises(ValueError, match="without a rig"):
        flat.cloud()


def test_evaluates():
    truth = np.full((10, 10), 20, np.float32)
    truth[0] = np.nan
    found = truth + 0.25
    found[1] += 3
    found[2] = np.nan
    evaluation = tiomipra.evaluate(found, truth)
    assert (evaluation.known, evaluation.measured) == (90, 80)
    assert evaluation.bad[2.0] == pytest.approx(12.5)
    assert evaluation.bad_of_known[2.0] == pytest.approx(100 * 20 / 90)
    assert tiomipra.evaluate(found, truth, np.arange(10)[:, None].repeat(10, 1) > 2).bad[0.5] == 0
    assert np.isnan(tiomipra.evaluate(found, truth, np.zeros((10, 10), bool)).average_error)
    with pytest.raises(ValueError, match="same shape"):
        tiomipra.evaluate(found, truth[1:])


@pytest.mark.parametrize(("call", "path"), [
    (tiomipra.Rig.load, "none/left.yml"),
    (lambda path: tiomipra.calibrate([path] * 3, [path] * 3, corners=(9, 6), square=1.0), "none"),
    (lambda path: tiomipra.Matcher(None).match(path, path), "none"),
    (lambda path: tiomipra.write_image(path, np.zeros((4, 4), np.uint8)), "none/a.png"),
])
def test_files_that_are_not_there(tmp_path, call, path):
    with pytest.raises(FileNotFoundError) as caught:
        call(tmp_path / (path if path.endswith(".png") else "none"))
    assert caught.value.filename == str(tmp_path / path) and caught.value.errno == 2


def test_folders_that_can_not_be(rig):
    with pytest.raises(OSError) as caught:
        rig.save("/dev/null/rig")
    assert caught.value.filename == "/dev/null/rig"
    with pytest.raises(tiomipra.InputError, match="swapped"):
        tiomipra.Matcher(tiomipra.Rig(rig.right, rig.left))
    with pytest.raises(TypeError, match="left is of type int, must be a Calibration"):
        tiomipra.Rig(1, rig.right)


def test_images(tmp_path, pair):
    tiomipra.write_image(tmp_path / "a.png", pair[0])
    assert same_bits(tiomipra.read_image(tmp_path / "a.png"), pair[0])
    for name, dtype, error in [("a.jpg", "u2", TypeError), ("a.png", "f4", TypeError),
                               ("a.gif", "u1", ValueError)]:
        with pytest.raises(error, match="which .* does not hold|must end in .png"):
            tiomipra.write_image(tmp_path / name, pair[0].astype(dtype))
    with pytest.raises(FileNotFoundError) as caught:
        tiomipra.read_image(tmp_path / "b.png")
    assert caught.value.filename == str(tmp_path / "b.png")
    with pytest.raises(tiomipra.InputError, match="at most 1000 are accepted"):
        tiomipra.read_image(tmp_path / "a.png", max_pixels=1000)
    points, image = np.dstack([*pair, pair[0]]).astype(np.float32), np.dstack([*pair, pair[0] // 2])
    cloud, counts = tiomipra.make_cloud(points, image), points.any(axis=2)
    assert same_bits(cloud.points, points[counts])
    assert same_bits(cloud.colours, image[counts][:, ::-1])
    with pytest.raises(ValueError, match="must end in .ply or .pcd"):
        cloud.save(tmp_path / "cloud.obj")

"""Calibration and Stereo."""

import copy
import logging
import os
import pickle
import shutil
import threading

import numpy as np
import pytest
import tiomipra
from conftest import PHOTOGRAPHS, depths, run_command, same_bits

FIELDS = ("camera_matrix", "distortion", "rectification_matrix", "projection_matrix")


def test_same_bits_as_the_command(rig, command_rig, pair, stereo, tmp_path):
    run_command("depth", "--calibration", command_rig, "--left", PHOTOGRAPHS / "left13.jpg",
                "--right", PHOTOGRAPHS / "right13.jpg", "--output", tmp_path, "--max-depth", "3",
                "--formats", "npy")
    run_command("disparity", "--calibration", command_rig, "--left", PHOTOGRAPHS / "left13.jpg",
                "--right", PHOTOGRAPHS / "right13.jpg", "--output", tmp_path / "d", "--max-depth",
                "3", "--formats", "npy")
    expected = np.load(tmp_path / "d" / "left13_disparity.npy")
    known = np.isfinite(expected)
    assert known.mean() > 0.2
    disparity = stereo.compute_disparity(*stereo.rectify(*pair))
    assert same_bits(disparity[known], expected[known])
    expected = np.load(tmp_path / "left13_depth.npy")
    known = np.isfinite(expected)
    assert same_bits(depths(stereo, pair)[:, :, 2][known], expected[known])


def test_the_same_file_as_the_library_writes(rig, command_rig, tmp_path):
    for name in ("a.yml", "a.xml", "a.json"):
        rig.left.save(tmp_path / name)
        assert tiomipra.Calibration.load(tmp_path / name) == rig.left
    assert (tmp_path / "a.yml").read_bytes() == (command_rig / "left.yml").read_bytes()


class Named(tiomipra.Calibration):
    """A class of the user's own."""


def test_calibrations_are_values(rig, command_rig, tmp_path):
    half = rig.left.scale_to(320, 240)
    assert np.array_equal(half.camera_matrix[:2, 2], rig.left.camera_matrix[:2, 2] / 2)
    for other in (pickle.loads(pickle.dumps(rig.left)), copy.copy(rig.left),
                  copy.deepcopy(rig.left)):
        assert other == rig.left and not other != rig.left
        assert all(same_bits(getattr(other, field), getattr(rig.left, field)) for field in FIELDS)
        other.camera_matrix[0, 0] += 1
        assert other != rig.left
    text = (command_rig / "left.yml").read_text().replace("dt: f", "dt: d")
    (tmp_path / "doubles.yml").write_text(text)
    doubles = tiomipra.Calibration.load(tmp_path / "doubles.yml")
    assert doubles != rig.left and doubles.camera_matrix.dtype == np.float64
    (tmp_path / "halves.yml").write_text(text.replace("dt: d", "dt: h"))
    halves = copy.copy(tiomipra.Calibration.load(tmp_path / "halves.yml")).camera_matrix
    assert np.array_equal(halves, rig.left.camera_matrix.astype(np.float16))
    assert pickle.loads(pickle.dumps(doubles)) == doubles
    named = Named(width=8)
    named.name = "port"
    for other in (pickle.loads(pickle.dumps(named)), copy.copy(named), copy.deepcopy(named)):
        assert type(other) is Named and (other.width, other.name) == (8, "port")
    assert rig.left != rig.right and rig.left != 1 and rig.left != tiomipra.Calibration()
    for raw in (tiomipra.Calibration(), tiomipra.Calibration(640, 480, np.eye(3))):
        assert pickle.loads(pickle.dumps(raw)) == raw
        raw.distortion = raw.distortion
        assert raw.distortion.shape == (0, 0) and raw.distortion.dtype == np.float32
    with pytest.raises(TypeError, match="unhashable"):
        hash(rig.left)
    assert repr(rig.left).startswith("<Calibration 640x480, focal length 533.7 pixels")


def test_fields_take_arrays(rig):
    made = tiomipra.Calibration(640, 480, rig.left.camera_matrix.astype(float),
                                rig.left.distortion.ravel(), rig.left.rectification_matrix,
                                projection_matrix=rig.left.projection_matrix)
    assert made == rig.left
    source = np.eye(3)
    made.camera_matrix = source
    source[0, 0] = 7
    assert made.camera_matrix[0, 0] == 1 and made.camera_matrix.dtype == np.float32
    for value, error, words in [([1], TypeError, "camera_matrix is of type list"),
                                (np.eye(2), ValueError, r"camera_matrix has shape \(2, 2\), must"),
                                (np.eye(3, dtype=int), TypeError, "dtype int64, must be a float32")]:
        with pytest.raises(error, match=words):
            made.camera_matrix = value
    for shape in ((3,), (1 << 32,)):
        with pytest.raises(ValueError, match="distortion has shape"):
            made.distortion = np.broadcast_to(np.float32(0), shape)
    with pytest.raises(ValueError, match="must fit 32 bits"):
        made.width = 1 << 40


def test_file_errors(rig, tmp_path):
    (tmp_path / "broken.yml").write_text("%YAML:1.0\n---\ncameraMatrix: [1\n")
    for path, error in [("none.yml", FileNotFoundError), ("broken.yml", tiomipra.OpenCVError)]:
        with pytest.raises(error) as caught:
            tiomipra.Calibration.load(tmp_path / path)
    assert caught.value.code < 0 and caught.value.err
    with pytest.raises(FileNotFoundError) as caught:
        rig.left.save(tmp_path / "none" / "a.yml")
    assert caught.value.filename == str(tmp_path / "none" / "a.yml")
    with pytest.raises(OSError) as caught:
        rig.left.save("/dev/full")
    assert caught.value.filename == "/dev/full"
    with pytest.raises(ValueError):
        tiomipra.Calibration.load("")
    for call in (rig.left.save, tiomipra.Calibration.load):
        for name in ("a?b.yml", "line\nbreak.yml", "a.gz9"):
            with pytest.raises(ValueError, match="^path is .*, must have no '\\?', no line break"):
                call(str(tmp_path / name))
    assert not (tmp_path / "a").exists()
    shutil.copy(tmp_path / "broken.yml", os.fsencode(tmp_path) + b"/bad\xff.yml")
    with pytest.raises(tiomipra.OpenCVError, match=r"bad\\xff.yml"):
        tiomipra.Calibration.load(os.fsencode(tmp_path) + b"/bad\xff.yml")
    with pytest.raises(TypeError, match="path is of type int"):
        tiomipra.Calibration.load(3)


def test_parameters(stereo):
    values = {"algorithm": "sgbm", "window_size": 7, "disparity_number": 64, "p1": 8, "p2": 32,
              "full_dp": True, "uniqueness_ratio": np.int64(5), "max_depth": float("inf")}
    for name, value in values.items():
        setattr(stereo, name, value)
        assert getattr(stereo, name) == value
    stereo.reset_parameters()
    assert stereo.window_size == 21 and stereo.algorithm == "sgbm"
    for name, value, error, rule in [("window_size", 6, ValueError, "is 6, must be odd, 5 to 255"),
                                     ("window_size", 7.0, TypeError, "must be a whole number"),
                                     ("window_size", np.array([5, 7]), TypeError, "is of type nd"),
                                     ("max_depth", 10**400, ValueError, "is too large"),
                                     ("max_depth", float("nan"), ValueError, "is nan, must be"),
                                     ("algorithm", "xx", ValueError, "must be 'bm' or 'sgbm'"),
                                     ("full_dp", 1, TypeError, "must be True or False"),
                                     ("max_depth", -1, ValueError, "is -1, must be above 0"),
                                     ("min_disparity", 641, ValueError, "is 641, must be within")]:
        with pytest.raises(error, match=f"{name} .*{rule}"):
            setattr(stereo, name, value)
    assert "sgbm" in repr(stereo) and "640x480" in repr(stereo)
    with pytest.raises(AttributeError):
        stereo.calibrations = ()
    with pytest.raises(TypeError, match="right is None, must be a Calibration"):
        stereo.set_calibrations(stereo.calibrations[0], None)


def test_threads_share_an_object(rig, pair, stereo):
    expected = depths(stereo, pair)
    half = [np.ascontiguousarray(image[::2, ::2]) for image in pair]
    expected_half = depths(stereo, half)
    shared = tiomipra.Stereo()
    shared.max_depth = 3.0
    shared.set_calibrations(rig.left, rig.right)
    failures = []

    def work(images, wanted):
        for _ in range(15):
            if not same_bits(depths(shared, images), wanted):
                failures.append(images[0].shape)

    threads = [threading.Thread(target=work, args=task)
               for task in [(pair, expected), (half, expected_half)] * 3]
    for thread in threads:
        thread.start()
    for _ in range(200):
        shared.uniqueness_ratio = 2  # waits for those who read it
    for thread in threads:
        thread.join()
    assert not failures


def test_who_changes_an_object_gets_a_turn(stereo, pair):
    rectified = stereo.rectify(*pair)
    stop = threading.Event()

    def work():
        while not stop.is_set():
            stereo.compute_disparity(*rectified)

    threads = [threading.Thread(target=work) for _ in range(4)]
    setter = threading.Thread(target=lambda: setattr(stereo, "uniqueness_ratio", 2))
    for thread in [*threads, setter]:
        thread.start()
    setter.join(10)
    got_it = not setter.is_alive()
    stop.set()
    for thread in [*threads, setter]:
        thread.join()
    assert got_it


def test_others_run_meanwhile(stereo, pair):
    """A call lets other threads have the interpreter: they count while it matches."""
    stereo.algorithm, stereo.full_dp = "sgbm", True
    rectified = stereo.rectify(*pair)
    counted, stop = [0], threading.Event()

    def count():
        while not stop.is_set():
            counted[0] += 1
            stop.wait(0.0005)

    thread = threading.Thread(target=count)
    thread.start()
    before = counted[0]
    stereo.compute_disparity(*rectified)
    during = counted[0] - before
    stop.set()
    thread.join()
    assert during >= 5


class Records(logging.Handler):
    def __init__(self):
        super().__init__()
        self.all = []

    def emit(self, record):
        self.all.append(record)


def test_logging(stereo, pair, capfd):
    handler, logger = Records(), logging.getLogger("vision.stereo")
    logger.addHandler(handler)
    try:
        stereo.rectify(*pair)
        assert not handler.all
        with pytest.raises(ValueError):
            stereo.window_size = 6
        logger.setLevel(logging.DEBUG)
        stereo.rectify(*[np.ascontiguousarray(image[::4, ::4]) for image in pair])
        with pytest.raises(ValueError):
            stereo.calibrations[0].scale_to(1, 2)
    finally:
        logger.setLevel(logging.NOTSET)
        logger.removeHandler(handler)
    first, last = handler.all[0], handler.all[-1]
    assert (first.levelname, first.funcName) == ("ERROR", "setWindowSize")
    assert "6" in first.getMessage() and first.thread == threading.get_ident()
    assert {record.levelname for record in handler.all[1:-1]} == {"DEBUG"}
    assert last.name == "vision.stereo.calibration"
    assert not capfd.readouterr().err


def test_handlers_may_call_the_library(stereo, pair):
    """Nobody waits for the interpreter while others wait for what it holds."""

    class Reentrant(logging.Handler):
        def emit(self, record):
            stereo.rectify(*pair)

    logger = logging.getLogger("vision.stereo")
    handler = Reentrant()
    logger.addHandler(handler)

    def refuse():
        for _ in range(50):
            with pytest.raises(ValueError):
                stereo.window_size = 6

    threads = [threading.Thread(target=refuse, daemon=True) for _ in range(4)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join(60)
    logger.removeHandler(handler)
    assert not any(thread.is_alive() for thread in threads)


@pytest.mark.filterwarnings("ignore::pytest.PytestUnraisableExceptionWarning")
def test_handlers_fail_or_interrupt(stereo):
    """An error of a handler's is told and passed over; what ends the program is raised."""
    handler = logging.Handler()
    logger = logging.getLogger("vision.stereo")
    logger.addHandler(handler)
    try:
        for raised, expected in [(OSError, ValueError), (KeyboardInterrupt, KeyboardInterrupt)]:
            handler.emit = lambda record, error=raised: (_ for _ in ()).throw(error)
            with pytest.raises(expected):
                stereo.window_size = 6
    finally:
        logger.removeHandler(handler)


def resident():
    with open("/proc/self/statm") as statistics:
        return int(statistics.read().split()[1]) * 4096


def test_no_leaks(rig):
    stereo = tiomipra.Stereo()
    stereo.max_depth = 3.0
    stereo.set_calibrations(rig.left.scale_to(80, 60), rig.right.scale_to(80, 60))
    stereo.disparity_number, stereo.window_size = 16, 5
    image = np.zeros((60, 80), np.uint8)

    def call():
        depths(stereo, (image, image))
        stereo.rectify_left(image[:, ::-1].T.copy().T)
        pickle.loads(pickle.dumps(rig.left)).camera_matrix = np.eye(3)
        with pytest.raises(TypeError):
            stereo.compute_depth(image)
        with pytest.raises(ValueError):
            stereo.rectify_left(image[:0, :0])

    for _ in range(1000):
        call()
    before = resident()
    for _ in range(10_000):
        call()
    assert resident() - before < 2_000_000

"""The module within a process: its end, OpenCV's own module, types, help, the notebook."""

import inspect
import os
import subprocess
import sys
from pathlib import Path

import pytest
import tiomipra
from conftest import PHOTOGRAPHS

HERE = Path(__file__).parent
ROOT = HERE.parent.parent
MALFORMED = "%YAML:1.0\n---\ncameraMatrix: [1\n"


def run(*arguments, **options):
    return subprocess.run([sys.executable, *arguments], capture_output=True, text=True, **options)


@pytest.mark.parametrize("work", [
    "stereo.compute_disparity(*pair)", "matcher.match(*pair)", "calibrate()",
    "with contextlib.suppress(ValueError): stereo.window_size = 6",
    "with contextlib.suppress(tiomipra.OpenCVError): tiomipra.Calibration.load(sys.argv[3])"])
def test_ends_while_threads_work(command_rig, work, tmp_path):
    (tmp_path / "malformed.yml").write_text(MALFORMED)
    code = f"""if True:
        import contextlib, glob, logging, os, sys, threading, time, tiomipra
        logging.getLogger("vision").addHandler(logging.FileHandler(os.devnull))
        rig = tiomipra.Rig.load(sys.argv[1])
        stereo = tiomipra.Stereo()
        stereo.set_calibrations(rig.left, rig.right)
        matcher = tiomipra.Matcher(rig, preset="fast", range=(0.3, 2))
        files = [sorted(glob.glob(sys.argv[2] + f"/{{side}}[01]*.jpg")) for side in ("left", "right")]
        pair = [tiomipra.read_image(names[0]) for names in files]
        def calibrate():
            tiomipra.calibrate(*files, corners=(9, 6), square=1.0)
        def run():
            while True:
                {work}
        for _ in range(3):
            threading.Thread(target=run, daemon=True).start()
        time.sleep(0.4)
        print("ending")"""
    for _ in range(4):
        ended = run("-c", code, str(command_rig), str(PHOTOGRAPHS), str(tmp_path / "malformed.yml"),
                    timeout=60)
        assert (ended.returncode, ended.stdout, ended.stderr) == (0, "ending\n", "")


def test_errors_of_opencv_print_nothing(tmp_path):
    (tmp_path / "broken.yml").write_text(MALFORMED)
    ended = run("-c", "import tiomipra\ntry: tiomipra.Calibration.load('broken.yml')\n"
                "except tiomipra.OpenCVError: print('caught')", cwd=tmp_path)
    assert (ended.stdout, ended.stderr) == ("caught\n", "")


@pytest.mark.parametrize("order", ["cv2, tiomipra", "tiomipra, cv2"])
def test_lives_beside_cv2(order):
    pytest.importorskip("cv2")
    ended = run("-c", f"import {order}\nimport cv2, numpy\nimage = numpy.eye(64, dtype='u1')\n"
                "cv2.remap(image, *numpy.zeros((2, 4, 4), 'f4'), 1)\n"
                "print(len(tiomipra.make_cloud(numpy.ones((4, 4, 3), 'f4'), image[:4, :4])))")
    assert (ended.returncode, ended.stdout) == (0, "16\n"), ended.stderr


def test_types():
    package = Path(tiomipra.__file__).parent
    for target in (package, HERE / "typed_sample.py"):
        checked = run("-m", "mypy", "--strict", "--cache-dir", os.devnull, str(target), cwd="/")
        assert checked.returncode == 0, checked.stdout
    allowed = HERE / "stubtest_allowed.txt"
    checked = run("-m", "mypy.stubtest", "tiomipra._tiomipra", "--allowlist", str(allowed),
                  cwd=package.parent)
    assert checked.returncode == 0, checked.stdout


def test_help_is_complete():
    public = [getattr(tiomipra, name) for name in tiomipra.__all__ if name != "reasons"]
    members = [member for item in (tiomipra.Stereo, tiomipra.Calibration, tiomipra.Matcher)
               for name, member in inspect.getmembers(item) if not name.startswith("_")]
    for item in public + members:
        assert inspect.getdoc(item), item
    for name in ("rectify", "compute_disparity", "compute_depth", "set_calibrations"):
        assert "self" in inspect.signature(getattr(tiomipra.Stereo, name)).parameters
    signatures = {"Calibration": "width", "calibrate": "corners", "check": "max_row_difference", "read_image": "as_stored"}
    for name, parameter in signatures.items():
        assert parameter in inspect.signature(getattr(tiomipra, name)).parameters
    assert not inspect.signature(tiomipra.Stereo).parameters


def test_notebook(tmp_path):
    nbformat = pytest.importorskip("nbformat")
    client = pytest.importorskip("nbclient")
    notebook = nbformat.read(ROOT / "examples" / "notebook.ipynb", as_version=4)
    client.NotebookClient(notebook, timeout=120, kernel_name="python3",
                          resources={"metadata": {"path": str(tmp_path)}}).execute()
    pictures = [output for cell in notebook.cells for output in cell.get("outputs", [])
                if "image/png" in output.get("data", {})]
    assert len(pictures) >= 3 and (tmp_path / "scene.ply").stat().st_size > 100_000

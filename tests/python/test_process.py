"""The module within a process: its end, OpenCV's own module, types, help, the notebook."""

import inspect
import os
import subprocess
import sys
from pathlib import Path

import pytest
import tiomipra

HERE = Path(__file__).parent
ROOT = HERE.parent.parent


def run(*arguments, **options):
    return subprocess.run([sys.executable, *arguments], capture_output=True, text=True, **options)


def test_ends_while_threads_work(command_rig):
    code = """if True:
        import sys, threading, time, numpy, tiomipra
        rig = tiomipra.Rig.load(sys.argv[1])
        stereo = tiomipra.Stereo()
        stereo.set_calibrations(rig.left, rig.right)
        image = numpy.random.default_rng(0).integers(0, 255, (480, 640), numpy.uint8)
        def work():
            while True:
                stereo.compute_disparity(image, image)
        for _ in range(3):
            threading.Thread(target=work, daemon=True).start()
        time.sleep(0.2)
        print("ending")"""
    for _ in range(5):
        ended = run("-c", code, str(command_rig), timeout=60)
        assert (ended.returncode, ended.stdout, ended.stderr) == (0, "ending\n", "")


def test_errors_of_opencv_print_nothing():
    ended = run("-c", "import numpy, tiomipra\n"
                "try: tiomipra.Stereo().rectify_left(numpy.zeros((0, 0), 'u1'))\n"
                "except (tiomipra.OpenCVError, ValueError) as error: print('caught')")
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
    signatures = {"calibrate": "corners", "check": "max_row_difference", "read_image": "as_stored"}
    for name, parameter in signatures.items():
        assert parameter in inspect.signature(getattr(tiomipra, name)).parameters


def test_notebook(tmp_path):
    nbformat = pytest.importorskip("nbformat")
    client = pytest.importorskip("nbclient")
    notebook = nbformat.read(ROOT / "examples" / "notebook.ipynb", as_version=4)
    client.NotebookClient(notebook, timeout=120, kernel_name="python3",
                          resources={"metadata": {"path": str(tmp_path)}}).execute()
    pictures = [output for cell in notebook.cells for output in cell.get("outputs", [])
                if "image/png" in output.get("data", {})]
    assert len(pictures) >= 3 and (tmp_path / "scene.ply").stat().st_size > 100_000

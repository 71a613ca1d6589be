"""What a call from Python takes beside the same call from C++.

    python_calls.py LIBRARY RIG PHOTOGRAPHS

LIBRARY is what python_calls.cpp is built into, RIG a folder with calibrations. Both sides are called
in turns with the same arrays, so that what slows the machine down slows both; the table holds the
medians of the rounds.
"""

import ctypes
import statistics
import sys
import time
from pathlib import Path

import numpy as np
import tiomipra

CALLS = ("rectify", "match", "measure", "frame")


class OfCpp:
    def __init__(self, library, rig):
        self._library = ctypes.CDLL(library)
        self._library.openStereo.restype = ctypes.c_void_p
        self._library.timeCalls.restype = ctypes.c_double
        files = (str(rig / name).encode() for name in ("left.yml", "right.yml"))
        self._stereo = ctypes.c_void_p(self._library.openStereo(*files))

    def seconds(self, call, count, left, right, disparity):
        pointers = (ctypes.c_void_p(array.ctypes.data) for array in (left, right, disparity))
        return self._library.timeCalls(self._stereo, CALLS.index(call), count, *left.shape, *pointers)


class OfPython:
    def __init__(self, rig):
        self._stereo = tiomipra.Stereo()
        self._stereo.set_calibrations(rig.left, rig.right)

    def seconds(self, call, count, left, right, disparity):
        stereo = self._stereo
        start = time.perf_counter()
        for _ in range(count):
            if call == "rectify":
                stereo.rectify(left, right)
            elif call == "match":
                stereo.compute_disparity(left, right)
            elif call == "measure":
                stereo.compute_depth(disparity)
            else:
                images = stereo.rectify(left, right)
                stereo.compute_depth(stereo.compute_disparity(*images))
        return time.perf_counter() - start


def measure(sides, call, count, rounds, images):
    times = [[side.seconds(call, count, *images) / count for side in sides] for _ in range(rounds)]
    cpp, python = (statistics.median(column) for column in zip(*times))
    ratio = statistics.median(mine / its for its, mine in times)
    rows, columns = images[0].shape
    print(f"{call:8} {columns:4}x{rows:<4} {cpp * 1e3:9.4f} {python * 1e3:9.4f} "
          f"{(python - cpp) * 1e6:9.1f} {ratio:8.3f}")


def main():
    library, folder, photographs = sys.argv[1], Path(sys.argv[2]), Path(sys.argv[3])
    sides = OfCpp(library, folder), OfPython(tiomipra.Rig.load(folder))
    pair = [tiomipra.read_image(photographs / f"{side}13.jpg") for side in ("left", "right")]
    print(f"{'call':8} {'size':9} {'C++ ms':>9} {'Python ms':>9} {'diff us':>9} {'ratio':>8}")
    for step, count, rounds in ((8, 200, 21), (1, 5, 41)):
        images = [np.ascontiguousarray(image[::step, ::step]) for image in pair]
        images.append(np.full(images[0].shape, 20, np.float32))
        for call in CALLS:
            measure(sides, call, count, rounds, images)


if __name__ == "__main__":
    main()

"""Uses the installed module: python_module.py VERSION PHOTOGRAPHS RESULTS."""

import sys
from pathlib import Path

import tiomipra

version, photographs, results = sys.argv[1], Path(sys.argv[2]), Path(sys.argv[3])
assert tiomipra.__version__ == version, tiomipra.__version__

left, right = (sorted(photographs.glob(f"{side}[01]*.jpg")) for side in ("left", "right"))
result = tiomipra.calibrate(left, right, corners=(9, 6), square=0.025)
assert result.verdict == "good", str(result)
result.save(results)
rig = tiomipra.Rig.load(results)
assert rig.left == result.rig.left and tiomipra.check(rig, left, right)

# The one preset that needs all modules.
match = tiomipra.Matcher(rig, preset="accurate", range=(0.3, 2.0)).match(left[-1], right[-1])
match.cloud().save(results / "cloud.ply")
assert len(match.cloud()) > 50_000 and (results / "cloud.ply").stat().st_size > 500_000
try:
    tiomipra.read_image(results / "none.png")
except FileNotFoundError:
    print(f"tiomipra {version} at {Path(tiomipra.__file__).parent}: {match!r}")

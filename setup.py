"""Builds the compiled module by CMake; all else stands in pyproject.toml."""

import re
import subprocess
import sys
from pathlib import Path

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

root = Path(__file__).resolve().parent


class CMakeBuild(build_ext):
    def build_extension(self, extension: Extension) -> None:
        target = Path(self.get_ext_fullpath(extension.name)).resolve().parent
        build = Path(self.build_temp).resolve() / "cmake"
        # All but OpenCV and the like in one folder, so that it runs wherever it is unpacked.
        options = {
            "CMAKE_BUILD_TYPE": "Release",
            "BUILD_SHARED_LIBS": "OFF",
            "TIOMIPRA_BUILD_PYTHON": "ON",
            "TIOMIPRA_BUILD_APPS": "OFF",
            "TIOMIPRA_BUILD_TESTS": "OFF",
            "TIOMIPRA_BUILD_EXAMPLES": "OFF",
            "TIOMIPRA_INSTALL_PYTHONDIR": target.parent,
            "Python_EXECUTABLE": sys.executable,
        }
        given = [f"-D{name}={value}" for name, value in options.items()]
        subprocess.run(["cmake", "-S", root, "-B", build, "-G", "Ninja", *given], check=True)
        subprocess.run(["cmake", "--build", build, "--target", "tiomipra_python"], check=True)
        subprocess.run(["cmake", "--install", build, "--component", "python"], check=True)


version = re.search(r"VERSION ([0-9.]+) DESC", (root / "CMakeLists.txt").read_text())
assert version
setup(
    version=version.group(1),
    ext_modules=[Extension("tiomipra._tiomipra", sources=[])],
    cmdclass={"build_ext": CMakeBuild},
)

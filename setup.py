"""Builds the shared library and the package's C extension with CMake (one
build for both, as in the source tree) and puts them inside the package."""
import os
import re
import shutil
import subprocess
import sys
from pathlib import Path

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

TOP = Path(__file__).resolve().parent
LIBRARY = "libquorb.so.1"


def project_version() -> str:
    return re.search(r"project\(quorb VERSION ([0-9.]+)", (TOP / "CMakeLists.txt").read_text())[1]


class BuildWithCMake(build_ext):
    """Builds the library and the extension, then copies both beside the modules."""

    def build_extension(self, extension: Extension) -> None:
        tree = Path(self.build_temp).resolve() / "cmake"
        options = {"CMAKE_BUILD_TYPE": "Release", "Python3_EXECUTABLE": sys.executable,
                   "QUORB_BUILD_TESTS": "OFF", "QUORB_BUILD_BENCH": "OFF",
                   "QUORB_BUILD_TOOLS": "OFF", "QUORB_BUILD_PYTHON": "ON"}
        subprocess.run(["cmake", "-S", str(TOP), "-B", str(tree),
                        *(f"-D{name}={value}" for name, value in options.items())], check=True)
        subprocess.run(["cmake", "--build", str(tree), "--target", "quorb_python_bulk",
                        "--parallel", str(os.cpu_count() or 1)], check=True)
        target = Path(self.get_ext_fullpath(extension.name))
        target.parent.mkdir(parents=True, exist_ok=True)
        built = tree / "python" / "quorb"
        shutil.copyfile(built / target.name, target)
        shutil.copyfile(built / LIBRARY, target.parent / LIBRARY)  # follows the link


setup(version=project_version(),
      # Beside, not inside, the build/ tree of the README's commands.
      options={"build": {"build_base": "build-pip"}},
      ext_modules=[Extension("quorb._bulk", sources=[])],
      cmdclass={"build_ext": BuildWithCMake})

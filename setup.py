"""What pip builds: the extension by CMake, with the shared libraries that it stands on beside it."""

import os
import pathlib
import re
import subprocess
import sys

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

ROOT = pathlib.Path(__file__).resolve().parent
OPTIONS = {
    "CMAKE_BUILD_TYPE": "Release",
    "CMAKE_INSTALL_LIBDIR": "lantrix",
    "LANTRIX_PYTHON_DIR": ".",
    "LANTRIX_PYTHON": "ON",
    **dict.fromkeys(["LANTRIX_DEVSERVER", "LANTRIX_EXAMPLES", "LANTRIX_TESTS", "LANTRIX_TOOLS"], "OFF"),
    "Python_EXECUTABLE": sys.executable,
}


def version() -> str:
    found = re.search(r"^project\(\w+ VERSION ([\d.]+)", (ROOT / "CMakeLists.txt").read_text(), re.M)
    assert found is not None
    return found[1]


class BuildByCMake(build_ext):  # type: ignore[misc]  # setuptools has no types here
    """Fills the folder that becomes the package by CMake's own rules, which list its files."""

    def run(self) -> None:
        build = str(pathlib.Path(self.build_temp).resolve())
        jobs = str(os.cpu_count() or 1)
        options = [f"-D{name}={value}" for name, value in OPTIONS.items()]
        subprocess.run(["cmake", "-S", str(ROOT), "-B", build, *options], check=True)
        subprocess.run(
            ["cmake", "--build", build, "--parallel", jobs, "--target", "lantrixPython"], check=True
        )
        prefix = pathlib.Path(self.build_lib).resolve()
        for component in ("python", "runtime"):
            subprocess.run(
                ["cmake", "--install", build, "--prefix", str(prefix), "--component", component,
                 "--strip"],
                check=True,
            )
        # Wheels hold no links: a library keeps the one name that it is looked for by.
        for file in (prefix / "lantrix").iterdir():
            if file.is_symlink():
                file.resolve().replace(file)


setup(
    version=version(),
    packages=[],
    ext_modules=[Extension("lantrix._core", [])],
    cmdclass={"build_ext": BuildByCMake},
)

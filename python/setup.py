"""Puts what was built of the source tree, the shared libraries and the command, into the wheel.

It is the release build, in build/ beside this folder, or the build folder that TESSIT_BUILD names.
"""

import os
import pathlib
import runpy
import shutil
import subprocess
import sys

from setuptools import Distribution, setup
from setuptools.command.build_py import build_py
from wheel.bdist_wheel import bdist_wheel

SOURCE = pathlib.Path(__file__).resolve().parent.parent
COMPONENTS = ("library", "command", "simulation")


def version() -> str:
    """As the package itself reads it."""
    return str(runpy.run_path(str(SOURCE / "python/tessit/version.py"))["version_in"](SOURCE))


class BuildWithLibraries(build_py):
    """The package, with the shared libraries and the command in tessit/native."""

    def run(self) -> None:
        """Build."""
        if getattr(self, "editable_mode", False):
            super().run()
            return
        shutil.rmtree(self.build_lib, ignore_errors=True)  # no module that was removed since
        super().run()
        install_libraries(pathlib.Path(self.build_lib) / "tessit" / "native")


def install_libraries(prefix: pathlib.Path) -> None:
    """An installation of the build, as files that a wheel can hold."""
    build = pathlib.Path(os.environ.get("TESSIT_BUILD", SOURCE / "build"))
    if not (build / "cmake_install.cmake").is_file():
        sys.exit(
            f"Error: nothing is built in {build}. Run `scripts/build release` first, or name a build in TESSIT_BUILD."
        )
    for component in COMPONENTS:
        words = ["cmake", "--install", build, "--prefix", prefix.absolute(), "--component", component, "--strip"]
        done = subprocess.run(words, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False)
        if done.returncode != 0:
            sys.exit(f"{done.stdout}\nError: the build in {build} is not whole. Run `scripts/build release` again.")
    for link in [path for path in prefix.rglob("*") if path.is_symlink()]:
        target = link.resolve()
        link.unlink()
        target.rename(link)
    for folder in [prefix / "include", *(path for path in (prefix / "share").iterdir() if path.name != "doc")]:
        shutil.rmtree(folder, ignore_errors=True)


class PlatformWheel(bdist_wheel):
    """For this platform, and any Python 3: the libraries are loaded by ctypes."""

    def get_tag(self):  # type: ignore[no-untyped-def]
        """Of the wheel."""
        return ("py3", "none", super().get_tag()[2])


class PlatformDistribution(Distribution):
    """With libraries for this platform."""

    def has_ext_modules(self) -> bool:
        """As far as the wheel's place in an installation is concerned."""
        return True


setup(
    version=version(),
    distclass=PlatformDistribution,
    cmdclass={"build_py": BuildWithLibraries, "bdist_wheel": PlatformWheel},
)

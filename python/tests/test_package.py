"""The wheel, as a user installs it, and the guide, as a user follows it. No network is used."""

from __future__ import annotations

import os
import pathlib
import shutil
import subprocess
import sys
from typing import Any, Dict

import pytest
from conftest import REPOSITORY

BUILD = pathlib.Path(os.environ.get("TESSIT_BUILD", REPOSITORY / "build"))
PIP = ("-m", "pip", "--disable-pip-version-check", "--quiet", "--no-cache-dir")


def run(*words: Any, **options: Any) -> str:
    done: subprocess.CompletedProcess[str] = subprocess.run(
        words, text=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False, **options
    )
    assert done.returncode == 0, done.stdout
    return done.stdout


@pytest.fixture(scope="module")
def installed(tmp_path_factory: pytest.TempPathFactory) -> Dict[str, str]:
    """The environment of a shell in which the wheel is installed."""
    folder = tmp_path_factory.mktemp("wheel")
    # The names of a place by hand, and the tree itself, are what a user does not have.
    kept = {key: value for key, value in os.environ.items() if not key.startswith(("TESSIT_", "PYTHONPATH", "PYTEST_"))}
    source = folder / "source"
    shutil.copytree(REPOSITORY / "python", source / "python", ignore=shutil.ignore_patterns("build", "*.egg-info"))
    shutil.copy(REPOSITORY / "CMakeLists.txt", source)
    run(
        *(sys.executable, *PIP, "wheel", "--no-build-isolation", "--no-index", "--no-deps"),
        *("--wheel-dir", folder, source / "python"),
        env={**kept, "TESSIT_BUILD": str(BUILD)},
    )
    (wheel,) = folder.glob("tessit-*-py3-none-linux_*.whl")
    run(sys.executable, "-m", "venv", "--system-site-packages", folder / "venv", env=kept)
    run(folder / "venv/bin/python3", *PIP, "install", "--no-index", wheel, env=kept)
    return {**kept, "PATH": f"{folder / 'venv/bin'}:{kept['PATH']}"}


def test_the_wheel_brings_its_own_libraries(installed: Dict[str, str], tmp_path: pathlib.Path) -> None:
    script = """
import tessit, tessit.location as at
for path in at.library(), at.simulation(), at.command(), tessit.sim.example_firmware("counter"):
    assert path.is_relative_to(tessit.__path__[0]), path
with tessit.sim.bench() as bench:
    tessit.program(tessit.sim.example_firmware("counter"), probe=bench.serial, sim=True)
print(tessit.__version__)"""
    told = run("python3", "-c", script, env=installed, cwd=tmp_path)
    assert run("tessit", "--version", env=installed, cwd=tmp_path).split()[-1] == told.strip()
    assert "tessit" in run("python3", "-m", "pytest", "--markers", env=installed, cwd=tmp_path)


def test_the_guide_says_what_its_examples_print(installed: Dict[str, str]) -> None:
    runner, guide = REPOSITORY / "tests/documents/run_document.py", REPOSITORY / "docs/python.md"
    run(sys.executable, runner, BUILD, guide, env=installed)

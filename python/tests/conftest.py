"""What the tests share."""

from __future__ import annotations

import pathlib
from typing import List

import pytest

import tessit
from tessit.native import NativeSession

pytest_plugins = ["tessit.pytest_plugin", "pytester"]

REPOSITORY = pathlib.Path(__file__).resolve().parents[2]

if REPOSITORY not in pathlib.Path(tessit.__file__).parents:
    pytest.exit(f"this would test {tessit.__file__}; set PYTEST_DISABLE_PLUGIN_AUTOLOAD=1", returncode=2)


@pytest.fixture
def calls(monkeypatch: pytest.MonkeyPatch) -> List[str]:
    """The exports that are called."""
    made: List[str] = []
    real = NativeSession.call

    def call(self: NativeSession, name: str, *inputs: object) -> object:
        made.append(name)
        return real(self, name, *inputs)

    monkeypatch.setattr(NativeSession, "call", call)
    return made


@pytest.fixture
def echo(bench: tessit.sim.Bench) -> None:
    """The chip of the bench holds the firmware rtt_echo."""
    tessit.program(tessit.sim.example_firmware("rtt_echo"), probe=bench.serial, sim=True)

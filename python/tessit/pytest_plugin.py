"""pytest's fixtures ``bench`` and ``probe``: a fresh simulated chip for each test.

``@pytest.mark.tessit(...)`` on a test, a class or a module gives the bench its settings, those of
:func:`tessit.sim.bench`. A record of the simulation fails the test, unless ``bench.expect_records("NAME")`` expects
it or the mark says ``strict=False``.
"""

from __future__ import annotations

from typing import Any, Dict, Iterator

import pytest

from . import sim
from .probe import Probe


def pytest_configure(config: pytest.Config) -> None:
    """The mark is known."""
    config.addinivalue_line(
        "markers",
        "tessit(version, **settings): the bench of the fixtures bench and probe, as tessit.sim.bench takes it",
    )


@pytest.fixture
def bench(request: pytest.FixtureRequest) -> Iterator[sim.Bench]:
    """A bench of the test's own, with a BIRCH_M1_VA_REV2 unless the mark `tessit` says otherwise."""
    mark = request.node.get_closest_marker("tessit")
    settings: Dict[str, Any] = {"strict": True, **(mark.kwargs if mark else {})}
    with sim.bench(*(mark.args if mark else ()), **settings) as opened:
        yield opened


@pytest.fixture
def probe(bench: sim.Bench) -> Iterator[Probe]:  # pylint: disable=redefined-outer-name
    """A session with the first probe of the test's bench."""
    with bench.probe() as opened:
        yield opened

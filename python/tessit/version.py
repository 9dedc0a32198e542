"""The version, which stands in the source tree's CMakeLists.txt and, from there, in what was installed."""

from __future__ import annotations

import importlib.metadata
import pathlib
import re


def version_in(source: pathlib.Path) -> str:
    """The version of a source tree."""
    text = (source / "CMakeLists.txt").read_text(encoding="utf-8")
    found = re.search(r"^project\(tessit VERSION ([0-9.]+)", text, re.MULTILINE)
    if found is None:
        raise ValueError(f"{source / 'CMakeLists.txt'} tells no version")
    return found[1]


def package_version() -> str:
    """The version of this package."""
    from . import location  # setup.py runs this file by itself

    source = location.source_tree()
    return version_in(source) if source is not None else importlib.metadata.version("tessit")

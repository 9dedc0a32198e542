"""Where the shared libraries, the command and the J-Link library are.

Each is looked for in this order, and what names a place by hand is never passed over:

1. the argument;
2. the environment: ``TESSIT_LIBRARY``, ``TESSIT_SIMULATION``, ``TESSIT_COMMAND``, ``TESSIT_JLINK``;
3. beside this package, as a wheel has them;
4. the release build of the source tree that this package stands in;
5. an installation: around the command ``tessit`` in the path, then ``/usr/local`` and ``/usr``.
"""

from __future__ import annotations

import json
import os
import pathlib
import shutil
import subprocess
import sys
import sysconfig
from typing import Callable, Iterable, Iterator, List, Optional, Union

from .errors import LibraryNotFoundError

Path = Union[str, "os.PathLike[str]"]

_WINDOWS = sys.platform == "win32"
_PACKAGE = pathlib.Path(__file__).resolve().parent
_SOURCE = _PACKAGE.parent.parent


def source_tree() -> Optional[pathlib.Path]:
    """The source tree that this package stands in, or None where it is installed."""
    is_one = (_SOURCE / "include" / "jlinkarm_birch_tessit.h").is_file() and (_SOURCE / "CMakeLists.txt").is_file()
    return _SOURCE if is_one else None


def library(given: Optional[Path] = None) -> pathlib.Path:
    """The library ``jlinkarm_birch_tessit``; LibraryNotFoundError lists what was looked at."""
    names = ["jlinkarm_birch_tessit.dll"] if _WINDOWS else ["libjlinkarm_birch_tessit.so.0"]
    return _find("the library jlinkarm_birch_tessit", given, "TESSIT_LIBRARY", _places(_library_folders, names))


def simulation(given: Optional[Path] = None) -> pathlib.Path:
    """The simulated J-Link library; LibraryNotFoundError lists what was looked at."""
    names = ["jlinkarm_sim.dll", "libjlinkarm_sim.dll"] if _WINDOWS else ["libjlinkarm_sim.so"]
    return _find("the simulated J-Link library", given, "TESSIT_SIMULATION", _places(_plugin_folders, names))


def command(given: Optional[Path] = None) -> pathlib.Path:
    """The command ``tessit``; LibraryNotFoundError lists what was looked at."""
    name = "tessit.exe" if _WINDOWS else "tessit"
    return _find(
        "the command tessit", given, "TESSIT_COMMAND", _places(lambda prefix: [prefix / "bin", prefix], [name])
    )


def example_firmware(name: str) -> pathlib.Path:
    """An example firmware, for example ``"rtt_echo"``; LibraryNotFoundError lists what was looked at."""
    tree = source_tree()
    folders = [tree / "examples" / "firmware"] if tree is not None else []
    folders += [prefix / "share" / "doc" / "tessit" / "examples" / "firmware" for prefix in _prefixes()]
    return _find(f"the example firmware {name}", None, "", [folder / f"{name}.hex" for folder in folders])


def jlink(given: Optional[Path] = None) -> pathlib.Path:
    """The J-Link library; LibraryNotFoundError lists what was looked at. Nothing falls back to the simulation."""
    named = given or os.environ.get("TESSIT_JLINK")
    if named and not os.path.dirname(named):
        return pathlib.Path(named)  # a bare file name is for the system's loader to find
    return _find(
        "the J-Link library",
        given,
        "TESSIT_JLINK",
        _jlink_places(),
        "Install the J-Link software, name its library with jlink=PATH or TESSIT_JLINK, or use tessit.sim.bench().",
    )


def is_simulation(path: Path) -> bool:
    """Whether a J-Link library is the simulated one, which its file's name tells."""
    return "jlinkarm_sim" in os.path.basename(os.fspath(path))


def _prefixes() -> Iterator[pathlib.Path]:
    yield _PACKAGE / "native"
    tree = source_tree()
    if tree is not None:
        yield tree / "build"
    in_path = _command_in_path()
    if in_path is not None:
        yield in_path.parent.parent
    if not _WINDOWS:
        yield pathlib.Path("/usr/local")
        yield pathlib.Path("/usr")


def _command_in_path() -> Optional[pathlib.Path]:
    # The script that a wheel installs under this name is not the command.
    found = shutil.which("tessit")
    if found is None:
        return None
    path = pathlib.Path(found).resolve()
    with open(path, "rb") as file:
        is_script = file.read(2) == b"#!"
    return None if is_script else path


def _library_folders(prefix: pathlib.Path) -> List[pathlib.Path]:
    if _WINDOWS:
        return [prefix / "bin", prefix]
    multiarch = sysconfig.get_config_var("MULTIARCH")
    folders = [prefix / "lib", *([prefix / "lib" / str(multiarch)] if multiarch else []), prefix / "lib64"]
    # The build folder has everything side by side.
    return [prefix] if prefix.name == "build" else folders


def _plugin_folders(prefix: pathlib.Path) -> List[pathlib.Path]:
    folders = _library_folders(prefix)
    beside = _WINDOWS or folders == [prefix]
    return folders if beside else [folder / "tessit" for folder in folders]


def _places(folders: Callable[[pathlib.Path], List[pathlib.Path]], names: Iterable[str]) -> List[pathlib.Path]:
    names = list(names)
    return [folder / name for prefix in _prefixes() for folder in folders(prefix) for name in names]


def _jlink_places() -> Iterator[pathlib.Path]:
    """Where the J-Link software puts its library, the likeliest first: the command knows."""
    words = [str(command()), "--json", "info", "--jlink-search"]
    told = subprocess.run(words, capture_output=True, encoding="utf-8", errors="replace", check=False)
    if told.returncode != 0:
        raise LibraryNotFoundError(f"the command does not tell where the J-Link library is: {told.stderr.strip()}")
    for place in json.loads(told.stdout)["jlink_search"]:
        yield pathlib.Path(place["library"])


def _find(
    what: str, given: Optional[Path], variable: str, places: Iterable[pathlib.Path], hint: Optional[str] = None
) -> pathlib.Path:
    in_environment = os.environ.get(variable) if variable else None
    for source, path in (("the argument", given), (variable, in_environment)):
        if path:
            chosen = pathlib.Path(path)
            if chosen.is_file():
                return chosen.absolute()
            raise LibraryNotFoundError(f"{what} is not where {source} says: {chosen} is no file")
    looked_at = list(dict.fromkeys(places))
    for place in looked_at:
        if place.is_file():
            return place
    listing = "".join(f"\n  {place}" for place in looked_at) or " nowhere, it has to be named on this system"
    unset = f" ({variable} is not set)" if variable else ""
    named = f", or name it with {variable}" if variable else ""
    raise LibraryNotFoundError(
        f"{what} was not found; looked at{unset}:{listing}",
        hint=hint or f"Install it, or build it with `scripts/build release`{named}.",
    )

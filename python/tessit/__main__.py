"""``python -m tessit``, and the script ``tessit`` of a wheel: the command."""

from __future__ import annotations

import os
import subprocess
import sys

from . import location
from .errors import TessitError


def main() -> None:
    """Become the command."""
    try:
        command = str(location.command())
    except TessitError as error:
        sys.exit(f"Error: {error}")
    if sys.platform == "win32":
        sys.exit(subprocess.call([command, *sys.argv[1:]]))
    os.execv(command, [command, *sys.argv[1:]])


if __name__ == "__main__":
    main()

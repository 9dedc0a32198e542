"""What the libraries for Windows and for Linux export, load and say of themselves, as binutils see them.

Usage: exports.py X64_FOLDER X86_FOLDER LINUX_FOLDER [unittest's arguments]
"""

import pathlib
import re
import subprocess
import sys
import unittest

repository = pathlib.Path(__file__).resolve().parents[2]
folders = {}
tools = {"x64": "x86_64-w64-mingw32-objdump", "x86": "i686-w64-mingw32-objdump", "linux": "objdump"}
of_windows = {"KERNEL32.dll", "msvcrt.dll", "SHELL32.dll", "ADVAPI32.dll"}


def output_of(*command):
    return subprocess.run(command, capture_output=True, text=True, check=True).stdout


def exported(system, file):
    if system == "linux":
        listing = output_of("nm", "--dynamic", "--defined-only", "--format=just-symbols", folders[system] / file)
        return set(listing.split())
    listing = output_of(tools[system], "--private-headers", folders[system] / file)
    table = listing[listing.index("[Ordinal/Name Pointer] Table") :]
    return set(re.findall(r"^\t\[ *[0-9]+\](?: \+base\[ *[0-9]+\] *[0-9a-f]+)? (\S+)$", table, re.MULTILINE))


def declared(header, convention):
    return set(re.findall(rf"\b{convention}\s+(\w+)\(", (repository / header).read_text()))


class Products(unittest.TestCase):
    def test_the_library_exports_what_its_header_declares_on_every_system(self):
        names = declared("include/jlinkarm_birch_tessit.h", "TESSIT_CALL")
        self.assertEqual(len(names), 67)
        for system in ("x64", "x86"):
            self.assertEqual(exported(system, "jlinkarm_birch_tessit.dll"), names, system)
        self.assertEqual(exported("linux", "libjlinkarm_birch_tessit.so"), names)

    def test_the_simulation_exports_the_functions_that_the_library_binds_and_its_own(self):
        bound = re.findall(r"^ +X\([^,]+, +(\w+),", (repository / "src/jlink/functions.h").read_text(), re.MULTILINE)
        self.assertEqual(len(bound), 38)
        names = set(bound) | declared("sim/include/jlinkarm_sim.h", "JLINKSIM_CALL")
        for system in ("x64", "x86"):
            self.assertEqual(exported(system, "jlinkarm_sim.dll"), names, system)

    def test_nothing_is_loaded_that_is_not_of_windows(self):
        own = {
            "jlinkarm_birch_tessit.dll": set(),
            "jlinkarm_sim.dll": set(),
            "tessit.exe": {"jlinkarm_birch_tessit.dll"},
        }
        for system in ("x64", "x86"):
            for file, others in own.items():
                headers = output_of(tools[system], "--private-headers", folders[system] / file)
                loaded = set(re.findall(r"DLL Name: (\S+)", headers))
                self.assertLessEqual(loaded - others, of_windows, (system, file))

    def test_the_version_stands_in_every_file(self):
        version = re.search(r"project\(tessit VERSION (\S+)", (repository / "CMakeLists.txt").read_text())[1]
        for system in ("x64", "x86"):
            for file in ("jlinkarm_birch_tessit.dll", "jlinkarm_sim.dll", "tessit.exe"):
                content = (folders[system] / file).read_bytes().decode("utf-16-le", "replace")
                odd = (folders[system] / file).read_bytes()[1:].decode("utf-16-le", "replace")
                found = re.search("FileVersion\0+([0-9.]+)\0", content) or re.search("FileVersion\0+([0-9.]+)\0", odd)
                self.assertEqual(found and found[1], version, (system, file))

    def test_a_program_links_with_the_import_library(self):
        for system, compiler in (("x64", "x86_64-w64-mingw32-gcc-posix"), ("x86", "i686-w64-mingw32-gcc-posix")):
            program = folders[system] / "linked.exe"
            subprocess.run(
                [
                    compiler,
                    "-o",
                    program,
                    f"-I{repository}/include",
                    "-xc",
                    "-",
                    "-xnone",
                    folders[system] / "libjlinkarm_birch_tessit.dll.a",
                ],
                check=True,
                text=True,
                input="#include <jlinkarm_birch_tessit.h>\nint main(void) { TESSIT_close_dll();"
                "return TESSIT_read_u32(0, 0); }\n",
            )
            imported = output_of(tools[system], "--private-headers", program)
            self.assertRegex(imported, r"\sTESSIT_read_u32\n", system)


if __name__ == "__main__":
    folders = {name: pathlib.Path(sys.argv.pop(1)).resolve() for name in ("x64", "x86", "linux")}
    unittest.main()

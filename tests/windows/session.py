"""The command for Windows as its users have it, run by Wine: every verb that matters on the simulated bench, names that
only Unicode can write, several boards at once, Ctrl-C on a console, and a kill in the middle.

Usage: session.py BUILD_FOLDER INSTALLED_FOLDER [unittest's arguments]
"""

import fcntl
import json
import os
import pathlib
import pty
import re
import shutil
import struct
import subprocess
import sys
import tempfile
import termios
import unittest

repository = pathlib.Path(__file__).resolve().parents[2]
firmware = repository / "examples/firmware"
build = installed = None  # what was built for tests, and the folder of the command as users have it
first, second, third = ("600000001", "600000002", "600000003")
half_a_megabyte = 0x80000
ctrl_c = b"\x03"
one_erases = {rb"erase_page": 10}
both_erase = {rb"%s[^\n]*erase_page" % serial.encode(): 3 for serial in (first, second)}


def windows_path(path):
    return "Z:" + str(path).replace("/", "\\")


def wine(program, *arguments, cwd=None, **environment):
    return {
        "args": ["wine", str(program), *map(str, arguments)],
        "cwd": cwd,
        "env": {**os.environ, "LC_ALL": "C.UTF-8", **environment},
    }


def setUpModule():
    """A program that waits. Wine's services, which begin with the first one and end with the last, keep its output
    open."""
    waiting = subprocess.Popen(
        **wine("cmd", "/c", "pause"), stdin=subprocess.PIPE, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL
    )
    unittest.addModuleCleanup(waiting.wait)
    unittest.addModuleCleanup(waiting.stdin.close)
    subprocess.run(
        **wine("cmd", "/c", "exit"),
        stdin=subprocess.DEVNULL,
        stdout=subprocess.DEVNULL,
        stderr=subprocess.DEVNULL,
        check=True,
        timeout=120,
    )


class Session(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="tessit-")
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.state = {"JLINKARM_SIM_STATE": windows_path(self.folder / "chips"), "NO_COLOR": "1"}
        self.command = installed / "tessit.exe"

    def run_command(self, *arguments, code=0, text=None, **environment):
        command = wine(self.command, "--sim", *arguments, cwd=self.folder, **{**self.state, **environment})
        done = subprocess.run(**command, input=text, capture_output=True, timeout=120)
        self.assertEqual(done.returncode, code, (arguments, done.stdout, done.stderr))
        return done

    def on_first(self, *arguments, **how):
        return self.run_command("--probe", first, *arguments, **how)

    def image(self, name, byte=None, length=half_a_megabyte):
        path = self.folder / name
        path.write_bytes(bytes([byte]) * length if byte is not None else os.urandom(length))
        return path

    def content(self, where):
        self.on_first("read", where, "-o", "content.bin")
        return (self.folder / "content.bin").read_bytes()

    def start_and_wait(self, *arguments, said, terminal=None):
        """Starts the command, and reads what it says so far, each pattern as often as `said` tells; it waits for its
        reader then, wherever it is."""
        reading, writing = os.pipe()
        fcntl.fcntl(reading, fcntl.F_SETPIPE_SZ, 4096)
        self.addCleanup(os.close, reading)
        command = wine(self.command, "--sim", *arguments, cwd=self.folder, **self.state)
        process = subprocess.Popen(
            **command,
            stdin=terminal or subprocess.DEVNULL,
            stdout=subprocess.PIPE,
            stderr=writing,
            start_new_session=True,
            preexec_fn=None if terminal is None else lambda: fcntl.ioctl(terminal, 0x540E, 0),
        )  # TIOCSCTTY
        self.addCleanup(process.stdout.close)
        os.close(writing)
        heard = b""
        while any(len(re.findall(pattern, heard)) < times for pattern, times in said.items()):
            piece = os.read(reading, 512)
            self.assertTrue(piece, heard)
            heard += piece
        return process, reading

    def test_every_step_of_a_day(self):
        self.assertEqual(self.run_command("list").stdout.split(), [first.encode(), second.encode(), third.encode()])
        self.on_first("program", windows_path(firmware / "counter.hex"))
        self.on_first("verify", windows_path(firmware / "counter.elf"))
        self.assertEqual(self.content("0+17668"), (firmware / "counter.bin").read_bytes())
        self.on_first("erase", "--range", "0x1000+0x1000")
        self.on_first("verify", windows_path(firmware / "counter.elf"), code=6)
        self.assertEqual(self.content("0x1000+0x1000"), b"\xFF" * 0x1000)
        self.on_first("protect", "--yes")
        self.assertIn(b"recover --yes", self.on_first("read", "0+4", code=5).stderr)
        self.on_first("recover", "--yes")
        self.assertEqual(self.content("0+4"), b"\xFF" * 4)
        self.assertIn(b"no terminal to ask", self.on_first("recover", code=2).stderr)

    def test_bytes_pass_unchanged_in_and_out(self):
        content = bytes(range(256)) * 16  # with every end of line and Ctrl-Z
        (self.folder / "all.bin").write_bytes(content)
        self.on_first("program", "all.bin@0")
        self.assertEqual(self.content("0+4096"), content)
        self.assertNotIn(b"\r", self.on_first("--json", "info").stdout)

    def test_rtt_passes_bytes_unchanged_through_pipes(self):
        self.on_first("program", windows_path(firmware / "counter.hex"), "--reset")
        block, up, down, size = 0x20000100, 0x20000200, 0x20000400, 512
        said, answer = bytes(range(256)), bytes(reversed(range(256)))
        channels = struct.pack("<12I", 0, up, size, len(said), 0, 0, 0, down, size, 0, 0, 0)
        content = b"SEGGER RTT".ljust(16, b"\0") + struct.pack("<2I", 1, 1) + channels
        (self.folder / "ram.bin").write_bytes(content.ljust(up - block, b"\0") + said)
        self.on_first("write", hex(block), "--file", "ram.bin")
        heard = self.on_first("rtt", "--raw", "--address", hex(block), text=answer)
        self.assertEqual(heard.stdout, said)
        self.assertEqual(self.content(f"{down:#x}+{len(answer)}"), answer)

    def test_the_newest_jlink_library_is_found_the_registered_one_first(self):
        prefix = pathlib.Path(os.environ["WINEPREFIX"])
        parent = prefix / "drive_c/Program Files/SEGGER"
        self.addCleanup(shutil.rmtree, parent)
        for version in ("JLink_V794", "JLink_V812a", "JLink_V790"):
            (parent / version).mkdir(parents=True)
            shutil.copy(installed / "jlinkarm_sim.dll", parent / version / "JLink_x64.dll")
        self.assertEqual(self.library_found(), "C:\\Program Files\\SEGGER\\JLink_V812a\\JLink_x64.dll")
        key = "HKLM\\Software\\SEGGER"
        self.addCleanup(self.registry, "delete", key, "/f")
        self.registry(
            "add", key + "\\J-Link", "/v", "InstallPath", "/d", "C:\\Program Files\\SEGGER\\JLink_V790\\", "/f"
        )
        self.assertEqual(self.library_found(), "C:\\Program Files\\SEGGER\\JLink_V790\\JLink_x64.dll")
        listed = subprocess.run(
            **wine(self.command, "list", cwd=self.folder, **self.state), capture_output=True, timeout=60
        )
        self.assertEqual((listed.returncode, listed.stdout.split()[:1]), (0, [first.encode()]), listed)

    def registry(self, *words):
        subprocess.run(**wine("reg", *words), capture_output=True, timeout=60, check=True)

    def library_found(self):
        command = wine(self.command, "--json", "info", "--jlink-search", cwd=self.folder)
        done = subprocess.run(**command, capture_output=True, timeout=60, check=True)
        return next(each["library"] for each in json.loads(done.stdout)["jlink_search"] if each["taken"])

    def test_names_that_need_unicode(self):
        odd = self.folder / "Пробы и Größe 測試"
        odd.mkdir()
        shutil.copy(firmware / "counter.hex", odd / "прошивка ä.hex")
        bench = odd / "стенд 台.toml"
        bench.write_text(
            f'[[probe]]\nserial = {first}\n[probe.chip]\nversion = "BIRCH_M1_VA_REV2"\nflash_file = "заводская.bin"\n'
        )
        (odd / "заводская.bin").write_bytes(b"\x12\x34\x56\x78")
        name = odd.name + "\\"
        self.state.pop("JLINKARM_SIM_STATE")
        log = name + "журнал {serial} é.log"
        bench_option = ("--bench", name + bench.name)
        self.run_command(*bench_option, "--log", log, "read", "0+4", "-o", name + "выход ß.bin")
        self.assertEqual((odd / "выход ß.bin").read_bytes(), b"\x12\x34\x56\x78")
        self.assertIn("Birch_read", (odd / f"журнал {first} é.log").read_text())
        programmed = self.run_command(*bench_option, "--json", "program", name + "прошивка ä.hex")
        self.assertEqual(json.loads(programmed.stdout)["probe"], int(first))
        self.assertTrue((odd / "стенд 台.toml.state" / first / "flash.bin").exists())
        missing = self.run_command(*bench_option, "verify", name + "нет.hex", code=1)
        self.assertIn("нет.hex", missing.stderr.decode())
        (odd / "настройки.toml").write_text('probe = "9"\n')
        config = self.run_command(*bench_option, "info", code=3, TESSIT_CONFIG=name + "настройки.toml")
        self.assertIn(b"9", config.stderr)

    def test_a_folder_that_no_code_page_can_write(self):
        folder = self.folder / "Программы 測試 x"
        folder.mkdir()
        for file in ("tessit.exe", "jlinkarm_birch_tessit.dll", "jlinkarm_sim.dll"):
            shutil.copy(installed / file, folder)
        self.command = folder / "tessit.exe"
        self.assertIn(first.encode(), self.run_command("list").stdout)

    def test_several_boards_at_once(self):
        image = self.image("all.bin", length=0x8000)
        done = json.loads(self.run_command("--json", "--all-probes", "program", "all.bin@0").stdout)
        self.assertEqual([board["error"] if "error" in board else None for board in done["probes"]], [None] * 3)
        for serial in (first, second, third):
            self.run_command("--probe", serial, "read", f"0+{0x8000}", "-o", "back.bin")
            self.assertEqual((self.folder / "back.bin").read_bytes(), image.read_bytes())

    def half_erased(self):
        """How much of the flash, which held zeros, is erased: some and not all."""
        erased = self.content(f"0+{half_a_megabyte}").count(b"\xFF")
        self.assertGreater(erased, 0)
        self.assertLess(erased, half_a_megabyte)

    def fill(self):
        self.image("zeros.bin", 0)
        self.on_first("program", "zeros.bin@0")

    def test_a_kill_leaves_the_probe_free_and_the_chip_as_far_as_it_was(self):
        self.fill()
        process, _ = self.start_and_wait(
            "-v", "--probe", first, "erase", "--range", f"0+{half_a_megabyte - 4096}", said=one_erases
        )
        holder = self.on_first("info", code=8).stderr
        self.assertRegex(holder, rb"in use by another program \(process [0-9]+\)")
        process.kill()
        process.wait()
        self.half_erased()
        self.on_first("program", "zeros.bin@0")
        self.on_first("verify", "zeros.bin@0")

    def boards_with_much_to_write(self):
        """So much that what they tell of it fills the pipes between the command and its boards: they wait for its
        reader."""
        chips = "".join(
            f'[[probe]]\nserial = {serial}\n[probe.chip]\nversion = "BIRCH_M2_VA_REV1"\n' for serial in (first, second)
        )
        (self.folder / "bench.toml").write_text(chips)
        boards = ("--bench", "bench.toml", "--probe", first, "--probe", second)
        self.image("zeros.bin", 0, 2 * half_a_megabyte)
        self.run_command(*boards, "program", "zeros.bin@0")
        self.image("new.bin", 1, 2 * half_a_megabyte - 0x4000)  # some of it stays: a chip is not erased as a whole
        return boards

    def on_console(self, *arguments, said, keys=ctrl_c):
        terminal, console = pty.openpty()
        self.addCleanup(os.close, terminal)
        process, reading = self.start_and_wait(*arguments, said=said, terminal=console)
        os.close(console)
        while keys != ctrl_c and termios.tcgetattr(terminal)[3] & termios.ICANON:
            os.sched_yield()  # Wine's console drops what is typed before the program reads
        os.write(terminal, keys)
        rest = b""
        while piece := os.read(reading, 65536):
            rest += piece
        output = process.stdout.read()
        return process.wait(timeout=60), output, rest

    def test_a_question_is_asked_and_answered_on_a_console(self):
        self.on_first("protect", "--yes")
        code, _, said = self.on_console("--probe", first, "recover", said={rb"\?": 1}, keys=b"n\r")
        self.assertEqual(code, 1, said)
        self.on_first("read", "0+4", code=5)
        code, _, said = self.on_console("--probe", first, "recover", said={rb"\?": 1}, keys=b"y\r")
        self.assertEqual(code, 0, said)
        self.on_first("read", "0+4")

    def test_ctrl_c_ends_at_a_point_where_all_is_known(self):
        self.fill()
        code, _, said = self.on_console(
            "-v", "--probe", first, "erase", "--range", f"0+{half_a_megabyte - 4096}", said=one_erases
        )
        self.assertEqual(code, 130, said)
        self.assertIn(b"interrupted", said)
        self.assertIn(b"close_dll", said)
        self.half_erased()

    def test_ctrl_c_reaches_every_board(self):
        boards = self.boards_with_much_to_write()
        code, output, said = self.on_console(
            "-v", "--json", *boards, "program", "new.bin@0", "--loader", "off", said=both_erase
        )
        self.assertEqual(code, 130, said)
        ends = [board["error"] for board in json.loads(output)["probes"]]
        self.assertEqual([(end["name"], end["half_written"]) for end in ends], [("interrupted", True)] * 2)

    def test_the_boards_end_with_the_command_that_began_them(self):
        boards = self.boards_with_much_to_write()
        process, _ = self.start_and_wait(
            "-v", "--json", *boards, "program", "new.bin@0", "--loader", "off", said=both_erase
        )
        process.kill()
        process.wait()
        self.run_command(*boards[:4], "--wait", "30", "program", "new.bin@0")

    def test_a_host_program_finds_every_function(self):
        host = wine(
            build / "host.exe",
            windows_path(build / "jlinkarm_birch_tessit.dll"),
            windows_path(build / "jlinkarm_birch_tessit.def"),
            windows_path(build / "jlinkarm_sim.dll"),
            first,
            **self.state,
        )
        done = subprocess.run(**host, capture_output=True, timeout=60)
        self.assertEqual(done.stdout.decode().strip(), "67 functions, results 0 0 0, word 0xFFFFFFFF")


if __name__ == "__main__":
    build = pathlib.Path(sys.argv.pop(1)).resolve()
    installed = pathlib.Path(sys.argv.pop(1)).resolve()
    unittest.main()

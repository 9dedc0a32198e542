"""What users do: transfers, benches in tests, the command, several probes."""

from __future__ import annotations

import array
import functools
import os
import pathlib
import signal
import struct
import subprocess
import threading
from typing import Any, Dict, List

import pytest
from conftest import REPOSITORY

import tessit
from tessit import Probe, version

COUNTER = tessit.sim.example_firmware("counter")
M2: Dict[str, Any] = {"version": "BIRCH_M2_VA_REV1", "external_flash": {"size": 1 << 20}}


@pytest.mark.tessit.with_args(**M2)
@pytest.mark.parametrize("speed, calls_of_1_mib", [(125, 128), (4000, 4), (50000, 1)])
def test_transfers_are_made_in_pieces_of_a_second(
    bench: tessit.sim.Bench, calls: List[str], speed: int, calls_of_1_mib: int
) -> None:
    content = bytes(range(251)) * 4177
    bench.poke(0, content)
    with bench.probe(speed=speed) as probe:
        assert probe.read(1, len(content) - 1) == content[1:]
        into = array.array("I", bytes(4096))
        probe.read_into(3, into)
        assert into.tobytes() == content[3:4099]
    assert calls_of_1_mib <= calls.count("read") - 1 <= calls_of_1_mib + 1


@pytest.mark.parametrize("kind", [bytes, bytearray, memoryview, lambda data: array.array("H", data)])
def test_any_buffer_can_be_written(bench: tessit.sim.Bench, probe: Probe, kind: Any) -> None:
    probe.write(0x20000100, kind(b"any kind of buff"))
    assert bench.peek(0x20000100, 16) == b"any kind of buff"


def test_registers_are_a_mapping(probe: Probe) -> None:
    probe.registers["LR"] = 0x1234
    assert dict(probe.registers)["lr"] == probe.registers["r14"] == probe.registers[tessit.Register.R14] == 0x1234
    assert len(probe.registers) == 19


def test_the_log_goes_to_the_logger(probe: Probe, caplog: pytest.LogCaptureFixture) -> None:
    with caplog.at_level("DEBUG", "tessit"):
        probe.connect()
    told = [(record.levelname, record.getMessage()) for record in caplog.records]
    assert ("DEBUG", "Birch_connect_to_device") in told
    assert told[-1][0] == "INFO" and told[-1][1].endswith("Device version is BIRCH_M1_VA_REV2.")


def test_rtt_loses_nothing_and_shows_nothing_old(bench: tessit.sim.Bench, echo: None) -> None:
    with bench.probe() as probe:
        for turn in range(2):
            with probe.rtt(reset=True) as rtt:
                rtt.write(b"one\ntwo\nthree")
                assert rtt.expect("ready\nO") == "rtt_echo is ready\nO"
                assert rtt.read(most=1) == b"N"
                lines = rtt.lines(timeout=0.1)
                assert [next(lines), next(lines), next(lines)] == ["E", "TWO", "THREE"]
                assert list(lines) == [] and rtt.read() == b""
                with pytest.raises(tessit.RttTimeoutError) as caught:
                    rtt.write(b"more")
                    rtt.expect("never", timeout=0.1)
                assert caught.value.said == "MORE"
        assert not probe.is_halted


def test_rtt_takes_no_control_block_of_an_earlier_run(bench: tessit.sim.Bench, probe: Probe) -> None:
    probe.program(COUNTER)
    bench.poke(0x20008000, struct.pack("<16s8I", b"SEGGER RTT", 1, 0, 0x20008100, 0x20008200, 64, 0, 0, 0))
    with probe.rtt() as rtt:
        assert rtt.is_ready
    with pytest.raises(tessit.RttTimeoutError), probe.rtt(reset=True, wait=0.1):
        pass


def test_a_session_gives_way_to_the_command(bench: tessit.sim.Bench, probe: Probe) -> None:
    result = probe.program(COUNTER, values={0x10001080: 7}, reset=True)
    assert result["verified"] and result["reset"]
    assert probe.read_word(0x10001080) == 7 and not probe.verify(COUNTER).get("error")
    bench.poke(0x100, bytes(byte ^ 0xFF for byte in bench.peek(0x100, 3)))
    with pytest.raises(tessit.VerifyMismatchError) as caught:
        probe.verify(COUNTER)
    assert [mismatch[0] for mismatch in caught.value.mismatches] == [0x100, 0x101, 0x102]
    assert probe.is_open and caught.value.name == "verify_mismatch"


def test_the_command_s_verbs(bench: tessit.sim.Bench) -> None:
    where: Dict[str, Any] = {"probe": bench.serial, "sim": True}
    with bench.probe() as probe:
        probe.protect()
    with pytest.raises(tessit.ProtectedError) as caught:
        tessit.program(COUNTER, **where)
    assert caught.value.hint and caught.value.result
    tessit.program(COUNTER, recover=True, verify=False, **where)
    assert tessit.erase("--range", "0x1000-0x2000", **where)["erased"] == [{"address": 0x1000, "bytes": 4096}]
    assert tessit.recover(**where)["command"] == "recover"
    assert set(bench.peek(0, 0x2000)) == {0xFF}
    bench.expect_records("cpu-fault")
    with pytest.raises(tessit.CommandError) as told:
        tessit.run_command("run", str(tessit.sim.example_firmware("fault_void")), "--timeout", "1", **where)
    assert told.value.exit_code == 9 and told.value.name == "verdict"


def test_several_probes_and_a_failure(tmp_path: pathlib.Path) -> None:
    boards = [tessit.sim.Board(), tessit.sim.Board(protected=True)]
    with tessit.sim.bench(boards=boards) as bench:
        with pytest.raises(tessit.CommandError, match="600000002: .*protected") as caught:
            tessit.program(COUNTER, probe=bench.serials, sim=True)
        assert caught.value.result and "error" not in caught.value.result["probes"][0]
        broken = tmp_path / "tessit"
        broken.write_text("#!/bin/sh\necho '{'; echo what >&2; exit 3\n")
        broken.chmod(0o755)
        with pytest.raises(tessit.CommandError, match="exit code 3 and no result: what"):
            tessit.run_command("info", command=broken)


def test_ctrl_c_ends_the_command_at_a_safe_point(bench: tessit.sim.Bench, monkeypatch: pytest.MonkeyPatch) -> None:
    def interrupted(process: Any) -> Any:
        monkeypatch.undo()
        assert os.getpgid(process.pid) == process.pid  # a terminal's Ctrl-C does not reach it besides
        os.kill(os.getpid(), signal.SIGINT)

    # Firmware that never says the word: the command goes on until it is interrupted.
    monkeypatch.setattr(subprocess.Popen, "communicate", interrupted)
    with pytest.raises(KeyboardInterrupt):
        tessit.run_command("run", str(COUNTER), probe=bench.serial, sim=True)
    assert not bench.describe()[0].is_in_use


# ---- benches in tests

TESTS = """
import pytest, tessit

def test_fresh(bench, probe):
    assert probe.chip_version.name == "BIRCH_M1_VA_REV2" and probe.read_word(0) == 0xFFFFFFFF
    probe.write_word(0, 0)

def test_fresh_again(probe):
    assert probe.read_word(0) == 0xFFFFFFFF

@pytest.mark.tessit("BIRCH_M3_VA_REV1", serial=77)
def test_mark(bench, probe):
    assert probe.serial == 77 and bench.describe()[0].flash_bytes == 192 * 1024

def test_record(probe):
    probe.write(0x1000, b"abcd", flash=False, verify=False)

def test_expected_record(bench, probe):
    bench.expect_records("flash-write-disabled")
    probe.write(0x1000, b"abcd", flash=False, verify=False)

@pytest.mark.tessit(strict=False)
def test_not_strict(probe):
    probe.write(0x1000, b"abcd", flash=False, verify=False)
"""


def test_the_plugin(pytester: pytest.Pytester, monkeypatch: pytest.MonkeyPatch) -> None:
    monkeypatch.setenv("PYTHONPATH", str(REPOSITORY / "python"))
    monkeypatch.setenv("PYTEST_DISABLE_PLUGIN_AUTOLOAD", "1")  # the tree may have been built
    pytester.makepyfile(TESTS)
    done = pytester.runpytest_subprocess("-p", "tessit.pytest_plugin", "-p", "no:cacheprovider", "--strict-markers")
    done.assert_outcomes(passed=6, errors=1)
    done.stdout.fnmatch_lines(["*RecordsError*", "*flash-write-disabled: *", "ERROR *test_record*"])


def test_a_bench_tells_and_takes_all(tmp_path: pathlib.Path) -> None:
    with tessit.sim.bench(boards=[tessit.sim.Board(""), tessit.sim.Board(serial=9, **M2)]) as bench:
        assert [(s.serial, s.chip_version, s.external_flash_bytes) for s in bench.describe()] == [
            (600000001, "", 0),
            (9, "BIRCH_M2_VA_REV1", 1 << 20),
        ]
        with bench.probe(9) as probe:
            probe.write(0x20000000, b"gone")
            bench.fault("JLINKARM_ReadMem", 2, result=-1)
            with bench.trace() as trace:
                probe.read(0x20000000, 4)
            assert trace[-1] == "JLINKARM_ReadMem(0x20000000, 4) = 0"
            with pytest.raises(tessit.JLinkError):
                probe.read(0x20000000, 4)
            before = bench.time
            bench.pass_time(1.5)
            assert bench.time == pytest.approx(before + 1.5)
        bench.power_cycle(9)
        bench.set_supply(1000, 9)
        with pytest.raises(tessit.LowVoltageError), bench.probe(9):
            pass
        bench.set_supply(3300, 9)
        assert bench.peek(0x20000000, 4, 9) != b"gone"
        bench.poke(0, b"\0", 9)
        bench.factory_reset(9)
        assert bench.peek(0, 1, 9) == b"\xff" and not bench.records and not bench.is_real_time
        bench.unplug(9)
        with pytest.raises(tessit.SimulationError, match="one at a time"), tessit.sim.bench():
            pass
        file = tmp_path / "bench.toml"
        file.write_text(bench.path.read_text())
        folder = bench.path.parent
    assert not folder.exists() and "JLINKARM_SIM_BENCH" not in os.environ
    with tessit.sim.bench(file=file) as bench:
        assert bench.path == file and bench.describe()[1].is_plugged
    with pytest.raises(tessit.BadArgumentError):
        tessit.sim.bench("BIRCH_M3_VA_REV1", file=file)


def test_records_of_other_processes_count() -> None:
    with pytest.raises(tessit.RecordsError, match="debug-power-left") as caught:
        with tessit.sim.bench(strict=True) as bench:
            tessit.run_command("dp", "write", "4", "0x50000000", probe=bench.serial, sim=True)
            first = bench.records
            bench.clear_records()
            assert first and not bench.records
            bench.power_cycle()
            tessit.run_command("dp", "write", "4", "0x50000000", probe=bench.serial, sim=True)
    assert len(caught.value.records) == 1


# ---- a process for each probe


def fate(words: Dict[int, str], probe: Probe) -> Any:
    """What happens to a unit."""
    word = words[probe.serial]
    if word == "crash":
        os.abort()
    if word == "raise":
        raise LookupError(word, {"unit": probe.serial})
    if word == "odd":
        raise OddError(1, 2)
    if word == "lambda":
        return lambda: None
    return word, str(probe.chip_version)


class OddError(Exception):
    """Can be pickled, and not made again."""

    def __init__(self, one: int, two: int) -> None:
        super().__init__(f"{one} and {two}")


def test_spawn_brings_results_and_exceptions_back() -> None:
    words = ["fine", "crash", "raise", "odd", "lambda", "fine too"]
    boards = [tessit.sim.Board() for _ in words] + [tessit.sim.Board(protected=True)]
    with tessit.sim.bench(boards=boards, strict=True) as bench:
        of_serial = dict(zip(bench.serials, [*words, "protected"]))
        units = tessit.spawn(functools.partial(fate, of_serial), bench.serials, jlink=bench.jlink, jobs=4)
    assert [unit.serial for unit in units] == list(of_serial)
    by_word = {of_serial[unit.serial]: unit for unit in units}
    assert by_word["fine"].get() == ("fine", "BIRCH_M1_VA_REV2") and by_word["fine too"].ok
    assert "ended by signal 6" in str(by_word["crash"].error)
    with pytest.raises(LookupError) as caught:
        by_word["raise"].get()
    assert caught.value.args == ("raise", {"unit": by_word["raise"].serial})
    assert "raise LookupError" in str(caught.value.__cause__)
    assert "OddError: 1 and 2" in str(by_word["odd"].error)
    assert "cannot be given to another process" in str(by_word["lambda"].error)
    error = by_word["protected"].error
    assert isinstance(error, tessit.ProtectedError) and error.log and error.hint


@pytest.mark.parametrize("function, serials, jobs", [(lambda probe: 1, [1], 1), (fate, [1, 1], 1), (fate, [1], 0)])
def test_spawn_refuses_what_makes_no_sense(bench: tessit.sim.Bench, function: Any, serials: Any, jobs: int) -> None:
    with pytest.raises(tessit.BadArgumentError):
        tessit.spawn(function, serials, jlink=bench.jlink, jobs=jobs)


def until_interrupted(folder: str, probe: Probe) -> None:
    """Tells that it has begun, and how it ended."""
    with open(pathlib.Path(folder, str(probe.serial)), "w", encoding="utf-8") as told:
        try:
            told.write("begun\n")
            told.flush()
            while True:
                probe.read(0x20000000, 65536)
        except KeyboardInterrupt:
            told.write("interrupted\n")
            raise


def test_ctrl_c_is_handed_on(tmp_path: pathlib.Path) -> None:
    with tessit.sim.bench(boards=[tessit.sim.Board(), tessit.sim.Board()], strict=True) as bench:
        pipes = [tmp_path / str(serial) for serial in bench.serials]
        for pipe in pipes:
            os.mkfifo(pipe)
        told: List[str] = []

        def interrupt_when_all_have_begun() -> None:
            files = [open(pipe, encoding="utf-8") for pipe in pipes]
            told.extend(file.readline() for file in files)
            os.kill(os.getpid(), signal.SIGINT)
            told.extend(file.readline() for file in files)
            for file in files:
                file.close()

        watcher = threading.Thread(target=interrupt_when_all_have_begun, daemon=True)
        watcher.start()
        with pytest.raises(KeyboardInterrupt):
            tessit.spawn(functools.partial(until_interrupted, str(tmp_path)), bench.serials, jlink=bench.jlink)
        watcher.join()
        assert told == ["begun\n"] * 2 + ["interrupted\n"] * 2
        assert not any(state.is_in_use for state in bench.describe())


def test_the_version_is_that_of_the_command(bench: tessit.sim.Bench) -> None:
    assert tessit.run_command("list", sim=True)["tessit"] == tessit.__version__ == version.version_in(REPOSITORY)

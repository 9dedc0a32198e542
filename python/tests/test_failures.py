"""What goes wrong has a class of its own, says why, and leaves a session that can be used or closed."""

from __future__ import annotations

import os
import pathlib
import pickle
import signal
import subprocess
import sys
import threading
from typing import Any, Callable, Dict, List, Type

import pytest

import tessit
from tessit import Library, Probe, ResultCode, location

COUNTER = tessit.sim.example_firmware("counter")
CONFIG = tessit.QspiConfig("P0.1", "P0.2", "P0.3", "P0.4", "P0.5", "P1.16")

# On a plain chip, and each leaves it as it was.
FAILURES: Dict[str, Any] = {
    "address": (lambda p: p.read_word(1 << 32), tessit.BadArgumentError, "addr is 4294967296", None),
    "alignment": (lambda p: p.read_word(0x20000001), ValueError, "word aligned", ResultCode.ERR_BAD_ARGUMENT),
    "length": (lambda p: p.read(0x20000000, -1), tessit.BadArgumentError, "-1 bytes", None),
    "end": (lambda p: p.read(0xFFFFFFF0, 100), tessit.BadArgumentError, "beyond the address space", None),
    "text": (lambda p: p.write(0x20000000, "abc"), TypeError, "encode", None),
    "read-only": (lambda p: p.read_into(0x20000000, b"abcd"), TypeError, "cannot be written", None),
    "number": (lambda p: p.library.call("read", 0, 0x1234, 4), TypeError, "memory or None", None),
    "count": (lambda p: p.library.call("read_u32"), TypeError, "takes 1 arguments", None),
    "register": (lambda p: p.registers["r77"], KeyError, "msp, psp", None),
    "factory": (lambda p: p.write(0x10000000, b"abcd"), tessit.BadArgumentError, "write_factory", None),
    "running": (lambda p: (p.go(), p.step()), tessit.WrongStateError, "not halted", ResultCode.ERR_WRONG_STATE),
    "connected": (lambda p: p.read_debug_port(0), tessit.WrongStateError, "disconnect", ResultCode.ERR_WRONG_STATE),
    "second": (lambda p: Library(p.library.jlink), tessit.SecondSessionError, "tessit.spawn", None),
    "probe": (lambda p: p.library.probe(7), tessit.SecondSessionError, "tessit.spawn", None),
    "in use": (lambda p: tessit.verify(COUNTER, probe=p.serial, sim=True), tessit.ProbeInUseError, "in use", None),
    "file": (lambda p: p.program("no.hex"), tessit.CommandError, "No such file", None),
    "differs": (lambda p: p.verify(COUNTER), tessit.VerifyMismatchError, "differs from", None),
    "no RTT": (lambda p: p.rtt(wait=0.1).__enter__(), tessit.RttTimeoutError, "control block", None),
    "pin": (lambda p: p.qspi(CONFIG).__enter__(), tessit.BadArgumentError, "P1.16", None),
}


@pytest.mark.parametrize("work, error, words, code", FAILURES.values(), ids=FAILURES)
def test_failure(probe: Probe, work: Callable[[Probe], Any], error: Type[Exception], words: str, code: Any) -> None:
    probe.connect()
    with pytest.raises(error, match=words) as caught:
        work(probe)
    assert getattr(caught.value, "code", None) == code
    again = pickle.loads(pickle.dumps(caught.value))
    assert str(again) == str(caught.value) and again.__dict__ == caught.value.__dict__
    assert probe.read(0x20000000, 4) == probe.read(0x20000000, 4)


@pytest.mark.parametrize(
    "board, error, code",
    [
        ({"protected": True}, tessit.ProtectedError, ResultCode.ERR_PROTECTED),
        ({"supply_mv": 900}, tessit.LowVoltageError, ResultCode.ERR_TARGET_LOW_VOLTAGE),
        ({"chip": {"faults": ["connect_fails"]}}, tessit.NoTargetError, ResultCode.ERR_TARGET_CONNECT_FAILED),
        ({"chip": {"faults": ["flash_never_ready"]}}, tessit.FlashTimeoutError, -20),
        ({"probe": {"plugged": False}}, tessit.NoProbeError, ResultCode.ERR_NO_PROBE_ATTACHED),
        ({"probe": {"fault_orders": "JLINKARM_EraseChip#1=-1"}}, tessit.SimulationError, None),
    ],
)
def test_boards_that_fail(board: Dict[str, Any], error: Type[tessit.TessitError], code: Any) -> None:
    with pytest.raises(error) as caught:
        with tessit.sim.bench(**board) as bench, bench.probe(600000001) as probe:
            probe.erase_page(0)
    assert caught.value.code == code
    assert caught.value.hint or code is None


def test_the_error_has_the_log_of_its_call(probe: Probe) -> None:
    probe.halt()
    with pytest.raises(tessit.BadArgumentError) as caught:
        probe.write(0x20000002, b"abcd")
    assert caught.value.operation == "write" and caught.value.name == "ERR_BAD_ARGUMENT"
    assert caught.value.log == ("Birch_write", "Birch_write:\tInvalid addr provided, it must be word aligned.")


@pytest.mark.parametrize("at", [1, 2])
def test_a_pulled_cable_is_told_whatever_was_done(bench: tessit.sim.Bench, probe: Probe, at: int) -> None:
    probe.connect()
    bench.fault("JLINKARM_ReadMem", at, unplug=True)
    with pytest.raises(tessit.NoProbeError, match="connection to the probe was lost"):
        for _ in range(at):
            probe.read(0x20000000, 16)
    bench.plug()
    probe.close()
    with probe.library.probe() as again:
        assert len(again.read(0x20000000, 16)) == 16
    with pytest.raises(tessit.WrongStateError, match="session with probe 600000001 is closed"):
        probe.registers["pc"]


def test_what_flash_does_not_take_is_noticed(bench: tessit.sim.Bench, probe: Probe) -> None:
    bench.expect_records("flash-bits-not-erased")
    probe.write(0x1000, b"\0\0\0\0")
    with pytest.raises(tessit.VerifyMismatchError) as caught:
        probe.write(0x1000, b"\0\0ab")
    assert caught.value.mismatches == [(0x1002, ord("a"), 0), (0x1003, ord("b"), 0)]


@pytest.mark.tessit(chip={"protected_blocks": [1]}, strict=False)
def test_an_erase_without_effect_is_noticed(bench: tessit.sim.Bench, probe: Probe) -> None:
    bench.poke(0x1000, b"\0")
    with pytest.raises(tessit.VerifyMismatchError, match="Block protection"):
        probe.erase_page(0x1000)
    probe.disable_block_protection()
    probe.erase_page(0x1000)
    assert bench.peek(0x1000, 1) == b"\xff"


def test_an_exception_in_a_callback_is_raised_after_the_call(bench: tessit.sim.Bench) -> None:
    fatal = [""]

    def log(line: str) -> None:
        if line == fatal[0]:
            raise RuntimeError(line)

    with bench.library(log=log) as library, library.probe() as probe:
        fatal[0] = "Birch_write_u32"
        with pytest.raises(RuntimeError, match="Birch_write_u32"):
            probe.write_word(0x20000000, 2)
        assert bench.peek(0x20000000, 1) == b"\2"  # the call was carried out
        with pytest.raises(RuntimeError) as caught:
            probe.write_word(0x20000001, 2)
        assert isinstance(caught.value.__cause__, tessit.BadArgumentError)
    fatal[0] = "Birch_open_dll"
    with pytest.raises(RuntimeError):
        bench.library(log=log)
    bench.library().close()  # nothing was left open


def test_a_callback_that_calls_the_library_is_refused(bench: tessit.sim.Bench) -> None:
    held: List[Library] = []

    def log(line: str) -> None:
        if held:
            held.pop().probes()

    with bench.library(log=log) as library:
        held.append(library)
        with pytest.raises(tessit.WrongStateError, match="from its own log callback"):
            library.version


@pytest.mark.parametrize("log", [None, lambda line: None], ids=["quiet", "with callback"])
def test_ctrl_c_comes_through_and_the_session_goes_on(bench: tessit.sim.Bench, log: Any) -> None:
    with bench.library(log=log) as library, library.probe() as probe:
        # As soon as the first call is under way, whenever that is.
        interrupter = threading.Timer(0.01, lambda: os.kill(os.getpid(), signal.SIGINT))
        with pytest.raises(KeyboardInterrupt):
            interrupter.start()
            while True:
                probe.read(0x20000000, 65536)
        assert len(probe.read(0x20000000, 16)) == 16
        assert signal.getsignal(signal.SIGINT) is signal.default_int_handler


def test_a_forked_process_leaves_the_session_alone(bench: tessit.sim.Bench, probe: Probe) -> None:
    read_end, write_end = os.pipe()
    if os.fork() == 0:
        try:
            probe.read_word(0x20000000)
        except tessit.WrongStateError as error:
            os.write(write_end, str(error).encode())
        finally:
            os._exit(0)
    os.wait()
    assert b"forked off" in os.read(read_end, 1000)
    os.close(read_end)
    os.close(write_end)
    assert bench.describe()[0].is_in_use and probe.is_open


def test_nothing_is_left_open_at_the_end_of_a_process(bench: tessit.sim.Bench) -> None:
    script = f"""import tessit
library = tessit.Library({str(bench.jlink)!r})
library.probe().connect()"""
    environment = {**os.environ, "PYTHONPATH": str(pathlib.Path(tessit.__file__).parents[1])}
    subprocess.run([sys.executable, "-c", script], env=environment, check=True)
    assert not bench.describe()[0].is_in_use  # strict: and the chip was left as it should be


def test_what_was_looked_at_is_told(monkeypatch: pytest.MonkeyPatch, tmp_path: pathlib.Path) -> None:
    monkeypatch.delenv("TESSIT_JLINK", raising=False)
    with pytest.raises(tessit.LibraryNotFoundError, match=r"TESSIT_JLINK is not set\):\n  /.*\n  /"):
        location.jlink()
    monkeypatch.setenv("TESSIT_JLINK", str(tmp_path / "no.so"))
    with pytest.raises(tessit.LibraryNotFoundError, match="not where TESSIT_JLINK says"):
        location.jlink()
    (tmp_path / "any.so").touch()
    assert location.jlink(tmp_path / "any.so") == tmp_path / "any.so"
    with pytest.raises(tessit.LibraryNotFoundError, match="cannot be used"):
        Library(tmp_path / "any.so", library=tmp_path / "any.so")
    with pytest.raises(tessit.LibraryNotFoundError, match="cannot be loaded"):
        Library(tmp_path / "any.so")

"""Every export is called on a simulated chip, and what it gives is compared with what the chip is known to be."""

from __future__ import annotations

from typing import Any, Callable, List, NamedTuple

import pytest

import tessit
from tessit import Probe, QspiConfig, QspiErase, Register
from tessit.interface import EXPORTS

CONFIG = QspiConfig("P0.17", "P0.19", "P0.20", "P0.21", "P0.22", "P0.23")
PATTERN = bytes(range(256)) * 8


class On(NamedTuple):
    """What a row works on."""

    bench: tessit.sim.Bench
    probe: Probe

    def call(self, name: str, *inputs: Any) -> Any:
        return self.probe.library.call(name, *inputs)


class Row(NamedTuple):
    exports: str
    work: Callable[[On], Any]
    expected: Any


def open_again(on: On) -> Any:
    on.probe.library.close()
    with pytest.raises(tessit.WrongStateError, match="the library is closed"):
        on.probe.library.probes()
    with tessit.Library(on.bench.jlink) as library:
        return library.is_open, str(library.version)


def without_serial(on: On) -> Any:
    on.probe.close()
    was_open = on.call("is_connected_to_emu")
    on.call("connect_to_emu_without_snr", 4000)
    return was_open, on.call("read_connected_emu_snr")


def connections(on: On) -> Any:
    states = [on.probe.is_connected]
    on.probe.connect()
    states.append(on.probe.is_connected)
    on.probe.disconnect()
    return [*states, on.probe.is_connected]


def family(on: On) -> Any:
    with pytest.raises(tessit.WrongStateError):
        on.probe.library.family()


def protection(on: On) -> Any:
    on.probe.write(0x2000, PATTERN)
    before = on.probe.protection
    on.probe.protect()
    with pytest.raises(tessit.ProtectedError):
        on.probe.read_word(0)
    locked = on.probe.protection
    on.probe.debug_reset()  # through the control access port
    on.probe.recover()
    return (before.name, locked.name, on.probe.protection.name, on.probe.read_word(0x2000))


def run_control(on: On) -> Any:
    on.bench.poke(0x20000000, b"\x01\x30\xfd\xe7")  # adds r0, #1; b .-2
    probe = on.probe
    probe.halt()
    probe.registers["r0"] = 7
    probe.registers[Register.R15] = 0x20000000
    halted = probe.is_halted
    probe.step()
    after_step = probe.registers["r0"], probe.registers["PC"]
    probe.run(0x20000000, 0x20001000)
    running = probe.is_halted
    on.bench.pass_time(0.001)
    probe.halt()
    counted = probe.registers["r0"] > 1000
    probe.go()
    return halted, after_step, running, counted, probe.registers["sp"], probe.is_halted


def resets(on: On) -> Any:
    reasons = []
    for reset in (lambda: on.probe.reset(halt=True), on.probe.debug_reset, on.probe.pin_reset):
        on.probe.write_word(0x40000400, 0xFFFFFFFF)
        reset()
        reasons.append((on.probe.is_connected, on.probe.read_word(0x40000400)))
    return reasons


def writes(on: On) -> Any:
    on.probe.write(0x20000000, b"abcdefg")
    on.probe.write_word(0x20000008, 0x12345678)
    on.probe.write(0x3000, PATTERN)
    on.probe.write_factory(0x10000100, b"\x01\x02\x03\x04\x05\x06\x07\x00")
    on.probe.write_factory_word(0x10000108, 0xCAFE)
    array = bytearray(4)
    on.probe.read_into(0x20000003, array)
    return (
        on.bench.peek(0x20000000, 7),
        bytes(array),
        on.probe.read_word(0x20000008),
        on.bench.peek(0x3000, len(PATTERN)) == PATTERN,
        on.probe.read(0x10000100, 12),
    )


def erases(on: On) -> Any:
    left = []
    erasers: List[Callable[[], Any]] = [
        lambda: on.probe.erase_page(0x5004),
        on.probe.erase_uicr,
        on.probe.erase_all,
        on.probe.mass_erase,
        on.probe.disable_block_protection,
    ]
    for erase in erasers:
        for address in (0, 0x5000, 0x10001080):
            on.bench.poke(address, b"\0\0\0\0")
        erase()
        left.append([on.bench.peek(address, 1) == b"\0" for address in (0, 0x5000, 0x10001080)])
    return left


def ram(on: On) -> Any:
    on.probe.unpower_ram(2)
    sections = on.probe.ram_sections()
    on.probe.power_ram()
    number_and_size = on.call("is_ram_powered", None, 0)
    return (sections[2], len(sections), all(section.is_powered for section in on.probe.ram_sections()), number_and_size)


def debug_port(on: On) -> Any:
    probe = on.probe
    dpidr = probe.read_debug_port(0)
    probe.write_debug_port(8, 0x01000000)  # SELECT
    identity = probe.read_access_port(1, 0xFC)
    probe.write_access_port(1, 0, 1)  # RESET of the control access port
    held = probe.read_access_port(1, 0)
    probe.write_access_port(1, 0, 0)
    return dpidr & 1, identity, held


def rtt(on: On) -> Any:
    with on.probe.rtt(reset=True) as talk:
        started = on.call("is_rtt_started")
        talk.write(b"hello\n")
        said = talk.expect("HELLO\n")
        names = [channel.name for channel in talk.channels(tessit.RttDirection.DOWN_DIRECTION)]
        return started, names, said


def rtt_elsewhere(on: On) -> Any:
    """Where there is no control block, none is found."""
    with pytest.raises(tessit.RttTimeoutError):
        with on.probe.rtt(address=0x20008000, wait=0.01):
            pass
    return not on.call("is_rtt_started")


def qspi(on: On) -> Any:
    with on.probe.qspi(CONFIG) as flash:
        active = on.call("is_qspi_init")
        flash.erase(0x10000, QspiErase.ERASE4KB)
        flash.write(0x10001, PATTERN)
        identification = flash.identification()
        equal = flash.read(0x10001, len(PATTERN)) == PATTERN
        flash.erase(0x10000, QspiErase.ERASE4KB)
        return active, equal, identification[2], flash.read(0x10001, 4)


ROWS = [
    Row("open_dll close_dll is_dll_open dll_version enum_emu_snr", open_again, (True, "6.10")),
    Row(
        "disconnect_from_emu is_connected_to_emu connect_to_emu_without_snr read_connected_emu_snr",
        without_serial,
        (False, 600000001),
    ),
    Row("connect_to_emu_with_snr read_connected_emu_fwstr", lambda on: "simulated" in on.probe.firmware, True),
    Row("is_connected_to_device connect_to_device disconnect_from_device", connections, [False, True, False]),
    Row("read_device_version", lambda on: on.probe.chip_version.name, "BIRCH_M1_VA_REV2"),
    Row("read_device_family", family, None),
    Row("readback_status readback_protect recover debug_reset", protection, ("NONE", "FULL", "NONE", 0xFFFFFFFF)),
    Row("read_region_0_size_and_source", lambda on: on.probe.region_0(), (0, tessit.Region0Source.NO_REGION_0)),
    Row(
        "halt is_halted step run go read_cpu_register write_cpu_register",
        run_control,
        (True, (8, 0x20000002), False, True, 0x20001000, True),
    ),
    Row("sys_reset debug_reset pin_reset", resets, [(True, 4), (True, 4), (False, 1)]),
    Row(
        "read read_u32 write write_u32 ficrwrite ficrwrite_u32",
        writes,
        (b"abcdefg", b"defg", 0x12345678, True, b"\x01\x02\x03\x04\x05\x06\x07\x00\xfe\xca\x00\x00"),
    ),
    Row(
        "erase_page erase_uicr erase_all masserase disable_bprot",
        erases,
        [[True, False, True], [True, True, False], [False] * 3, [False] * 3, [True] * 3],
    ),
    Row(
        "read_ram_sections_count read_ram_sections_size read_ram_sections_power_status is_ram_powered power_ram_all "
        "unpower_ram_section",
        ram,
        ((2, 0x20002000, 4096, False), 16, True, (16, 4096)),
    ),
    Row(
        "read_debug_port_register write_debug_port_register read_access_port_register write_access_port_register",
        debug_port,
        (1, 0x02880000, 1),
    ),
]


RTT = "is_rtt_started rtt_start rtt_stop rtt_is_control_block_found rtt_read rtt_write rtt_read_channel_count"
M2_ROWS = [
    Row("rtt_set_control_block_address", rtt_elsewhere, True),
    Row(f"{RTT} rtt_read_channel_info", rtt, (True, ["echo"], "rtt_echo is ready\nHELLO\n")),
    Row(
        "qspi_init qspi_uninit is_qspi_init qspi_read qspi_write qspi_erase qspi_custom",
        qspi,
        (True, True, 20, b"\xff" * 4),
    ),
]


def name_of(row: Row) -> str:
    return row.exports.split()[0]


@pytest.mark.parametrize("row", ROWS, ids=name_of)
def test_export(row: Row, bench: tessit.sim.Bench, calls: List[str]) -> None:
    with bench.probe() as probe:
        assert row.work(On(bench, probe)) == row.expected
    assert set(row.exports.split()) <= set(calls)


@pytest.mark.tessit("BIRCH_M2_VA_REV1", external_flash={"size": 1 << 20})
@pytest.mark.parametrize("row", M2_ROWS, ids=name_of)
def test_export_of_m2(row: Row, bench: tessit.sim.Bench, echo: None, calls: List[str]) -> None:
    test_export(row, bench, calls)


def test_no_export_is_left_out() -> None:
    assert {name for row in ROWS + M2_ROWS for name in row.exports.split()} == set(EXPORTS)

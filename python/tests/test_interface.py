"""The tables say what the headers say, and the library has all of it."""

from __future__ import annotations

import ctypes
import re
from typing import Dict, Tuple

import pytest
from conftest import REPOSITORY

from tessit import constants, functions, interface
from tessit.sim import control

PUBLIC = (REPOSITORY / "include/jlinkarm_birch_tessit.h").read_text(encoding="utf-8")
SIMULATION = (REPOSITORY / "sim/include/jlinkarm_sim.h").read_text(encoding="utf-8")


def without_comments(text: str) -> str:
    return re.sub(r"/\*.*?\*/", "", text, flags=re.DOTALL)


@pytest.mark.parametrize(
    "header, prefix, rows, count",
    [(PUBLIC, interface.PREFIX, interface.EXPORTS, 67), (SIMULATION, control.PREFIX, control.CONTROLS, 26)],
)
def test_every_function_is_declared_as_in_the_header(
    header: str, prefix: str, rows: Dict[str, functions.Function], count: int
) -> None:
    word = prefix.rstrip("_")
    found = re.findall(rf"^{word}_API\s(.*?)\s?{word}_CALL\s+(\w+)\(\s*(.*?)\);", without_comments(header), re.M | re.S)
    gap = {True: "", False: " "}
    declared = {
        f"{returns}{gap[returns.endswith('*')]}{name}({re.sub(chr(92) + 's+', ' ', parameters)})"
        for returns, name, parameters in found
    }
    assert {row.declaration(prefix) for row in rows.values()} == declared
    assert len(rows) == count


def test_every_constant_is_the_header_s() -> None:
    declared: Dict[str, Dict[str, int]] = {}
    for name, members in re.findall(r"TESSIT_ENUM\((\w+), \w+\)\{(.*?)\}", without_comments(PUBLIC), re.S):
        declared[name] = {key: int(number) for key, number in re.findall(r"(\w+) = (-?\d+)", members)}
    ours = {name: getattr(kind.from_c, "enumeration", None) for name, kind in functions.C_TYPES.items()}
    ours_by_name = {name: {member.name: member.value for member in kind} for name, kind in ours.items() if kind}
    assert ours_by_name == declared
    signed = set(re.findall(r"TESSIT_ENUM\((\w+), int32_t\)", PUBLIC))
    assert signed == {name for name in declared if functions.C_TYPES[name].lowest < 0}
    texts = re.findall(r'#define TESSIT_LOG_(\w+) "(.*)"', PUBLIC)
    log = (constants.LOG_SEPARATOR, constants.LOG_JLINK_MARK, *constants.LOG_PROGRESS)
    assert [text.replace("\\t", "\t") for name, text in texts if name != "PREFIX"] == list(log)


def fields_of(header: str, name: str) -> list[Tuple[str, str]]:
    body = re.search(rf"struct {name}\s*\{{(.*?)\}}", without_comments(header), re.S)
    assert body
    return re.findall(r"([\w ]+\*?) (\w+(?:\[\d+\])?);", body[1])


def test_every_structure_is_the_header_s() -> None:
    assert [(t.strip(), n) for t, n in fields_of(PUBLIC, "qspi_init_config_t")] == interface.QSPI_CONFIG_FIELDS
    assert ctypes.sizeof(interface.QspiConfigStructure) == 22 * 4
    types = {"uint32_t": ctypes.c_uint32, "int32_t": ctypes.c_int32, "const char*": ctypes.c_char_p}
    for name, ours in (("jlinksim_probe_t", control.ProbeStructure), ("jlinksim_fault_t", control.FaultStructure)):
        expected = []
        for c_type, field in fields_of(SIMULATION, name):
            array = re.match(r"(\w+)\[(\d+)\]", field)
            expected.append((array[1], ctypes.c_char * int(array[2])) if array else (field, types[c_type.strip()]))
        assert ours._fields_ == expected

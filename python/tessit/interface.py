"""The 67 exports of the library ``jlinkarm_birch_tessit``, as its public header declares them.

This is the one table of them: what is bound, checked and compared with the header goes by it.
"""

from __future__ import annotations

import ctypes
from typing import List, Tuple

from .functions import C_TYPES, Function, pointer, result, table, value

PREFIX = "TESSIT_"

_U8 = "uint8_t"
_U32 = "uint32_t"

EXPORTS = table(
    # Library lifecycle
    Function(
        "open_dll",
        (pointer("const char*", "jlink_path"), pointer("log_callback_t", "log_cb"), value("chip_family_t", "family")),
    ),
    Function("close_dll", (), returns="void"),
    Function("dll_version", (result(_U32, "major"), result(_U32, "minor"), result("char", "revision"))),
    Function("is_dll_open", (result("bool", "opened"),)),
    # Probe
    Function(
        "enum_emu_snr",
        (pointer("uint32_t*", "serial_numbers"), value(_U32, "serial_numbers_len"), result(_U32, "num_available")),
    ),
    Function("is_connected_to_emu", (result("bool", "is_pc_connected_to_emu"),)),
    Function("connect_to_emu_with_snr", (value(_U32, "serial_number"), value(_U32, "swd_speed_khz"))),
    Function("connect_to_emu_without_snr", (value(_U32, "swd_speed_khz"),)),
    Function("read_connected_emu_snr", (result(_U32, "serial_number"),)),
    Function("read_connected_emu_fwstr", (pointer("char*", "buffer"), value(_U32, "buffer_size"))),
    Function("disconnect_from_emu", ()),
    # Device connection and identification
    Function("is_connected_to_device", (result("bool", "is_emu_connected_to_device"),)),
    Function("connect_to_device", ()),
    Function("disconnect_from_device", ()),
    Function("readback_status", (result("readback_protection_status_t", "status"),)),
    Function("read_device_version", (result("chip_version_t", "version"),)),
    Function("read_device_family", (result("chip_family_t", "family"),)),
    # Protection and recovery
    Function("readback_protect", (value("readback_protection_status_t", "desired_protection"),)),
    Function("recover", ()),
    Function("read_region_0_size_and_source", (result(_U32, "size"), result("region_0_source_t", "source"))),
    # Reset and run control
    Function("sys_reset", ()),
    Function("debug_reset", ()),
    Function("pin_reset", ()),
    Function("halt", ()),
    Function("is_halted", (result("bool", "is_device_halted"),)),
    Function("run", (value(_U32, "pc"), value(_U32, "sp"))),
    Function("go", ()),
    Function("step", ()),
    # CPU registers
    Function("read_cpu_register", (value("cpu_register_t", "register_name"), result(_U32, "register_data"))),
    Function("write_cpu_register", (value("cpu_register_t", "register_name"), value(_U32, "register_data"))),
    # Memory
    Function("read_u32", (value(_U32, "addr"), result(_U32, "data"))),
    Function("write_u32", (value(_U32, "addr"), value(_U32, "data"), value(_U8, "use_nvmc"))),
    Function("read", (value(_U32, "addr"), pointer("uint8_t*", "buffer"), value(_U32, "buffer_length"))),
    Function(
        "write",
        (
            value(_U32, "addr"),
            pointer("const uint8_t*", "buffer"),
            value(_U32, "buffer_length"),
            value(_U8, "use_nvmc"),
        ),
    ),
    Function("ficrwrite_u32", (value(_U32, "addr"), value(_U32, "data"))),
    Function("ficrwrite", (value(_U32, "addr"), pointer("const uint8_t*", "buffer"), value(_U32, "buffer_length"))),
    # Erase
    Function("erase_all", ()),
    Function("erase_page", (value(_U32, "addr"),)),
    Function("erase_uicr", ()),
    Function("masserase", ()),
    Function("disable_bprot", ()),
    # RAM power
    Function("read_ram_sections_count", (result(_U32, "ram_sections_count"),)),
    Function(
        "read_ram_sections_size", (pointer("uint32_t*", "ram_sections_size"), value(_U32, "ram_sections_size_len"))
    ),
    Function(
        "read_ram_sections_power_status",
        (pointer("ram_power_status_t*", "ram_sections_power_status"), value(_U32, "ram_sections_power_status_len")),
    ),
    Function(
        "is_ram_powered",
        (
            pointer("ram_power_status_t*", "ram_sections_power_status"),
            value(_U32, "ram_sections_power_status_len"),
            result(_U32, "ram_sections_number"),
            result(_U32, "ram_sections_size"),
        ),
    ),
    Function("power_ram_all", ()),
    Function("unpower_ram_section", (value(_U32, "section_index"),)),
    # Debug port and access port registers
    Function("read_debug_port_register", (value(_U8, "reg_addr"), result(_U32, "data"))),
    Function("write_debug_port_register", (value(_U8, "reg_addr"), value(_U32, "data"))),
    Function("read_access_port_register", (value(_U8, "ap_index"), value(_U8, "reg_addr"), result(_U32, "data"))),
    Function("write_access_port_register", (value(_U8, "ap_index"), value(_U8, "reg_addr"), value(_U32, "data"))),
    # RTT
    Function("rtt_set_control_block_address", (value(_U32, "address"),)),
    Function("rtt_start", ()),
    Function("rtt_is_control_block_found", (result("bool", "is_control_block_found"),)),
    Function("rtt_stop", ()),
    Function("is_rtt_started", (result("bool", "started"),)),
    Function(
        "rtt_read",
        (value(_U32, "channel_index"), pointer("uint8_t*", "data"), value(_U32, "data_len"), result(_U32, "data_read")),
    ),
    Function(
        "rtt_write",
        (
            value(_U32, "channel_index"),
            pointer("const uint8_t*", "data"),
            value(_U32, "data_len"),
            result(_U32, "data_written"),
        ),
    ),
    Function("rtt_read_channel_count", (result(_U32, "down_channel_number"), result(_U32, "up_channel_number"))),
    Function(
        "rtt_read_channel_info",
        (
            value(_U32, "channel_index"),
            value("rtt_direction_t", "dir"),
            pointer("char*", "channel_name"),
            value(_U32, "channel_name_len"),
            result(_U32, "channel_size"),
        ),
    ),
    # QSPI
    Function("qspi_init", (value(_U8, "retain_ram"), pointer("const qspi_init_config_t*", "init_params"))),
    Function("qspi_uninit", ()),
    Function("is_qspi_init", (result("bool", "initialized"),)),
    Function("qspi_read", (value(_U32, "addr"), pointer("uint8_t*", "data"), value(_U32, "data_len"))),
    Function("qspi_write", (value(_U32, "addr"), pointer("const uint8_t*", "data"), value(_U32, "data_len"))),
    Function("qspi_erase", (value(_U32, "addr"), value("qspi_erase_len_t", "length"))),
    Function(
        "qspi_custom",
        (
            value(_U8, "instruction_code"),
            value(_U32, "instruction_length"),
            pointer("const uint8_t*", "data_in"),
            pointer("uint8_t*", "data_out"),
        ),
    ),
)

#: Fields of qspi_init_config_t, all of 32 bits, in the header's order.
QSPI_CONFIG_FIELDS: List[Tuple[str, str]] = [
    ("qspi_read_mode_t", "read_mode"),
    ("qspi_write_mode_t", "write_mode"),
    ("qspi_address_mode_t", "address_mode"),
    ("qspi_frequency_t", "frequency"),
    ("qspi_spi_mode_t", "spi_mode"),
    (_U32, "sck_delay"),
    ("qspi_level_io_t", "custom_instruction_io2_level"),
    ("qspi_level_io_t", "custom_instruction_io3_level"),
    *((_U32, f"{line}_{part}") for line in ("CSN", "CLK", "DIO0", "DIO1", "DIO2", "DIO3") for part in ("pin", "port")),
    (_U32, "WIP_index"),
    ("qspi_page_program_size_t", "PPSize"),
]


class QspiConfigStructure(ctypes.Structure):
    """``qspi_init_config_t``."""

    _fields_ = [(name, C_TYPES[c_type].ctype) for c_type, name in QSPI_CONFIG_FIELDS]

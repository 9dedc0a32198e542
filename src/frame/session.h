#pragma once

#include "base/module.h"
#include "jlinkarm_birch_tessit.h"

#include <array>
#include <chrono>
#include <cstdint>

namespace tessit {

/// The external flash's settings that transfers need, from the last successful TESSIT_qspi_init.
struct QspiKeptSettings
{
    qspi_address_mode_t address_mode = ADDRESS_MODE_24BIT;
    std::uint32_t wip_index = 0;
    qspi_level_io_t custom_instruction_io2_level = LEVEL_LOW;
    qspi_level_io_t custom_instruction_io3_level = LEVEL_LOW;
};

/// Bounds of the waits for the QSPI peripheral and the flash behind it: generous, because a big flash takes minutes to
/// erase, and there only so that the wait for a dead one ends.
struct QspiBounds
{
    std::chrono::milliseconds ready_event{10'000};
    std::chrono::milliseconds erase{512'000};
};

/// A RAM area of the target as it was before the library took it, kept on the host.
using RamBackup = std::array<std::uint8_t, 4096>;

/// All state of the process besides the bound J-Link functions and the logger. Whether a probe session is open and
/// whether the device is connected is never kept: the J-Link library is asked each time.
struct Session
{
    /// The loaded J-Link library. Set by TESSIT_open_dll; cleared by TESSIT_close_dll and TESSIT_open_dll's failures.
    base::Module jlink_library = nullptr;
    /// TESSIT_open_dll has succeeded. Set by it; cleared by TESSIT_close_dll.
    bool dll_opened = false;

    /// Probe and speed of the last successful probe connection. Set by connect_to_emu_without_snr; never cleared.
    std::uint32_t connected_emu_snr = 0;
    std::uint32_t connected_emu_speed = 0; // kHz

    /// The J-Link library is ready for DP and AP accesses. Set by coresight_configure and connect_to_device; cleared by
    /// disconnect_from_emu and TESSIT_close_dll.
    bool coresight_configured = false;
    /// Debug power has been requested. Set by power_debug_and_system_regions; cleared by
    /// unpower_debug_and_system_regions and disconnect_from_emu.
    bool debug_regions_powered = false;

    /// RTT runs. Set by TESSIT_rtt_start; cleared by TESSIT_rtt_stop, and by nothing else.
    bool rtt_started = false;
    /// Where the next start looks for the control block. Set by TESSIT_rtt_set_control_block_address; cleared by
    /// TESSIT_rtt_stop.
    bool rtt_control_block_address_set = false;
    std::uint32_t rtt_control_block_address = 0;

    /// The QSPI peripheral is configured. Set by TESSIT_qspi_init; cleared by TESSIT_qspi_uninit, and by nothing else.
    bool qspi_initialized = false;
    /// The two backups below are whole. Set by TESSIT_qspi_init; cleared at its start and by TESSIT_qspi_uninit.
    bool qspi_ram_backup_held = false;
    RamBackup qspi_read_staging_backup{};
    RamBackup qspi_write_staging_backup{};
    /// Set by TESSIT_qspi_init; never cleared.
    QspiKeptSettings qspi;
    /// Set by nothing in the library; tests lower them.
    QspiBounds qspi_bounds;
};

/// The one session of the process.
extern Session session;

} // namespace tessit

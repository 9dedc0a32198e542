/// How the board connects the external flash: pins, modes, and what the flash is like. From a TOML file, from flags, or
/// from both, where the flags win.
#pragma once

#include "cli/options/verb.h"

#include <chrono>
#include <cstdint>
#include <jlinkarm_birch_tessit.h>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace tessit::cli {

struct QspiConnection
{
    qspi_init_config_t config{};
    std::optional<std::uint32_t> flash_size; ///< bytes, instead of what the flash's identification tells
    std::chrono::seconds ready_timeout{10};

    std::uint32_t page_bytes() const { return config.PPSize == PP_SIZE_CODE_0 ? 256 : 512; }
    unsigned address_bits() const { return config.address_mode == ADDRESS_MODE_24BIT ? 24 : 32; }
    unsigned divider() const { return config.frequency + 1; }
};

/// What the command line gave; the values are not looked at before resolve_qspi_connection.
struct QspiConnectionFlags
{
    std::string file;
    std::map<std::string, std::string, std::less<>> values; ///< by the setting's name
};

/// Adds --qspi-config and a flag for every setting.
void add_qspi_connection_flags(const Verb& verb, const std::shared_ptr<QspiConnectionFlags>& flags);

/// Throws a Failure with ExitCode::usage that says where a wrong value stands, or which settings are missing.
QspiConnection resolve_qspi_connection(const QspiConnectionFlags& flags);

/// A commented file to start from.
std::string example_qspi_connection();

} // namespace tessit::cli

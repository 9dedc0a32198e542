#pragma once

#include "sim/bench/table_reader.h"
#include "sim/device/declared_register.h"

#include <filesystem>
#include <vector>

namespace jlinksim {

/// The registers that a chip's table of a bench file declares. `folder` is the one that paths in the file start from.
std::vector<RegisterOptions> read_registers(TableReader& chip, const std::filesystem::path& folder);

} // namespace jlinksim

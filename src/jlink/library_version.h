#pragma once

#include "jlinkarm_birch_tessit.h"

#include <cstdint>

namespace tessit {

/// Version of the J-Link library: revision 'a' is the first, ' ' is none. Always RESULT_OK.
result_code_t dll_version(std::uint32_t* major, std::uint32_t* minor, char* revision);

} // namespace tessit

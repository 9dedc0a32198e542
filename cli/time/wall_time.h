/// The time on the wall, to the millisecond, for those who read what was written when.
#pragma once

#include <string>

namespace tessit::cli {

std::string local_time_of_day(); ///< "16:07:10.123"
std::string local_time();        ///< "2026-11-23T16:07:10.123"
std::string universal_time();    ///< "2026-11-23T15:07:10.123Z"

} // namespace tessit::cli

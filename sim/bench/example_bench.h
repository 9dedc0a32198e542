#pragma once

#include <string_view>

namespace jlinksim {

/// A commented bench file to start from; it describes the built-in bench.
std::string_view example_bench_text();

} // namespace jlinksim

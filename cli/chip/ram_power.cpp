#include "cli/chip/ram_power.h"

#include <algorithm>
#include <numeric>

namespace tessit::cli {

std::uint32_t RamSections::total_bytes() const
{
    return std::accumulate(sizes.begin(), sizes.end(), std::uint32_t{0});
}

std::size_t RamSections::count_on() const
{
    return static_cast<std::size_t>(std::ranges::count(power, RAM_SECTION_ON));
}

RamSections read_ram_sections(const Session& session)
{
    std::uint32_t count = 0;
    session.check(TESSIT_read_ram_sections_count(&count), "read the number of RAM sections");
    RamSections sections{std::vector<std::uint32_t>(count), std::vector<ram_power_status_t>(count)};
    session.check(TESSIT_read_ram_sections_size(sections.sizes.data(), count), "read the sizes of the RAM sections");
    session.check(TESSIT_read_ram_sections_power_status(sections.power.data(), count), "read the RAM's power");
    return sections;
}

} // namespace tessit::cli

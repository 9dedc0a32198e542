#include "sim/chip/interrupt_lines.h"

#include "sim/cpu/exceptions.h"

#include <algorithm>
#include <bitset>

namespace jlinksim {

void InterruptLines::add(BusDevice& device, std::optional<unsigned> number)
{
    sources_.push_back({&device, number});
}

void InterruptLines::settle()
{
    for (const Source& source : sources_) {
        source.device->settle();
    }
    drive();
}

void InterruptLines::drive()
{
    std::bitset<interrupt_count> high;
    for (const Source& source : sources_) {
        if (source.number && source.device->interrupt()) {
            high.set(*source.number);
        }
    }
    for (const Source& source : sources_) {
        if (source.number) {
            drive_(*source.number, high.test(*source.number));
        }
    }
}

std::uint64_t InterruptLines::next_event() const
{
    std::uint64_t next = BusDevice::no_event;
    for (const Source& source : sources_) {
        next = std::min(next, source.device->next_event());
    }
    return next;
}

} // namespace jlinksim

#include "cli/chip/fault_status.h"

#include "cli/text/lists.h"

#include <array>
#include <fmt/format.h>
#include <vector>

namespace tessit::cli {
namespace {

struct Cause
{
    std::uint32_t FaultStatus::*status;
    unsigned bit;
    const char* words;
    const char* name;
};

constexpr std::array faults{
    Cause{&FaultStatus::hard, 1, "an exception's vector could not be read", "VECTTBL"},
    Cause{&FaultStatus::hard, 31, "it met a breakpoint instruction without a debugger", "DEBUGEVT"},
    Cause{&FaultStatus::configurable, 0, "it went to an address from which nothing may be executed", "IACCVIOL"},
    Cause{&FaultStatus::configurable, 1, "it accessed memory that is protected from it", "DACCVIOL"},
    Cause{&FaultStatus::configurable, 3, "at an exception's end its stack was protected", "MUNSTKERR"},
    Cause{&FaultStatus::configurable, 4, "at an exception's begin its stack was protected", "MSTKERR"},
    Cause{&FaultStatus::configurable, 5, "the stack for floating-point registers was protected", "MLSPERR"},
    Cause{&FaultStatus::configurable, 8, "it went to an address without memory", "IBUSERR"},
    Cause{&FaultStatus::configurable, 9, "an access was refused by the bus", "PRECISERR"},
    Cause{&FaultStatus::configurable, 10, "an earlier write was refused by the bus", "IMPRECISERR"},
    Cause{&FaultStatus::configurable, 11, "at an exception's end its stack was not in memory", "UNSTKERR"},
    Cause{&FaultStatus::configurable, 12, "at an exception's begin its stack was not in memory", "STKERR"},
    Cause{&FaultStatus::configurable, 13, "the stack for floating-point registers was not in memory", "LSPERR"},
    Cause{&FaultStatus::configurable, 16, "it met an undefined instruction", "UNDEFINSTR"},
    Cause{&FaultStatus::configurable, 17, "it went to an address with bit 0 clear, which is no Thumb code", "INVSTATE"},
    Cause{&FaultStatus::configurable, 18, "an exception's end was not valid", "INVPC"},
    Cause{&FaultStatus::configurable, 19, "it used the floating-point unit, which is off", "NOCP"},
    Cause{&FaultStatus::configurable, 24, "an access was not aligned", "UNALIGNED"},
    Cause{&FaultStatus::configurable, 25, "it divided by zero", "DIVBYZERO"},
};

// The one that tells most comes first; that it was halted at a request is true of every CPU that was.
constexpr std::array debug_events{
    Cause{&FaultStatus::debug, 2, "a watchpoint was hit", "DWTTRAP"},
    Cause{&FaultStatus::debug, 1, "a breakpoint was hit", "BKPT"},
    Cause{&FaultStatus::debug, 4, "a signal from outside halted it", "EXTERNAL"},
    Cause{&FaultStatus::debug, 3, "the begin of an exception was caught", "VCATCH"},
    Cause{&FaultStatus::debug, 0, "a debugger halted it", "HALTED"},
};

constexpr std::array fault_handlers{"HardFault", "MemManage", "BusFault", "UsageFault"};
constexpr std::uint32_t first_fault_handler = 3;

constexpr std::uint32_t memory_address_valid = 1U << 7;
constexpr std::uint32_t bus_address_valid = 1U << 15;

bool is_noted(const FaultStatus& status, const Cause& cause)
{
    return (status.*cause.status >> cause.bit & 1U) != 0;
}

std::string in_words(const Cause& cause)
{
    return fmt::format("{} ({})", cause.words, cause.name);
}

} // namespace

std::string describe_handler(const FaultStatus& status)
{
    return status.is_handling()
               ? fmt::format("in the {} handler", fault_handlers.at(status.exception - first_fault_handler))
               : "";
}

std::string describe_faults(const FaultStatus& status)
{
    std::vector<std::string> noted;
    for (const Cause& cause : faults) {
        if (is_noted(status, cause)) {
            noted.push_back(in_words(cause));
        }
    }
    if (!noted.empty() && (status.configurable & bus_address_valid) != 0) {
        noted.back() += fmt::format(", the address was {:#010x}", status.bus_address);
    } else if (!noted.empty() && (status.configurable & memory_address_valid) != 0) {
        noted.back() += fmt::format(", the address was {:#010x}", status.memory_address);
    }
    return joined(noted, "; ");
}

std::string describe_debug_event(const FaultStatus& status)
{
    for (const Cause& event : debug_events) {
        if (is_noted(status, event)) {
            return in_words(event);
        }
    }
    return {};
}

} // namespace tessit::cli

#pragma once

#include <cstdint>

namespace jlinksim {

/// Bits of CFSR, the architecture's status of a fault: MemManage in the lowest byte, BusFault in the next, UsageFault
/// above. Without a write buffer every refused data access is a precise one.
namespace fault_bit {
inline constexpr std::uint32_t no_execution = 1U << 0;         // IACCVIOL: a fetch from where nothing may be executed
inline constexpr std::uint32_t fetch_refused = 1U << 8;        // IBUSERR
inline constexpr std::uint32_t data_refused = 1U << 9;         // PRECISERR
inline constexpr std::uint32_t unstacking_refused = 1U << 11;  // UNSTKERR
inline constexpr std::uint32_t stacking_refused = 1U << 12;    // STKERR
inline constexpr std::uint32_t lazy_saving_refused = 1U << 13; // LSPERR
inline constexpr std::uint32_t address_valid = 1U << 15;       // BFARVALID
inline constexpr std::uint32_t undefined_instruction = 1U << 16;
inline constexpr std::uint32_t no_thumb_state = 1U << 17; // INVSTATE
inline constexpr std::uint32_t invalid_return = 1U << 18; // INVPC
inline constexpr std::uint32_t no_coprocessor = 1U << 19; // NOCP
inline constexpr std::uint32_t unaligned = 1U << 24;
inline constexpr std::uint32_t division_by_zero = 1U << 25;
} // namespace fault_bit

/// What the status registers tell of a fault; nothing of one that only this CPU knows.
struct FaultStatus
{
    std::uint32_t bits = 0;
    std::uint32_t address = 0; ///< of the data access, with address_valid

    /// Of a fetch that fails: the architecture keeps peripherals and the system's own addresses from being executed.
    static constexpr FaultStatus of_fetch(std::uint32_t address)
    {
        const bool is_peripheral = address >= 0x40000000 && address < 0x60000000;
        const bool is_device = address >= 0xA0000000;
        return {is_peripheral || is_device ? fault_bit::no_execution : fault_bit::fetch_refused};
    }
};

} // namespace jlinksim

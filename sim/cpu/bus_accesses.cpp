#include "sim/cpu/bus_accesses.h"

#include <algorithm>
#include <fmt/core.h>

namespace jlinksim {
namespace {

constexpr unsigned widest_piece = 4;

constexpr FaultStatus of_bus(std::uint32_t address)
{
    return {fault_bit::data_refused | fault_bit::address_valid, address};
}

} // namespace

bool BusAccesses::read(std::uint32_t address, unsigned size, std::uint64_t& value)
{
    if (address % size != 0) {
        return refuse("read", address, size, "not aligned", {fault_bit::unaligned});
    }
    const unsigned width = std::min(size, widest_piece);
    value = 0;
    for (unsigned at = 0; at < size; at += width) {
        std::uint32_t piece = 0;
        if (!bus_.cpu_read(address + at, width, piece)) {
            return refuse("read", address + at, width, "refused by the bus", of_bus(address + at));
        }
        value |= std::uint64_t{piece} << (8U * at);
    }
    return true;
}

bool BusAccesses::write(std::uint32_t address, unsigned size, std::uint64_t value)
{
    if (address % size != 0) {
        return refuse("write", address, size, "not aligned", {fault_bit::unaligned});
    }
    const unsigned width = std::min(size, widest_piece);
    const std::uint32_t mask = ~0U >> (32U - 8U * width);
    for (unsigned at = 0; at < size; at += width) {
        if (!bus_.cpu_write(address + at, width, static_cast<std::uint32_t>(value >> (8U * at)) & mask)) {
            return refuse("write", address + at, width, "refused by the bus", of_bus(address + at));
        }
    }
    return true;
}

bool BusAccesses::require_alignment(const char* access, std::uint32_t address, unsigned size)
{
    const bool is_aligned = address % std::min(size, widest_piece) == 0;
    return is_aligned || refuse(access, address, size, "not aligned", {fault_bit::unaligned});
}

bool BusAccesses::refuse(const char* access, std::uint32_t address, unsigned size, const char* why, FaultStatus status)
{
    status_ = status;
    refusal_ = fmt::format("{} of {} byte{} at 0x{:08X} {}", access, size, size == 1 ? "" : "s", address, why);
    return false;
}

} // namespace jlinksim

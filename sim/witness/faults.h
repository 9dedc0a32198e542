#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace jlinksim {

/// What an ordered fault does to one call.
struct Fault
{
    std::optional<std::int32_t> result; ///< returned instead of carrying the call out
    std::uint32_t status = 0;           ///< status byte of JLINKARM_ReadMemU32
    std::string error_text;             ///< text result or error buffer; the call is not carried out
    std::uint32_t pending_error = 0;
    bool unplug = false;

    bool replaces_call() const { return result || status != 0 || !error_text.empty(); }
};

/// Faults on order, by function and occurrence.
class FaultOrders
{
public:
    struct Order
    {
        std::string function;
        std::uint32_t first = 1; ///< occurrence, counted from the order
        std::uint32_t count = 1; ///< 0 means every call from there on
        Fault fault;
        std::uint32_t seen = 0;
    };

    /// @throws std::runtime_error when the function is unknown or the occurrence is 0
    void add(Order order);
    /// The orders of JLINKARM_SIM_FAULTS. @throws std::runtime_error with the piece that cannot be understood
    void add_from_text(std::string_view text);
    void clear() { orders_.clear(); }

    bool expects(std::string_view function) const;
    /// Counts this call; the first order that has its turn wins.
    std::optional<Fault> next_call(std::string_view function);

private:
    std::vector<Order> orders_;
};

} // namespace jlinksim

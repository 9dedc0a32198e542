#include "sim/witness/faults.h"

#include "jlinkarm_api.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <fmt/core.h>
#include <stdexcept>
#include <utility>

namespace jlinksim {
namespace {

#define JLINKARM_NAME(result, name, parameters) #name,
constexpr std::array<std::string_view, 38> functions{JLINKARM_FUNCTIONS(JLINKARM_NAME)};
#undef JLINKARM_NAME

/// Reads one order of JLINKARM_SIM_FAULTS from left to right.
class OrderReader
{
public:
    explicit OrderReader(std::string_view text) : whole_(text), rest_(text) {}

    FaultOrders::Order read()
    {
        FaultOrders::Order order;
        order.function = std::string{take_until("#")};
        if (!take('#')) {
            fail("expected '#' and the number of the call after the function's name");
        }
        order.first = take_number<std::uint32_t>("the number of the call");
        if (rest_.empty()) {
            fail("expected what the call does: =RESULT, !TEXT, ?CODE or @unplug");
        }
        while (!rest_.empty()) {
            read_effect(order);
        }
        return order;
    }

private:
    void read_effect(FaultOrders::Order& order)
    {
        constexpr std::string_view unplug = "@unplug";
        if (take('=')) {
            order.fault.result = take_number<std::int32_t>("a result after '='");
        } else if (take('!')) {
            order.fault.error_text = std::string{std::exchange(rest_, {})};
        } else if (take('?')) {
            order.fault.pending_error = take_number<std::uint32_t>("an error code after '?'");
        } else if (take('+')) {
            order.count = take_number<std::uint32_t>("a count after '+'");
        } else if (rest_.starts_with(unplug)) {
            rest_.remove_prefix(unplug.size());
            order.fault.unplug = true;
        } else {
            fail(fmt::format("cannot understand '{}'", rest_));
        }
    }

    bool take(char c)
    {
        if (!rest_.starts_with(c)) {
            return false;
        }
        rest_.remove_prefix(1);
        return true;
    }

    std::string_view take_until(std::string_view stops)
    {
        const std::size_t length = std::min(rest_.find_first_of(stops), rest_.size());
        const std::string_view taken = rest_.substr(0, length);
        rest_.remove_prefix(length);
        return taken;
    }

    template <class Number>
    Number take_number(const char* what)
    {
        Number value{};
        const auto [end, error] = std::from_chars(rest_.data(), rest_.data() + rest_.size(), value);
        if (error != std::errc{}) {
            fail(fmt::format("expected {}", what));
        }
        rest_.remove_prefix(static_cast<std::size_t>(end - rest_.data()));
        return value;
    }

    [[noreturn]] void fail(std::string_view reason) const
    {
        throw std::runtime_error(fmt::format("The fault order '{}' cannot be understood: {}.", whole_, reason));
    }

    std::string_view whole_;
    std::string_view rest_;
};

} // namespace

void FaultOrders::add(Order order)
{
    if (std::find(functions.begin(), functions.end(), order.function) == functions.end()) {
        throw std::runtime_error(fmt::format("There is no J-Link function '{}' to make fail.", order.function));
    }
    if (order.first == 0) {
        throw std::runtime_error(fmt::format("Calls of {} are counted from 1.", order.function));
    }
    orders_.push_back(std::move(order));
}

void FaultOrders::add_from_text(std::string_view text)
{
    while (!text.empty()) {
        const std::size_t length = std::min(text.find(';'), text.size());
        if (length != 0) {
            add(OrderReader{text.substr(0, length)}.read());
        }
        text.remove_prefix(std::min(length + 1, text.size()));
    }
}

bool FaultOrders::expects(std::string_view function) const
{
    return std::ranges::find(orders_, function, &Order::function) != orders_.end();
}

std::optional<Fault> FaultOrders::next_call(std::string_view function)
{
    std::optional<Fault> due;
    for (Order& order : orders_) {
        if (order.function != function) {
            continue;
        }
        ++order.seen;
        const bool begun = order.seen >= order.first;
        const bool over = order.count != 0 && order.seen - order.first >= order.count;
        if (begun && !over && !due) {
            due = order.fault;
        }
    }
    return due;
}

} // namespace jlinksim

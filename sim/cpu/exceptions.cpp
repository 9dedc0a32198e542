#include "sim/cpu/exceptions.h"

#include <algorithm>
#include <bit>
#include <numeric>

namespace jlinksim {
namespace {

/// From NMI on; the others' priorities are registers.
constexpr std::array fixed_priorities{-2, Exceptions::hard_fault_priority};

/// What firmware has to enable before it is taken; the rest of the first 16 always is.
constexpr bool has_enable_bit(unsigned number)
{
    return number >= exception::first_interrupt ||
           (number >= exception::memory_management && number <= exception::usage_fault);
}

constexpr bool is_masked_by_debugger(unsigned number)
{
    return number >= exception::pend_sv;
}

} // namespace

void Exceptions::reset()
{
    const ExceptionBits asserted = state_.asserted;
    state_ = {};
    state_.asserted = asserted;
    state_.pending = asserted;
}

void Exceptions::put(ExceptionBits& bits, unsigned number, bool value)
{
    const std::uint32_t bit = 1U << number % 32;
    bits[number / 32] = value ? bits[number / 32] | bit : bits[number / 32] & ~bit;
}

bool Exceptions::is_enabled(unsigned number) const
{
    return !has_enable_bit(number) || has(state_.enabled, number);
}

void Exceptions::set_enabled(unsigned number, bool enabled)
{
    put(state_.enabled, number, enabled);
}

void Exceptions::clear_pending(unsigned number)
{
    put(state_.pending, number, has(state_.asserted, number));
}

unsigned Exceptions::active_count() const
{
    const auto add = [](unsigned sum, std::uint32_t word) { return sum + static_cast<unsigned>(std::popcount(word)); };
    return std::accumulate(state_.active.begin(), state_.active.end(), 0U, add);
}

void Exceptions::enter(unsigned number)
{
    put(state_.pending, number, false);
    put(state_.active, number, true);
    state_.current = number;
}

void Exceptions::forget_active()
{
    state_.active = {};
    state_.current = 0;
}

bool Exceptions::has_pending_interrupt() const
{
    ExceptionBits interrupts = state_.pending;
    interrupts[0] &= ~0U << exception::first_interrupt;
    return interrupts != ExceptionBits{};
}

void Exceptions::leave()
{
    const unsigned number = state_.current;
    put(state_.active, number, false);
    if (has(state_.asserted, number)) {
        pend(number);
    }
}

void Exceptions::drive(unsigned interrupt, bool high)
{
    const unsigned number = exception::first_interrupt + interrupt;
    if (high && !has(state_.asserted, number)) {
        pend(number);
    }
    put(state_.asserted, number, high);
}

int Exceptions::priority(unsigned number) const
{
    const unsigned fixed = number - exception::nmi;
    return number >= exception::nmi && fixed < fixed_priorities.size() ? fixed_priorities[fixed]
                                                                       : state_.priorities[number];
}

/// Only the upper part of a priority decides who interrupts whom; the lower one, who of those that wait comes first.
int Exceptions::group_priority(int priority) const
{
    const int subpriorities = 2 << state_.priority_grouping;
    return priority < 0 ? priority : priority - priority % subpriorities;
}

int Exceptions::execution_priority(const PriorityMasks& masks) const
{
    int highest = thread_priority;
    for (unsigned number = exception::nmi; number < exception_count; ++number) {
        if (is_active(number)) {
            highest = std::min(highest, group_priority(priority(number)));
        }
    }
    const std::uint32_t base = masks.basepri & priority_bits;
    if (base != 0) {
        highest = std::min(highest, group_priority(static_cast<int>(base)));
    }
    if ((masks.primask & 1U) != 0) {
        highest = std::min(highest, 0);
    }
    if ((masks.faultmask & 1U) != 0) {
        highest = std::min(highest, hard_fault_priority);
    }
    return highest;
}

bool Exceptions::can_preempt(unsigned number, const PriorityMasks& masks) const
{
    return is_enabled(number) && group_priority(priority(number)) < execution_priority(masks);
}

std::optional<unsigned> Exceptions::first_pending(bool debugger_masks) const
{
    if (state_.pending == ExceptionBits{}) {
        return std::nullopt;
    }
    std::optional<unsigned> first;
    for (unsigned number = exception::nmi; number < exception_count; ++number) {
        const bool waits = is_pending(number) && is_enabled(number);
        const bool is_held_back = debugger_masks && is_masked_by_debugger(number);
        if (waits && !is_held_back && (!first || priority(number) < priority(*first))) {
            first = number;
        }
    }
    return first;
}

std::optional<unsigned> Exceptions::next(const PriorityMasks& masks, bool debugger_masks) const
{
    const std::optional<unsigned> first = first_pending(debugger_masks);
    return first && can_preempt(*first, masks) ? first : std::nullopt;
}

} // namespace jlinksim

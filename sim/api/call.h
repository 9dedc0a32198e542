#pragma once

#include "sim/api/library.h"

#include <exception>
#include <fmt/core.h>
#include <string>
#include <type_traits>

/// The frame that all 38 functions share: bench, time, ordered faults, trace and records.
namespace jlinksim {

/// Result of a function without one.
struct Nothing
{
};
/// A result that reads best in hexadecimal.
struct Word
{
    std::uint32_t value = 0;
};

inline std::string describe_result(Nothing /*result*/)
{
    return {};
}
inline std::string describe_result(Word result)
{
    return fmt::format(" = 0x{:X}", result.value);
}
inline std::string describe_result(const char* text)
{
    return text == nullptr ? " = null" : fmt::format(" = \"{}\"", text);
}
template <class Integer>
requires std::is_integral_v<Integer> std::string describe_result(Integer result)
{
    return fmt::format(" = {}", result);
}

/// A result ordered by a fault, cut to the function's type.
template <class Result>
Result ordered_result(const Fault& fault, Result failure)
{
    if constexpr (std::is_integral_v<Result>) {
        return fault.result ? static_cast<Result>(*fault.result) : failure;
    } else if constexpr (std::is_same_v<Result, Word>) {
        return Word{static_cast<std::uint32_t>(fault.result.value_or(0))};
    } else {
        return failure;
    }
}

/// Time goes by around each call.
class CallTime
{
public:
    CallTime(Session& session, const char* function) : session_(session)
    {
        session.bench().clock().call_begins();
        session.call_begins(function);
        session.let_chip_live();
    }
    CallTime(const CallTime&) = delete;
    CallTime& operator=(const CallTime&) = delete;
    ~CallTime()
    {
        session_.let_chip_live();
        session_.bench().records().call_ends();
        session_.bench().clock().call_ends();
    }

private:
    Session& session_;
};

/// Carry out one call.
/// @param failure   result when there is no bench, or the body throws
/// @param arguments gives the text of the call's arguments, asked for only when somebody listens
/// @param body      does what the function does
/// @param replaced  gives the result when an ordered fault takes the body's place
template <class Result, class Arguments, class Body, class Replaced>
Result simulate(const char* function, Result failure, const Arguments& arguments, const Body& body,
                const Replaced& replaced)
{
    Session* const session = Library::instance().find_session();
    if (session == nullptr) {
        return failure;
    }
    const CallTime time{*session, function};
    const std::optional<Fault> fault = session->bench().faults().next_call(function);
    if (fault && fault->unplug) {
        session->unplug();
    }
    Result result = failure;
    try {
        result = fault && fault->replaces_call() ? replaced(*fault) : body(*session);
    } catch (const std::exception& error) {
        session->report(error.what());
    }
    if (fault && fault->pending_error != 0) {
        session->set_pending_error(fault->pending_error);
    }
    if (Trace& trace = session->bench().trace(); trace.wanted()) {
        trace.add(fmt::format("{}({}){}", function, arguments(), describe_result(result)));
    }
    return result;
}

template <class Result, class Arguments, class Body>
Result simulate(const char* function, Result failure, const Arguments& arguments, const Body& body)
{
    return simulate(function, failure, arguments, body,
                    [failure](const Fault& fault) { return ordered_result(fault, failure); });
}

inline std::string no_arguments()
{
    return {};
}

} // namespace jlinksim

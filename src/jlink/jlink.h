#pragma once

#include "base/module.h"
#include "jlinkarm_birch_tessit.h"
#include "src/jlink/call_site.h"
#include "src/jlink/functions.h"

#include <cstdint>
#include <type_traits>

namespace tessit {

/// The bound J-Link functions, each under its own name.
struct JLinkFunctionTable
{
#define JLINK_TABLE_ENTRY(result, name, parameters) result(JLINK_CALL* name) parameters = nullptr;
    JLINK_FUNCTIONS(JLINK_TABLE_ENTRY)
#undef JLINK_TABLE_ENTRY
};

/// The one table. Bound by TESSIT_open_dll, never cleared, and used only while the library is open.
extern JLinkFunctionTable jlink_functions;

inline const JLinkFunctionTable& jlink()
{
    return jlink_functions;
}

/// Fill the table from a loaded J-Link library. ERR_JLINK_LOAD_FAILED at the first function that it lacks: the entries
/// before it are new, those after it as they were.
result_code_t bind_jlink_functions(base::Module library);

/// Log an error that is pending in the J-Link library, and clear it.
void report_jlink_error(std::uint8_t error, CallSite site);

/// Report the error that is pending in the J-Link library, if there is one. Changes no result: the caller goes on as if
/// it had not run.
inline void check_jlink_error(CallSite site)
{
    if (const std::uint8_t error = jlink().JLINKARM_HasError(); error != 0) [[unlikely]] {
        report_jlink_error(error, site);
    }
}

/// A J-Link function together with the error check that follows its call.
template <class Result, class... Parameters>
class CheckedCall
{
public:
    using Function = Result(JLINK_CALL*)(Parameters...);

    CheckedCall(Function function, CallSite site) : function_(function), site_(site) {}

    Result operator()(Parameters... parameters) const
    {
        if constexpr (std::is_void_v<Result>) {
            function_(parameters...);
            check_jlink_error(site_);
        } else {
            const Result result = function_(parameters...);
            check_jlink_error(site_);
            return result;
        }
    }

private:
    Function function_;
    CallSite site_;
};

/// How every J-Link function is called: `const int result = checked(jlink().JLINKARM_Reset)();`
template <class Result, class... Parameters>
CheckedCall<Result, Parameters...> checked(Result(JLINK_CALL* function)(Parameters...),
                                           CallSite site = CallSite::here())
{
    return {function, site};
}

/// Log "JLinkARM.dll <function> returned error <result>." and return `code`. `function` is the J-Link function's name
/// without its prefix.
result_code_t jlink_failure(const char* function, std::int32_t result, result_code_t code = ERR_JLINK_CALL_FAILED);

/// The same for a text result: "JLinkARM.dll <function> returned error '<text>'.".
result_code_t jlink_failure(const char* function, const char* text);

/// Give the J-Link library a command string. ERR_JLINK_CALL_FAILED when it answers with an error text.
result_code_t exec_command(const char* command, CallSite site = CallSite::here());

} // namespace tessit

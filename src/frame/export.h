#pragma once

#include "src/frame/result.h"
#include "src/frame/session.h"
#include "src/log/logger.h"

#include <string_view>

namespace tessit {

/// The frame of an exported function: its tag is on the stack for as long as the frame lives, and its name is in the
/// messages of the checks. Each check logs its message and returns its code when it fails.
class Export
{
public:
    /// `operation` is a literal: the export's name without its prefix.
    explicit Export(const char* operation) : tag_(operation) {}

    /// An argument's check: `message` and ERR_BAD_ARGUMENT unless it holds.
    result_code_t require(bool holds, std::string_view message) const
    {
        return holds ? RESULT_OK : refuse_argument(message);
    }
    /// A state's check: "Cannot call <operation> when <state>." and ERR_WRONG_STATE when it is so.
    result_code_t refuse_when(bool is_so, std::string_view state) const
    {
        return is_so ? refuse_state(state) : RESULT_OK;
    }

    /// TESSIT_open_dll has been called.
    result_code_t require_open() const { return refuse_when(!session.dll_opened, "open_dll has not been called"); }

    const char* operation() const { return tag_.name(); }

private:
    static result_code_t refuse_argument(std::string_view message);
    result_code_t refuse_state(std::string_view state) const;

    FunctionTag tag_;
};

} // namespace tessit

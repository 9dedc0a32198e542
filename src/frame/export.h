#pragma once

#include "src/frame/result.h"
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
    result_code_t require(bool holds, std::string_view message) const;
    /// A state's check: "Cannot call <operation> when <state>." and ERR_WRONG_STATE when it is so.
    result_code_t refuse_when(bool is_so, std::string_view state) const;

    /// TESSIT_open_dll has been called.
    result_code_t require_open() const;

    const char* operation() const { return tag_.name(); }

private:
    FunctionTag tag_;
};

} // namespace tessit

#pragma once

#include "jlinkarm_birch_tessit.h"

/// Evaluate a step once and leave the function with its code when it failed.
#define RETURN_IF_FAILED(step)                                                                                         \
    do {                                                                                                               \
        const result_code_t step_result = (step);                                                                      \
        if (step_result != RESULT_OK) {                                                                                \
            return step_result;                                                                                        \
        }                                                                                                              \
    } while (false)

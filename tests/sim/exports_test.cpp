#include "src/jlink/functions.h"
#include "tests/support/temp_bench.h"

#include "jlinkarm_sim.h"

#include <gtest/gtest.h>

namespace tessit_test {
namespace {

TEST(Exports, EachJLinkFunctionCanBeMadeToFail)
{
    const TempBench bench = TempBench::with_chip("BIRCH_M1_VA_REV2");
#define EXPECT_FAULT(result, name, parameters)                                                                         \
    {                                                                                                                  \
        jlinksim_fault_t fault{};                                                                                      \
        fault.function = #name;                                                                                        \
        fault.occurrence = 1;                                                                                          \
        EXPECT_EQ(JLINKSIM_inject_fault(&fault), 0) << "no fault can be ordered for " << fault.function;               \
    }
    JLINK_FUNCTIONS(EXPECT_FAULT)
#undef EXPECT_FAULT
}

} // namespace
} // namespace tessit_test

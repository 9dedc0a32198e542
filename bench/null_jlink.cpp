// A J-Link library that does nothing, so that what a benchmark measures over it is the cost of the library on top. Its
// functions come from the library's own list; the few whose answers matter are in null_jlink_answers.cpp.
#include "src/jlink/functions.h"

#include <type_traits>

#pragma GCC diagnostic ignored "-Wunused-parameter"

using namespace tessit;

#define NULL_JLINK_FUNCTION(result, name, parameters)                                                                  \
    extern "C" [[gnu::weak, gnu::visibility("default")]] result JLINK_CALL name parameters                             \
    {                                                                                                                  \
        return std::type_identity_t<result>();                                                                         \
    }
JLINK_FUNCTIONS(NULL_JLINK_FUNCTION) // NOLINT(misc-unused-parameters)
#undef NULL_JLINK_FUNCTION

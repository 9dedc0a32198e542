// The library and the simulation declare the J-Link functions independently of each other. They are the same functions:
// result for result and parameter for parameter, but for the names of the records that pointers lead to, and for
// results that the library ignores.
#include "jlinkarm_api.h"
#include "src/jlink/functions.h"

#include <tuple>
#include <type_traits>

namespace {

using namespace tessit;

/// A type as the machine sees it: a pointer to a record is a pointer.
template <class Type>
struct PlainType
{
    using type = Type;
};
template <class Record>
requires std::is_class_v<Record>
struct PlainType<Record*>
{
    using type = void*;
};

template <class Function>
struct Signature;
template <class Result, class... Parameters>
struct Signature<Result(JLINK_CALL*)(Parameters...)>
{
    using result = Result;
    using parameters = std::tuple<typename PlainType<Parameters>::type...>;
};

template <class Ours, class Simulated>
constexpr bool is_compatible = std::is_same_v<typename Ours::parameters, typename Simulated::parameters> &&
                               (std::is_void_v<typename Ours::result> ||
                                std::is_same_v<typename Ours::result, typename Simulated::result>);

#define SAME_SIGNATURE(result, name, parameters)                                                                       \
    static_assert(is_compatible<Signature<result(JLINK_CALL*) parameters>, Signature<decltype(&::name)>>,              \
                  #name " is declared differently by the simulation");
JLINK_FUNCTIONS(SAME_SIGNATURE)
#undef SAME_SIGNATURE

static_assert(sizeof(JLinkProbeRecord) == sizeof(jlinkarm_probe_record_t));
static_assert(sizeof(JLinkHardwareStatus) >= sizeof(jlinkarm_hardware_status_t),
              "the simulation writes all of its own");

} // namespace

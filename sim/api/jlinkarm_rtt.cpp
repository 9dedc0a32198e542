// The J-Link functions of RTT. The simulation has no RTT yet: all three fail and say so.
#include "api/call.h"
#include "jlinkarm_api.h"

using namespace jlinksim;

namespace {

std::int32_t refuse(Session& session)
{
    session.report("RTT is not simulated yet.");
    return -1;
}

} // namespace

int32_t JLINKARM_CALL JLINK_RTTERMINAL_Control(uint32_t command, void* /*record*/)
{
    return simulate<std::int32_t>(
        "JLINK_RTTERMINAL_Control", -1, [=] { return fmt::format("{}", command); }, refuse);
}

int32_t JLINKARM_CALL JLINK_RTTERMINAL_Read(uint32_t channel, void* /*buffer*/, uint32_t size)
{
    return simulate<std::int32_t>(
        "JLINK_RTTERMINAL_Read", -1, [=] { return fmt::format("{}, {}", channel, size); }, refuse);
}

int32_t JLINKARM_CALL JLINK_RTTERMINAL_Write(uint32_t channel, const void* /*data*/, uint32_t size)
{
    return simulate<std::int32_t>(
        "JLINK_RTTERMINAL_Write", -1, [=] { return fmt::format("{}, {}", channel, size); }, refuse);
}

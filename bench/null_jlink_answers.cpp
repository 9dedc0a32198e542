// The answers that let a session over the J-Link library that does nothing get as far as target memory.
#include "src/jlink/functions.h"

using namespace tessit;

#define ANSWER extern "C" [[gnu::visibility("default")]]

namespace {

bool session_open = false;
bool device_connected = false;

} // namespace

ANSWER std::uint8_t JLINK_CALL JLINKARM_IsOpen()
{
    return session_open;
}

ANSWER const char* JLINK_CALL JLINKARM_OpenEx(JLinkLogHandler, JLinkLogHandler)
{
    session_open = true;
    return nullptr;
}

ANSWER void JLINK_CALL JLINKARM_Close()
{
    session_open = device_connected = false;
}

ANSWER std::uint8_t JLINK_CALL JLINKARM_IsConnected()
{
    return device_connected;
}

ANSWER std::int32_t JLINK_CALL JLINKARM_Connect()
{
    device_connected = true;
    return 0;
}

ANSWER std::uint32_t JLINK_CALL JLINKARM_GetDLLVersion()
{
    return 60000;
}

ANSWER std::uint32_t JLINK_CALL JLINKARM_EMU_GetNumDevices()
{
    return 1;
}

ANSWER std::int32_t JLINK_CALL JLINKARM_GetHWStatus(JLinkHardwareStatus* status)
{
    status->target_millivolts = 3300;
    return 0;
}

ANSWER std::int32_t JLINK_CALL JLINKARM_ReadMemU32(std::uint32_t address, std::uint32_t, std::uint32_t* data,
                                                   std::uint8_t*)
{
    // The part code of a chip, and a flash controller that is ready.
    *data = address == 0x10000130 ? 6 : 1;
    return 1;
}

ANSWER std::int32_t JLINK_CALL JLINKARM_CORESIGHT_ReadAPDPReg(std::uint8_t, std::uint8_t, std::uint32_t* data)
{
    *data = 1;
    return 0;
}

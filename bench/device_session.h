/// A session on a connected device over the J-Link library that does nothing.
#pragma once

#include "jlinkarm_birch_tessit.h"

#include <cstdlib>

namespace tessit::bench {

inline void require(result_code_t code)
{
    if (code != RESULT_OK) {
        std::abort();
    }
}

class DeviceSession
{
public:
    explicit DeviceSession(log_callback_t callback)
    {
        require(TESSIT_open_dll(NULL_JLINK, callback, BIRCH_FAMILY));
        require(TESSIT_connect_to_emu_without_snr(4000));
        require(TESSIT_connect_to_device());
    }
    ~DeviceSession() { TESSIT_close_dll(); }
    DeviceSession(const DeviceSession&) = delete;
    DeviceSession& operator=(const DeviceSession&) = delete;
};

} // namespace tessit::bench

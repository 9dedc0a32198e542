#include "src/frame/export.h"
#include "src/frame/session.h"
#include "src/jlink/jlink.h"
#include "src/jlink/library_version.h"
#include "src/log/jlink_log_forwarder.h"
#include "src/probe/probe.h"

#include <utility>

using namespace tessit;

namespace {

// Log why the library does not open (after which the caller hears no more of it) and return the code.
result_code_t refuse_to_open(const char* message, result_code_t code)
{
    log_message(message);
    logger.buffer().detach_log_callback();
    return code;
}

void unload_jlink_library()
{
    if (session.jlink_library != nullptr) {
        base::unload_module(std::exchange(session.jlink_library, nullptr));
    }
}

bool is_too_old(std::uint32_t major, std::uint32_t minor)
{
    return major < 5 || (major == 5 && minor < 2);
}

} // namespace

TESSIT_API result_code_t TESSIT_CALL TESSIT_open_dll(const char* jlink_path, log_callback_t log_cb,
                                                     chip_family_t family)
{
    constexpr auto load_failure = "Dll failed to load from the path provided.";
    // Before any check, so that a refusal, too, reaches the callback of this call.
    logger.buffer().attach_log_callback(TESSIT_LOG_PREFIX, log_cb);
    Export op{"open_dll"};
    RETURN_IF_FAILED(op.refuse_when(session.dll_opened, "open_dll has already been called"));
    if (jlink_path == nullptr) {
        return refuse_to_open("Path to JLinkARM.dll cannot be NULL.", ERR_BAD_ARGUMENT);
    }
    if (family != BIRCH_FAMILY) {
        return refuse_to_open("Wrong device family type provided for this dll.", ERR_BAD_ARGUMENT);
    }
    session.jlink_library = base::load_module(jlink_path);
    if (session.jlink_library == nullptr) {
        return refuse_to_open(load_failure, ERR_JLINK_LOAD_FAILED);
    }
    if (bind_jlink_functions(session.jlink_library) != RESULT_OK) {
        const result_code_t code = refuse_to_open(load_failure, ERR_JLINK_LOAD_FAILED);
        unload_jlink_library();
        return code;
    }
    std::uint32_t major = 0;
    std::uint32_t minor = 0;
    char revision = ' ';
    if (const result_code_t code = dll_version(&major, &minor, &revision); code != RESULT_OK) {
        logger.buffer().detach_log_callback();
        unload_jlink_library();
        return code;
    }
    if (is_too_old(major, minor)) {
        const result_code_t code = refuse_to_open("Too old version of JLinkARM.dll used.", ERR_JLINK_TOO_OLD);
        unload_jlink_library();
        return code;
    }
    session.dll_opened = true;
    if (log_cb != nullptr) {
        jlink().JLINKARM_EnableLogCom(jlink_log_forwarder);
    }
    return RESULT_OK;
}

TESSIT_API void TESSIT_CALL TESSIT_close_dll(void)
{
    Export op{"close_dll"};
    if (!session.dll_opened) {
        return;
    }
    bool connected = false;
    if (is_connected_to_emu(&connected) == RESULT_OK && connected) {
        disconnect_from_emu(); // has logged its failure; the library is closed all the same
    } else {
        jlink().JLINKARM_Close();
    }
    unload_jlink_library();
    session.dll_opened = false;
    session.coresight_configured = false;
    logger.buffer().detach_log_callback();
}

TESSIT_API result_code_t TESSIT_CALL TESSIT_dll_version(std::uint32_t* major, std::uint32_t* minor, char* revision)
{
    Export op{"dll_version"};
    RETURN_IF_FAILED(op.require(major != nullptr, "Invalid major pointer provided."));
    RETURN_IF_FAILED(op.require(minor != nullptr, "Invalid minor pointer provided."));
    RETURN_IF_FAILED(op.require(revision != nullptr, "Invalid revision pointer provided."));
    RETURN_IF_FAILED(op.require_open());
    return dll_version(major, minor, revision);
}

TESSIT_API result_code_t TESSIT_CALL TESSIT_is_dll_open(bool* opened)
{
    Export op{"is_dll_opened"};
    RETURN_IF_FAILED(op.require(opened != nullptr, "Invalid opened pointer provided."));
    *opened = session.dll_opened;
    return RESULT_OK;
}

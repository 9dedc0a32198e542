#include "src/log/jlink_log_forwarder.h"

#include "src/log/logger.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <string_view>

namespace tessit {
namespace {

bool is_blank(std::string_view text)
{
    return std::all_of(text.begin(), text.end(), [](unsigned char c) { return std::isspace(c) != 0; });
}

// "T", the thread's number in hexadecimal, and a time: "T1A2B 000:012".
bool is_trace_line(const char* text)
{
    unsigned thread = 0;
    unsigned seconds = 0;
    unsigned milliseconds = 0;
    return std::sscanf(text, "T%4X %3u:%3u", &thread, &seconds, &milliseconds) == 3;
}

} // namespace

void JLINK_CALL jlink_log_forwarder(const char* text)
{
    if (text == nullptr || is_blank(text) || is_trace_line(text)) {
        return;
    }
    logger << TESSIT_LOG_JLINK_MARK;
    for (const char c : std::string_view{text}) {
        logger.put(c == '\n' || c == '\r' ? ' ' : c);
    }
    logger.flush();
}

} // namespace tessit

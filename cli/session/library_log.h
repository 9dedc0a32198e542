/// What the library narrates: kept for the reasons of failures, shown with -v, written with --log.
#pragma once

#include "cli/session/folded_lines.h"
#include "cli/session/log_file.h"

#include <jlinkarm_birch_tessit.h>
#include <string>
#include <string_view>

namespace tessit::cli {

/// One at a time: the library's callback carries no context of its caller's.
class LibraryLog
{
public:
    /// The file's name may be empty. Throws a Failure when the file cannot be written.
    LibraryLog(FoldedLines shown, const std::string& file);
    LibraryLog(const LibraryLog&) = delete;
    LibraryLog& operator=(const LibraryLog&) = delete;
    ~LibraryLog();

    /// To be handed to TESSIT_open_dll while a LibraryLog lives.
    static void TESSIT_CALL receive(const char* line);

    /// The probe that the lines from now on are about.
    void at_probe(std::uint32_t serial);

    /// Tells what is left to be told and closes the file, after the library was closed. What kept it from being
    /// complete; empty when nothing did.
    std::string finish();

    /// Why the library's newest call failed, in its own and the J-Link library's words; empty when it said nothing.
    std::string reason() const;

private:
    void take(std::string_view line);
    void take_message(std::string_view message);

    static LibraryLog* active; ///< set and cleared by the constructor and the destructor

    FoldedLines shown_;
    LogFile file_;
    FoldedLines written_;      ///< to the file
    std::string complaint_;    ///< newest message of the call that reports a failure
    std::string jlink_text_;   ///< newest text of the J-Link library itself
    std::string jlink_reason_; ///< the one that came before the complaint
};

} // namespace tessit::cli

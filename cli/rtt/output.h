/// What the up channels said, on standard output and in a file.
#pragma once

#include "cli/time/clock.h"

#include <cstdio>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace tessit::cli {

/// One channel's text is shown as it comes, several channels' texts by whole lines, each after its channel's name.
class RttOutput
{
public:
    struct Options
    {
        bool timestamps = false; ///< the time of day before every line, or the modelled time
        bool json = false;       ///< every line as JSON, with the seconds since the command's begin
        std::string file;        ///< gets all that is shown, too; may be empty
    };

    /// Throws a Failure when the file cannot be written. The names are the channels'.
    RttOutput(const Clock& clock, Options options);
    /// Lines that were not finished are shown now, if finish has not shown them.
    ~RttOutput();
    RttOutput(const RttOutput&) = delete;
    RttOutput& operator=(const RttOutput&) = delete;

    struct ShownChannel
    {
        std::uint32_t index = 0;
        std::string name;
    };

    /// The channels that are shown from now on. Unfinished lines of the others are ended.
    void show_channels(const std::vector<ShownChannel>& channels);
    /// The regular end: shows what is left, and throws a Failure when the file is not complete.
    void finish();
    /// All that a call gets is shown when it returns, up to the last line's begin. `channel` is a position in the list.
    void take(std::size_t channel, std::string_view bytes);

    /// Standard output takes no more: its reader has gone.
    static bool is_closed();

private:
    struct Channel
    {
        std::uint32_t index = 0;
        std::string prefix;
        std::string unfinished; ///< with several channels: a line's begin
        bool at_line_begin = true;
    };
    struct FileCloser
    {
        void operator()(std::FILE* file) const { std::fclose(file); } // NOLINT(cert-err33-c): asked before, in flush
    };

    void finish_lines();
    void take_as_it_comes(Channel& channel, std::string_view bytes);
    void write_line(const Channel& channel, std::string_view line);
    void take_lines(Channel& channel, std::string_view bytes);
    std::string line_begin(const Channel& channel) const;
    void write(std::string_view text);
    void flush();

    const Clock& clock_;
    Options options_;
    Clock::Duration begin_;
    std::unique_ptr<std::FILE, FileCloser> file_;
    std::vector<Channel> channels_;
};

} // namespace tessit::cli

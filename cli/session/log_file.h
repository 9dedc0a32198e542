/// The file of --log: what the library narrates, with time and probe, and what repeats itself told once.
#pragma once

#include <cstdint>
#include <cstdio>
#include <deque>
#include <memory>
#include <string>
#include <string_view>

namespace tessit::cli {

class LogFile
{
public:
    /// An empty name is no file. Lines are added to its end. With "{serial}" in the name it is opened when the probe is
    /// known. Throws a Failure when it cannot be opened.
    explicit LogFile(std::string name);

    void at_probe(std::uint32_t serial);
    void add(std::string_view line);
    /// Closes it. What kept it from being complete; empty when nothing did.
    std::string finish();

private:
    struct Closer
    {
        void operator()(std::FILE* file) const { std::fclose(file); } // NOLINT(cert-err33-c): nobody is left to tell
    };

    void open();
    void write(const std::string& line);
    bool repeats(std::string_view line);
    void end_repetition();
    void find_repetition();

    std::string name_;
    std::string serial_ = "-";
    std::string waiting_; ///< lines for a file that is not open yet
    std::unique_ptr<std::FILE, Closer> file_;
    std::deque<std::string> last_;   ///< lines, the newest at the end
    std::size_t period_ = 0;         ///< lines that repeat themselves; 0: none do
    std::size_t repeated_lines_ = 0; ///< that were not written
};

} // namespace tessit::cli

/// The file of --log.
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

namespace tessit::cli {

class LogFile
{
public:
    /// An empty name is no file. Lines are added to its end. With "{serial}" in the name it is opened when the probe is
    /// known. Throws a Failure when it cannot be opened.
    explicit LogFile(std::string name);

    void at_probe(std::uint32_t serial);
    /// Lines with their ends.
    void write(const std::string& lines);
    /// Closes it. What kept it from being complete; empty when nothing did.
    std::string finish();

private:
    struct Closer
    {
        void operator()(std::FILE* file) const { std::fclose(file); } // NOLINT(cert-err33-c): nobody is left to tell
    };

    void open();

    std::string name_;
    std::string waiting_; ///< lines for a file that is not open yet
    std::unique_ptr<std::FILE, Closer> file_;
};

} // namespace tessit::cli

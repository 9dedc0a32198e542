#include "cli/session/log_file.h"

#include "base/file.h"
#include "base/path.h"
#include "cli/failure.h"
#include "cli/terminal/stream.h"
#include "cli/text/serial_mark.h"

#include <cerrno>
#include <cstring>
#include <fmt/format.h>
#include <utility>

namespace tessit::cli {
LogFile::LogFile(std::string name) : name_{std::move(name)}
{
    if (!name_.empty() && !has_serial_mark(name_)) {
        open();
    }
}

void LogFile::open()
{
    file_.reset(base::open_file(base::path_of(name_), "a"));
    if (!file_) {
        throw Failure{ExitCode::failure, fmt::format("cannot write the log {}: {}", name_, std::strerror(errno)),
                      "Give --log another file."};
    }
    print_to(file_.get(), "{}", std::exchange(waiting_, {}));
}

void LogFile::at_probe(std::uint32_t serial)
{
    if (name_.empty() || file_) {
        return;
    }
    name_ = with_serial(std::move(name_), serial);
    open();
}

void LogFile::write(const std::string& lines)
{
    if (file_) {
        print_to(file_.get(), "{}", lines);
    } else if (!name_.empty()) {
        waiting_ += lines;
    }
}

std::string LogFile::finish()
{
    if (!file_) {
        return {};
    }
    const bool was_complete = std::ferror(file_.get()) == 0;
    const bool is_complete = std::fclose(file_.release()) == 0 && was_complete;
    return is_complete ? "" : fmt::format("the log {} is incomplete: {}", name_, std::strerror(errno));
}

} // namespace tessit::cli

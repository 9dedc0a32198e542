#pragma once

#include <cstdio>
#include <memory>
#include <string>

namespace jlinksim {

/// A file to which lines are appended, each of them at once.
class LineFile
{
public:
    /// @param variable that names the file, for the message @throws std::runtime_error when it cannot be opened
    void open(const std::string& path, const char* variable);
    bool is_open() const { return file_ != nullptr; }
    void add(const std::string& line);
    long size() const { return std::ftell(file_.get()); }

private:
    struct Close
    {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };
    std::unique_ptr<std::FILE, Close> file_;
};

} // namespace jlinksim

#pragma once

#include "sim/bench/bench.h"
#include "sim/jlink/session.h"

#include <memory>
#include <string>

namespace jlinksim {

/// What one loaded copy of the library holds.
class Library
{
public:
    /// The only one; the exports' C interface leaves no other place for it.
    static Library& instance();

    /// The open bench's session. Without a bench, the environment's is opened.
    /// @throws std::runtime_error when it cannot be opened
    Session& session();
    /// Null instead of an exception; the reason has been told on standard error.
    Session* find_session() noexcept;

    bool has_bench() const { return bench_ != nullptr; }
    /// Replaces the bench, whose session is closed. @throws std::runtime_error, and the old bench stays
    void open(const char* path);
    void close();

private:
    std::unique_ptr<Bench> bench_;
    std::unique_ptr<Session> session_;
};

} // namespace jlinksim

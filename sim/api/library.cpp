#include "sim/api/library.h"

#include <cstdio>
#include <exception>
#include <utility>

namespace jlinksim {

Library& Library::instance()
{
    static Library library;
    return library;
}

void Library::open(const char* path)
{
    std::unique_ptr<Bench> bench = open_bench(path);
    close();
    bench_ = std::move(bench);
    session_ = std::make_unique<Session>(*bench_);
}

void Library::close()
{
    session_.reset();
    bench_.reset();
}

Session& Library::session()
{
    if (session_ == nullptr) {
        open(nullptr);
    }
    return *session_;
}

Session* Library::find_session() noexcept
{
    try {
        return &session();
    } catch (const std::exception& error) {
        std::fprintf(stderr, "jlinkarm_sim: %s\n", error.what());
        return nullptr;
    }
}

} // namespace jlinksim

#include "cli/time/wall_time.h"

#include <chrono>
#include <ctime>
#include <fmt/chrono.h>

namespace tessit::cli {
namespace {

struct Moment
{
    std::time_t second;
    long milliseconds;
};

Moment now()
{
    const auto moment = std::chrono::system_clock::now();
    const auto second = std::chrono::floor<std::chrono::seconds>(moment);
    return {std::chrono::system_clock::to_time_t(second),
            static_cast<long>(std::chrono::floor<std::chrono::milliseconds>(moment - second).count())};
}

} // namespace

std::string local_time_of_day()
{
    const Moment moment = now();
    return fmt::format("{:%H:%M:%S}.{:03}", fmt::localtime(moment.second), moment.milliseconds);
}

std::string local_time()
{
    const Moment moment = now();
    return fmt::format("{:%Y-%m-%dT%H:%M:%S}.{:03}", fmt::localtime(moment.second), moment.milliseconds);
}

std::string universal_time()
{
    const Moment moment = now();
    return fmt::format("{:%Y-%m-%dT%H:%M:%S}.{:03}Z", fmt::gmtime(moment.second), moment.milliseconds);
}

} // namespace tessit::cli

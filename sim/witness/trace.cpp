#include "sim/witness/trace.h"

#include <utility>

namespace jlinksim {

void Trace::start()
{
    lines_.clear();
    listing_ = true;
}

void Trace::add(std::string line)
{
    if (file_.is_open()) {
        file_.add(line);
    }
    if (listing_) {
        lines_.push_back(std::move(line));
    }
}

} // namespace jlinksim

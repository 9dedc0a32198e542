#include "sim/device/declared_register.h"

#include "base/file.h"
#include "base/path.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fmt/core.h>
#include <system_error>
#include <utility>

namespace jlinksim {

DeclaredRegister::DeclaredRegister(const RegisterOptions& options, std::deque<DeclaredRegister>& all,
                                   std::span<std::uint32_t> words, Services services)
    : options_(options),
      all_(all),
      values_(words.subspan(1, options.count)),
      pending_(words.subspan(1 + options.count)),
      services_(services),
      due_(options.effects.size())
{
    // The state may be of a bench that had another register here.
    if (std::exchange(words[0], options.address) != options.address) {
        reset(ResetKind::power_on);
    }
}

bool DeclaredRegister::read(std::uint32_t offset, std::span<std::uint8_t> data)
{
    for (std::uint8_t& byte : data) {
        byte = static_cast<std::uint8_t>(values_[offset / options_.width] >> 8 * (offset % options_.width));
        ++offset;
    }
    return true;
}

bool DeclaredRegister::write(std::uint32_t offset, std::span<const std::uint8_t> data)
{
    if (options_.read_only) {
        services_.records.add("register-read-only", fmt::format("write to {}", options_.name));
        return true;
    }
    while (!data.empty()) {
        const std::uint32_t skipped = offset % options_.width;
        const std::size_t count = std::min<std::size_t>(options_.width - skipped, data.size());
        std::memcpy(reinterpret_cast<std::uint8_t*>(&values_[offset / options_.width]) + skipped, data.data(), count);
        if (!options_.output.empty()) {
            put_out(data.front());
        }
        for (std::size_t effect = 0; effect < options_.effects.size(); ++effect) {
            begin(effect);
        }
        data = data.subspan(count);
        offset += static_cast<std::uint32_t>(count);
    }
    return true;
}

void DeclaredRegister::put_out(std::uint8_t byte)
{
    if (output_ == nullptr) {
        output_.reset(tessit::base::open_file(tessit::base::path_of(options_.output), "ab"));
    }
    if (output_ == nullptr || std::fputc(byte, output_.get()) == EOF || std::fflush(output_.get()) != 0) {
        services_.records.add("output-not-written",
                              fmt::format("{}: {}", options_.output, std::generic_category().message(errno)));
    }
}

void DeclaredRegister::begin(std::size_t effect)
{
    const RegisterEffect& what = options_.effects[effect];
    if (what.stops) {
        for (DeclaredRegister& each : all_) {
            each.stop_changes_of(what.target);
        }
        return;
    }
    pending_[effect] = 1;
    due_[effect] = services_.clock.device() + what.after_ns;
    if (what.after_ns == 0) {
        finish(effect);
    }
}

void DeclaredRegister::stop_changes_of(std::size_t target)
{
    for (std::size_t effect = 0; effect < options_.effects.size(); ++effect) {
        if (options_.effects[effect].target == target) {
            pending_[effect] = 0;
        }
    }
}

void DeclaredRegister::finish(std::size_t effect)
{
    const RegisterEffect& what = options_.effects[effect];
    all_[what.target].values_[0] = what.value;
    if (!what.repeats) {
        pending_[effect] = 0;
        return;
    }
    const std::uint64_t late = services_.clock.device() - due_[effect];
    due_[effect] += (late / what.after_ns + 1) * what.after_ns;
}

void DeclaredRegister::settle()
{
    for (std::size_t effect = 0; effect < options_.effects.size(); ++effect) {
        if (pending_[effect] != 0 && due_[effect] <= services_.clock.device()) {
            finish(effect);
        }
    }
}

std::uint64_t DeclaredRegister::next_event() const
{
    std::uint64_t next = no_event;
    for (std::size_t effect = 0; effect < options_.effects.size(); ++effect) {
        if (pending_[effect] != 0) {
            next = std::min(next, due_[effect]);
        }
    }
    return next;
}

bool DeclaredRegister::interrupt() const
{
    return options_.interrupt && std::ranges::any_of(values_, [](std::uint32_t value) { return value != 0; });
}

void DeclaredRegister::reset(ResetKind /*kind*/)
{
    std::ranges::fill(values_, options_.reset);
    std::ranges::fill(pending_, 0U);
}

} // namespace jlinksim

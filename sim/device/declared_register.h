#pragma once

#include "sim/device/bus_device.h"
#include "sim/device/services.h"

#include <cstdio>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace jlinksim {

/// What a write to a register leads to.
struct RegisterEffect
{
    std::size_t target = 0;     ///< the register that it changes, by its place in the bench
    std::uint32_t value = 1;    ///< that the register gets
    std::uint64_t after_ns = 0; ///< the write
    bool repeats = false;       ///< and again and again
    bool stops = false;         ///< instead: whatever is on its way to the register is not to come
};

/// A register, or several side by side, as a bench declares it for firmware that waits for it.
struct RegisterOptions
{
    std::string name;
    std::uint32_t address = 0;
    std::uint32_t width = 4; ///< in bytes
    std::uint32_t count = 1;
    std::uint32_t reset = 0;
    bool read_only = false;
    std::optional<unsigned> interrupt; ///< its line is high while the register is not 0
    std::string output;                ///< path of a file that gets the lowest byte of every write; may be empty
    std::vector<RegisterEffect> effects;

    std::uint32_t bytes() const { return width * count; }
    /// Of the chip's state: which register it is, the values, and which effects are on their way.
    std::size_t state_words() const { return 1 + count + effects.size(); }
};

class DeclaredRegister final : public BusDevice
{
public:
    /// `all` holds this register, too, and all that its effects lead to, by the time it is used.
    DeclaredRegister(const RegisterOptions& options, std::deque<DeclaredRegister>& all, std::span<std::uint32_t> words,
                     Services services);

    bool read(std::uint32_t offset, std::span<std::uint8_t> data) override;
    bool write(std::uint32_t offset, std::span<const std::uint8_t> data) override;
    void reset(ResetKind kind) override;
    void settle() override;
    std::uint64_t next_event() const override;
    bool interrupt() const override;

private:
    struct CloseFile
    {
        void operator()(std::FILE* file) const { std::fclose(file); } // NOLINT(cert-err33-c): flushed before
    };

    void put_out(std::uint8_t byte);
    void begin(std::size_t effect);
    void stop_changes_of(std::size_t target);
    void finish(std::size_t effect);

    const RegisterOptions& options_;
    std::deque<DeclaredRegister>& all_;
    std::span<std::uint32_t> values_;
    std::span<std::uint32_t> pending_; ///< 1 for an effect on its way
    Services services_;
    std::vector<std::uint64_t> due_; ///< what an earlier process left on its way is due at once
    std::unique_ptr<std::FILE, CloseFile> output_;
};

} // namespace jlinksim

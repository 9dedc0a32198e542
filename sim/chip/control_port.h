#pragma once

#include "sim/chip/access_port.h"
#include "sim/device/register_block.h"
#include "sim/device/services.h"

#include <functional>

namespace jlinksim {

/// The CTRL-AP: identification, protection status, erase-all and reset, open also while the chip is protected.
class ControlPort final : public RegisterBlock<ControlPort>, public AccessPort
{
public:
    static const std::span<const Register<ControlPort>> table;

    struct Connections
    {
        std::function<void()> erase_everything;
        std::function<void(bool held)> hold_in_reset; ///< false releases, which is the reset itself
    };

    ControlPort(const HardwareFaults& faults, std::span<std::uint32_t> words, Services services,
                Connections connections);

    /// Protection as the last reset found it in the UICR.
    bool is_protected() const;
    void set_protected(bool is_protected);
    bool holds_reset() const;
    /// RESET or ERASEALL is 1.
    bool is_set() const;

    bool read_port(std::uint8_t address, std::uint32_t& value) override;
    bool write_port(std::uint8_t address, std::uint32_t value) override;

private:
    friend struct ControlPortTable;

    void write_reset(std::uint32_t value, unsigned index);
    void write_erase_all(std::uint32_t value, unsigned index);
    std::uint32_t read_erase_all_status(unsigned index);
    /// Carry out an erase whose time has come.
    void finish_erase();

    const HardwareFaults& faults_;
    Clock& clock_;
    Connections connections_;
    bool is_awaited_ = false;         ///< an erase began, and nobody has read its status as 0
    std::uint64_t erase_ends_at_ = 0; ///< an erase that a process leaves behind is over for the next one
};

} // namespace jlinksim

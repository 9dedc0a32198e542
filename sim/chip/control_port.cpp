#include "sim/chip/control_port.h"

#include "sim/time/timing.h"

#include <array>
#include <utility>

namespace jlinksim {
namespace {

constexpr std::uint32_t reset_register = 0x00;
constexpr std::uint32_t erase_all_register = 0x04;
constexpr std::uint32_t erase_all_status = 0x08;
constexpr std::uint32_t protection_status = 0x0C; // 0 protected, 1 open
constexpr std::uint32_t identification = 0x02880000;

} // namespace

struct ControlPortTable
{
    using Port = ControlPort;
    static constexpr std::array rows{
        // clang-format off
        //             name               offset             reset           writable  on write
        Register<Port>{"RESET",           reset_register,    0,              0,        &Port::write_reset},
        Register<Port>{"ERASEALL",        erase_all_register, 0,             0,        &Port::write_erase_all},
        Register<Port>{"ERASEALLSTATUS",  erase_all_status,  0,              0,        nullptr, &Port::read_erase_all_status},
        Register<Port>{"APPROTECTSTATUS", protection_status, 1,              0},
        Register<Port>{"IDR",             0xFC,              identification, 0},
        // clang-format on
    };
};

const std::span<const Register<ControlPort>> ControlPort::table{ControlPortTable::rows};

ControlPort::ControlPort(const HardwareFaults& faults, std::span<std::uint32_t> words, Services services,
                         Connections connections)
    : RegisterBlock("CTRL-AP", table, words, services.records),
      faults_(faults),
      clock_(services.clock),
      connections_(std::move(connections))
{
}

bool ControlPort::is_protected() const
{
    return word(protection_status) == 0;
}

void ControlPort::set_protected(bool is_protected)
{
    word(protection_status) = is_protected ? 0 : 1;
}

bool ControlPort::holds_reset() const
{
    return word(reset_register) != 0;
}

bool ControlPort::is_set() const
{
    return holds_reset() || word(erase_all_register) != 0;
}

bool ControlPort::read_port(std::uint8_t address, std::uint32_t& value)
{
    if (faults_.control_port_fails) {
        return false;
    }
    finish_erase();
    value = read_register(address);
    return true;
}

bool ControlPort::write_port(std::uint8_t address, std::uint32_t value)
{
    if (faults_.control_port_fails) {
        return false;
    }
    finish_erase();
    write_register(address, value);
    return true;
}

void ControlPort::finish_erase()
{
    if (word(erase_all_status) == 0 || faults_.erase_never_ends || clock_.device() < erase_ends_at_) {
        return;
    }
    connections_.erase_everything();
    word(erase_all_status) = 0;
}

/// Hosts sleep between their looks, which costs no modelled time: the answer that it is still busy does.
std::uint32_t ControlPort::read_erase_all_status(unsigned /*index*/)
{
    const std::uint32_t status = word(erase_all_status);
    is_awaited_ = is_awaited_ && status != 0;
    if (status != 0) {
        clock_.let_host_wait(timing::erase_all_poll_interval_ns);
    }
    return status;
}

void ControlPort::write_erase_all(std::uint32_t value, unsigned /*index*/)
{
    // It takes an edge to start: whoever wants a second erase writes 0 first.
    const bool was_set = std::exchange(word(erase_all_register), value & 1) != 0;
    if ((value & 1) == 0) {
        return;
    }
    if (word(erase_all_status) != 0) {
        records().add("erase-all-busy", "CTRL-AP ERASEALL while an erase is in progress");
        return;
    }
    if (was_set) {
        records().add("erase-all-no-edge", "CTRL-AP ERASEALL = 1 while it is 1 already");
        return;
    }
    word(erase_all_status) = 1;
    is_awaited_ = true;
    erase_ends_at_ = clock_.device() + timing::flash_erase_all_ns;
}

void ControlPort::write_reset(std::uint32_t value, unsigned /*index*/)
{
    const bool hold = (value & 1) != 0;
    if (hold == holds_reset()) {
        return;
    }
    if (hold && word(erase_all_status) != 0) {
        records().add("erase-all-aborted", "CTRL-AP RESET while an erase is in progress");
        word(erase_all_status) = 0;
    } else if (hold && is_awaited_) {
        records().add("erase-all-not-waited", "CTRL-AP RESET before ERASEALLSTATUS was read as 0");
    }
    is_awaited_ = is_awaited_ && !hold;
    word(reset_register) = hold ? 1 : 0;
    connections_.hold_in_reset(hold);
}

} // namespace jlinksim

#include "sim/chip/debug_port.h"

namespace jlinksim {
namespace {

// Banked registers stand at bank * 0x10 + 4.
constexpr std::uint32_t identification = 0x00;
constexpr std::uint32_t control = 0x04;
constexpr std::uint32_t select_register = 0x08;
constexpr std::uint32_t read_buffer = 0x0C;

constexpr std::uint32_t debug_power_request = 1U << 28;
constexpr std::uint32_t system_power_request = 1U << 30;
constexpr std::uint32_t power_requests = debug_power_request | system_power_request;
constexpr std::uint32_t sticky_error = 1U << 5;
constexpr std::uint32_t abort_clears_error = 1U << 2;

constexpr std::uint8_t identification_address = 0xFC;

} // namespace

struct DebugPortTable
{
    using Port = DebugPort;
    static constexpr std::array rows{
        // clang-format off
        //             name         offset           reset       writable        on write      on read
        Register<Port>{"DPIDR",     identification,  0x2BA01477, 0,              &Port::abort}, // written, it is ABORT
        Register<Port>{"CTRL/STAT", control,         0,          power_requests, nullptr,      &Port::read_control},
        Register<Port>{"DLCR",      0x14,            0x40,       0x300},
        Register<Port>{"TARGETID",  0x24,            0,          0},
        Register<Port>{"DLPIDR",    0x34,            1,          0},
        Register<Port>{"EVENTSTAT", 0x44,            1,          0},
        Register<Port>{"SELECT",    select_register, 0,          0xFF0000FF},
        Register<Port>{"RDBUFF",    read_buffer,     0,          0},
        // clang-format on
    };
};

const std::span<const Register<DebugPort>> DebugPort::table{DebugPortTable::rows};

DebugPort::DebugPort(std::span<std::uint32_t> words, Records& records)
    : RegisterBlock("debug port", table, words, records)
{
}

std::uint32_t DebugPort::banked_address(std::uint8_t index) const
{
    const std::uint32_t address = (index & 3U) * 4;
    const std::uint32_t bank = word(select_register) & 0xF;
    return address == control ? control + bank * 0x10 : address;
}

std::uint32_t DebugPort::read_debug(std::uint8_t index)
{
    return read_register(banked_address(index));
}

void DebugPort::write_debug(std::uint8_t index, std::uint32_t value)
{
    write_register(banked_address(index), value);
}

std::uint32_t DebugPort::read_control(unsigned /*index*/)
{
    // Each request is acknowledged at once, in the bit above it.
    const std::uint32_t stored = word(control);
    return stored | (stored & power_requests) << 1;
}

void DebugPort::abort(std::uint32_t value, unsigned /*index*/)
{
    if ((value & abort_clears_error) != 0) {
        word(control) &= ~sticky_error;
    }
}

void DebugPort::request_power(bool on)
{
    word(control) = on ? word(control) | power_requests : word(control) & ~power_requests;
}

bool DebugPort::requests_power() const
{
    return (word(control) & power_requests) != 0;
}

bool DebugPort::is_powered() const
{
    return (word(control) & power_requests) == power_requests;
}

DebugPort::Selected DebugPort::selected(std::uint8_t index) const
{
    const std::uint32_t select = word(select_register);
    const std::size_t port = select >> 24;
    return {port < ports_.size() ? ports_[port] : nullptr,
            static_cast<std::uint8_t>((select & 0xF0) | (index & 3U) * 4)};
}

bool DebugPort::may_access(const char* access)
{
    if (is_powered()) {
        // The probe clears the error of an earlier access by itself before it makes the next one.
        word(control) &= ~sticky_error;
        return true;
    }
    records().add("debug-unpowered", fmt::format("access port {} before CTRL/STAT requested power", access));
    return acknowledged(false);
}

bool DebugPort::acknowledged(bool ok)
{
    if (!ok) {
        word(control) |= sticky_error;
    }
    return ok;
}

bool DebugPort::read_access(std::uint8_t index, std::uint32_t& value)
{
    if (!may_access("read")) {
        return false;
    }
    const Selected access = selected(index);
    if (access.port != nullptr) {
        const bool ok = acknowledged(access.port->read_port(access.address, value));
        word(read_buffer) = ok ? value : 0;
        return ok;
    }
    // Asking an absent port for its identification is how hosts find out which ports there are.
    if (access.address != identification_address) {
        records().add("access-port-absent", fmt::format("read of SELECT 0x{:08X}", word(select_register)));
    }
    value = 0;
    word(read_buffer) = 0;
    return true;
}

bool DebugPort::write_access(std::uint8_t index, std::uint32_t value)
{
    if (!may_access("write")) {
        return false;
    }
    const Selected access = selected(index);
    if (access.port != nullptr) {
        return acknowledged(access.port->write_port(access.address, value));
    }
    records().add("access-port-absent", fmt::format("write with SELECT 0x{:08X}", word(select_register)),
                  fmt::format(" of 0x{:X}", value));
    return true;
}

} // namespace jlinksim

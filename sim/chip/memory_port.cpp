#include "sim/chip/memory_port.h"

#include "sim/time/timing.h"

#include <array>
#include <utility>

namespace jlinksim {
namespace {

constexpr std::uint32_t control = 0x00;          // CSW
constexpr std::uint32_t address_register = 0x04; // TAR
constexpr std::uint32_t data_register = 0x0C;    // DRW

constexpr std::uint32_t control_word_size = 2;
constexpr std::uint32_t control_size_mask = 0x7;
constexpr std::uint32_t control_increment = 0x30;
constexpr std::uint32_t control_device_enabled = 1U << 6;
constexpr std::uint32_t control_after_reset = 0x23000040 | control_word_size;

} // namespace

struct MemoryPortTable
{
    using Port = MemoryPort;
    static constexpr std::array rows{
        // clang-format off
        //             name    offset            reset                writable    on write             on read
        Register<Port>{"CSW",  control,          control_after_reset, 0x7F00003F, nullptr,             &Port::read_control},
        Register<Port>{"TAR",  address_register, 0,                   ~0U},
        Register<Port>{"DRW",  data_register,    0,                   0,          &Port::write_data,   &Port::read_data},
        Register<Port>{.name = "BD", .offset = 0x10, .on_write = &Port::write_banked, .on_read = &Port::read_banked, .count = 4},
        Register<Port>{"CFG",  0xF4,             0,                   0},
        Register<Port>{"BASE", 0xF8,             0xF0000003,          0},
        Register<Port>{"IDR",  0xFC,             0x24770011,          0},
        // clang-format on
    };
};

const std::span<const Register<MemoryPort>> MemoryPort::table{MemoryPortTable::rows};

MemoryPort::MemoryPort(std::span<std::uint32_t> words, Records& records, Connections connections)
    : RegisterBlock("AHB-AP", table, words, records), connections_(std::move(connections))
{
}

bool MemoryPort::read_port(std::uint8_t address, std::uint32_t& value)
{
    faulted_ = false;
    value = read_register(address);
    return !faulted_;
}

bool MemoryPort::write_port(std::uint8_t address, std::uint32_t value)
{
    faulted_ = false;
    write_register(address, value);
    return !faulted_;
}

std::uint32_t MemoryPort::read_control(unsigned /*index*/)
{
    const std::uint32_t stored = word(control) & ~control_device_enabled;
    return connections_.is_open() ? stored | control_device_enabled : stored;
}

std::uint32_t MemoryPort::access_bytes() const
{
    return 1U << std::min(word(control) & control_size_mask, control_word_size);
}

void MemoryPort::count_address_up()
{
    if ((word(control) & control_increment) == 0) {
        return;
    }
    constexpr std::uint32_t counted = timing::address_increment_range - 1;
    std::uint32_t& address = word(address_register);
    address = (address & ~counted) | ((address + access_bytes()) & counted);
}

std::uint32_t MemoryPort::read_data(unsigned /*index*/)
{
    // Narrow data travels in the byte lanes of its address.
    const std::uint32_t address = word(address_register);
    const std::uint32_t lane = address % 4;
    std::array<std::uint8_t, 4> bytes{};
    const std::uint32_t count = std::min(access_bytes(), 4 - lane);
    faulted_ = !connections_.read(address, std::span{bytes}.subspan(lane, count));
    count_address_up();
    std::uint32_t value = 0;
    std::memcpy(&value, bytes.data(), sizeof value);
    return faulted_ ? 0 : value;
}

void MemoryPort::write_data(std::uint32_t value, unsigned /*index*/)
{
    const std::uint32_t address = word(address_register);
    const std::uint32_t lane = address % 4;
    std::array<std::uint8_t, 4> bytes{};
    std::memcpy(bytes.data(), &value, sizeof value);
    const std::uint32_t count = std::min(access_bytes(), 4 - lane);
    faulted_ = !connections_.write(address, std::span<const std::uint8_t>{bytes}.subspan(lane, count));
    count_address_up();
}

std::uint32_t MemoryPort::read_banked(unsigned index)
{
    std::array<std::uint8_t, 4> bytes{};
    faulted_ = !connections_.read((word(address_register) & ~0xFU) + 4 * index, bytes);
    std::uint32_t value = 0;
    std::memcpy(&value, bytes.data(), sizeof value);
    return faulted_ ? 0 : value;
}

void MemoryPort::write_banked(std::uint32_t value, unsigned index)
{
    std::array<std::uint8_t, 4> bytes{};
    std::memcpy(bytes.data(), &value, sizeof value);
    faulted_ = !connections_.write((word(address_register) & ~0xFU) + 4 * index, bytes);
}

} // namespace jlinksim

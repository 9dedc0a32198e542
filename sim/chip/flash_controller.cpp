#include "sim/chip/flash_controller.h"

#include "sim/model/chip_model.h"
#include "sim/time/timing.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

namespace jlinksim {
namespace {

constexpr std::uint32_t ready_register = 0x400;
constexpr std::uint32_t config_register = 0x504;
constexpr std::uint32_t key_register = 0x600;

constexpr std::uint32_t write_enable = 1;
constexpr std::uint32_t erase_enable = 2;
constexpr std::uint32_t factory_write_key = 0x5A3C;
constexpr std::uint32_t mass_erase_key = 0x6E71;
constexpr std::uint32_t mass_erase_start = 3;

} // namespace

struct FlashControllerTable
{
    using Controller = FlashController;
    static constexpr std::array rows{
        //                   name         offset           reset  writable  on write                       on read
        Register<Controller>{"READY", ready_register, 1, 0, nullptr, &Controller::read_ready},
        Register<Controller>{"CONFIG", config_register, 0, 0, &Controller::write_config},
        Register<Controller>{"ERASEPAGE", 0x508, 0, 0, &Controller::erase_page},
        Register<Controller>{"ERASEALL", 0x50C, 0, 0, &Controller::erase_all},
        Register<Controller>{"ERASEUICR", 0x514, 0, 0, &Controller::erase_user_area},
        Register<Controller>{"KEY", key_register, 0, 0xFFFF, &Controller::write_key},
        Register<Controller>{"MASSERASE", 0x610, 0, 0, &Controller::mass_erase},
    };
};

const std::span<const Register<FlashController>> FlashController::table{FlashControllerTable::rows};

FlashController::FlashController(const Areas& areas, BlockProtection& protection, const HardwareFaults& faults,
                                 std::span<std::uint32_t> words, Services services, Connections connections)
    : RegisterBlock("NVMC", table, words, services.records),
      areas_(areas),
      protection_(protection),
      faults_(faults),
      clock_(services.clock),
      connections_(std::move(connections))
{
}

bool FlashController::is_busy() const
{
    return faults_.flash_never_ready || clock_.device() < ready_at_;
}

std::uint64_t FlashController::time_to_ready() const
{
    return std::max(ready_at_, clock_.device()) - clock_.device();
}

/// Nobody fetches from flash while it is written or erased.
void FlashController::start_busy(std::uint64_t nanoseconds)
{
    ready_at_ = clock_.device() + nanoseconds;
    if (connections_.is_cpu() && connections_.cpu_executes_flash()) {
        connections_.stall_cpu(nanoseconds, false);
    }
}

void FlashController::stall_until_ready()
{
    clock_.advance(time_to_ready());
}

void FlashController::reset(ResetKind kind)
{
    RegisterBlock::reset(kind);
    awaited_ = Awaited::nothing;
}

bool FlashController::is_enabled() const
{
    return is_debuggers_ && word(config_register) != 0;
}

bool FlashController::is_unlocked() const
{
    return is_debuggers_ && word(key_register) != 0;
}

bool FlashController::is_awaited() const
{
    // One that is never ready has been waited for in vain.
    return awaited_ != Awaited::nothing && !faults_.flash_never_ready;
}

std::uint32_t FlashController::read_ready(unsigned /*index*/)
{
    if (!is_busy()) {
        awaited_ = Awaited::nothing;
        return 1;
    }
    if (connections_.is_cpu()) {
        // One turn of a loop that waits stands for all that would follow, which nobody could tell from it.
        const std::uint64_t rest = faults_.flash_never_ready ? timing::longest_ready_wait_ns : time_to_ready();
        connections_.stall_cpu(std::min(rest, timing::longest_ready_wait_ns), true);
    }
    return 0;
}

void FlashController::take_step(const char* what, Awaited awaited)
{
    const bool is_next_word = awaited == Awaited::words && awaited_ == Awaited::words;
    is_debuggers_ = !connections_.is_cpu();
    if (is_debuggers_ && is_awaited() && !is_next_word) {
        records().add("flash-not-waited", fmt::format("{} before READY told that the last step is done", what));
    }
    awaited_ = is_debuggers_ ? awaited : Awaited::nothing;
}

void FlashController::write_key(std::uint32_t /*value*/, unsigned /*index*/)
{
    take_step("KEY", Awaited::setting);
}

void FlashController::write_config(std::uint32_t value, unsigned /*index*/)
{
    if (is_busy() && !faults_.flash_never_ready) {
        records().add("flash-busy", "CONFIG while the controller is busy", fmt::format(" = {}", value));
        return;
    }
    if (value > erase_enable) {
        records().add("flash-config-reserved", fmt::format("CONFIG = 0x{:X}", value));
        return;
    }
    word(config_register) = value;
    take_step("CONFIG", Awaited::setting);
}

bool FlashController::may_erase(const char* what)
{
    if (word(config_register) != erase_enable) {
        records().add("flash-erase-disabled", fmt::format("{} without erase-enable", what));
        return false;
    }
    if (is_busy()) {
        records().add("flash-busy", fmt::format("{} while the controller is busy", what));
        return false;
    }
    take_step(what, Awaited::erase);
    if (is_debuggers_ && connections_.cpu_executes_flash()) {
        records().add("flash-erase-under-cpu", fmt::format("{} while the CPU executes from flash", what));
    }
    return true;
}

bool FlashController::may_erase_all_blocks(const char* what)
{
    if (!may_erase(what)) {
        return false;
    }
    if (protection_.in_force()) {
        records().add("flash-block-protected", fmt::format("{} while flash blocks are protected", what));
        return false;
    }
    return true;
}

void FlashController::erase_page(std::uint32_t value, unsigned /*index*/)
{
    if (!may_erase("ERASEPAGE")) {
        return;
    }
    if (value >= areas_.code.bytes.size()) {
        records().add("flash-erase-outside", fmt::format("ERASEPAGE of 0x{:08X}", value));
        return;
    }
    const std::uint32_t page = value - value % flash_page_bytes;
    if (protection_.covers(page)) {
        records().add("flash-block-protected", fmt::format("ERASEPAGE of 0x{:08X}", value));
        return;
    }
    erase(areas_.code, page, flash_page_bytes);
    start_busy(timing::flash_page_erase_ns);
}

void FlashController::erase_all(std::uint32_t value, unsigned /*index*/)
{
    if ((value & 1) == 0 || !may_erase_all_blocks("ERASEALL")) {
        return;
    }
    erase_everything();
    start_busy(timing::flash_erase_all_ns);
}

void FlashController::erase_user_area(std::uint32_t value, unsigned /*index*/)
{
    if ((value & 1) == 0 || !may_erase("ERASEUICR")) {
        return;
    }
    erase(areas_.user, 0, static_cast<std::uint32_t>(areas_.user.bytes.size()));
    start_busy(timing::flash_page_erase_ns);
}

void FlashController::mass_erase(std::uint32_t value, unsigned /*index*/)
{
    if (word(key_register) != mass_erase_key || value != mass_erase_start) {
        records().add("flash-key-missing", fmt::format("MASSERASE = {} with KEY 0x{:04X}", value, word(key_register)));
        return;
    }
    if (!may_erase_all_blocks("MASSERASE")) {
        return;
    }
    erase_everything();
    start_busy(timing::flash_erase_all_ns);
}

void FlashController::erase_everything()
{
    erase(areas_.code, 0, static_cast<std::uint32_t>(areas_.code.bytes.size()));
    erase(areas_.user, 0, static_cast<std::uint32_t>(areas_.user.bytes.size()));
}

void FlashController::erase(const Area& area, std::uint32_t offset, std::uint32_t length)
{
    std::ranges::fill(area.bytes.subspan(offset, length), std::uint8_t{0xFF});
    connections_.on_change(area.address + offset, length);
}

bool FlashController::may_program(const Area& area, std::uint32_t offset, std::size_t length)
{
    const std::uint32_t address = area.address + offset;
    if (offset % 4 != 0 || length % 4 != 0) {
        records().add("flash-write-not-word", fmt::format("{} bytes to 0x{:08X} ({})", length, address, area.name));
        return false;
    }
    if (word(config_register) != write_enable) {
        records().add("flash-write-disabled", fmt::format("0x{:08X} ({})", address, area.name));
        return false;
    }
    if (area.needs_factory_key && word(key_register) != factory_write_key) {
        records().add("flash-key-missing", fmt::format("write to 0x{:08X} ({})", address, area.name));
        return false;
    }
    if (faults_.flash_never_ready) {
        records().add("flash-busy", fmt::format("write to 0x{:08X} ({})", address, area.name));
        return false;
    }
    return true;
}

void FlashController::wait_for_last_word()
{
    if (!connections_.is_cpu()) {
        stall_until_ready();
    } else if (const std::uint64_t rest = time_to_ready(); rest != 0) {
        connections_.stall_cpu(rest, false);
    }
}

/// The CPU goes on while its word is written; the debugger has the answer when it is.
void FlashController::take_word_time()
{
    if (connections_.is_cpu()) {
        start_busy(time_to_ready() + timing::flash_word_write_ns);
    } else {
        clock_.advance(timing::flash_word_write_ns);
    }
}

void FlashController::program(const Area& area, std::uint32_t offset, std::span<const std::uint8_t> data)
{
    if (!may_program(area, offset, data.size())) {
        return;
    }
    take_step("a write", Awaited::words);
    wait_for_last_word();
    for (std::size_t done = 0; done < data.size(); done += 4) {
        std::uint32_t value = 0;
        std::memcpy(&value, &data[done], sizeof value);
        program_word(area, offset + static_cast<std::uint32_t>(done), value);
    }
    connections_.on_change(area.address + offset, static_cast<std::uint32_t>(data.size()));
}

void FlashController::program_word(const Area& area, std::uint32_t offset, std::uint32_t value)
{
    const std::uint32_t address = area.address + offset;
    if (area.is_code && protection_.covers(offset)) {
        records().add("flash-block-protected", fmt::format("write to 0x{:08X}", address),
                      fmt::format(" of 0x{:08X}", value));
        return;
    }
    std::uint32_t cell = 0;
    std::memcpy(&cell, &area.bytes[offset], sizeof cell);
    if ((value & ~cell) != 0) {
        records().add("flash-bits-not-erased", fmt::format("write to 0x{:08X}", address),
                      fmt::format(" of 0x{:08X}, which holds 0x{:08X}", value, cell));
    }
    cell &= value;
    std::memcpy(&area.bytes[offset], &cell, sizeof cell);
    take_word_time();
}

void FlashController::note_read(const Area& area, std::uint32_t offset)
{
    if (is_awaited() && awaited_ == Awaited::erase) {
        records().add("flash-not-waited", fmt::format("read of 0x{:08X} ({}) before READY told that the erase is done",
                                                      area.address + offset, area.name));
    }
}

bool FlashArea::read(std::uint32_t offset, std::span<std::uint8_t> data)
{
    controller_.note_read(area_, offset);
    controller_.stall_until_ready();
    std::ranges::copy(area_.bytes.subspan(offset, data.size()), data.begin());
    return true;
}

bool FlashArea::write(std::uint32_t offset, std::span<const std::uint8_t> data)
{
    controller_.program(area_, offset, data);
    return true;
}

} // namespace jlinksim

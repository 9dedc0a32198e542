#pragma once

#include "sim/chip/block_protection.h"
#include "sim/device/register_block.h"
#include "sim/device/services.h"

#include <functional>
#include <span>

namespace jlinksim {

/// The flash controller (NVMC): the only way in which flash, UICR and FICR change.
///
/// Bits only clear on writes; writes and erases need their enable in CONFIG; the FICR and the mass erase need their
/// key. What breaks a rule is ignored and recorded.
class FlashController final : public RegisterBlock<FlashController>
{
public:
    static constexpr std::uint32_t base = 0x4001E000;
    static const std::span<const Register<FlashController>> table;

    /// The non-volatile areas, in the chip's address order.
    struct Area
    {
        const char* name;
        std::uint32_t address;
        std::span<std::uint8_t> bytes;
        bool needs_factory_key;
        bool is_code;
    };

    struct Areas
    {
        Area code;
        Area factory;
        Area user;
    };

    struct Connections
    {
        /// Learns which addresses have new content.
        std::function<void(std::uint32_t address, std::uint32_t length)> on_change;
        std::function<bool()> is_cpu; ///< that makes the access at hand, and not the debugger
        std::function<bool()> cpu_executes_flash;
        /// The CPU waits with the access at hand; an interrupt may cut that short or not.
        std::function<void(std::uint64_t nanoseconds, bool is_interruptible)> stall_cpu;
    };

    FlashController(const Areas& areas, BlockProtection& protection, const HardwareFaults& faults,
                    std::span<std::uint32_t> words, Services services, Connections connections);

    /// A bus write to an area. The debugger's holds the bus until the last word is written; the CPU's only begins, and
    /// what lets the CPU wait is to fetch from flash, or to write before the last write is over.
    void program(const Area& area, std::uint32_t offset, std::span<const std::uint8_t> data);
    /// Reads of an area wait for an operation in progress.
    void stall_until_ready();
    /// A read of an area.
    void note_read(const Area& area, std::uint32_t offset);
    /// Erase flash and UICR whatever the registers say: the CTRL-AP's way.
    void erase_everything();

    void reset(ResetKind kind) override;

    // What the debugger left behind; what firmware does with its own flash is its affair.
    bool is_enabled() const;  ///< CONFIG is not read-only
    bool is_unlocked() const; ///< KEY holds something
    bool is_awaited() const;  ///< nobody has read of its last step that it is ready

    const Areas& areas() const { return areas_; }

private:
    friend struct FlashControllerTable;

    /// What the host has to wait for, by reading that the controller is ready, before the next step. Words are the
    /// exception: the bus makes the next one wait.
    enum class Awaited
    {
        nothing,
        words,
        setting,
        erase,
    };

    std::uint32_t read_ready(unsigned index);
    void write_key(std::uint32_t value, unsigned index);
    void take_step(const char* what, Awaited awaited);
    void write_config(std::uint32_t value, unsigned index);
    void erase_page(std::uint32_t value, unsigned index);
    void erase_all(std::uint32_t value, unsigned index);
    void erase_user_area(std::uint32_t value, unsigned index);
    void mass_erase(std::uint32_t value, unsigned index);

    bool is_busy() const;
    bool may_erase(const char* what);
    bool may_erase_all_blocks(const char* what);
    bool may_program(const Area& area, std::uint32_t offset, std::size_t length);
    void program_word(const Area& area, std::uint32_t offset, std::uint32_t value);
    void erase(const Area& area, std::uint32_t offset, std::uint32_t length);
    void start_busy(std::uint64_t nanoseconds);
    std::uint64_t time_to_ready() const;
    void wait_for_last_word();
    void take_word_time();

    Areas areas_;
    BlockProtection& protection_;
    const HardwareFaults& faults_;
    Clock& clock_;
    Connections connections_;
    Awaited awaited_ = Awaited::nothing;
    bool is_debuggers_ = false;  ///< the last step was the debugger's
    std::uint64_t ready_at_ = 0; ///< device time; an operation that a process leaves behind is over for the next one
};

/// A non-volatile area on the bus.
class FlashArea final : public BusDevice
{
public:
    FlashArea(FlashController& controller, const FlashController::Area& area) : controller_(controller), area_(area) {}

    bool read(std::uint32_t offset, std::span<std::uint8_t> data) override;
    bool write(std::uint32_t offset, std::span<const std::uint8_t> data) override;
    std::span<std::uint8_t> raw() override { return area_.bytes; }

private:
    FlashController& controller_;
    const FlashController::Area& area_;
};

} // namespace jlinksim

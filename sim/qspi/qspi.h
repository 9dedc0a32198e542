#pragma once

#include "sim/device/register_block.h"
#include "sim/device/services.h"
#include "sim/qspi/serial_flash.h"

#include <functional>

namespace jlinksim {

/// The QSPI peripheral: moves bytes between RAM and a serial flash, and sends the flash instructions.
///
/// A task takes the time of its bits on the lines, and has its effect, on the flash as on RAM, at the end of it; then
/// comes the ready event. The ready event of an erase comes when its instruction has been sent: the flash's status
/// tells the rest. The write task cuts its bytes at the pages, waits before each of them until the flash is ready, and
/// is ready itself when the last one has been sent.
///
/// What is asked for in a wrong order or way is ignored and recorded; the ready event of it never comes.
class Qspi final : public RegisterBlock<Qspi>
{
public:
    static constexpr std::uint32_t base = 0x40029000;
    static const std::span<const Register<Qspi>> table;

    /// What the peripheral asks of the chip around it.
    struct Connections
    {
        std::function<std::uint32_t(unsigned port, unsigned pin)> pin_configuration;
        std::function<bool(std::uint32_t address, std::uint32_t length)> is_ram;
        std::function<void(std::uint32_t address, std::span<std::uint8_t> data)> read_ram;
        std::function<void(std::uint32_t address, std::span<const std::uint8_t> data)> write_ram;
    };

    Qspi(SerialFlash& flash, bool has_long_frames, const HardwareFaults& faults, std::span<std::uint32_t> words,
         Services services, Connections connections);

    void settle() override;
    std::uint64_t next_event() const override;
    bool interrupt() const override;
    void reset(ResetKind kind) override;
    bool is_enabled() const;

private:
    friend struct QspiTable;

    /// Bytes between RAM and flash that a task moves.
    struct Transfer
    {
        std::uint32_t flash_address = 0;
        std::uint32_t ram_address = 0;
        std::uint32_t bytes = 0;
    };
    struct CustomInstruction
    {
        std::uint8_t opcode = 0;
        unsigned length = 0; ///< the opcode, which only the first step of a long frame sends, and the data
        bool is_long = false;
        bool is_last = false;
        bool io2_high = false;
        bool io3_high = false;
    };

    void activate(std::uint32_t value, unsigned index);
    void deactivate(std::uint32_t value, unsigned index);
    void start_read(std::uint32_t value, unsigned index);
    void start_write(std::uint32_t value, unsigned index);
    void start_erase(std::uint32_t value, unsigned index);
    void start_custom(std::uint32_t value, unsigned index);
    void write_enable(std::uint32_t value, unsigned index);
    std::uint32_t read_ready(unsigned index);
    std::uint32_t read_custom_data(unsigned index);
    /// The host does this without having read the ready event of the last task.
    void note_not_waited(const char* what);
    void write_ready(std::uint32_t value, unsigned index);

    bool may_start(const char* task);
    bool may_use_lines(const char* task);
    bool may_transfer(const char* task, const Transfer& transfer);
    bool has_lines(const char* task);
    void abandon_long_frame(const char* what);
    void stop();

    using Step = void (Qspi::*)();
    void begin(Step step, std::uint64_t nanoseconds);
    void complete();
    void schedule_page();
    void finish_activation();
    void finish_read();
    void finish_page();
    void finish_erase();
    void finish_custom();

    unsigned address_bytes() const;
    std::uint32_t page_bytes() const;
    std::uint32_t next_page_bytes() const;
    std::uint64_t lines_ns(std::uint64_t clocks) const;
    /// What every frame of the peripheral's has in common.
    SerialFlash::Frame frame() const;
    std::uint32_t clock_divider() const;
    void send_instruction(std::uint8_t opcode, unsigned data_lines = 1);
    std::uint8_t receive(std::uint8_t sent);
    void send_address(std::uint32_t address);

    SerialFlash& flash_;
    bool has_long_frames_;
    const HardwareFaults& faults_;
    Clock& clock_;
    Connections connections_;

    Step step_ = nullptr; ///< what happens at step_at_; a task that a process leaves behind is abandoned
    std::uint64_t step_at_ = 0;
    Transfer transfer_;
    std::uint32_t written_ = 0; ///< bytes of a write's transfer so far
    CustomInstruction custom_;
    bool frame_is_open_ = false; ///< a long frame, of custom_.opcode
    bool awaits_ready_ = false;  ///< a task began, and nobody has read its ready event as 1
    bool was_polled_ = false;    ///< since then the ready event was read
};

} // namespace jlinksim

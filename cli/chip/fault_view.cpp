#include "cli/chip/fault_view.h"

#include "base/little_endian.h"
#include "cli/chip/cpu_registers.h"

#include <array>
#include <fmt/format.h>
#include <optional>
#include <vector>

namespace tessit::cli {
namespace {

// Registers of the system control space.
constexpr std::uint32_t interrupt_control = 0xE000ED04;    // ICSR
constexpr std::uint32_t configurable_faults = 0xE000ED28;  // CFSR
constexpr std::uint32_t hard_faults = 0xE000ED2C;          // HFSR
constexpr std::uint32_t debug_faults = 0xE000ED30;         // DFSR
constexpr std::uint32_t memory_fault_address = 0xE000ED34; // MMFAR
constexpr std::uint32_t bus_fault_address = 0xE000ED38;    // BFAR

// What an exception puts onto the stack, lowest address first: R0 to R3, R12, LR, the program counter, xPSR.
constexpr std::size_t frame_words = 8;
constexpr std::size_t frame_lr = 5;
constexpr std::size_t frame_pc = 6;
constexpr std::size_t frame_xpsr = 7;
constexpr std::size_t most_words_of_handler = 64; // that its beginning may have put on top of the frame

// As many words as there are, up to `most`.
std::vector<std::uint32_t> read_stack(std::uint32_t address, std::size_t most)
{
    std::vector<std::uint32_t> words;
    std::array<std::uint8_t, 4> bytes{};
    while (words.size() < most && TESSIT_read(address, bytes.data(), bytes.size()) == RESULT_OK) {
        words.push_back(little_endian::load_u32(bytes));
        address += 4;
    }
    return words;
}

// What LR holds when a handler begins: how to return, and to which stack.
bool is_exception_return(std::uint32_t word)
{
    constexpr std::uint32_t fixed_bits = 0xFFFFFFE3;
    return (word & fixed_bits) == 0xFFFFFFE1;
}

bool is_on_process_stack(std::uint32_t exception_return)
{
    return (exception_return & 1U << 2) != 0;
}

bool is_frame(const std::uint32_t* words)
{
    constexpr std::uint32_t thumb_state = 1U << 24;
    constexpr std::uint32_t reserved = 0x00F00000;
    return (words[frame_xpsr] & (thumb_state | reserved)) == thumb_state && words[frame_pc] % 2 == 0;
}

struct Place
{
    std::uint32_t pc;
    std::uint32_t lr; ///< mostly where the function was called that it was in
};

std::optional<Place> first_frame(const std::vector<std::uint32_t>& stack, std::size_t first)
{
    for (std::size_t i = first; i + frame_words <= stack.size(); ++i) {
        if (is_frame(&stack[i])) {
            return Place{stack[i + frame_pc], stack[i + frame_lr]};
        }
    }
    return {};
}

// Where the firmware was when the exception came. The handler may have put LR and more onto the main stack meanwhile.
std::optional<Place> interrupted_place(const Target& target)
{
    const std::uint32_t lr = read_register(target, R14);
    const std::vector<std::uint32_t> stack = read_stack(read_register(target, MSP), most_words_of_handler);
    std::optional<std::uint32_t> how;
    std::size_t after = 0;
    if (is_exception_return(lr)) {
        how = lr;
    } else if (const auto pushed = std::ranges::find_if(stack, is_exception_return); pushed != stack.end()) {
        how = *pushed;
        after = static_cast<std::size_t>(pushed - stack.begin()) + 1;
    }
    if (!how) {
        return {};
    }
    return is_on_process_stack(*how) ? first_frame(read_stack(read_register(target, PSP), frame_words), 0)
                                     : first_frame(stack, after);
}

} // namespace

FaultStatus read_fault_status(const Target& target)
{
    constexpr std::uint32_t active_exception = 0x1FF;
    return {.exception = target.read_word(interrupt_control) & active_exception,
            .configurable = target.read_word(configurable_faults),
            .hard = target.read_word(hard_faults),
            .debug = target.read_word(debug_faults),
            .memory_address = target.read_word(memory_fault_address),
            .bus_address = target.read_word(bus_fault_address)};
}

void forget_faults(const Target& target)
{
    constexpr std::array<std::uint8_t, 4> all_bits{0xFF, 0xFF, 0xFF, 0xFF}; // ones clear
    for (const std::uint32_t status : {configurable_faults, hard_faults, debug_faults}) {
        target.write(status, all_bits, WritePath::bus);
    }
}

std::string describe_handling(const Target& target, const FaultStatus& status)
{
    const std::string faults = describe_faults(status);
    const std::optional<Place> place = interrupted_place(target);
    return fmt::format("{}: {}{}", describe_handler(status), faults.empty() ? "no cause is noted" : faults,
                       place ? fmt::format("; the program counter was {:#010x}, LR {:#010x}", place->pc, place->lr)
                             : "");
}

} // namespace tessit::cli

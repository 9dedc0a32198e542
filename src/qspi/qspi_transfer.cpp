#include "src/qspi/qspi_transfer.h"

#include "src/frame/poll_bound.h"
#include "src/frame/result.h"
#include "src/frame/session.h"
#include "src/log/logger.h"
#include "src/memory/memory_access.h"
#include "src/qspi/qspi_configuration.h"
#include "src/qspi/qspi_registers.h"

#include <algorithm>
#include <array>

namespace tessit {
namespace {

constexpr std::uint32_t word_size = 4;
constexpr std::uint8_t erased = 0xFF;

// Instructions of the serial flash.
constexpr std::uint8_t write_enable_instruction = 0x06;
constexpr std::uint8_t read_status_instruction = 0x05;
constexpr std::uint8_t erase_32kb_instruction = 0x52;

// A request cut at its word boundaries: bytes before the first one, whole words, bytes after the last one.
struct Pieces
{
    std::uint32_t head;
    std::uint32_t middle;
    std::uint32_t tail;
};

// A request inside one word is all head, or all tail when it begins at the word.
Pieces cut_at_words(std::uint32_t addr, std::uint32_t length)
{
    const std::uint32_t before = addr % word_size;
    const std::uint32_t head = before == 0 ? 0 : std::min(word_size - before, length);
    const std::uint32_t tail = (length - head) % word_size;
    return {head, length - head - tail, tail};
}

result_code_t start_task(std::uint32_t task)
{
    RETURN_IF_FAILED(write_register(qspi_registers::ready_event, 0));
    RETURN_IF_FAILED(write_register(task, 1));
    return qspi_wait_for_ready();
}

// Flash to the read staging area; `count` is at most a staging area.
result_code_t stage_read(std::uint32_t source, std::uint32_t count)
{
    RETURN_IF_FAILED(write_register(qspi_registers::read_destination, qspi_registers::read_staging));
    RETURN_IF_FAILED(write_register(qspi_registers::read_source, source));
    RETURN_IF_FAILED(write_register(qspi_registers::read_count, count));
    return start_task(qspi_registers::read_start_task);
}

// `length` bytes of the word at `word_addr`, from its byte `first` on.
result_code_t read_from_word(std::uint32_t word_addr, std::uint32_t first, std::uint8_t* data, std::uint32_t length)
{
    RETURN_IF_FAILED(stage_read(word_addr, word_size));
    return read(qspi_registers::read_staging + first, data, length);
}

// Host bytes to the flash through the write staging area; `count` is at most a staging area.
result_code_t staged_write(std::uint32_t destination, const std::uint8_t* data, std::uint32_t count)
{
    RETURN_IF_FAILED(write_register(qspi_registers::write_source, qspi_registers::write_staging));
    RETURN_IF_FAILED(write_register(qspi_registers::write_destination, destination));
    RETURN_IF_FAILED(write_register(qspi_registers::write_count, count));
    RETURN_IF_FAILED(write(qspi_registers::write_staging, data, count, false));
    return start_task(qspi_registers::write_start_task);
}

result_code_t write_into_word(std::uint32_t word_addr, std::uint32_t first, const std::uint8_t* data,
                              std::uint32_t length)
{
    std::array<std::uint8_t, word_size> word;
    word.fill(erased);
    std::copy_n(data, length, word.begin() + first);
    return staged_write(word_addr, word.data(), word_size);
}

// The peripheral has no task for this length, so the flash is told itself.
result_code_t erase_32kb(std::uint32_t addr)
{
    RETURN_IF_FAILED(qspi_custom(write_enable_instruction, 1, nullptr, nullptr));
    const std::array address{static_cast<std::uint8_t>(addr >> 24), static_cast<std::uint8_t>(addr >> 16),
                             static_cast<std::uint8_t>(addr >> 8), static_cast<std::uint8_t>(addr)};
    const std::uint32_t address_bytes = session.qspi.address_mode == ADDRESS_MODE_24BIT ? 3 : 4;
    const std::uint8_t* const most_significant = address.data() + (address.size() - address_bytes);
    return qspi_custom(erase_32kb_instruction, 1 + address_bytes, most_significant, nullptr);
}

result_code_t start_erase(std::uint32_t addr, qspi_erase_len_t length)
{
    if (length == ERASE32KB) {
        return erase_32kb(addr);
    }
    RETURN_IF_FAILED(write_register(qspi_registers::erase_pointer, addr));
    RETURN_IF_FAILED(write_register(qspi_registers::erase_length, static_cast<std::uint32_t>(length)));
    return start_task(qspi_registers::erase_start_task);
}

// Three reads, of the ready event and of the two data registers, each of which waits for the probe's answer.
constexpr std::chrono::microseconds shortest_instruction = 3 * shortest_request;

result_code_t wait_for_erase()
{
    PollBound bound{session.qspi_bounds.erase, shortest_instruction};
    while (true) {
        std::uint8_t status = 0;
        RETURN_IF_FAILED(qspi_custom(read_status_instruction, 2, nullptr, &status));
        if ((status >> session.qspi.wip_index & 1) == 0) {
            return RESULT_OK;
        }
        if (bound.is_reached()) {
            log_message("QSPI flash never finishes its erase.");
            return ERR_FLASH_CONTROLLER_TIMEOUT;
        }
    }
}

} // namespace

result_code_t qspi_read_flash(std::uint32_t addr, std::uint8_t* data, std::uint32_t length)
{
    const Pieces pieces = cut_at_words(addr, length);
    if (pieces.head != 0) {
        const std::uint32_t first = addr % word_size;
        RETURN_IF_FAILED(read_from_word(addr - first, first, data, pieces.head));
        addr += pieces.head;
        data += pieces.head;
    }
    if (pieces.tail != 0) {
        RETURN_IF_FAILED(read_from_word(addr + pieces.middle, 0, data + pieces.middle, pieces.tail));
    }
    for (std::uint32_t offset = 0; offset < pieces.middle;) {
        const std::uint32_t count = std::min(pieces.middle - offset, qspi_registers::staging_size);
        RETURN_IF_FAILED(stage_read(addr + offset, count));
        RETURN_IF_FAILED(read(qspi_registers::read_staging, data + offset, count));
        offset += count;
    }
    return RESULT_OK;
}

result_code_t qspi_write_flash(std::uint32_t addr, const std::uint8_t* data, std::uint32_t length)
{
    const Pieces pieces = cut_at_words(addr, length);
    if (pieces.head != 0) {
        const std::uint32_t first = addr % word_size;
        RETURN_IF_FAILED(write_into_word(addr - first, first, data, pieces.head));
        addr += pieces.head;
        data += pieces.head;
    }
    if (pieces.tail != 0) {
        RETURN_IF_FAILED(write_into_word(addr + pieces.middle, 0, data + pieces.middle, pieces.tail));
    }
    for (std::uint32_t offset = 0; offset < pieces.middle;) {
        const std::uint32_t count = std::min(pieces.middle - offset, qspi_registers::staging_size);
        RETURN_IF_FAILED(staged_write(addr + offset, data + offset, count));
        offset += count;
    }
    return RESULT_OK;
}

result_code_t qspi_erase_flash(std::uint32_t addr, qspi_erase_len_t length)
{
    RETURN_IF_FAILED(start_erase(addr, length));
    return wait_for_erase();
}

} // namespace tessit

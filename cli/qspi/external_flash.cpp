#include "cli/qspi/external_flash.h"

#include "cli/terminal/console.h"
#include "cli/text/lists.h"

#include <algorithm>
#include <fmt/format.h>

namespace tessit::cli {
namespace {

constexpr std::uint8_t read_status_opcode = 0x05;
constexpr std::uint8_t identify_opcode = 0x9F;
constexpr std::uint8_t use_long_addresses_opcode = 0xB7;
constexpr std::uint8_t use_short_addresses_opcode = 0xE9;
constexpr std::uint8_t ones = 0xFF;

constexpr const char* connection_hint =
    "Check the pins of the connection against the board, and that the flash has its supply; `tessit qspi info` shows "
    "what answers.";

} // namespace

std::uint32_t FlashIdentification::size() const
{
    constexpr std::uint8_t smallest = 16; // 64 KiB
    constexpr std::uint8_t largest = 31;
    return bytes[2] >= smallest && bytes[2] <= largest ? std::uint32_t{1} << bytes[2] : 0;
}

bool FlashIdentification::is_of_nobody() const
{
    const auto all_are = [this](std::uint8_t value) {
        return std::ranges::all_of(bytes, [value](std::uint8_t byte) { return byte == value; });
    };
    return all_are(ones) || all_are(0);
}

ExternalFlash::ExternalFlash(const Session& session, const QspiConnection& connection, bool retains_ram)
    : session_{session}, connection_{connection}, retains_ram_{retains_ram}
{
    session_.check(TESSIT_qspi_init(retains_ram ? 1 : 0, &connection_.config), "initialize the QSPI peripheral");
}

ExternalFlash::~ExternalFlash()
{
    if (!is_released_) {
        TESSIT_qspi_uninit();
    }
}

void ExternalFlash::release()
{
    if (uses_long_addresses_) {
        instruct(use_short_addresses_opcode, {}, 0);
    }
    is_released_ = true;
    session_.check(TESSIT_qspi_uninit(), "release the QSPI peripheral");
}

void ExternalFlash::open()
{
    // A flash that is busy answers nothing but its status; where there is none, that reads as ones, too.
    if (read_status() != ones) {
        wait_until_ready("before anything was done");
    }
    identification_ = identify();
    if (identification_.is_of_nobody()) {
        throw Failure{
            ExitCode::failure,
            fmt::format("no external flash answers (its identification reads {})", hex(identification_.bytes, " ")),
            connection_hint};
    }
    if (connection_.config.address_mode == ADDRESS_MODE_32BIT) {
        instruct(use_long_addresses_opcode, {}, 0);
        uses_long_addresses_ = true;
    }
}

FlashIdentification ExternalFlash::identify() const
{
    FlashIdentification identification;
    std::ranges::copy(instruct(identify_opcode, {}, identification.bytes.size()), identification.bytes.begin());
    return identification;
}

std::uint32_t ExternalFlash::size() const
{
    const std::uint32_t size = connection_.flash_size.value_or(identification_.size());
    if (size == 0) {
        throw Failure{ExitCode::failure,
                      fmt::format("the external flash does not tell its size (its identification reads {})",
                                  hex(identification_.bytes, " ")),
                      "Give it by hand, for example --flash-size 8M."};
    }
    return size;
}

Range ExternalFlash::reachable() const
{
    const std::uint64_t reach = std::uint64_t{1} << connection_.address_bits();
    return {0, std::min<std::uint64_t>(size(), reach)};
}

std::vector<std::uint8_t> ExternalFlash::instruct(std::uint8_t opcode, std::span<const std::uint8_t> sent,
                                                  std::size_t received) const
{
    std::vector<std::uint8_t> data{sent.begin(), sent.end()};
    data.resize(sent.size() + received);
    std::vector<std::uint8_t> answer(data.size());
    const auto length = static_cast<std::uint32_t>(1 + data.size());
    session_.check(TESSIT_qspi_custom(opcode, length, data.data(), answer.data()),
                   fmt::format("send the instruction {:#04x} to the external flash", opcode));
    return answer;
}

std::uint8_t ExternalFlash::read_status() const
{
    return instruct(read_status_opcode, {}, 1).front();
}

void ExternalFlash::wait_until_ready(std::string_view what) const
{
    const auto give_up_at = clock().now() + connection_.ready_timeout;
    while ((read_status() >> connection_.config.WIP_index & 1) != 0) {
        stop_if_interrupted("the external flash was still busy");
        if (clock().now() >= give_up_at) {
            throw Failure{
                ExitCode::failure,
                fmt::format("the external flash is still busy after {} s, {}", connection_.ready_timeout.count(), what),
                "Check that the wip-bit is the flash's, and its supply; a slow flash needs a longer "
                "--ready-timeout."};
        }
    }
}

void ExternalFlash::read(std::uint32_t address, std::span<std::uint8_t> bytes, const ChunkDone& done) const
{
    transfer_in_chunks(address, bytes, done, [this](std::uint32_t first, std::span<std::uint8_t> chunk) {
        session_.check(TESSIT_qspi_read(first, chunk.data(), static_cast<std::uint32_t>(chunk.size())),
                       fmt::format("read {} of the external flash at {:#010x}", format_size(chunk.size()), first));
    });
}

void ExternalFlash::write(std::uint32_t address, std::span<const std::uint8_t> bytes, const ChunkDone& done) const
{
    transfer_in_chunks(address, bytes, done, [this](std::uint32_t first, std::span<const std::uint8_t> chunk) {
        session_.check(TESSIT_qspi_write(first, chunk.data(), static_cast<std::uint32_t>(chunk.size())),
                       fmt::format("write {} to the external flash at {:#010x}", format_size(chunk.size()), first));
        wait_until_ready(fmt::format("writing at {:#010x}", first));
    });
}

void ExternalFlash::erase(std::uint32_t address, qspi_erase_len_t length) const
{
    session_.check(TESSIT_qspi_erase(address, length), fmt::format("erase the external flash at {:#010x}", address));
}

} // namespace tessit::cli

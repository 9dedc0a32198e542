#include "base/little_endian.h"
#include "src/frame/result.h"
#include "src/frame/session.h"
#include "src/log/logger.h"
#include "src/memory/memory_access.h"
#include "src/qspi/qspi_configuration.h"
#include "src/qspi/qspi_registers.h"
#include "src/qspi/qspi_transfer.h"
#include "src/target/chip_versions.h"
#include "src/target/device.h"

#include <algorithm>
#include <limits>
#include <memory>
#include <new>
#include <span>

namespace tessit {
namespace {

// The opcode and the two data registers; longer instructions are long frames.
constexpr std::uint32_t longest_short_frame = 9;
// Data bytes that one step moves.
constexpr std::uint64_t step_size = 8;

// Data of an instruction on the host, in whole steps; none when it could not be allocated.
using StepBuffer = std::unique_ptr<std::uint8_t[]>;

StepBuffer allocate_steps(std::uint64_t data_length)
{
    const std::uint64_t steps = std::max<std::uint64_t>((data_length + step_size - 1) / step_size, 1);
    const std::uint64_t size = steps * step_size;
    if (size > std::numeric_limits<std::size_t>::max()) {
        return nullptr;
    }
    return StepBuffer{new (std::nothrow) std::uint8_t[static_cast<std::size_t>(size)]()};
}

// Receive one of the data registers, least significant byte first.
result_code_t receive_word(std::uint32_t data_register, std::uint8_t* bytes)
{
    std::uint32_t word = 0;
    RETURN_IF_FAILED(read_u32(data_register, &word));
    little_endian::store_u32({bytes, sizeof word}, word);
    return RESULT_OK;
}

std::uint32_t configuration(std::uint8_t instruction_code, std::uint32_t length_field, bool long_frame)
{
    return instruction_code | length_field << qspi_registers::custom_length_shift |
           session.qspi.custom_instruction_io2_level << qspi_registers::custom_io2_shift |
           session.qspi.custom_instruction_io3_level << qspi_registers::custom_io3_shift |
           (long_frame ? qspi_registers::custom_long_frame : 0);
}

// One step: eight bytes out, and eight bytes in when `received` is given.
result_code_t exchange_step(std::uint32_t step_configuration, const std::uint8_t* sent, std::uint8_t* received)
{
    RETURN_IF_FAILED(write_register(qspi_registers::custom_data_0, little_endian::load_u32({sent, 4})));
    RETURN_IF_FAILED(write_register(qspi_registers::custom_data_1, little_endian::load_u32({sent + 4, 4})));
    RETURN_IF_FAILED(write_register(qspi_registers::ready_event, 0));
    RETURN_IF_FAILED(write_register(qspi_registers::custom_configuration, step_configuration));
    RETURN_IF_FAILED(qspi_wait_for_ready());
    if (received == nullptr) {
        return RESULT_OK;
    }
    RETURN_IF_FAILED(receive_word(qspi_registers::custom_data_0, received));
    return receive_word(qspi_registers::custom_data_1, received + 4);
}

result_code_t require_long_frames()
{
    chip_version_t version = UNKNOWN;
    RETURN_IF_FAILED(read_device_version(&version));
    const ChipVersion* const chip = find_birch(version);
    if (chip != nullptr && chip->has_qspi && !chip->has_qspi_long_frames) {
        log_message("Instruction_length greater than 9 is not available for the QSPI peripheral in the device.");
        return ERR_UNSUPPORTED_ON_DEVICE;
    }
    return RESULT_OK;
}

} // namespace

result_code_t qspi_custom(std::uint8_t instruction_code, std::uint32_t instruction_length, const std::uint8_t* data_in,
                          std::uint8_t* data_out)
{
    FunctionTag tag{"qspi_custom"};
    const bool long_frame = instruction_length > longest_short_frame;
    if (long_frame) {
        RETURN_IF_FAILED(require_long_frames());
    }
    const std::uint32_t data_length = instruction_length - 1;
    const StepBuffer sent = allocate_steps(data_length);
    if (sent == nullptr) {
        log_message(" Failed allocating memory for data_in data.");
        return ERR_NO_MEMORY;
    }
    const StepBuffer received = allocate_steps(data_length);
    if (received == nullptr) {
        log_message(" Failed allocating memory for data_out data.");
        return ERR_NO_MEMORY;
    }
    if (data_in != nullptr) {
        std::copy_n(data_in, data_length, sent.get());
    }
    for (std::uint64_t offset = 0; offset == 0 || offset < data_length; offset += step_size) {
        const auto length_field =
            static_cast<std::uint32_t>(std::min<std::uint64_t>(instruction_length - offset, longest_short_frame));
        RETURN_IF_FAILED(exchange_step(configuration(instruction_code, length_field, long_frame), sent.get() + offset,
                                       data_out != nullptr ? received.get() + offset : nullptr));
    }
    if (data_out != nullptr) {
        std::copy_n(received.get(), data_length, data_out);
    }
    if (long_frame) {
        return write_u32(qspi_registers::custom_configuration,
                         configuration(instruction_code, 1, true) | qspi_registers::custom_long_frame_end, false);
    }
    return RESULT_OK;
}

} // namespace tessit

#include "src/exports/guards.h"
#include "src/frame/export.h"
#include "src/frame/session.h"
#include "src/qspi/qspi_transfer.h"
#include "src/target/device.h"
#include "src/target/run_control.h"

using namespace tessit;

namespace {

constexpr std::uint32_t last_24bit_addr = 0xFFFFFF;

// The peripheral is initialized, and the device connection that it was initialized on is still there.
result_code_t require_qspi(const Export& op)
{
    RETURN_IF_FAILED(op.refuse_when(!session.qspi_initialized, "qspi_init has not been called"));
    RETURN_IF_FAILED(op.require_open());
    RETURN_IF_FAILED(require_probe(op));
    return require_connection_kept(op, "qspi_init");
}

result_code_t require_addr_in_mode(const Export& op, std::uint32_t addr)
{
    return op.require(session.qspi.address_mode != ADDRESS_MODE_24BIT || addr <= last_24bit_addr,
                      "Invalid addr provided, QSPI is configured for 24-bit addresses but addr provided does not fit "
                      "in 24 bits.");
}

result_code_t require_buffer(const Export& op, const std::uint8_t* data, std::uint32_t data_len)
{
    RETURN_IF_FAILED(op.require(data != nullptr, "Invalid data pointer provided."));
    return op.require(data_len != 0, "Invalid data_len provided, it cannot be 0.");
}

result_code_t require_erasable(const Export& op, std::uint32_t addr, qspi_erase_len_t length)
{
    switch (length) {
    case ERASE4KB:
        return op.require(addr % 0x1000 == 0,
                          "Invalid length provided. The value received is not aligned to ERASE4KB erase length.");
    case ERASE64KB:
        return op.require(addr % 0x10000 == 0,
                          "Invalid length provided. The value received is not aligned to ERASE64KB erase length.");
    case ERASE32KB:
        return op.require(addr % 0x8000 == 0,
                          "Invalid length provided. The value received is not aligned to ERASE32KB erase length.");
    default:
        return RESULT_OK;
    }
}

} // namespace

TESSIT_API result_code_t TESSIT_CALL TESSIT_qspi_read(std::uint32_t addr, std::uint8_t* data, std::uint32_t data_len)
{
    Export op{"qspi_read"};
    RETURN_IF_FAILED(require_buffer(op, data, data_len));
    RETURN_IF_FAILED(require_addr_in_mode(op, addr));
    RETURN_IF_FAILED(require_qspi(op));
    RETURN_IF_FAILED(halt());
    return qspi_read_flash(addr, data, data_len);
}

TESSIT_API result_code_t TESSIT_CALL TESSIT_qspi_write(std::uint32_t addr, const std::uint8_t* data,
                                                       std::uint32_t data_len)
{
    Export op{"qspi_write"};
    RETURN_IF_FAILED(require_buffer(op, data, data_len));
    RETURN_IF_FAILED(require_addr_in_mode(op, addr));
    RETURN_IF_FAILED(require_qspi(op));
    RETURN_IF_FAILED(halt());
    return qspi_write_flash(addr, data, data_len);
}

TESSIT_API result_code_t TESSIT_CALL TESSIT_qspi_erase(std::uint32_t addr, qspi_erase_len_t length)
{
    Export op{"qspi_erase"};
    RETURN_IF_FAILED(
        op.require(length >= ERASE4KB && length <= ERASE32KB,
                   "Invalid length provided. The value received cannot be encoded in a qspi_erase_len_t."));
    RETURN_IF_FAILED(require_addr_in_mode(op, addr));
    RETURN_IF_FAILED(require_erasable(op, addr, length));
    RETURN_IF_FAILED(require_qspi(op));
    RETURN_IF_FAILED(halt());
    return qspi_erase_flash(addr, length);
}

TESSIT_API result_code_t TESSIT_CALL TESSIT_qspi_custom(std::uint8_t instruction_code, std::uint32_t instruction_length,
                                                        const std::uint8_t* data_in, std::uint8_t* data_out)
{
    Export op{"qspi_custom"};
    RETURN_IF_FAILED(op.require(instruction_length != 0, "Invalid instruction_length parameter provided."));
    RETURN_IF_FAILED(require_qspi(op));
    RETURN_IF_FAILED(halt());
    return qspi_custom(instruction_code, instruction_length, data_in, data_out);
}

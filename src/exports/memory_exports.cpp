#include "base/little_endian.h"
#include "src/exports/guards.h"
#include "src/frame/export.h"
#include "src/memory/memory_access.h"
#include "src/target/device.h"
#include "src/target/run_control.h"

using namespace tessit;

namespace {

constexpr auto invalid_buffer = "Invalid buffer pointer provided.";

bool is_word_aligned(std::uint32_t value)
{
    return value % 4 == 0;
}

result_code_t require_word_aligned(const Export& op, std::uint32_t addr)
{
    return op.require(is_word_aligned(addr), "Invalid addr provided, it must be word aligned.");
}

} // namespace

TESSIT_API result_code_t TESSIT_CALL TESSIT_read_u32(std::uint32_t addr, std::uint32_t* data)
{
    Export op{"read_u32"};
    RETURN_IF_FAILED(op.require(data != nullptr, "Invalid data pointer provided."));
    RETURN_IF_FAILED(require_word_aligned(op, addr));
    RETURN_IF_FAILED(op.require_open());
    RETURN_IF_FAILED(require_probe(op));
    RETURN_IF_FAILED(make_device_ready());
    RETURN_IF_FAILED(halt());
    return read_u32(addr, data);
}

TESSIT_API result_code_t TESSIT_CALL TESSIT_write_u32(std::uint32_t addr, std::uint32_t data, std::uint8_t use_nvmc)
{
    Export op{"write_u32"};
    RETURN_IF_FAILED(require_word_aligned(op, addr));
    RETURN_IF_FAILED(op.require_open());
    RETURN_IF_FAILED(require_probe(op));
    RETURN_IF_FAILED(make_device_ready());
    RETURN_IF_FAILED(halt());
    return write_u32(addr, data, use_nvmc != 0);
}

TESSIT_API result_code_t TESSIT_CALL TESSIT_read(std::uint32_t addr, std::uint8_t* buffer, std::uint32_t buffer_length)
{
    Export op{"read"};
    RETURN_IF_FAILED(op.require(buffer_length != 0, "Invalid buffer length provided."));
    RETURN_IF_FAILED(op.require(buffer != nullptr, invalid_buffer));
    RETURN_IF_FAILED(op.require_open());
    RETURN_IF_FAILED(require_probe(op));
    RETURN_IF_FAILED(make_device_ready());
    RETURN_IF_FAILED(halt());
    return read(addr, buffer, buffer_length);
}

TESSIT_API result_code_t TESSIT_CALL TESSIT_write(std::uint32_t addr, const std::uint8_t* buffer,
                                                  std::uint32_t buffer_length, std::uint8_t use_nvmc)
{
    Export op{"write"};
    RETURN_IF_FAILED(op.require(buffer_length != 0, "Invalid buffer length provided, it cannot be 0."));
    RETURN_IF_FAILED(op.require(buffer != nullptr, invalid_buffer));
    RETURN_IF_FAILED(require_word_aligned(op, addr));
    RETURN_IF_FAILED(op.require_open());
    RETURN_IF_FAILED(require_probe(op));
    RETURN_IF_FAILED(make_device_ready());
    RETURN_IF_FAILED(halt());
    return write(addr, buffer, buffer_length, use_nvmc != 0);
}

TESSIT_API result_code_t TESSIT_CALL TESSIT_ficrwrite_u32(std::uint32_t addr, std::uint32_t data)
{
    Export op{"ficrwrite_u32"};
    RETURN_IF_FAILED(require_word_aligned(op, addr));
    RETURN_IF_FAILED(op.require_open());
    RETURN_IF_FAILED(require_probe(op));
    RETURN_IF_FAILED(make_device_ready());
    RETURN_IF_FAILED(halt());
    const auto bytes = little_endian::bytes_of(data);
    return ficrwrite(addr, bytes.data(), bytes.size());
}

TESSIT_API result_code_t TESSIT_CALL TESSIT_ficrwrite(std::uint32_t addr, const std::uint8_t* buffer,
                                                      std::uint32_t buffer_length)
{
    Export op{"ficrwrite"};
    RETURN_IF_FAILED(op.require(buffer_length != 0, "Invalid buffer length provided, it is 0."));
    RETURN_IF_FAILED(
        op.require(is_word_aligned(buffer_length), "Invalid buffer length provided, it must be a multiple of 4."));
    RETURN_IF_FAILED(op.require(buffer != nullptr, invalid_buffer));
    RETURN_IF_FAILED(require_word_aligned(op, addr));
    RETURN_IF_FAILED(op.require_open());
    RETURN_IF_FAILED(require_probe(op));
    RETURN_IF_FAILED(make_device_ready());
    RETURN_IF_FAILED(halt());
    return ficrwrite(addr, buffer, buffer_length);
}

#include "src/memory/erase.h"

#include "src/frame/result.h"
#include "src/log/logger.h"
#include "src/memory/memory_access.h"
#include "src/memory/nvmc_registers.h"

namespace tessit {

result_code_t erase_all()
{
    FunctionTag tag{"erase_all"};
    return nvmc_erase(nvmc::erase_all, nvmc::start_erase);
}

result_code_t erase_uicr()
{
    FunctionTag tag{"erase_uicr"};
    return nvmc_erase(nvmc::erase_uicr, nvmc::start_erase);
}

result_code_t nvmc_erase(std::uint32_t register_addr, std::uint32_t value)
{
    RETURN_IF_FAILED(nvmc_switch_to(nvmc::erase_enable));
    RETURN_IF_FAILED(nvmc_write_and_wait(register_addr, value));
    return nvmc_switch_to(nvmc::read_only);
}

} // namespace tessit

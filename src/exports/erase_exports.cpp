#include "src/exports/guards.h"
#include "src/frame/export.h"
#include "src/memory/erase.h"
#include "src/memory/memory_access.h"
#include "src/memory/nvmc_registers.h"
#include "src/target/chip_versions.h"
#include "src/target/device.h"
#include "src/target/run_control.h"

using namespace tessit;

namespace {

// Words whose read shows that memory answers again after an erase; their values do not matter.
constexpr std::uint32_t first_flash_word = 0x00000000;
constexpr std::uint32_t last_ficr_word = 0x10000FFC;

result_code_t dummy_read(std::uint32_t addr)
{
    std::uint32_t discarded = 0;
    return read_u32(addr, &discarded);
}

} // namespace

TESSIT_API result_code_t TESSIT_CALL TESSIT_erase_all(void)
{
    Export op{"erase_all"};
    RETURN_IF_FAILED(op.require_open());
    RETURN_IF_FAILED(require_probe(op));
    RETURN_IF_FAILED(make_device_ready());
    RETURN_IF_FAILED(halt());
    RETURN_IF_FAILED(erase_all());
    return dummy_read(last_ficr_word);
}

TESSIT_API result_code_t TESSIT_CALL TESSIT_erase_page(std::uint32_t addr)
{
    Export op{"erase_page"};
    RETURN_IF_FAILED(op.require_open());
    RETURN_IF_FAILED(require_probe(op));
    RETURN_IF_FAILED(make_device_ready());
    RETURN_IF_FAILED(halt());
    RETURN_IF_FAILED(nvmc_erase(nvmc::erase_page, addr));
    return dummy_read(last_ficr_word);
}

TESSIT_API result_code_t TESSIT_CALL TESSIT_erase_uicr(void)
{
    Export op{"erase_uicr"};
    RETURN_IF_FAILED(op.require_open());
    RETURN_IF_FAILED(require_probe(op));
    RETURN_IF_FAILED(make_device_ready());
    RETURN_IF_FAILED(halt());
    RETURN_IF_FAILED(erase_uicr());
    return dummy_read(last_ficr_word);
}

TESSIT_API result_code_t TESSIT_CALL TESSIT_masserase(void)
{
    Export op{"masserase"};
    RETURN_IF_FAILED(op.require_open());
    RETURN_IF_FAILED(require_probe(op));
    RETURN_IF_FAILED(make_device_ready());
    RETURN_IF_FAILED(halt());
    RETURN_IF_FAILED(nvmc_switch_to(nvmc::read_only));
    RETURN_IF_FAILED(nvmc_write_and_wait(nvmc::key, nvmc::mass_erase_key));
    RETURN_IF_FAILED(nvmc_erase(nvmc::mass_erase, nvmc::start_mass_erase));
    RETURN_IF_FAILED(nvmc_write_and_wait(nvmc::key, nvmc::locked));
    RETURN_IF_FAILED(dummy_read(first_flash_word));
    return dummy_read(last_ficr_word);
}

TESSIT_API result_code_t TESSIT_CALL TESSIT_disable_bprot(void)
{
    Export op{"disable_bprot"};
    RETURN_IF_FAILED(op.require_open());
    RETURN_IF_FAILED(require_probe(op));
    RETURN_IF_FAILED(make_device_ready());
    RETURN_IF_FAILED(halt());
    const ChipVersion* chip = nullptr;
    RETURN_IF_FAILED(read_chip(&chip));
    if (chip->bprot_disable_register != 0) {
        RETURN_IF_FAILED(write_register(chip->bprot_disable_register, 1));
    }
    return sys_reset();
}

#include "sim/model/chip_model.h"

#include <algorithm>
#include <array>

namespace jlinksim {
namespace {

constexpr std::uint32_t variant_a = 0x200;
constexpr std::uint32_t variant_b = 0x100;
constexpr std::uint32_t kib = 1024;
constexpr auto by_register = BlockProtectionRelease::by_register;
constexpr auto by_reset = BlockProtectionRelease::by_reset;

constexpr std::array models{
    // clang-format off
    //        name                  part revision variant   flash        RAM     CTRL-AP block protection         ports QSPI  frames alias
    ChipModel{"BIRCH_M1_VA_ENGA",    6,   3,  variant_a,  512 * kib,  16, 0,  false, by_register, 0x40000608,  1,  false, false, 0x08000000},
    ChipModel{"BIRCH_M1_VA_ENGB",    6,   4,  variant_a,  512 * kib,  16, 0,  true,  by_register, 0x40000608,  1,  false, false, 0},
    ChipModel{"BIRCH_M1_VA_REV1",    6,   5,  variant_a,  512 * kib,  16, 0,  true,  by_register, 0x40000608,  1,  false, false, 0},
    ChipModel{"BIRCH_M1_VA_REV2",    6,   6,  variant_a,  512 * kib,  16, 0,  true,  by_register, 0x40000608,  1,  false, false, 0},
    ChipModel{"BIRCH_M1_VA_FUTURE",  6,   7,  variant_a,  512 * kib,  16, 0,  true,  by_register, 0x40000608,  1,  false, false, 0},
    ChipModel{"BIRCH_M1_VB_REV1",    6,   5,  variant_b,  256 * kib,   8, 0,  true,  by_register, 0x40000608,  1,  false, false, 0},
    ChipModel{"BIRCH_M1_VB_REV2",    6,   6,  variant_b,  256 * kib,   8, 0,  true,  by_register, 0x40000608,  1,  false, false, 0},
    ChipModel{"BIRCH_M1_VB_FUTURE",  6,   7,  variant_b,  256 * kib,   8, 0,  true,  by_register, 0x40000608,  1,  false, false, 0},
    ChipModel{"BIRCH_M2_VA_ENGA",    8,   0,  variant_a, 1024 * kib,  16, 6,  true,  by_register, 0x4001E704,  2,  true,  false, 0},
    ChipModel{"BIRCH_M2_VA_ENGB",    8,   1,  variant_a, 1024 * kib,  16, 6,  true,  by_reset,    0,           2,  true,  true,  0},
    ChipModel{"BIRCH_M2_VA_REV1",    8,   2,  variant_a, 1024 * kib,  16, 6,  true,  by_reset,    0,           2,  true,  true,  0},
    ChipModel{"BIRCH_M2_VA_FUTURE",  8,   3,  variant_a, 1024 * kib,  16, 6,  true,  by_reset,    0,           2,  true,  true,  0},
    ChipModel{"BIRCH_M3_VA_REV1",   10,   0,  variant_a,  192 * kib,   6, 0,  true,  by_register, 0x40000608,  1,  false, false, 0},
    ChipModel{"BIRCH_M3_VA_FUTURE", 10,   1,  variant_a,  192 * kib,   6, 0,  true,  by_register, 0x40000608,  1,  false, false, 0},
    // clang-format on
};

} // namespace

std::span<const ChipModel> chip_models()
{
    return models;
}

const ChipModel* find_chip_model(std::string_view name)
{
    const auto found =
        std::find_if(models.begin(), models.end(), [&](const ChipModel& model) { return model.name == name; });
    return found == models.end() ? nullptr : &*found;
}

} // namespace jlinksim

#include "src/target/chip_versions.h"

#include <algorithm>
#include <array>

namespace tessit {
namespace {

constexpr std::uint32_t m1 = 6;
constexpr std::uint32_t m2 = 8;
constexpr std::uint32_t m3 = 10;

constexpr const char* rtt_m1_enga = "SetRTTSearchRanges 0x20000000 0x8000, 0x08000000 0x8000";
constexpr const char* rtt_m1_va = "SetRTTSearchRanges 0x20000000 0x10000";
constexpr const char* rtt_m1_vb = "SetRTTSearchRanges 0x20000000 0x8000";
constexpr const char* rtt_m2 = "SetRTTSearchRanges 0x20000000 0x40000";
constexpr const char* rtt_m3 = "SetRTTSearchRanges 0x20000000 0x6000";

constexpr std::uint32_t bprot = 0x40000608;
constexpr std::uint32_t bprot_m2_enga = 0x4001E704;

constexpr std::uint32_t other = any_other_revision;

// clang-format off
constexpr std::array chip_versions{
    //          value               part rev    variant       reset  RAM RTT          BPROT          QSPI   long
    ChipVersion{BIRCH_M1_VA_ENGA,   m1,  3,     Variant::any, false, 16, rtt_m1_enga, bprot,         false, false},
    ChipVersion{BIRCH_M1_VA_ENGB,   m1,  4,     Variant::any, true,  16, rtt_m1_va,   bprot,         false, false},
    ChipVersion{BIRCH_M1_VA_REV1,   m1,  5,     Variant::va,  true,  16, rtt_m1_va,   bprot,         false, false},
    ChipVersion{BIRCH_M2_VA_ENGA,   m2,  0,     Variant::any, true,  22, rtt_m2,      bprot_m2_enga, true,  false},
    ChipVersion{BIRCH_M1_VA_FUTURE, m1,  other, Variant::va,  true,  16, rtt_m1_va,   bprot,         false, false},
    ChipVersion{BIRCH_M2_VA_FUTURE, m2,  other, Variant::any, true,  22, rtt_m2,      0,             true,  true},
    ChipVersion{BIRCH_M3_VA_REV1,   m3,  0,     Variant::any, true,  6,  rtt_m3,      bprot,         false, false},
    ChipVersion{BIRCH_M3_VA_FUTURE, m3,  other, Variant::any, true,  6,  rtt_m3,      bprot,         false, false},
    ChipVersion{BIRCH_M1_VB_REV1,   m1,  5,     Variant::vb,  true,  8,  rtt_m1_vb,   bprot,         false, false},
    ChipVersion{BIRCH_M1_VB_FUTURE, m1,  other, Variant::vb,  true,  8,  rtt_m1_vb,   bprot,         false, false},
    ChipVersion{BIRCH_M2_VA_REV1,   m2,  2,     Variant::any, true,  22, rtt_m2,      0,             true,  true},
    ChipVersion{BIRCH_M1_VA_REV2,   m1,  6,     Variant::va,  true,  16, rtt_m1_va,   bprot,         false, false},
    ChipVersion{BIRCH_M1_VB_REV2,   m1,  6,     Variant::vb,  true,  8,  rtt_m1_vb,   bprot,         false, false},
    ChipVersion{BIRCH_M2_VA_ENGB,   m2,  1,     Variant::any, true,  22, rtt_m2,      0,             true,  true},
};
// clang-format on

const ChipVersion* find_row(std::uint32_t part, std::uint32_t revision, Variant variant)
{
    const auto row = std::ranges::find_if(chip_versions, [=](const ChipVersion& chip) {
        return chip.part == part && chip.revision == revision &&
               (chip.variant == Variant::any || chip.variant == variant);
    });
    return row == chip_versions.end() ? nullptr : &*row;
}

} // namespace

const ChipVersion* find_birch(chip_version_t version)
{
    const auto* const chip = std::ranges::find(chip_versions, version, &ChipVersion::value);
    return chip == chip_versions.end() ? nullptr : chip;
}

const ChipVersion* find_by_identification(std::uint32_t part, std::uint32_t revision, bool is_vb)
{
    const Variant variant = is_vb ? Variant::vb : Variant::va;
    const ChipVersion* const named = find_row(part, revision, variant);
    return named != nullptr ? named : find_row(part, any_other_revision, variant);
}

} // namespace tessit

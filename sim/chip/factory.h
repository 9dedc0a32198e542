#pragma once

#include "sim/model/chip_model.h"

#include <cstdint>
#include <optional>
#include <span>
#include <utility>
#include <vector>

namespace jlinksim {

/// What a chip holds when it comes from the factory; everything else of its non-volatile memory is blank.
struct FactoryContent
{
    bool is_protected = false;
    std::vector<std::uint8_t> image;                                        ///< of the flash, from address 0
    std::optional<std::uint8_t> fill;                                       ///< of the flash after the image
    std::vector<std::pair<std::uint32_t, std::uint32_t>> factory_overrides; ///< FICR offset and word
};

inline constexpr std::uint32_t factory_part_word = 0x130;
inline constexpr std::uint32_t factory_revision_word = 0x134;
inline constexpr std::uint32_t factory_variant_word = 0x110;
inline constexpr std::uint32_t protection_word = 0x208; ///< in the UICR; any value but 0xFF in its low byte protects

void fill_flash(const FactoryContent& content, std::span<std::uint8_t> flash);
void fill_user_area(const FactoryContent& content, std::span<std::uint8_t> area);
/// The serial number of the probe makes the device's identification differ from chip to chip.
void fill_factory_area(const ChipModel& model, const FactoryContent& content, std::uint32_t serial_number,
                       std::span<std::uint8_t> area);

} // namespace jlinksim

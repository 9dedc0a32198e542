#include "sim/chip/factory.h"

#include "base/little_endian.h"

#include <algorithm>

namespace jlinksim {
namespace {

constexpr std::uint32_t code_page_bytes_word = 0x010;
constexpr std::uint32_t code_pages_word = 0x014;
constexpr std::uint32_t device_id_word = 0x060;
constexpr std::uint32_t protect = 0xFFFFFF00;

void put_word(std::span<std::uint8_t> area, std::uint32_t offset, std::uint32_t value)
{
    tessit::little_endian::store_u32(area.subspan(offset, sizeof value), value);
}

} // namespace

void fill_flash(const FactoryContent& content, std::span<std::uint8_t> flash)
{
    std::ranges::fill(flash, content.fill.value_or(0xFF));
    std::ranges::copy(content.image, flash.begin());
}

void fill_user_area(const FactoryContent& content, std::span<std::uint8_t> area)
{
    std::ranges::fill(area, std::uint8_t{0xFF});
    if (content.is_protected) {
        put_word(area, protection_word, protect);
    }
}

void fill_factory_area(const ChipModel& model, const FactoryContent& content, std::uint32_t serial_number,
                       std::span<std::uint8_t> area)
{
    std::ranges::fill(area, std::uint8_t{0xFF});
    put_word(area, code_page_bytes_word, flash_page_bytes);
    put_word(area, code_pages_word, model.flash_bytes / flash_page_bytes);
    put_word(area, device_id_word, serial_number * 0x9E3779B1U);
    put_word(area, device_id_word + 4, ~serial_number);
    put_word(area, factory_variant_word, model.variant);
    put_word(area, factory_part_word, model.part);
    put_word(area, factory_revision_word, model.revision);
    for (const auto& [offset, value] : content.factory_overrides) {
        put_word(area, offset, value);
    }
}

} // namespace jlinksim

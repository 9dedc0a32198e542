#include "cli/loader/area.h"

#include "base/little_endian.h"
#include "cli/chip/ram_power.h"
#include "cli/rtt/link.h"
#include "cli/session/memory_map.h"

#include <algorithm>
#include <array>

namespace tessit::cli {
namespace {

// What target/loader.s assembles to.
constexpr std::uint8_t code[] = {
#include "cli/loader/target/loader.inc"
};
static_assert(LoaderArea::code_offset + sizeof code <= LoaderArea::crc_table_offset);

constexpr std::uint32_t thumb = 1;
constexpr std::uint32_t fault_handler = 2; // from the entry
constexpr std::uint32_t vector_count = 16; // interrupts are masked: only faults and the NMI come

class ImageWriter
{
public:
    explicit ImageWriter(std::size_t bytes) { bytes_.reserve(bytes); }

    void go_to(std::uint32_t offset) { bytes_.resize(offset); }
    void put(std::uint32_t word)
    {
        const auto bytes = little_endian::bytes_of(word);
        bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
    }
    template <typename Bytes>
    void put_bytes(const Bytes& bytes)
    {
        bytes_.insert(bytes_.end(), std::begin(bytes), std::end(bytes));
    }
    void put_ring(std::uint32_t buffer, std::uint32_t bytes)
    {
        for (const std::uint32_t word : {0U, buffer, bytes, 0U, 0U, 0U}) { // no name; empty
            put(word);
        }
    }
    std::vector<std::uint8_t> take() { return std::move(bytes_); }

private:
    std::vector<std::uint8_t> bytes_;
};

} // namespace

std::optional<LoaderArea> find_loader_area(const Session& session)
{
    const RamSections ram = read_ram_sections(session);
    std::uint32_t address = memory_map::ram_start;
    LoaderArea area{address, 0};
    for (std::size_t i = 0; i < ram.sizes.size() && area.bytes < LoaderArea::largest_bytes; ++i) {
        address += ram.sizes[i];
        if (ram.power[i] == RAM_SECTION_ON) {
            area.bytes = address - area.base;
        } else if (area.bytes < LoaderArea::small_bytes) {
            area = {address, 0};
        } else {
            break;
        }
    }
    area.bytes = std::min(area.bytes, LoaderArea::largest_bytes);
    return area.bytes < LoaderArea::small_bytes ? std::nullopt : std::optional{area};
}

std::vector<std::uint8_t> loader_image(const LoaderArea& area, std::uint32_t down_ring_bytes)
{
    ImageWriter image{LoaderArea::crc_table_offset};
    image.put(area.stack_end());
    image.put(area.entry() | thumb);
    for (std::uint32_t i = 2; i < vector_count; ++i) {
        image.put((area.entry() + fault_handler) | thumb);
    }
    image.go_to(LoaderArea::control_block_offset);
    image.put_bytes(rtt_identifier);
    image.put(1); // up rings
    image.put(1); // down rings
    image.put_ring(area.base + LoaderArea::up_ring_offset, LoaderArea::up_ring_bytes);
    image.put_ring(area.base + LoaderArea::down_ring_offset, down_ring_bytes);
    image.go_to(LoaderArea::code_offset);
    image.put_bytes(code);
    return image.take();
}

} // namespace tessit::cli

#include "cli/qspi/plan.h"

#include "cli/failure.h"
#include "cli/flash/flash_bytes.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <set>

namespace tessit::cli::qspi {
namespace {

struct EraseSize
{
    std::size_t sectors;
    qspi_erase_len_t length;
};

// After the whole flash, the largest first; each is a multiple of the next.
constexpr std::array block_sizes{EraseSize{16, ERASE64KB}, EraseSize{8, ERASE32KB}, EraseSize{1, ERASE4KB}};

class ErasePlanner
{
public:
    explicit ErasePlanner(std::span<const SectorState> sectors) : sectors_{sectors} {}

    std::vector<Erase> plan()
    {
        if (is_worth_erasing(sectors_)) {
            return {{0, static_cast<std::uint32_t>(sectors_.size() * sector_bytes), ERASEALL}};
        }
        cover(0, sectors_.size(), block_sizes);
        return std::move(erases_);
    }

private:
    static bool is_worth_erasing(std::span<const SectorState> block)
    {
        const auto needed = static_cast<std::size_t>(std::ranges::count(block, SectorState::erased));
        const auto free = static_cast<std::size_t>(std::ranges::count(block, SectorState::blank));
        return needed != 0 && needed + free == block.size() && 2 * needed >= block.size();
    }

    // Blocks of the first size, and where that does not fit, of the next.
    void cover(std::size_t first, std::size_t end, std::span<const EraseSize> sizes)
    {
        if (sizes.empty()) {
            return;
        }
        const auto [count, length] = sizes.front();
        for (; first < end; first += count) {
            const std::size_t block_end = std::min(first + count, end);
            const auto block = sectors_.subspan(first, block_end - first);
            if (block.size() == count && is_worth_erasing(block)) {
                erases_.push_back({static_cast<std::uint32_t>(first * sector_bytes),
                                   static_cast<std::uint32_t>(count * sector_bytes), length});
            } else {
                cover(first, block_end, sizes.subspan(1));
            }
        }
    }

    std::span<const SectorState> sectors_;
    std::vector<Erase> erases_;
};

// Collects the pages that differ from what will be there into stretches.
class WriteBuilder
{
public:
    explicit WriteBuilder(std::uint32_t page_bytes) : page_bytes_{page_bytes} {}

    void add(const Sector& sector)
    {
        const std::vector<std::uint8_t> blank(page_bytes_, erased_byte);
        for (std::uint32_t offset = 0; offset < sector_bytes; offset += page_bytes_) {
            const auto wanted = std::span{sector.wanted}.subspan(offset, page_bytes_);
            const auto there =
                sector.is_erased ? std::span{blank} : std::span{sector.current}.subspan(offset, page_bytes_);
            if (!std::ranges::equal(there, wanted)) {
                append(sector.address + offset, wanted);
            }
        }
    }

    std::vector<Segment> take() { return std::move(writes_); }

private:
    void append(std::uint32_t address, std::span<const std::uint8_t> page)
    {
        if (writes_.empty() || writes_.back().range().end() != address) {
            writes_.push_back({address, {}});
        }
        std::vector<std::uint8_t>& bytes = writes_.back().bytes;
        bytes.insert(bytes.end(), page.begin(), page.end());
    }

    std::uint32_t page_bytes_;
    std::vector<Segment> writes_;
};

void refuse_without_erase(const Sector& sector, std::size_t offset)
{
    throw Failure{ExitCode::failure,
                  fmt::format("the byte of the external flash at {:#010x} holds {:#04x} and cannot become {:#04x} "
                              "without an erase; nothing was written",
                              sector.address + offset, sector.current[offset], sector.wanted[offset]),
                  "Leave --erase none away, so that its block is erased."};
}

Sector plan_sector(std::uint32_t address, const Image& image, EraseMode mode, const ReadSector& read)
{
    Sector sector;
    sector.address = address;
    sector.is_erased = mode == EraseMode::all;
    sector.current = sector.is_erased ? std::vector<std::uint8_t>(sector_bytes, erased_byte) : read(address);
    sector.wanted = sector.current;
    image.overlay({address, sector_bytes}, sector.wanted);
    if (const auto offset = first_unwritable(sector.current, sector.wanted)) {
        if (mode == EraseMode::none) {
            refuse_without_erase(sector, *offset);
        }
        sector.is_erased = true;
    }
    return sector;
}

} // namespace

std::uint64_t Plan::bytes_to_write() const
{
    std::uint64_t total = 0;
    for (const Segment& segment : writes) {
        total += segment.bytes.size();
    }
    return total;
}

std::vector<Erase> plan_erases(std::span<const SectorState> sectors)
{
    return ErasePlanner{sectors}.plan();
}

std::vector<std::uint32_t> touched_sectors(const Image& image)
{
    std::set<std::uint32_t> addresses;
    for (const Segment& segment : image.segments()) {
        for (std::uint64_t address = segment.address - segment.address % sector_bytes; address < segment.range().end();
             address += sector_bytes) {
            addresses.insert(static_cast<std::uint32_t>(address));
        }
    }
    return {addresses.begin(), addresses.end()};
}

Plan plan_write(const Image& image, std::uint32_t flash_bytes, std::uint32_t page_bytes, EraseMode mode,
                const ReadSector& read)
{
    Plan plan;
    plan.image_bytes = image.size();
    std::vector<SectorState> states(flash_bytes / sector_bytes,
                                    mode == EraseMode::all ? SectorState::erased : SectorState::kept);
    WriteBuilder writes{page_bytes};
    for (const std::uint32_t address : touched_sectors(image)) {
        ++plan.touched_sectors;
        Sector sector = plan_sector(address, image, mode, read);
        SectorState& state = states.at(address / sector_bytes);
        if (sector.is_erased) {
            state = SectorState::erased;
        } else if (is_erased(sector.current)) {
            state = SectorState::blank;
        }
        if (sector.is_erased || sector.current != sector.wanted) {
            writes.add(sector);
            plan.sectors.push_back(std::move(sector));
        }
    }
    plan.erases = plan_erases(states);
    plan.writes = writes.take();
    return plan;
}

} // namespace tessit::cli::qspi

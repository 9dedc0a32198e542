/// What writing an image to the external flash will do to it, worked out completely before anything is erased.
#pragma once

#include "cli/firmware/image.h"

#include <cstdint>
#include <functional>
#include <jlinkarm_birch_tessit.h>
#include <span>
#include <vector>

namespace tessit::cli::qspi {

/// The smallest part that can be erased by itself.
inline constexpr std::uint32_t sector_bytes = 4096;

enum class SectorState : std::uint8_t
{
    kept,   ///< holds what must stay
    blank,  ///< erasing it loses nothing
    erased, ///< must be erased
};

struct Erase
{
    std::uint32_t address = 0;
    std::uint32_t bytes = 0;
    qspi_erase_len_t length = ERASE4KB;

    friend bool operator==(const Erase&, const Erase&) = default;
};

/// The fewest erases for the sectors of a whole flash: each the largest whose sectors all may be erased and at least
/// half of them must be, since a larger erase takes longer.
std::vector<Erase> plan_erases(std::span<const SectorState> sectors);

/// A sector that the image changes.
struct Sector
{
    std::uint32_t address = 0;
    bool is_erased = false;            ///< first
    std::vector<std::uint8_t> current; ///< before everything
    std::vector<std::uint8_t> wanted;  ///< image and what is there around it
};

enum class EraseMode
{
    blocks, ///< what needs it
    all,    ///< the whole flash
    none,   ///< nothing: the image must be writable over what is there
};

struct Plan
{
    std::vector<Sector> sectors; ///< that change, in ascending order
    std::vector<Erase> erases;
    std::vector<Segment> writes;     ///< of whole pages, each as long as possible
    std::size_t touched_sectors = 0; ///< by the image
    std::uint64_t image_bytes = 0;

    std::size_t equal_sectors() const { return touched_sectors - sectors.size(); }
    std::uint64_t bytes_to_write() const;
};

using ReadSector = std::function<std::vector<std::uint8_t>(std::uint32_t address)>;

/// The image lies within the flash. Throws a Failure where the mode cannot do it.
Plan plan_write(const Image& image, std::uint32_t flash_bytes, std::uint32_t page_bytes, EraseMode mode,
                const ReadSector& read);

/// First addresses of the sectors that hold data of the image, ascending.
std::vector<std::uint32_t> touched_sectors(const Image& image);

} // namespace tessit::cli::qspi

#include "sim/state/chip_state.h"

#include <bit>
#include <fmt/core.h>
#include <stdexcept>

namespace jlinksim {
namespace {

static_assert(std::endian::native == std::endian::little, "the chips' words are mapped as the host's");

constexpr const char* identity_file = "chip.txt";
constexpr const char* files[] = {identity_file, "flash.bin",    "ficr.bin",     "uicr.bin",
                                 "ram.bin",     "external.bin", "registers.bin"};

std::string describe(const ChipModel& model, std::uint32_t external_flash_bytes)
{
    return fmt::format("{}, {} bytes of flash, {} bytes of RAM, {} bytes of external flash\n", model.name,
                       model.flash_bytes, model.ram_bytes(), external_flash_bytes);
}

std::string without_end_of_line(std::string text)
{
    if (text.ends_with('\n')) {
        text.pop_back();
    }
    return text;
}

} // namespace

ChipState::ChipState(const std::filesystem::path& folder, const ChipModel& model, std::uint32_t external_flash_bytes)
    : folder_(folder), identity_(describe(model, external_flash_bytes))
{
    const std::string kept = platform::read_private_file(folder / identity_file).value_or("");
    if (!kept.empty() && kept != identity_) {
        throw std::runtime_error(fmt::format(
            "The state in {} is of another chip ({}) than the bench names now ({}). Put the bench back as it was, or "
            "give the chip its factory state, which erases what the other one held.",
            folder.string(), without_end_of_line(kept), without_end_of_line(identity_)));
    }
    fresh_ = kept.empty();
    using enum platform::MappedFile::Opening;
    const auto map = [&](const char* name, std::size_t size) {
        return platform::MappedFile{folder / name, size, fresh_ ? make : existing};
    };
    flash_ = map("flash.bin", model.flash_bytes);
    factory_area_ = map("ficr.bin", information_area_bytes);
    user_area_ = map("uicr.bin", information_area_bytes);
    ram_ = map("ram.bin", model.ram_bytes());
    if (external_flash_bytes != 0) {
        external_flash_ = map("external.bin", external_flash_bytes);
    }
    // Without it, or with that of another version of this program, the chip has lost its supply.
    registers_ = platform::MappedFile{folder / "registers.bin", sizeof(VolatileState), make};
    powered_ = reinterpret_cast<VolatileState*>(registers_.bytes().data());
}

void ChipState::mark_complete()
{
    if (!fresh_) {
        return;
    }
    // The last file: a kill before it leaves a state that is made again.
    platform::write_private_file(folder_ / identity_file, identity_);
    fresh_ = false;
}

void ChipState::remove(const std::filesystem::path& folder)
{
    // The identity goes first: what a kill leaves of the rest is then no chip's state.
    for (const char* const file : files) {
        platform::remove_file(folder / file);
    }
}

} // namespace jlinksim

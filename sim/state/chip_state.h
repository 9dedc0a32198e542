#pragma once

#include "sim/cpu/processor_state.h"
#include "sim/model/chip_model.h"
#include "sim/platform/private_file.h"

#include <array>
#include <filesystem>
#include <span>

namespace jlinksim {

/// What a powered chip holds beside its RAM.
struct VolatileState
{
    static constexpr std::uint32_t current_layout = 4; ///< another number means that the words mean something else
    static constexpr std::size_t declared_register_words = 2000; ///< of registers that a bench declares
    static constexpr std::size_t register_words = 1000 + declared_register_words;

    std::uint32_t layout;
    std::uint32_t reset_line_is_low; ///< the probe drives it until it is told otherwise
    ProcessorState cpu;
    std::uint32_t register_words_used;
    std::array<std::uint32_t, register_words> registers;
};

/// A chip's memories, as files in a folder that every process maps: what one leaves, the next one finds.
class ChipState
{
public:
    /// Open the folder's state, or make it.
    /// @throws platform::FileError when a file cannot be used, std::runtime_error when the state is of another chip
    ChipState(const std::filesystem::path& folder, const ChipModel& model, std::uint32_t external_flash_bytes);

    /// Whether the files were created now, or by a process that was killed before it had filled them.
    bool is_fresh() const { return fresh_; }
    /// The content is complete: from now on it is kept.
    void mark_complete();

    /// Delete a folder's state, whatever chip it is of.
    static void remove(const std::filesystem::path& folder);

    std::span<std::uint8_t> flash() const { return flash_.bytes(); }
    std::span<std::uint8_t> factory_area() const { return factory_area_.bytes(); }
    std::span<std::uint8_t> user_area() const { return user_area_.bytes(); }
    std::span<std::uint8_t> external_flash() const { return external_flash_.bytes(); }
    std::span<std::uint8_t> ram() const { return ram_.bytes(); }
    VolatileState& powered() const { return *powered_; }

private:
    std::filesystem::path folder_;
    std::string identity_;
    bool fresh_ = false;
    platform::MappedFile flash_;
    platform::MappedFile factory_area_;
    platform::MappedFile user_area_;
    platform::MappedFile external_flash_;
    platform::MappedFile ram_;
    platform::MappedFile registers_;
    VolatileState* powered_ = nullptr;
};

} // namespace jlinksim

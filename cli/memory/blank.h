/// Proof that what was erased is blank.
#pragma once

#include "cli/memory/memory.h"
#include "cli/terminal/narration.h"

#include <cstdint>
#include <functional>
#include <optional>

namespace tessit::cli {

/// How it was proven; what proves less comes later.
enum class BlankProof : std::uint8_t
{
    read,    ///< every byte was read
    samples, ///< the first and the last bytes of every unit were read: no unit was left out
    none,    ///< nobody looked
};

const char* name_of(BlankProof proof);

/// Reading everything where it takes no longer than the erase did, otherwise samples.
BlankProof cheapest_proof(const Memory& memory, const Range& range, double erase_seconds);

/// A byte that should be blank and is not.
struct NotBlank
{
    const Memory* memory = nullptr;
    std::uint32_t address = 0;
    std::uint8_t byte = 0;
};

/// Looks at a range of whole units.
std::optional<NotBlank> find_not_blank(const Memory& memory, const Range& range, BlankProof proof,
                                       const Narration& narration);
std::optional<NotBlank> find_not_blank(const Memory& memory, std::uint32_t address);

/// Erases that are looked at. The first one without effect lifts the device's protection, where it has one, and is made
/// again.
class ProvenErases
{
public:
    explicit ProvenErases(const Device& device) : device_{device} {}

    /// `erase_and_look` returns a byte that is not blank afterwards. Throws a Failure that names it when nothing helps.
    void run(const std::function<std::optional<NotBlank>()>& erase_and_look);
    /// Whether the protection was lifted just now: it is done once.
    bool lift_protection();
    bool protection_was_lifted() const { return was_lifted_; }

private:
    const Device& device_;
    bool was_lifted_ = false;
};

} // namespace tessit::cli

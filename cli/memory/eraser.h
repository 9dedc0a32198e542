/// Erasing without writing.
#pragma once

#include "cli/memory/blank.h"
#include "cli/memory/memory.h"
#include "cli/terminal/narration.h"

#include <functional>
#include <vector>

namespace tessit::cli {

struct EraseResult
{
    BlankProof proof = BlankProof::none; ///< the weakest of all
    bool protection_was_lifted = false;
};

/// Everything of the device, by its own way or another one, and proves it.
EraseResult erase_everything(const Device& device, const std::function<void()>& erase, const Narration& narration);

/// Blocks of one memory; of each it is proven at once that it is blank, if `prove` says so.
EraseResult erase_blocks(const Device& device, const Memory& memory, const std::vector<Range>& blocks, bool prove,
                         const Narration& narration);

} // namespace tessit::cli

/// Erasing without writing.
#pragma once

#include "cli/memory/blank.h"
#include "cli/memory/memory.h"
#include "cli/terminal/narration.h"
#include "cli/text/json.h"

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace tessit::cli {

struct EraseResult
{
    BlankProof proof = BlankProof::none; ///< the weakest of all
    bool protection_was_lifted = false;
};

/// Everything of the device, by its own way or another one, and proves it.
EraseResult erase_everything(const Device& device, const std::function<void()>& erase, const Narration& narration);

/// Blocks of the device's memories; of each it is proven at once that it is blank, if `prove` says so.
EraseResult erase_blocks(const Device& device, const std::vector<Piece>& blocks, bool prove,
                         const Narration& narration);

/// "all of it read", "samples of all pages" or "not looked at"
std::string describe_proof(BlankProof proof, std::string_view units);

/// A list of {"address", "bytes"}.
Json to_json(const std::vector<Piece>& pieces);

} // namespace tessit::cli

/// What the user says of the flash loader, and what follows from it.
#pragma once

#include "cli/firmware/image.h"
#include "cli/loader/flash_loader.h"
#include "cli/memory/memory.h"
#include "cli/options/verb.h"
#include "cli/text/json.h"

#include <memory>

namespace tessit::cli {

enum class LoaderUse
{
    automatic, ///< where RAM allows, from an image on that is worth the time it takes to load
    always,
    never,
};

enum class CompareBy
{
    checksums, ///< which the loader computes
    reading,
};

struct LoaderOptions
{
    LoaderUse use = LoaderUse::automatic;
    CompareBy compare_by = CompareBy::checksums;
};

/// --loader and --compare
void add_loader_options(const Verb& verb, LoaderOptions& options);

/// Lets the loader serve the chip's memories, if it is to; null where not. It must not outlive what it is given.
std::unique_ptr<FlashLoader> employ_loader(const LoaderOptions& options, const Image& image, const Target& target,
                                           Device& chip, const Narration& narration);

/// For the result of a command: "loader", whether it ran and did all, and "compared_by".
void add_loader_result(const LoaderOptions& options, const FlashLoader* loader, Json& json);

} // namespace tessit::cli

/// What became of each board, kept: a file that gets a line a board.
#pragma once

#include "cli/line/outcome.h"
#include "cli/line/unit_values.h"

#include <filesystem>
#include <string>

namespace tessit::cli {

class Record
{
public:
    /// `image_sha256` names what was programmed besides the units' own values.
    Record(std::filesystem::path file, std::string image_sha256)
        : file_{std::move(file)}, image_sha256_{std::move(image_sha256)}
    {
    }

    /// Throws a Failure, also where the folder is missing; to be asked before any work is begun.
    void require_writable() const;

    /// A line of JSON, whole or not at all, also while other processes write theirs. Throws a Failure.
    void append(const Outcome& outcome, const UnitValues& values) const;

private:
    std::filesystem::path file_;
    std::string image_sha256_;
};

} // namespace tessit::cli

#pragma once

#include "sim/witness/line_file.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace jlinksim {

/// What real hardware would have ignored or punished without telling. A record is a name, which tests look for, and
/// what happened: "flash-write-disabled: 0x00001000".
class Records
{
public:
    /// Also append every record to a file. @throws std::runtime_error when it cannot be opened
    void append_to(const std::string& path) { file_.open(path, "JLINKARM_SIM_RECORDS"); }

    /// Repetitions of a name within one J-Link call are counted in its first record: a block write of 4 KiB to
    /// locked flash is one record.
    void add(std::string_view name, std::string_view what);
    void call_ends();

    std::size_t count() const { return entries_.size(); }
    std::string line(std::size_t index) const;
    void clear();

    /// Nothing is recorded while one lives: for accesses that are not the host program's.
    class Mute
    {
    public:
        explicit Mute(Records& records) : records_(records) { ++records_.mutes_; }
        Mute(const Mute&) = delete;
        Mute& operator=(const Mute&) = delete;
        ~Mute() { --records_.mutes_; }

    private:
        Records& records_;
    };

private:
    struct Entry
    {
        std::string name;
        std::string what;
        std::uint32_t repetitions = 0;
    };

    std::vector<Entry> entries_;
    std::size_t call_begin_ = 0; ///< index of the current call's first record
    unsigned mutes_ = 0;
    LineFile file_;
};

} // namespace jlinksim

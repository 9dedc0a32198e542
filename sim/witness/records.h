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

    /// Also keep every record in a file of the bench's own, which is made with the first one. Where it cannot be
    /// written, or has grown to most_kept_bytes, it stays as it is.
    void keep_in(const std::string& path) { kept_path_ = path; }
    static constexpr long most_kept_bytes = 1024L * 1024;

    /// Lines of one name that one J-Link call can leave; what more there is has a line for all of it.
    static constexpr std::size_t most_places = 16;
    /// Lines that are kept: a host that does the same wrong thing for ever must not fill the memory. One more tells how
    /// many came after them; the file has all.
    static constexpr std::size_t most_lines = 10'000;

    /// Equal accesses within one J-Link call are one record, with their count: `what` says which access it was, with
    /// its address and direction. `detail`, such as the value written, is the first one's.
    void add(std::string_view name, std::string_view what, std::string_view detail = {});
    void call_ends();

    std::size_t count() const { return entries_.size() + (lost_ != 0 ? 1 : 0); }
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
    void keep(const std::string& line);

    struct Entry
    {
        std::string name;
        std::string what;
        std::string detail;
        std::uint32_t repetitions = 0;
    };

    std::vector<Entry> entries_;
    std::size_t call_begin_ = 0; ///< index of the current call's first record
    std::uint64_t lost_ = 0;     ///< lines that are not kept
    unsigned mutes_ = 0;
    LineFile file_;
    std::string kept_path_;
    LineFile kept_;
};

} // namespace jlinksim

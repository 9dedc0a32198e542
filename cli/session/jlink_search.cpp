#include "cli/session/jlink_search.h"

#include <algorithm>
#include <cctype>
#include <fmt/format.h>
#include <tuple>

namespace tessit::cli {
namespace {

namespace fs = std::filesystem;

bool is_digit(char c)
{
    return std::isdigit(static_cast<unsigned char>(c)) != 0;
}

std::string take_digits(std::string_view& text)
{
    const auto end = std::ranges::find_if_not(text, is_digit);
    std::string digits{text.begin(), end};
    text.remove_prefix(digits.size());
    return digits;
}

unsigned number(const std::string& digits)
{
    constexpr std::size_t most = 9;
    return digits.empty() || digits.size() > most ? 0 : static_cast<unsigned>(std::stoul(digits));
}

// The parts of a version, the revision as letters; of a name without one, zeros.
using Version = std::tuple<unsigned, unsigned, std::string>;

Version version_in(const std::string& folder_name)
{
    constexpr std::size_t minor_digits = 2; // where no point stands before them
    const std::size_t at = folder_name.find("_V");
    if (at == std::string::npos) {
        return {};
    }
    std::string_view rest = std::string_view{folder_name}.substr(at + 2);
    std::string major_part = take_digits(rest);
    std::string minor_part;
    if (rest.starts_with('.')) {
        rest.remove_prefix(1);
        minor_part = take_digits(rest);
    } else if (major_part.size() > minor_digits) {
        minor_part = major_part.substr(major_part.size() - minor_digits);
        major_part.resize(major_part.size() - minor_digits);
    }
    return {number(major_part), number(minor_part), std::string{rest.substr(0, rest.find('_'))}};
}

// Folders of versions, the newest first; those that name none come last.
std::vector<fs::path> versions_in(const fs::path& parent)
{
    std::vector<fs::path> folders;
    std::error_code error;
    for (const auto& entry : fs::directory_iterator{parent, error}) {
        if (entry.path().filename().string().starts_with("JLink")) {
            folders.push_back(entry.path());
        }
    }
    const auto key = [](const fs::path& folder) {
        const std::string name = folder.filename().string();
        return std::pair{version_in(name), name};
    };
    std::ranges::sort(folders, std::greater{}, key);
    return folders;
}

class Search
{
public:
    explicit Search(const char* file_name) : file_name_{file_name} {}

    void look_in(const fs::path& folder)
    {
        const fs::path library = folder / file_name_;
        if (std::ranges::find(places_, library, &JlinkPlace::library) != places_.end()) {
            return;
        }
        places_.push_back({library, reason_against(library)});
        has_taken_ = has_taken_ || places_.back().reason.empty();
    }

    void note_empty(const fs::path& parent)
    {
        std::error_code error;
        places_.push_back({parent / "JLink*" / file_name_,
                           fs::is_directory(parent, error) ? "no such folder in it" : "the folder is not there"});
    }

    std::vector<JlinkPlace> places() { return std::move(places_); }

private:
    std::string reason_against(const fs::path& library) const
    {
        std::error_code ignored;
        if (!library.is_absolute()) {
            return "it is not an absolute path";
        }
        if (!fs::exists(library, ignored)) {
            return "it is not there";
        }
        if (!fs::is_regular_file(library, ignored)) {
            return "it is no file";
        }
        return has_taken_ ? "one before it is taken" : "";
    }

    const char* file_name_;
    std::vector<JlinkPlace> places_;
    bool has_taken_ = false;
};

} // namespace

std::vector<JlinkPlace> search_jlink(const platform::JlinkInstallations& installations)
{
    Search search{installations.file_name};
    for (const fs::path& folder : installations.in_use) {
        search.look_in(folder);
    }
    for (const fs::path& parent : installations.parents) {
        const std::vector<fs::path> versions = versions_in(parent);
        std::ranges::for_each(versions, [&](const fs::path& folder) { search.look_in(folder); });
        if (versions.empty()) {
            search.note_empty(parent);
        }
    }
    for (const fs::path& folder : installations.library_folders) {
        search.look_in(folder);
    }
    return search.places();
}

} // namespace tessit::cli

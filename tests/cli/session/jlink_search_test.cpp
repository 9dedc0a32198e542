#include "cli/session/jlink_search.h"
#include "tests/support/temp_folder.h"

#include <gmock/gmock.h>

namespace tessit::cli {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;

TEST(JlinkSearch, TakesTheInstallationInUseThenTheNewestVersionAndSaysWhyNotTheOthers)
{
    const tessit_test::TempFolder folder;
    for (const char* const version : {"JLink_V7.9", "JLink_Linux_V794e_x86_64", "JLink_V1012", "JLink_V794", "JLink"}) {
        fs::create_directory(folder.path() / version);
        folder.write(fs::path{version} / "library", "");
    }
    fs::create_directory(folder.path() / "JLink_V1012" / "no");
    fs::remove(folder.path() / "JLink_V1012" / "library");
    fs::create_directory(folder.path() / "JLink_V1012" / "library");
    const fs::path empty = folder.path() / "JLink_V1012" / "no";
    const auto found = [&](const platform::JlinkInstallations& installations) {
        std::vector<std::string> lines;
        for (const JlinkPlace& place : search_jlink(installations)) {
            const fs::path name =
                place.library.is_absolute() ? fs::relative(place.library, folder.path()) : place.library;
            lines.push_back(name.generic_string() + ": " + place.reason);
        }
        return lines;
    };
    EXPECT_THAT(found({"library", {"registered", empty}, {folder.path()}, {}}),
                ElementsAre("registered/library: it is not an absolute path", "JLink_V1012/no/library: it is not there",
                            "JLink_V1012/library: it is no file",
                            "JLink_Linux_V794e_x86_64/library: ", "JLink_V794/library: one before it is taken",
                            "JLink_V7.9/library: one before it is taken", "JLink/library: one before it is taken"));
    EXPECT_THAT(found({"library", {folder.path() / "JLink"}, {empty, empty / "no"}, {}}),
                ElementsAre("JLink/library: ", "JLink_V1012/no/JLink*/library: no such folder in it",
                            "JLink_V1012/no/no/JLink*/library: the folder is not there"));
}

} // namespace
} // namespace tessit::cli

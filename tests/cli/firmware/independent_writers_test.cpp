// The readers against files that other programs wrote.
#include "cli/failure.h"
#include "cli/firmware/firmware.h"
#include "tests/support/temp_folder.h"

#include <cstdlib>
#include <gmock/gmock.h>

namespace tessit::cli {
namespace {

using tessit_test::TempFolder;
using testing::ElementsAre;

class IndependentWriters : public testing::Test
{
protected:
    IndependentWriters()
    {
        for (std::size_t i = 0; i < 70001; ++i) {
            bytes_.push_back(static_cast<std::uint8_t>(i * 31 + i / 251));
        }
        folder_.write("a.bin", {reinterpret_cast<const char*>(bytes_.data()), bytes_.size()});
    }

    void run(const std::string& command) const
    {
        ASSERT_EQ(std::system(("cd " + folder_.path().string() + " && " + command).c_str()), 0) << command;
    }

    Image read(const char* name) const { return read_firmware((folder_.path() / name).string()); }

    TempFolder folder_;
    std::vector<std::uint8_t> bytes_;
};

TEST_F(IndependentWriters, SrecCatWritesEveryAddressWidthAndLineLength)
{
    const std::pair<std::uint32_t, const char*> cases[] = {
        {0, "-intel"},
        {0x10001000, "-intel -address-length=4"},
        {0x3FFF1, "-intel -address-length=3"},
        {0x3FFF1, "-intel -line-length=44"},
        {0x1FFF3, "-motorola"},
        {0x3FFF1, "-motorola -address-length=3"},
        {0x3FFF1, "-motorola -address-length=4 -line-length=250"},
    };
    for (const auto& [address, format] : cases) {
        run("srec_cat a.bin -binary -offset " + std::to_string(address) + " -o out " + format);
        EXPECT_THAT(read("out").segments(), ElementsAre(Segment{address, bytes_})) << format;
    }
}

TEST_F(IndependentWriters, OurIntelHexIsReadBySrecCat)
{
    write_firmware(folder_.path() / "ours.hex", 0x1FFF8, bytes_);
    run("srec_cat ours.hex -intel -offset -0x1FFF8 -o back.bin -binary && cmp a.bin back.bin");
}

TEST_F(IndependentWriters, LinkedElfFilesAreLoadedAsObjcopyDoes)
{
    // At 0x8000 the linker puts the headers of the file into the segment, before the data; they are not for the chip.
    for (const char* const address : {"0x0", "0x8000", "0x26000"}) {
        run(std::string{"arm-none-eabi-ld -b binary a.bin -e 0 -Tdata="} + address + " -o a.elf");
        EXPECT_THAT(read("a.elf").segments(),
                    ElementsAre(Segment{static_cast<std::uint32_t>(std::stoul(address, nullptr, 0)), bytes_}));
    }
    run("arm-none-eabi-ld -r -b binary a.bin -o object.elf");
    EXPECT_THROW(read("object.elf"), Failure);
}

} // namespace
} // namespace tessit::cli

#include "sim/bench/bench_config.h"

#include "base/environment.h"
#include "base/path.h"
#include "sim/bench/example_bench.h"
#include "sim/bench/register_table.h"
#include "sim/bench/table_reader.h"
#include "sim/platform/file_error.h"
#include "sim/platform/read_file.h"
#include "sim/platform/user_folder.h"
#include "sim/witness/faults.h"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <filesystem>
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <iterator>
#include <limits>

namespace jlinksim {
namespace {

constexpr const char* state_variable = "JLINKARM_SIM_STATE";
constexpr const char* default_firmware_text = "J-Link V11 (simulated) compiled Feb  1 2026 10:00:00";
constexpr std::uint32_t default_supply_millivolts = 3300;
constexpr std::uint32_t highest_supply_millivolts = 5000;
constexpr std::uint32_t largest_serial_number = 0x7FFFFFFF; // negative ones are JLINKARM_GetSN's errors
constexpr std::uint32_t smallest_serial_flash = 64U << 10;  // of one 64 KiB block
constexpr std::uint32_t largest_serial_flash = 128U << 20;
constexpr std::uint32_t either_mode = 2; // SPI mode of a serial flash that says none
constexpr std::uint32_t large_serial_flash_page = 512;
constexpr std::size_t most_probes = 256;
constexpr std::uint32_t word_max = std::numeric_limits<std::uint32_t>::max();

struct NamedFault
{
    std::string_view name;
    bool HardwareFaults::*member;
};
constexpr std::array hardware_faults{
    NamedFault{"erase_never_ends", &HardwareFaults::erase_never_ends},
    NamedFault{"flash_never_ready", &HardwareFaults::flash_never_ready},
    NamedFault{"ctrl_ap_fails", &HardwareFaults::control_port_fails},
    NamedFault{"connect_fails", &HardwareFaults::connect_fails},
    NamedFault{"qspi_never_ready", &HardwareFaults::qspi_never_ready},
};

struct NamedWord
{
    std::string_view name;
    std::uint32_t offset;
};
constexpr std::array factory_words{
    NamedWord{"part", factory_part_word},
    NamedWord{"revision", factory_revision_word},
    NamedWord{"variant", factory_variant_word},
};

const ChipModel& read_model(TableReader& chip)
{
    const std::string name = chip.required_text("version");
    if (const ChipModel* const model = find_chip_model(name)) {
        return *model;
    }
    std::vector<std::string_view> known;
    std::ranges::transform(chip_models(), std::back_inserter(known), &ChipModel::name);
    chip.fail("version", fmt::format("'{}' is not a chip version; there are {}", name, fmt::join(known, ", ")));
}

std::vector<std::uint8_t> read_image(TableReader& chip, const std::filesystem::path& folder, std::uint32_t room)
{
    const std::string name = chip.text("flash_file", "");
    if (name.empty()) {
        return {};
    }
    try {
        const std::string image = platform::read_file(folder / tessit::base::path_of(name), room);
        return {image.begin(), image.end()};
    } catch (const platform::FileError& error) {
        chip.fail("flash_file", error.what());
    }
}

std::uint32_t factory_offset(TableReader& ficr, const std::string& key)
{
    const auto named = std::ranges::find(factory_words, key, &NamedWord::name);
    if (named != factory_words.end()) {
        return named->offset;
    }
    std::uint32_t offset = 0;
    const bool hexadecimal = key.starts_with("0x");
    const char* const end = key.data() + key.size();
    const auto parsed = std::from_chars(key.data() + (hexadecimal ? 2 : 0), end, offset, 16);
    if (!hexadecimal || parsed.ec != std::errc{} || parsed.ptr != end || offset % 4 != 0 ||
        offset >= information_area_bytes) {
        ficr.fail(key, "expected part, revision, variant or the offset of a word, such as \"0x060\"");
    }
    return offset;
}

void read_factory_overrides(TableReader& chip, FactoryContent& content)
{
    std::optional<TableReader> ficr = chip.table("ficr");
    if (!ficr) {
        return;
    }
    for (const std::string& key : ficr->keys()) {
        const std::uint32_t offset = factory_offset(*ficr, key);
        content.factory_overrides.emplace_back(offset, ficr->number(key, 0, 0, word_max));
    }
}

void read_rom_table(TableReader& chip, ChipOptions& options)
{
    options.rom_part = options.model->part;
    options.rom_revision = options.model->revision;
    if (std::optional<TableReader> rom = chip.table("rom_table")) {
        options.rom_part = rom->number("part", options.rom_part, 0, 0xFFF);
        options.rom_revision = rom->number("revision", options.rom_revision, 0, 0xF);
        rom->refuse_unknown_keys();
    }
}

void read_hardware_faults(TableReader& chip, HardwareFaults& faults)
{
    for (const std::string& name : chip.texts("faults")) {
        const auto found = std::ranges::find(hardware_faults, name, &NamedFault::name);
        if (found == hardware_faults.end()) {
            std::vector<std::string_view> known;
            std::ranges::transform(hardware_faults, std::back_inserter(known), &NamedFault::name);
            chip.fail("faults", fmt::format("'{}' is not a fault; there are {}", name, fmt::join(known, ", ")));
        }
        faults.*found->member = true;
    }
}

void read_serial_flash(TableReader& chip, ChipOptions& options)
{
    std::optional<TableReader> flash = chip.table("external_flash");
    if (!flash) {
        return;
    }
    if (!options.model->has_qspi) {
        chip.fail("external_flash", fmt::format("{} has no QSPI peripheral", options.model->name));
    }
    SerialFlashOptions& read = options.serial_flash;
    read.bytes = flash->required_number("size", smallest_serial_flash, largest_serial_flash);
    if (!std::has_single_bit(read.bytes)) {
        flash->fail("size", "expected a power of two");
    }
    read.page_bytes = flash->number("page", read.page_bytes, read.page_bytes, large_serial_flash_page);
    if (!std::has_single_bit(read.page_bytes)) {
        flash->fail("page", "expected 256 or 512");
    }
    read.busy_bit = flash->number("wip_bit", read.busy_bit, 0, 7);
    read.is_protected = flash->flag("protected", false);
    read.is_missing = flash->flag("missing", false);
    read.has_pins = flash->flag("pins", read.has_pins);
    read.data_lines = flash->number("data_lines", read.data_lines, 1, read.data_lines);
    read.highest_khz = flash->number("highest_khz", 0, 1, word_max);
    if (const std::uint32_t mode = flash->number("spi_mode", either_mode, 0, 1); mode != either_mode) {
        read.spi_mode = mode;
    }
    read.deselect_ns = flash->number("deselect_ns", 0, 1, word_max);
    for (const std::string& name : flash->texts("faults")) {
        if (name != "never_ready") {
            flash->fail("faults", fmt::format("'{}' is not a fault of a serial flash; there is never_ready", name));
        }
        read.never_ready = true;
    }
    flash->refuse_unknown_keys();
}

ChipConfig read_chip(TableReader& chip, const std::filesystem::path& folder)
{
    ChipConfig config;
    const ChipModel& model = read_model(chip);
    config.options.model = &model;
    config.options.has_control_port = chip.flag("ctrl_ap", model.has_control_port);
    config.options.protected_blocks = chip.numbers("protected_blocks", 0, model.flash_bytes / flash_page_bytes - 1);
    read_rom_table(chip, config.options);
    read_hardware_faults(chip, config.options.faults);
    config.content.is_protected = chip.flag("protected", false);
    if (config.content.is_protected && !config.options.has_control_port) {
        chip.fail("protected", "a chip without a CTRL-AP has no readback protection");
    }
    config.content.image = read_image(chip, folder, model.flash_bytes);
    config.content.fill = static_cast<std::uint8_t>(chip.number("flash_fill", 0xFF, 0, 0xFF));
    read_factory_overrides(chip, config.content);
    read_serial_flash(chip, config.options);
    config.options.registers = read_registers(chip, folder);
    chip.refuse_unknown_keys();
    return config;
}

std::string read_fault_orders(TableReader& probe)
{
    std::string orders = probe.text("fault_orders", "");
    try {
        FaultOrders{}.add_from_text(orders);
    } catch (const std::runtime_error& error) {
        probe.fail("fault_orders", error.what());
    }
    return orders;
}

ProbeConfig read_probe(TableReader& probe, const std::filesystem::path& folder)
{
    ProbeConfig config;
    config.serial_number = probe.required_number("serial", 1, largest_serial_number);
    config.firmware_text = probe.text("firmware", default_firmware_text);
    config.plugged = probe.flag("plugged", true);
    config.fault_orders = read_fault_orders(probe);
    std::optional<TableReader> chip = probe.table("chip");
    const std::uint32_t supply = chip ? default_supply_millivolts : 0;
    config.supply_millivolts = probe.number("supply_mv", supply, 0, highest_supply_millivolts);
    if (chip) {
        config.chip = read_chip(*chip, folder);
    }
    probe.refuse_unknown_keys();
    return config;
}

void read_bench(TableReader& bench, const std::filesystem::path& folder, BenchConfig& config)
{
    config.real_time = bench.flag("real_time", false);
    std::vector<TableReader> probes = bench.tables("probe");
    if (probes.size() > most_probes) {
        bench.fail("probe", fmt::format("{} probes are too many; a bench has at most {}", probes.size(), most_probes));
    }
    for (TableReader& probe : probes) {
        ProbeConfig read = read_probe(probe, folder);
        if (std::ranges::find(config.probes, read.serial_number, &ProbeConfig::serial_number) != config.probes.end()) {
            probe.fail("serial", fmt::format("{} is the serial number of another probe, too", read.serial_number));
        }
        config.probes.push_back(std::move(read));
    }
    bench.refuse_unknown_keys();
}

} // namespace

BenchConfig read_bench_file(const std::string& path)
{
    BenchConfig config;
    config.path = path;
    config.state_folder = tessit::base::environment(state_variable);
    if (config.state_folder.empty()) {
        config.state_folder = path + ".state";
    }
    TableReader bench = TableReader::of_file(path);
    read_bench(bench, tessit::base::path_of(path).parent_path(), config);
    return config;
}

BenchConfig built_in_bench()
{
    BenchConfig config;
    TableReader bench = TableReader::of_text(example_bench_text(), "built-in bench");
    read_bench(bench, {}, config);
    config.state_folder = tessit::base::environment(state_variable);
    if (config.state_folder.empty()) {
        config.state_folder = (platform::user_state_folder() / "tessit" / "bench").string();
    }
    return config;
}

} // namespace jlinksim

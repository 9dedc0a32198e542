// The control interface: what tests, benchmarks and the command line do to the bench.
#include "jlinkarm_sim.h"
#include "sim/api/library.h"
#include "sim/bench/example_bench.h"
#include "sim/platform/file_error.h"
#include "sim/platform/private_file.h"
#include "sim/state/chip_state.h"

#include <algorithm>
#include <cstring>
#include <exception>
#include <fmt/core.h>
#include <stdexcept>

using namespace jlinksim;

namespace {

std::string& last_error()
{
    static std::string text;
    return text;
}

/// Run one control call: an exception becomes -1 and the error text.
template <class Body>
int control(const Body& body) noexcept
{
    try {
        last_error().clear();
        return body();
    } catch (const std::exception& error) {
        last_error() = error.what();
        return -1;
    }
}

template <class Body>
const char* control_text(const Body& body) noexcept
{
    static std::string text;
    text.clear();
    control([&] {
        text = body();
        return 0;
    });
    return text.c_str();
}

Bench& open_bench_or_throw()
{
    return Library::instance().session().bench();
}

Probe& require_probe(std::uint32_t serial_number)
{
    if (Probe* const probe = open_bench_or_throw().find_probe(serial_number)) {
        return *probe;
    }
    throw std::runtime_error(fmt::format("There is no probe {} on the bench.", serial_number));
}

/// The chip of a probe, held for the call.
class HeldChip
{
public:
    explicit HeldChip(std::uint32_t serial_number) : probe_(require_probe(serial_number)), hold_(probe_)
    {
        if (probe_.chip() == nullptr) {
            throw std::runtime_error(fmt::format("There is no chip on probe {}.", serial_number));
        }
    }
    Chip* operator->() { return probe_.chip(); }

private:
    Probe& probe_;
    Probe::Hold hold_;
};

template <std::size_t size>
void put_text(char (&buffer)[size], std::string_view text)
{
    const std::size_t length = std::min(text.size(), size - 1);
    std::memcpy(buffer, text.data(), length);
    buffer[length] = '\0';
}

std::uint32_t used_bytes(std::span<const std::uint8_t> flash)
{
    const auto blank_tail = std::find_if(flash.rbegin(), flash.rend(), [](std::uint8_t byte) { return byte != 0xFF; });
    return static_cast<std::uint32_t>(flash.rend() - blank_tail);
}

void describe_chip(const Chip& chip, jlinksim_probe_t& probe)
{
    probe.chip_protected = chip.is_protected() ? 1 : 0;
    probe.flash_bytes = chip.model().flash_bytes;
    probe.flash_page_bytes = flash_page_bytes;
    probe.flash_used_bytes = used_bytes(chip.state().flash());
    probe.uicr_blank = used_bytes(chip.state().user_area()) == 0 ? 1 : 0;
    probe.ram_bytes = chip.model().ram_bytes();
    probe.external_flash_bytes = static_cast<std::uint32_t>(chip.state().external_flash().size());
}

Fault fault_of(const jlinksim_fault_t& order)
{
    Fault fault;
    if (order.set_result != 0) {
        fault.result = order.result;
    }
    fault.status = order.status;
    fault.error_text = order.error_text == nullptr ? "" : order.error_text;
    fault.pending_error = order.pending_error;
    fault.unplug = order.unplug != 0;
    return fault;
}

void require(bool given, const char* what)
{
    if (!given) {
        throw std::invalid_argument(fmt::format("No {} given.", what));
    }
}

} // namespace

int JLINKSIM_CALL JLINKSIM_open_bench(const char* path)
{
    return control([&] {
        Library::instance().open(path);
        return 0;
    });
}

int JLINKSIM_CALL JLINKSIM_close_bench(void)
{
    return control([] {
        Library::instance().close();
        return 0;
    });
}

const char* JLINKSIM_CALL JLINKSIM_error_text(void)
{
    return last_error().c_str();
}

int JLINKSIM_CALL JLINKSIM_write_example_bench(const char* path)
{
    return control([&] {
        require(path != nullptr, "path");
        try {
            platform::write_new_file(path, std::string{example_bench_text()});
        } catch (const platform::FileError& error) {
            throw std::runtime_error(error.sentence());
        }
        return 0;
    });
}

const char* JLINKSIM_CALL JLINKSIM_bench_path(void)
{
    return control_text([] { return open_bench_or_throw().config().path; });
}

int JLINKSIM_CALL JLINKSIM_count_probes(void)
{
    return control([] { return static_cast<int>(open_bench_or_throw().probes().size()); });
}

int JLINKSIM_CALL JLINKSIM_describe_probe(uint32_t index, jlinksim_probe_t* probe)
{
    return control([&] {
        require(probe != nullptr, "record");
        auto& probes = open_bench_or_throw().probes();
        if (index >= probes.size()) {
            throw std::runtime_error(fmt::format("There is no probe {} among {}.", index, probes.size()));
        }
        Probe& shown = probes[index];
        *probe = {};
        probe->serial_number = shown.serial_number();
        probe->plugged = shown.is_plugged() ? 1 : 0;
        probe->supply_millivolts = shown.supply_millivolts();
        put_text(probe->firmware_text, shown.config().firmware_text);
        put_text(probe->state_folder, shown.folder());
        if (shown.config().chip) {
            put_text(probe->chip_version, shown.config().chip->options.model->name);
        }
        // From here on the chip's state is needed.
        probe->in_use = shown.is_held() ? 1 : 0;
        shown.look_at_chip([&](const Chip& chip) { describe_chip(chip, *probe); });
        return 0;
    });
}

int JLINKSIM_CALL JLINKSIM_factory_reset(uint32_t serial_number)
{
    return control([&] {
        require_probe(serial_number).factory_reset();
        Library::instance().session().supply_changed(serial_number);
        return 0;
    });
}

int JLINKSIM_CALL JLINKSIM_power_cycle(uint32_t serial_number)
{
    return control([&] {
        HeldChip
        {
            serial_number
            } -> power_on();
        Library::instance().session().supply_changed(serial_number);
        return 0;
    });
}

int JLINKSIM_CALL JLINKSIM_set_supply(uint32_t serial_number, uint32_t millivolts)
{
    return control([&] {
        require_probe(serial_number).set_supply(millivolts);
        Library::instance().session().supply_changed(serial_number);
        return 0;
    });
}

int JLINKSIM_CALL JLINKSIM_set_plugged(uint32_t serial_number, uint32_t plugged)
{
    return control([&] {
        require_probe(serial_number).set_plugged(plugged != 0);
        return 0;
    });
}

int JLINKSIM_CALL JLINKSIM_peek(uint32_t serial_number, uint32_t addr, void* buffer, uint32_t length)
{
    return control([&] {
        require(buffer != nullptr || length == 0, "buffer");
        if (!HeldChip { serial_number } -> peek(addr, {static_cast<std::uint8_t*>(buffer), length})) {
            throw std::runtime_error(fmt::format("There is no memory of {} bytes at 0x{:08X}.", length, addr));
        }
        return 0;
    });
}

int JLINKSIM_CALL JLINKSIM_poke(uint32_t serial_number, uint32_t addr, const void* data, uint32_t length)
{
    return control([&] {
        require(data != nullptr || length == 0, "data");
        if (!HeldChip { serial_number } -> poke(addr, {static_cast<const std::uint8_t*>(data), length})) {
            throw std::runtime_error(fmt::format("There is no memory of {} bytes at 0x{:08X}.", length, addr));
        }
        return 0;
    });
}

uint64_t JLINKSIM_CALL JLINKSIM_time_ns(void)
{
    std::uint64_t now = 0;
    control([&] {
        now = open_bench_or_throw().clock().modelled();
        return 0;
    });
    return now;
}

int JLINKSIM_CALL JLINKSIM_pass_time(uint64_t nanoseconds)
{
    return control([&] {
        Library::instance().session().pass_time(nanoseconds);
        return 0;
    });
}

int JLINKSIM_CALL JLINKSIM_is_real_time(void)
{
    return control([] { return open_bench_or_throw().clock().is_real_time() ? 1 : 0; });
}

int JLINKSIM_CALL JLINKSIM_start_trace(void)
{
    return control([] {
        open_bench_or_throw().trace().start();
        return 0;
    });
}

int JLINKSIM_CALL JLINKSIM_stop_trace(void)
{
    return control([] {
        open_bench_or_throw().trace().stop();
        return 0;
    });
}

int JLINKSIM_CALL JLINKSIM_count_trace(void)
{
    return control([] { return static_cast<int>(open_bench_or_throw().trace().lines().size()); });
}

const char* JLINKSIM_CALL JLINKSIM_trace_line(uint32_t index)
{
    return control_text([&] { return open_bench_or_throw().trace().lines().at(index); });
}

int JLINKSIM_CALL JLINKSIM_inject_fault(const jlinksim_fault_t* fault)
{
    return control([&] {
        require(fault != nullptr && fault->function != nullptr, "function");
        open_bench_or_throw().faults().add({.function = fault->function,
                                            .first = fault->occurrence,
                                            .count = fault->count,
                                            .fault = fault_of(*fault)});
        return 0;
    });
}

int JLINKSIM_CALL JLINKSIM_clear_faults(void)
{
    return control([] {
        open_bench_or_throw().faults().clear();
        return 0;
    });
}

int JLINKSIM_CALL JLINKSIM_count_records(void)
{
    return control([] { return static_cast<int>(open_bench_or_throw().records().count()); });
}

const char* JLINKSIM_CALL JLINKSIM_record_line(uint32_t index)
{
    return control_text([&] { return open_bench_or_throw().records().line(index); });
}

const char* JLINKSIM_CALL JLINKSIM_records_path(void)
{
    return control_text([] { return open_bench_or_throw().records_path(); });
}

int JLINKSIM_CALL JLINKSIM_clear_records(void)
{
    return control([] {
        open_bench_or_throw().records().clear();
        return 0;
    });
}

// The raw accesses: `ap` and `dp`.
#include "cli/commands/on_probes.h"

#include <fmt/format.h>
#include <memory>

namespace tessit::cli {
namespace {

struct Options
{
    bool writes = false;
    std::uint8_t ap_index = 0;
    std::uint8_t address = 0;
    std::uint32_t value = 0;
};

std::uint8_t parse_register(const std::string& text)
{
    const std::uint8_t address = parse_byte(text, "register address");
    if (address % 4 != 0) {
        throw Failure{ExitCode::usage, fmt::format("the register address '{}' is not a multiple of 4", text),
                      "Bits 3:2 choose the register, bits 7:4 its bank."};
    }
    return address;
}

std::string describe(const Options& options, bool is_ap)
{
    return is_ap ? fmt::format("AP {} register {:#04x}", options.ap_index, options.address)
                 : fmt::format("DP register {:#04x}", options.address);
}

Report access(const Target& target, const Options& options, bool is_ap)
{
    const Session& session = target.session();
    const std::string name = describe(options, is_ap);
    std::uint32_t value = options.value;
    if (options.writes) {
        session.check(is_ap ? TESSIT_write_access_port_register(options.ap_index, options.address, value)
                            : TESSIT_write_debug_port_register(options.address, value),
                      fmt::format("write {}", name));
    } else {
        session.check(is_ap ? TESSIT_read_access_port_register(options.ap_index, options.address, &value)
                            : TESSIT_read_debug_port_register(options.address, &value),
                      fmt::format("read {}", name));
    }
    Json json{{"register", options.address}, {"value", value}};
    if (is_ap) {
        json["ap"] = options.ap_index;
    }
    return {fmt::format("{}  {:#010x}{}\n", name, value, options.writes ? " written, not read back" : ""),
            std::move(json)};
}

void add_operands(const Verb& verb, const std::shared_ptr<Options>& options, bool is_ap)
{
    if (is_ap) {
        verb.parsed(
                "INDEX", "",
                [options](const std::string& text) {
                    options->ap_index = parse_byte(text, "index of the access port");
                },
                "Access port, 0 to 255; 1 is the control access port; one that is not there reads as zero")
            .required();
    }
    verb.parsed(
            "ADDR", "", [options](const std::string& text) { options->address = parse_register(text); },
            is_ap ? "Register address, a multiple of 4 up to 0xfc"
                  : "Register address with its bank in bits 7:4: 0 identification (written: ABORT), 4 CTRL/STAT, "
                    "8 SELECT (only written), 0xc RDBUFF (only read)")
        .required();
}

Command add_port(const Verb& root, const char* name, const char* help, bool is_ap)
{
    const Verb verb = root.verb(name, help);
    const auto options = std::make_shared<Options>();
    verb.require_verb();
    const Verb read = verb.verb("read", "Read a register");
    const Verb write = verb.verb("write", "Write a register; what it takes of the value is not checked");
    add_operands(read, options, is_ap);
    add_operands(write, options, is_ap);
    write
        .parsed(
            "VALUE", "", [options](const std::string& text) { options->value = parse_u32(text, "value"); },
            "Value to write")
        .required();
    return {verb, [options, write, is_ap](const Invocation& invocation) {
                options->writes = write.is_chosen();
                return run_on_probe(invocation, [&](const Target& target) { return access(target, *options, is_ap); });
            }};
}

} // namespace

Command add_ap(const Verb& root)
{
    return add_port(root, "ap", "Read or write a register of an access port", true);
}

Command add_dp(const Verb& root)
{
    return add_port(root, "dp", "Read or write a register of the debug port", false);
}

} // namespace tessit::cli

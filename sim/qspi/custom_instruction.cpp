// The QSPI peripheral's custom instructions: any instruction of the flash, in one step or as a long frame of several.
#include "sim/qspi/qspi.h"
#include "sim/qspi/qspi_registers.h"

namespace jlinksim {
namespace {

using namespace qspi;

constexpr unsigned longest_step = 9; // the opcode and two data registers
constexpr std::uint32_t long_frame_bits = 3U << 16;

} // namespace

void Qspi::start_custom(std::uint32_t value, unsigned /*index*/)
{
    const CustomInstruction wanted{.opcode = static_cast<std::uint8_t>(value),
                                   .length = value >> 8 & 0xF,
                                   .is_long = (value >> 16 & 1) != 0,
                                   .is_last = (value >> 17 & 1) != 0,
                                   .io2_high = (value >> 12 & 1) != 0,
                                   .io3_high = (value >> 13 & 1) != 0};
    if ((value & long_frame_bits) != 0 && !has_long_frames_) {
        records().add("qspi-long-frame-unsupported", fmt::format("CINSTRCONF = 0x{:X}", value));
        return;
    }
    settle();
    const bool continues = frame_is_open_ && wanted.is_long && wanted.opcode == custom_.opcode;
    if (continues && wanted.is_last && wanted.length == 1 && step_ == nullptr) {
        frame_is_open_ = false; // nothing but the end, which is no task
        flash_.deselect();
        return;
    }
    if (!continues) {
        abandon_long_frame("CINSTRCONF");
    }
    if (!may_use_lines("CINSTRCONF")) {
        return;
    }
    if (wanted.length == 0 || wanted.length > longest_step) {
        records().add("qspi-custom-length", fmt::format("CINSTRCONF = 0x{:X}", value));
        return;
    }
    custom_ = wanted;
    begin(&Qspi::finish_custom, lines_ns(8ULL * wanted.length));
}

void Qspi::finish_custom()
{
    if (!frame_is_open_) {
        SerialFlash::Frame sent = frame();
        sent.holds = !custom_.io3_high;
        sent.protects = !custom_.io2_high;
        flash_.select(sent);
        flash_.exchange(custom_.opcode);
    }
    for (unsigned i = 0; i + 1 < custom_.length; ++i) {
        std::uint32_t& data = word(custom_data_0 + i / 4 * 4);
        const unsigned shift = 8 * (i % 4);
        const std::uint32_t received = receive(static_cast<std::uint8_t>(data >> shift));
        data = (data & ~(0xFFU << shift)) | received << shift;
    }
    frame_is_open_ = custom_.is_long && !custom_.is_last;
    if (!frame_is_open_) {
        flash_.deselect();
    }
    complete();
}

} // namespace jlinksim

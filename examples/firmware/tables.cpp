#include "tables.h"

namespace {

constexpr double full_turn = 6.283185307179586;

constexpr int16_t sine(uint32_t step)
{
    const double value = SINE_SCALE * __builtin_sin(full_turn * step / SINE_STEPS);
    return static_cast<int16_t>(value < 0 ? value - 0.5 : value + 0.5);
}

constexpr uint32_t crc32(uint32_t byte)
{
    uint32_t crc = byte;
    for (int bit = 0; bit < 8; ++bit) {
        crc = (crc >> 1U) ^ ((crc & 1U) != 0 ? 0xEDB88320U : 0U);
    }
    return crc;
}

constexpr struct tables compute()
{
    struct tables result = {};
    for (uint32_t step = 0; step < SINE_STEPS; ++step) {
        result.sine[step] = sine(step);
    }
    for (uint32_t byte = 0; byte < 256; ++byte) {
        result.crc32[byte] = crc32(byte);
    }
    return result;
}

} // namespace

extern constexpr struct tables tables = compute();

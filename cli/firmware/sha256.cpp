#include "cli/firmware/sha256.h"

#include "base/little_endian.h"

#include <algorithm>
#include <array>
#include <bit>
#include <fmt/format.h>
#include <vector>

namespace tessit::cli {
namespace {

constexpr std::size_t block_bytes = 64;
constexpr std::size_t rounds = 64;

// The fractional parts of the cube roots of the first 64 primes.
constexpr std::array<std::uint32_t, rounds> round_constants{
    0x428a2f98, 0x71374491, 0xb5c0fbcf, 0xe9b5dba5, 0x3956c25b, 0x59f111f1, 0x923f82a4, 0xab1c5ed5,
    0xd807aa98, 0x12835b01, 0x243185be, 0x550c7dc3, 0x72be5d74, 0x80deb1fe, 0x9bdc06a7, 0xc19bf174,
    0xe49b69c1, 0xefbe4786, 0x0fc19dc6, 0x240ca1cc, 0x2de92c6f, 0x4a7484aa, 0x5cb0a9dc, 0x76f988da,
    0x983e5152, 0xa831c66d, 0xb00327c8, 0xbf597fc7, 0xc6e00bf3, 0xd5a79147, 0x06ca6351, 0x14292967,
    0x27b70a85, 0x2e1b2138, 0x4d2c6dfc, 0x53380d13, 0x650a7354, 0x766a0abb, 0x81c2c92e, 0x92722c85,
    0xa2bfe8a1, 0xa81a664b, 0xc24b8b70, 0xc76c51a3, 0xd192e819, 0xd6990624, 0xf40e3585, 0x106aa070,
    0x19a4c116, 0x1e376c08, 0x2748774c, 0x34b0bcb5, 0x391c0cb3, 0x4ed8aa4a, 0x5b9cca4f, 0x682e6ff3,
    0x748f82ee, 0x78a5636f, 0x84c87814, 0x8cc70208, 0x90befffa, 0xa4506ceb, 0xbef9a3f7, 0xc67178f2};

// And of the square roots of the first 8.
using State = std::array<std::uint32_t, 8>;
constexpr State first_state{0x6a09e667, 0xbb67ae85, 0x3c6ef372, 0xa54ff53a,
                            0x510e527f, 0x9b05688c, 0x1f83d9ab, 0x5be0cd19};

std::uint32_t load_big_endian(const std::uint8_t* bytes)
{
    return static_cast<std::uint32_t>(bytes[0]) << 24 | static_cast<std::uint32_t>(bytes[1]) << 16 |
           static_cast<std::uint32_t>(bytes[2]) << 8 | bytes[3];
}

std::array<std::uint32_t, rounds> schedule(const std::uint8_t* block)
{
    std::array<std::uint32_t, rounds> words{};
    for (std::size_t i = 0; i < 16; ++i) {
        words[i] = load_big_endian(block + 4 * i);
    }
    for (std::size_t i = 16; i < rounds; ++i) {
        const std::uint32_t a = words[i - 15];
        const std::uint32_t b = words[i - 2];
        words[i] = words[i - 16] + (std::rotr(a, 7) ^ std::rotr(a, 18) ^ a >> 3) + words[i - 7] +
                   (std::rotr(b, 17) ^ std::rotr(b, 19) ^ b >> 10);
    }
    return words;
}

void add_block(State& state, const std::uint8_t* block)
{
    const std::array<std::uint32_t, rounds> words = schedule(block);
    auto [a, b, c, d, e, f, g, h] = state;
    for (std::size_t i = 0; i < rounds; ++i) {
        const std::uint32_t first = h + (std::rotr(e, 6) ^ std::rotr(e, 11) ^ std::rotr(e, 25)) + ((e & f) ^ (~e & g)) +
                                    round_constants[i] + words[i];
        const std::uint32_t second =
            (std::rotr(a, 2) ^ std::rotr(a, 13) ^ std::rotr(a, 22)) + ((a & b) ^ (a & c) ^ (b & c));
        h = g;
        g = f;
        f = e;
        e = d + first;
        d = c;
        c = b;
        b = a;
        a = first + second;
    }
    const State added{a, b, c, d, e, f, g, h};
    std::ranges::transform(state, added, state.begin(), std::plus{});
}

// The rest, a one bit, zeros, and the length in bits.
std::vector<std::uint8_t> last_blocks(std::span<const std::uint8_t> bytes)
{
    std::vector<std::uint8_t> last(bytes.begin(), bytes.end());
    const std::uint64_t bits = std::uint64_t{8} * bytes.size();
    last.erase(last.begin(), last.begin() + static_cast<std::ptrdiff_t>(bytes.size() / block_bytes * block_bytes));
    last.push_back(0x80);
    while (last.size() % block_bytes != block_bytes - 8) {
        last.push_back(0);
    }
    for (int shift = 56; shift >= 0; shift -= 8) {
        last.push_back(static_cast<std::uint8_t>(bits >> shift));
    }
    return last;
}

} // namespace

std::string sha256(std::span<const std::uint8_t> bytes)
{
    State state = first_state;
    for (std::size_t at = 0; at + block_bytes <= bytes.size(); at += block_bytes) {
        add_block(state, &bytes[at]);
    }
    const std::vector<std::uint8_t> last = last_blocks(bytes);
    for (std::size_t at = 0; at < last.size(); at += block_bytes) {
        add_block(state, &last[at]);
    }
    return fmt::format("{:08x}", fmt::join(state, ""));
}

std::string sha256(const Image& image)
{
    std::vector<std::uint8_t> bytes;
    for (const Segment& segment : image.segments()) {
        std::array<std::uint8_t, 8> heading{};
        little_endian::store_u32(std::span{heading}.first(4), segment.address);
        little_endian::store_u32(std::span{heading}.last(4), static_cast<std::uint32_t>(segment.bytes.size()));
        bytes.insert(bytes.end(), heading.begin(), heading.end());
        bytes.insert(bytes.end(), segment.bytes.begin(), segment.bytes.end());
    }
    return sha256(bytes);
}

} // namespace tessit::cli

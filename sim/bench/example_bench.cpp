#include "sim/bench/example_bench.h"

namespace jlinksim {

std::string_view example_bench_text()
{
    return R"(# A bench of simulated probes and chips. Set JLINKARM_SIM_BENCH to this file's path to use it.
# The chips' memories are kept beside it, in a folder of its name with ".state" after it.

# Whether real time that passes between two calls counts for the chips, too.
# real_time = false

[[probe]]
serial = 600000001                  # 1 to 2147483647
# firmware = "J-Link V11 compiled Feb  1 2026 10:00:00"
# supply_mv = 3300                  # what the probe measures at the target; below 1500 no chip answers
# plugged = true                    # false: not on USB
# fault_orders = "JLINKARM_WriteMem#2@unplug"   # as JLINKARM_SIM_FAULTS, whenever this probe is opened

[probe.chip]                        # leave it out for a probe that is connected to nothing
version = "BIRCH_M1_VA_REV2"
# The rest is optional.
# protected = true                  # delivered with readback protection
# flash_file = "firmware.bin"       # raw content from address 0, relative to this file
# flash_fill = 0xFF                 # the flash after it
# protected_blocks = [0, 1]         # flash blocks of 4 KiB that ignore writes and erases
# ctrl_ap = false                   # a chip without its control access port
# faults = ["erase_never_ends"]     # and flash_never_ready, ctrl_ap_fails, connect_fails, qspi_never_ready
# ficr = { part = 0xFFFFFFFF }      # also revision, variant, or an offset such as "0x060"
# rom_table = { part = 6, revision = 3 }
# [[probe.chip.register]]           # registers of one's own, for firmware that waits for a peripheral
# name = "EVENT"
# address = 0x40002100              # 0x40000000 to 0x5FFFFFFF
# size = 4                          # 1, 2 or 4 bytes
# count = 1                         # so many side by side
# reset = 0
# read_only = true
# interrupt = 2                     # raised as long as it is not 0
# output = "uart.txt"               # gets the lowest byte of every write
# on_write = [{ sets = "EVENT", to = 1, after_us = 100, repeat = false }, { stops = "EVENT" }]

[[probe]]
serial = 600000002

[probe.chip]
version = "BIRCH_M2_VA_REV1"

[probe.chip.external_flash]         # serial flash behind the QSPI peripheral, which BIRCH_M2 chips have
size = 8388608                      # bytes, a power of two from 65536 to 134217728
# page = 256                        # or 512: what one program instruction can write
# wip_bit = 0                       # 0 to 7, of its status register: 1 while it writes or erases
# protected = true                  # ignores writes and erases
# pins = false                      # lines 2 and 3 are not its WP and HOLD
# data_lines = 1                    # or 2: how many lines it sends and takes data over; 4 unless it says otherwise
# spi_mode = 0                      # or 1: the only one that it understands
# highest_khz = 8000                # clock up to which it follows
# deselect_ns = 100                 # for how long it has to be deselected between frames
# missing = true                    # not fitted: everything reads as ones
# faults = ["never_ready"]          # busy for ever

[[probe]]
serial = 600000003

[probe.chip]
version = "BIRCH_M3_VA_REV1"
)";
}

} // namespace jlinksim

#include "sim/cpu/unicorn_registers.h"

#include <unicorn/unicorn.h>

#include <array>
#include <optional>

namespace jlinksim::unicorn_registers {
namespace {

/// By cpu_register's index, up to S0.
constexpr std::array register_ids{
    UC_ARM_REG_R0,  UC_ARM_REG_R1,      UC_ARM_REG_R2,      UC_ARM_REG_R3,      UC_ARM_REG_R4,        UC_ARM_REG_R5,
    UC_ARM_REG_R6,  UC_ARM_REG_R7,      UC_ARM_REG_R8,      UC_ARM_REG_R9,      UC_ARM_REG_R10,       UC_ARM_REG_R11,
    UC_ARM_REG_R12, UC_ARM_REG_SP,      UC_ARM_REG_LR,      UC_ARM_REG_PC,      UC_ARM_REG_XPSR,      UC_ARM_REG_MSP,
    UC_ARM_REG_PSP, UC_ARM_REG_CONTROL, UC_ARM_REG_PRIMASK, UC_ARM_REG_BASEPRI, UC_ARM_REG_FAULTMASK, UC_ARM_REG_FPSCR};
static_assert(register_ids.size() == cpu_register::first_single);

std::uint32_t get(uc_engine& engine, int id)
{
    std::uint32_t value = 0;
    uc_reg_read(&engine, id, &value);
    return value;
}

void set(uc_engine& engine, int id, std::uint32_t value)
{
    uc_reg_write(&engine, id, &value);
}

/// The engine knows the single-precision registers in pairs only.
int double_id(unsigned index_of_first)
{
    return UC_ARM_REG_D0 + static_cast<int>((index_of_first - cpu_register::first_single) / 2);
}

/// In unprivileged thread mode the engine reads the stack pointers and masks as zero and ignores writes to them, also
/// when it is the host that asks. In handler mode (IPSR not zero) it does not, so that is where we go meanwhile.
class Privileged
{
public:
    explicit Privileged(uc_engine& engine) : engine_{engine}
    {
        const std::uint32_t xpsr = get(engine_, UC_ARM_REG_XPSR);
        const bool is_thread = (xpsr & cpu_register::xpsr_exception) == 0;
        if (is_thread && (get(engine_, UC_ARM_REG_CONTROL) & cpu_register::control_unprivileged) != 0) {
            xpsr_ = xpsr;
            set(engine_, UC_ARM_REG_XPSR, xpsr | 1U);
        }
    }
    ~Privileged()
    {
        if (xpsr_) {
            set(engine_, UC_ARM_REG_XPSR, *xpsr_);
        }
    }
    Privileged(const Privileged&) = delete;
    Privileged& operator=(const Privileged&) = delete;

private:
    uc_engine& engine_;
    std::optional<std::uint32_t> xpsr_; ///< to go back to
};

bool needs_privilege(unsigned index)
{
    return index >= cpu_register::msp && index <= cpu_register::faultmask;
}

std::uint64_t get_pair(uc_engine& engine, unsigned index)
{
    std::uint64_t pair = 0;
    uc_reg_read(&engine, double_id(index), &pair);
    return pair;
}

constexpr unsigned odd_half_bits(unsigned index)
{
    return (index - cpu_register::first_single) % 2 * 32;
}

std::uint32_t read_single(uc_engine& engine, unsigned index)
{
    return static_cast<std::uint32_t>(get_pair(engine, index) >> odd_half_bits(index));
}

void write_single(uc_engine& engine, unsigned index, std::uint32_t value)
{
    const std::uint64_t others = get_pair(engine, index) & ~(std::uint64_t{0xFFFFFFFF} << odd_half_bits(index));
    const std::uint64_t pair = others | std::uint64_t{value} << odd_half_bits(index);
    uc_reg_write(&engine, double_id(index), &pair);
}

/// The engine follows the rules for firmware: the stack is chosen in thread mode only, and the rest by privileged code
/// only. So first privilege, then thread mode.
void write_control(uc_engine& engine, std::uint32_t value)
{
    const std::uint32_t xpsr = get(engine, UC_ARM_REG_XPSR);
    const std::uint32_t thread = xpsr & ~cpu_register::xpsr_exception;
    set(engine, UC_ARM_REG_XPSR, thread | 1U);
    set(engine, UC_ARM_REG_CONTROL, 0);
    set(engine, UC_ARM_REG_XPSR, thread);
    set(engine, UC_ARM_REG_CONTROL, value);
    set(engine, UC_ARM_REG_XPSR, xpsr);
}

} // namespace

std::uint32_t read(uc_engine& engine, unsigned index)
{
    if (index >= cpu_register::first_single) {
        return read_single(engine, index);
    }
    const int id = register_ids[index];
    if (needs_privilege(index)) {
        const Privileged privileged{engine};
        return get(engine, id);
    }
    return get(engine, id);
}

void write(uc_engine& engine, unsigned index, std::uint32_t value)
{
    if (index >= cpu_register::first_single) {
        write_single(engine, index, value);
        return;
    }
    const int id = register_ids[index];
    if (index == cpu_register::pc) {
        // The engine takes bit 0 of a written program counter as the Thumb bit.
        const bool thumb = (get(engine, UC_ARM_REG_XPSR) & cpu_register::xpsr_thumb) != 0;
        set(engine, id, value | (thumb ? 1U : 0U));
    } else if (index == cpu_register::xpsr) {
        set(engine, id, value);
        set(engine, UC_ARM_REG_APSR_G, value); // its GE flags, which a write to XPSR leaves out
    } else if (index == cpu_register::control) {
        write_control(engine, value);
    } else if (needs_privilege(index)) {
        const Privileged privileged{engine};
        set(engine, id, value);
    } else {
        set(engine, id, value);
    }
}

CpuState save(uc_engine& engine)
{
    CpuState state{};
    state[cpu_register::xpsr] = get(engine, UC_ARM_REG_XPSR);
    const Privileged privileged{engine};
    for (unsigned index = 0; index < register_ids.size(); ++index) {
        if (index != cpu_register::xpsr) {
            state[index] = get(engine, register_ids[index]);
        }
    }
    for (unsigned index = cpu_register::first_single; index < cpu_state_words; index += 2) {
        const std::uint64_t pair = get_pair(engine, index);
        state[index] = static_cast<std::uint32_t>(pair);
        state[index + 1] = static_cast<std::uint32_t>(pair >> 32);
    }
    return state;
}

void restore(uc_engine& engine, const CpuState& state)
{
    for (unsigned index = 0; index < register_ids.size(); ++index) {
        // R13 is MSP or PSP. CONTROL may take away the right to write the others, and so comes after them.
        if (index != cpu_register::sp && index != cpu_register::control && index != cpu_register::xpsr) {
            set(engine, register_ids[index], state[index]);
        }
    }
    for (unsigned index = cpu_register::first_single; index < cpu_state_words; index += 2) {
        const std::uint64_t pair = state[index] | std::uint64_t{state[index + 1]} << 32;
        uc_reg_write(&engine, double_id(index), &pair);
    }
    write_control(engine, state[cpu_register::control]);
    write(engine, cpu_register::xpsr, state[cpu_register::xpsr]);
}

} // namespace jlinksim::unicorn_registers

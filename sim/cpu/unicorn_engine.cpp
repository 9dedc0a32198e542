#include "sim/cpu/unicorn_engine.h"

#include <unicorn/unicorn.h>

#include <algorithm>
#include <functional>
#include <stdexcept>
#include <string>

namespace jlinksim {

namespace {

constexpr std::uint64_t address_space = std::uint64_t{1} << 32U;
/// Never reached: the engine's own end address is not used.
constexpr std::uint64_t no_end = ~std::uint64_t{0};

/// Numbers of the engine's interrupts.
constexpr std::uint32_t prefetch_abort = 3;
constexpr std::uint32_t exception_exit = 8;

constexpr std::uint32_t control_unprivileged = 1;

/// By cpu_register's index, up to S0.
constexpr std::array register_ids{
    UC_ARM_REG_R0,  UC_ARM_REG_R1,      UC_ARM_REG_R2,      UC_ARM_REG_R3,      UC_ARM_REG_R4,        UC_ARM_REG_R5,
    UC_ARM_REG_R6,  UC_ARM_REG_R7,      UC_ARM_REG_R8,      UC_ARM_REG_R9,      UC_ARM_REG_R10,       UC_ARM_REG_R11,
    UC_ARM_REG_R12, UC_ARM_REG_SP,      UC_ARM_REG_LR,      UC_ARM_REG_PC,      UC_ARM_REG_XPSR,      UC_ARM_REG_MSP,
    UC_ARM_REG_PSP, UC_ARM_REG_CONTROL, UC_ARM_REG_PRIMASK, UC_ARM_REG_BASEPRI, UC_ARM_REG_FAULTMASK, UC_ARM_REG_FPSCR};
static_assert(register_ids.size() == cpu_register::first_single);

void require(uc_err result, const char* what)
{
    if (result != UC_ERR_OK) {
        throw std::runtime_error{std::string{"The simulated CPU cannot "} + what + ": " + uc_strerror(result) + "."};
    }
}

std::uint32_t get(uc_engine* engine, int id)
{
    std::uint32_t value = 0;
    uc_reg_read(engine, id, &value);
    return value;
}

void set(uc_engine* engine, int id, std::uint32_t value)
{
    uc_reg_write(engine, id, &value);
}

/// The engine knows the single-precision registers in pairs only.
int double_id(unsigned index_of_first)
{
    return UC_ARM_REG_D0 + static_cast<int>((index_of_first - cpu_register::first_single) / 2);
}

uc_engine* open_engine()
{
    uc_engine* engine = nullptr;
    require(uc_open(UC_ARCH_ARM, static_cast<uc_mode>(UC_MODE_THUMB | UC_MODE_MCLASS), &engine), "open its engine");
    return engine;
}

bool is_fetch(uc_mem_type type)
{
    return type == UC_MEM_FETCH_UNMAPPED || type == UC_MEM_FETCH_PROT;
}

bool is_write(uc_mem_type type)
{
    return type == UC_MEM_WRITE_UNMAPPED || type == UC_MEM_WRITE_PROT;
}

} // namespace

/// The engine's callbacks, in its types. `user` is the engine's owner.
struct UnicornEngine::Hooks
{
    static UnicornEngine& owner(void* user) { return *static_cast<UnicornEngine*>(user); }

    static void code(uc_engine* engine, std::uint64_t address, std::uint32_t /*size*/, void* user)
    {
        UnicornEngine& self = owner(user);
        if (self.stop_requested_ || !self.observer_.on_instruction(static_cast<std::uint32_t>(address))) {
            uc_emu_stop(engine);
        }
    }

    static bool access(uc_engine* /*engine*/, uc_mem_type type, std::uint64_t address, int size, std::int64_t value,
                       void* user)
    {
        UnicornEngine& self = owner(user);
        if (is_fetch(type)) {
            return self.refuse(Stop::fetch);
        }
        const auto where = static_cast<std::uint32_t>(address);
        const auto bytes = static_cast<unsigned>(size);
        return is_write(type) ? self.write_observer(where, bytes, static_cast<std::uint64_t>(value))
                              : self.read_observer(where, bytes);
    }

    /// Comes behind access(), in one piece of up to 4 bytes or two.
    static std::uint64_t granted_read(uc_engine* /*engine*/, std::uint64_t offset, unsigned /*size*/, void* user)
    {
        // The offset counts from the window's begin, which is a multiple of more than any access.
        const Granted& granted = owner(user).granted_;
        const std::uint64_t piece = (offset - granted.address) & 7U;
        return granted.value >> (8U * piece);
    }

    /// access() has written already.
    static void granted_write(uc_engine* /*engine*/, std::uint64_t /*offset*/, unsigned /*size*/,
                              std::uint64_t /*value*/, void* /*user*/)
    {
    }

    static bool undefined(uc_engine* /*engine*/, void* user) { return owner(user).refuse(Stop::undefined); }

    static void interrupt(uc_engine* engine, std::uint32_t number, void* user)
    {
        const bool fetch = number == prefetch_abort;
        const Stop other = number == exception_exit ? Stop::exception_return : Stop::undefined;
        owner(user).refuse(fetch ? Stop::fetch : other);
        uc_emu_stop(engine);
    }
};

/// In unprivileged thread mode the engine reads the stack pointers and masks as zero and ignores writes to them, also
/// when it is the host that asks. In handler mode (IPSR not zero) it does not, so that is where we go meanwhile.
class UnicornEngine::Privileged
{
public:
    explicit Privileged(uc_engine* engine) : engine_{engine}
    {
        if ((get(engine_, UC_ARM_REG_CONTROL) & control_unprivileged) != 0) {
            xpsr_ = get(engine_, UC_ARM_REG_XPSR);
            set(engine_, UC_ARM_REG_XPSR, *xpsr_ | 1U);
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
    uc_engine* engine_;
    std::optional<std::uint32_t> xpsr_; ///< to go back to
};

void UnicornEngine::Close::operator()(uc_struct* engine) const
{
    uc_close(engine);
}

UnicornEngine::UnicornEngine(std::span<const DirectMemory> memories, Observer& observer)
    : engine_{open_engine()}, observer_{observer}, memories_{memories.begin(), memories.end()}
{
    require(uc_ctl_set_cpu_model(engine_.get(), UC_CPU_ARM_CORTEX_M4), "choose the Cortex-M4");
    map_memories();
    add_hooks();
}

void UnicornEngine::map_memories()
{
    std::sort(memories_.begin(), memories_.end(),
              [](const DirectMemory& a, const DirectMemory& b) { return a.base < b.base; });
    std::uint64_t end = 0;
    for (const DirectMemory& memory : memories_) {
        map_bus(end, memory.base);
        const unsigned rights = memory.writable ? UC_PROT_ALL : UC_PROT_READ | UC_PROT_EXEC;
        require(uc_mem_map_ptr(engine_.get(), memory.base, memory.bytes.size(), rights, memory.bytes.data()),
                "map its memory");
        end = memory.base + memory.bytes.size();
    }
    map_bus(end, address_space);
}

/// The gap between two memories becomes a window to the bus that nobody may access. The engine then asks about every
/// access before it makes it, and a no aborts the instruction with all registers as they were; from inside the window's
/// own callbacks there is no way to do that.
void UnicornEngine::map_bus(std::uint64_t begin, std::uint64_t end)
{
    if (begin == end) {
        return;
    }
    require(uc_mmio_map(engine_.get(), begin, end - begin, &Hooks::granted_read, this, &Hooks::granted_write, this),
            "map its bus");
    require(uc_mem_protect(engine_.get(), begin, end - begin, UC_PROT_NONE), "guard its bus");
}

void UnicornEngine::add_hook(int type, void* function)
{
    uc_hook hook = 0;
    require(uc_hook_add(engine_.get(), &hook, type, function, this, std::uint64_t{1}, std::uint64_t{0}),
            "watch its engine");
}

/// The instruction hook stays for good: it is the one way to stop that never hangs. The engine's count and timeout and
/// a stop from another thread are not seen by blocks that are chained to each other (a branch to itself is one).
void UnicornEngine::add_hooks()
{
    add_hook(UC_HOOK_CODE, reinterpret_cast<void*>(&Hooks::code));
    add_hook(UC_HOOK_MEM_INVALID, reinterpret_cast<void*>(&Hooks::access));
    add_hook(UC_HOOK_INSN_INVALID, reinterpret_cast<void*>(&Hooks::undefined));
    add_hook(UC_HOOK_INTR, reinterpret_cast<void*>(&Hooks::interrupt));
}

std::uint32_t UnicornEngine::read_register(unsigned index) const
{
    const int id = register_ids[index];
    if (index == cpu_register::msp || index == cpu_register::psp) {
        const Privileged privileged{engine_.get()};
        return get(engine_.get(), id);
    }
    return get(engine_.get(), id);
}

void UnicornEngine::write_register(unsigned index, std::uint32_t value)
{
    const int id = register_ids[index];
    if (index == cpu_register::pc) {
        // The engine takes bit 0 of a written program counter as the Thumb bit.
        const bool thumb = (get(engine_.get(), UC_ARM_REG_XPSR) & cpu_register::xpsr_thumb) != 0;
        set(engine_.get(), id, value | (thumb ? 1U : 0U));
    } else if (index == cpu_register::xpsr) {
        set(engine_.get(), id, value);
        set(engine_.get(), UC_ARM_REG_APSR_G, value); // its GE flags, which a write to XPSR leaves out
    } else if (index == cpu_register::msp || index == cpu_register::psp) {
        const Privileged privileged{engine_.get()};
        set(engine_.get(), id, value);
    } else {
        set(engine_.get(), id, value);
    }
}

CpuState UnicornEngine::save() const
{
    CpuState state{};
    state[cpu_register::xpsr] = get(engine_.get(), UC_ARM_REG_XPSR);
    const Privileged privileged{engine_.get()};
    for (unsigned index = 0; index < register_ids.size(); ++index) {
        if (index != cpu_register::xpsr) {
            state[index] = get(engine_.get(), register_ids[index]);
        }
    }
    for (unsigned index = cpu_register::first_single; index < cpu_state_words; index += 2) {
        std::uint64_t pair = 0;
        uc_reg_read(engine_.get(), double_id(index), &pair);
        state[index] = static_cast<std::uint32_t>(pair);
        state[index + 1] = static_cast<std::uint32_t>(pair >> 32);
    }
    return state;
}

void UnicornEngine::restore(const CpuState& state)
{
    for (unsigned index = 0; index < register_ids.size(); ++index) {
        // R13 is MSP or PSP. CONTROL may take away the right to write the others, and so comes behind them.
        if (index != cpu_register::sp && index != cpu_register::control && index != cpu_register::xpsr) {
            set(engine_.get(), register_ids[index], state[index]);
        }
    }
    for (unsigned index = cpu_register::first_single; index < cpu_state_words; index += 2) {
        const std::uint64_t pair = state[index] | std::uint64_t{state[index + 1]} << 32;
        uc_reg_write(engine_.get(), double_id(index), &pair);
    }
    set(engine_.get(), UC_ARM_REG_CONTROL, state[cpu_register::control]);
    write_register(cpu_register::xpsr, state[cpu_register::xpsr]);
}

UnicornEngine::Stop UnicornEngine::execute()
{
    stopped_by_.reset();
    stop_requested_ = false;
    executing_ = true;
    uc_emu_start(engine_.get(), get(engine_.get(), UC_ARM_REG_PC) | 1U, no_end, 0, 0);
    executing_ = false;
    settle();
    // The result of uc_emu_start says no more than the hooks have noted.
    return stopped_by_.value_or(Stop::asked);
}

/// Not at once: stopped while it makes an access, the engine ends behind the instruction with the program counter still
/// at it. The instruction hook in front of the next one has it right.
void UnicornEngine::request_stop()
{
    stop_requested_ = true;
}

bool UnicornEngine::refuse(Stop reason)
{
    stopped_by_ = reason;
    return false;
}

bool UnicornEngine::read_observer(std::uint32_t address, unsigned size)
{
    granted_ = {.address = address, .value = 0};
    return observer_.on_read(address, size, granted_.value) || refuse(Stop::refused);
}

bool UnicornEngine::write_observer(std::uint32_t address, unsigned size, std::uint64_t value)
{
    if (!observer_.on_write(address, size, value)) {
        return refuse(Stop::refused);
    }
    keep_as_written(address, size);
    return true;
}

/// A granted write to read-only memory is also made by the engine, over what the observer made of it. Keep that, to put
/// it back before the next instruction.
void UnicornEngine::keep_as_written(std::uint32_t address, unsigned size)
{
    for (const DirectMemory& memory : memories_) {
        const std::uint64_t offset = std::uint64_t{address} - memory.base;
        if (address < memory.base || offset >= memory.bytes.size()) {
            continue;
        }
        const auto bytes = memory.bytes.subspan(offset, std::min<std::size_t>(size, memory.bytes.size() - offset));
        repairs_.push_back({.address = address, .memory = bytes, .bytes = {bytes.begin(), bytes.end()}});
        request_stop();
    }
}

void UnicornEngine::forget_code(std::uint32_t address, std::uint32_t length)
{
    if (!executing_) {
        forget_now({.address = address, .length = length});
        return;
    }
    // The block that is being executed may be among those to drop.
    forgotten_.push_back({.address = address, .length = length});
    request_stop();
}

/// What has to wait until no instruction is under way.
void UnicornEngine::settle()
{
    for (const Repair& repair : repairs_) {
        std::copy(repair.bytes.begin(), repair.bytes.end(), repair.memory.begin());
        forget_now({.address = repair.address, .length = static_cast<std::uint32_t>(repair.bytes.size())});
    }
    repairs_.clear();
    for (const Range& range : forgotten_) {
        forget_now(range);
    }
    forgotten_.clear();
}

/// Under every address at which the same bytes can be executed. Nothing is dropped outside the direct memories: the
/// engine would try a fetch there.
void UnicornEngine::forget_now(const Range& range)
{
    const std::uint64_t range_end = std::uint64_t{range.address} + range.length;
    for (const DirectMemory& memory : memories_) {
        const std::uint64_t begin = std::max<std::uint64_t>(range.address, memory.base);
        const std::uint64_t end = std::min<std::uint64_t>(range_end, memory.base + memory.bytes.size());
        if (begin < end) {
            forget_bytes(memory.bytes.subspan(begin - memory.base, end - begin));
        }
    }
}

void UnicornEngine::forget_bytes(std::span<const std::uint8_t> bytes)
{
    const std::less<const std::uint8_t*> before;
    for (const DirectMemory& memory : memories_) {
        const std::uint8_t* const origin = memory.bytes.data();
        const std::uint8_t* const begin = std::max<const std::uint8_t*>(bytes.data(), origin, before);
        const std::uint8_t* const end =
            std::min<const std::uint8_t*>(bytes.data() + bytes.size(), origin + memory.bytes.size(), before);
        if (before(begin, end)) {
            const auto address = [&](const std::uint8_t* byte) {
                return std::uint64_t{memory.base} + static_cast<std::uint64_t>(byte - origin);
            };
            uc_ctl_remove_cache(engine_.get(), address(begin), address(end));
        }
    }
}

} // namespace jlinksim

#include "sim/cpu/unicorn_engine.h"

#include "sim/cpu/thumb.h"
#include "sim/cpu/unicorn_registers.h"

#include <unicorn/unicorn.h>

#include <algorithm>
#include <functional>
#include <stdexcept>
#include <string>
#include <utility>

namespace jlinksim {

namespace {

constexpr std::uint64_t address_space = std::uint64_t{1} << 32U;
/// Never reached: the engine's own end address is not used.
constexpr std::uint64_t no_end = ~std::uint64_t{0};

constexpr std::uint32_t it_bytes = 2;

/// Numbers of the engine's interrupts.
constexpr std::uint32_t prefetch_abort = 3;
constexpr std::uint32_t exception_exit = 8;

void require(uc_err result, const char* what)
{
    if (result != UC_ERR_OK) {
        throw std::runtime_error{std::string{"The simulated CPU cannot "} + what + ": " + uc_strerror(result) + "."};
    }
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

/// The way of every instruction: it decides how fast the simulated CPU is.
inline bool UnicornEngine::begin(std::uint32_t address)
{
    if (stop_requested_) {
        return false;
    }
    const Portion portion = portion_at(address);
    if (portion.instructions == 0 || portion.instructions > most_ - executed_) {
        return false;
    }
    executed_ += portion.instructions;
    begun_ = address;
    block_ = {address + it_bytes, portion.instructions > 1 ? portion.bytes - it_bytes : 0U};
    return true;
}

inline Portion UnicornEngine::portion_at(std::uint32_t address)
{
    Portion known = portions_.find(address);
    if (known.bytes == 0) {
        known = ram_portions_.find(address);
    }
    return known.bytes != 0 && !is_decided_ ? known : ask_for_portion(address);
}

Portion UnicornEngine::ask_for_portion(std::uint32_t address)
{
    if (std::exchange(is_decided_, false)) {
        return {.instructions = 1};
    }
    const Portion portion = observer_.portion_at(address);
    portions_.keep(address, portion);
    ram_portions_.keep(address, portion);
    return portion;
}

/// The engine's callbacks, in its types. `user` is the engine's owner.
struct UnicornEngine::Hooks
{
    static UnicornEngine& owner(void* user) { return *static_cast<UnicornEngine*>(user); }

    static void code(uc_engine* engine, std::uint64_t address, std::uint32_t /*size*/, void* user)
    {
        UnicornEngine& self = owner(user);
        const auto where = static_cast<std::uint32_t>(address);
        const bool is_within_block = where - self.block_.address < self.block_.length;
        // After a store that was refused the engine still comes as far as the next instruction.
        if (self.stopped_by_ || (!is_within_block && !self.begin(where))) {
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
        if (self.block_.length != 0) {
            return self.refuse(Stop::block_refused);
        }
        const auto where = static_cast<std::uint32_t>(address);
        const auto bytes = static_cast<unsigned>(size);
        return is_write(type) ? self.write_observer(where, bytes, static_cast<std::uint64_t>(value))
                              : self.read_observer(where, bytes);
    }

    static void watch(uc_engine* /*engine*/, uc_mem_type type, std::uint64_t address, int size, std::int64_t /*value*/,
                      void* user)
    {
        owner(user).observer_.on_access(static_cast<std::uint32_t>(address), static_cast<unsigned>(size),
                                        type == UC_MEM_WRITE);
    }

    /// Comes after access(), in one piece of up to 4 bytes or two.
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

void UnicornEngine::Close::operator()(uc_struct* engine) const
{
    uc_close(engine);
}

UnicornEngine::UnicornEngine(std::span<const DirectMemory> memories, Observer& observer, Watching watching)
    : engine_{open_engine()}, observer_{observer}, watching_{watching}, memories_{memories.begin(), memories.end()}
{
    require(uc_ctl_set_cpu_model(engine_.get(), UC_CPU_ARM_CORTEX_M4), "choose the Cortex-M4");
    map_memories();
    add_hooks();
    const auto code = std::ranges::find(memories_, false, &DirectMemory::writable);
    if (code != memories_.end()) {
        portions_ = KnownPortions{*code};
    }
    const auto ram = std::ranges::find(memories_, true, &DirectMemory::writable);
    if (ram != memories_.end()) {
        ram_portions_ = WritablePortions{*ram};
    }
}

/// What the engine notes of pages that hold code and are written to often it gives back with their code only.
UnicornEngine::~UnicornEngine()
{
    for (const DirectMemory& memory : memories_) {
        if (memory.writable) {
            uc_ctl_remove_cache(engine_.get(), std::uint64_t{memory.base},
                                memory.base + std::uint64_t{memory.bytes.size()});
        }
    }
}

void UnicornEngine::map_memories()
{
    std::sort(memories_.begin(), memories_.end(),
              [](const DirectMemory& a, const DirectMemory& b) { return a.base < b.base; });
    std::uint64_t end = 0;
    for (const DirectMemory& memory : memories_) {
        map_bus(end, memory.base);
        const unsigned data_rights = memory.writable ? UC_PROT_READ | UC_PROT_WRITE : UC_PROT_READ;
        const unsigned rights = UC_PROT_EXEC | (watching_.asks_always ? 0 : data_rights);
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
    if (watching_.tells_accesses || watching_.asks_always) {
        // Also what makes the engine look at a memory's rights at every access, and not at the first one only.
        add_hook(UC_HOOK_MEM_READ, reinterpret_cast<void*>(&Hooks::watch));
        add_hook(UC_HOOK_MEM_WRITE, reinterpret_cast<void*>(&Hooks::watch));
    }
}

std::uint32_t UnicornEngine::read_register(unsigned index) const
{
    return unicorn_registers::read(*engine_, index);
}

void UnicornEngine::write_register(unsigned index, std::uint32_t value)
{
    unicorn_registers::write(*engine_, index, value);
}

CpuState UnicornEngine::save() const
{
    return unicorn_registers::save(*engine_);
}

void UnicornEngine::restore(const CpuState& state)
{
    unicorn_registers::restore(*engine_, state);
}

UnicornEngine::Stop UnicornEngine::execute(std::uint64_t most, bool is_decided)
{
    stopped_by_.reset();
    stop_requested_ = false;
    most_ = most;
    executed_ = 0;
    begun_.reset();
    block_ = {};
    is_decided_ = is_decided;
    executing_ = true;
    uc_emu_start(engine_.get(), read_register(cpu_register::pc) | 1U, no_end, 0, 0);
    executing_ = false;
    settle();
    if (stopped_by_ == Stop::block_refused) {
        executed_ -= portion_at(*begun_).instructions;
        write_register(cpu_register::pc, *begun_);
        write_register(cpu_register::xpsr, thumb::IfThen{}.put_into(read_register(cpu_register::xpsr)));
    }
    // The result of uc_emu_start says no more than the hooks have noted.
    return stopped_by_.value_or(Stop::asked);
}

/// Not at once: stopped while it makes an access, the engine ends after the instruction with the program counter still
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
        if (memory.writable || address < memory.base || offset >= memory.bytes.size()) {
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
    portions_.forget(range.address, range.length);
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

/* The Cortex-M4's own registers, as far as the examples use them. */
#ifndef CORTEX_H
#define CORTEX_H

#include <stdint.h>

#define CORTEX_REGISTER(address) (*(volatile uint32_t*)(address))

#define SYST_CSR CORTEX_REGISTER(0xE000E010U)
#define SYST_RVR CORTEX_REGISTER(0xE000E014U)
#define SYST_CVR CORTEX_REGISTER(0xE000E018U)
#define SYST_RUN_WITH_EXCEPTION 7U

#define NVIC_ISER CORTEX_REGISTER(0xE000E100U)
#define NVIC_ISPR CORTEX_REGISTER(0xE000E200U)
#define NVIC_PRIORITY(interrupt) (*(volatile uint8_t*)(0xE000E400U + (interrupt)))

#define ICSR CORTEX_REGISTER(0xE000ED04U)
#define ICSR_PEND_PENDSV (1U << 28)
#define SCR CORTEX_REGISTER(0xE000ED10U)
#define SCR_SLEEP_ON_EXIT (1U << 1)
#define CCR CORTEX_REGISTER(0xE000ED14U)
#define CCR_TRAP_DIVISION_BY_ZERO (1U << 4)
#define SYSTEM_PRIORITY(exception) (*(volatile uint8_t*)(0xE000ED18U + (exception)-4U))
#define SHCSR CORTEX_REGISTER(0xE000ED24U)
#define SHCSR_BUS_FAULT_ENABLED (1U << 17)
#define SHCSR_USAGE_FAULT_ENABLED (1U << 18)
#define CFSR CORTEX_REGISTER(0xE000ED28U)
#define BFAR CORTEX_REGISTER(0xE000ED38U)
#define CPACR CORTEX_REGISTER(0xE000ED88U)
#define CPACR_FLOATING_POINT_ON (0xFU << 20)

enum exception
{
    exception_svc = 11,
    exception_pend_sv = 14,
    exception_sys_tick = 15
};

/* Handlers that a program may have; start-up has one for the rest, which goes nowhere. */
void hard_fault_handler(void);
void bus_fault_handler(void);
void usage_fault_handler(void);
void svc_handler(void);
void pend_sv_handler(void);
void sys_tick_handler(void);

/* An exception with this many cycles between two of them. */
static inline void start_sys_tick(uint32_t cycles)
{
    SYST_RVR = cycles - 1;
    SYST_CVR = 0;
    SYST_CSR = SYST_RUN_WITH_EXCEPTION;
}

static inline void mask_interrupts(void)
{
    __asm__ volatile("cpsid i" ::: "memory");
}

static inline void unmask_interrupts(void)
{
    __asm__ volatile("cpsie i\n isb" ::: "memory");
}

#endif

/* Two tasks that share the CPU: SysTick ends a task's turn, PendSV goes on with the other. Each has a stack of its own
 * (PSP), all of its registers are kept while the other runs, and tasks are unprivileged.
 */
#ifndef TASKS_H
#define TASKS_H

#include <stdint.h>

extern volatile uint32_t ticks; /* turns so far */

/* A turn takes this many cycles. It does not return. */
__attribute__((noreturn)) void run_tasks(void (*first)(void), void (*second)(void), uint32_t cycles);

/* What is done in every tick before the turn ends; a program may have one. */
void on_tick(void);

#endif

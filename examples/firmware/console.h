/* Lines of text over RTT's up channel 0, "log", which waits for room. */
#ifndef CONSOLE_H
#define CONSOLE_H

#include <stdint.h>

void console_begin(void);
void say(const char* text);
void say_number(uint32_t number);
void say_hex(uint32_t word);

#endif

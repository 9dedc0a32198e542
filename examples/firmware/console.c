#include "console.h"

#include "rtt.h"

static uint8_t log_buffer[512];
static uint8_t echo_buffer[16];

void console_begin(void)
{
    rtt_set_ring(&rtt.up[0], "log", log_buffer, sizeof log_buffer);
    rtt_set_ring(&rtt.down[0], "echo", echo_buffer, sizeof echo_buffer);
    rtt_publish();
}

void say(const char* text)
{
    rtt_write_text(&rtt.up[0], text);
}

void say_number(uint32_t number)
{
    char digits[11];
    char* digit = digits + sizeof digits - 1;
    *digit = '\0';
    do {
        *--digit = (char)('0' + number % 10);
        number /= 10;
    } while (number != 0);
    say(digit);
}

void say_hex(uint32_t word)
{
    char digits[] = "0x00000000";
    for (int place = 9; place != 1; --place) {
        digits[place] = "0123456789ABCDEF"[word & 0xF];
        word >>= 4;
    }
    say(digits);
}

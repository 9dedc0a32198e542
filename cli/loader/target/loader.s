@ The flash loader: runs in the chip's RAM, gets commands and data through an RTT down channel while it erases and
@ writes, and answers through an up channel. docs/loader.md tells the protocol and where in RAM things stand. The names
@ that are not defined here are those of cli/loader/protocol.h and cli/loader/area.h, from which `build` takes them.
@
@ It can stand at any multiple of 128. The host has made the control block and its rings, has put the vector table in
@ force, in which every fault leads to `fault` below, and keeps interrupts masked. Whatever ends it is a BKPT: for the
@ debugger the CPU is halted then.

        .syntax unified
        .cpu    cortex-m3
        .thumb

@ From the begin of its RAM: behind the control block's head the up ring, and behind that the down ring.
        .equ    up_ring,        control_block_offset + 24
        .equ    down_ring,      up_ring + 24

@ An RTT ring's descriptor. Ours have sizes that are multiples of 4 and are read and written in words, so that no word
@ reaches around the end.
        .equ    ring_buffer,    4
        .equ    ring_size,      8
        .equ    ring_write,     12
        .equ    ring_read,      16

        .equ    flash_controller, 0x4001E000
        .equ    flash_ready,    0x400
        .equ    flash_config,   0x504
        .equ    flash_erase_page, 0x508
        .equ    flash_erase_all, 0x50C
        .equ    read_only,      0
        .equ    write_enable,   1
        .equ    erase_enable,   2

        .equ    crc_polynomial, 0xEDB88320

@ Throughout: r8 the down ring, r9 the up ring, r10 the CRC table, r11 the flash controller. r7 is the command that is
@ carried out, r4 to r6 are its own; subroutines use r0 to r3.

        .text
start:  b.n     main
fault:  bkpt    #2
        b.n     fault

main:   adr     r0, start
        sub     r0, r0, #code_offset
        add     r8, r0, #down_ring
        add     r9, r0, #up_ring
        add     r10, r0, #crc_table_offset
        ldr     r11, =flash_controller
        bl      make_crc_table
        ldr     r0, =hello
        bl      send

next:   bl      take
        mov     r7, r0
        cmp     r7, #5
        bhi     refuse
        tbb     [pc, r7]
commands:
        .byte   (refuse - commands) / 2
        .byte   (checksums - commands) / 2
        .byte   (erase_page - commands) / 2
        .byte   (erase_all - commands) / 2
        .byte   (write - commands) / 2
        .byte   (end - commands) / 2

done:   mov     r0, r7
        bl      send
        b.n     next

@ 5: nothing more to do.
end:    mov     r0, r7
        bl      send
        bkpt    #0
        b.n     end

@ 2 address
erase_page:
        bl      take
        mov     r4, r0
        movs    r0, #erase_enable
        bl      configure
        str     r4, [r11, #flash_erase_page]
        b.n     erasing
@ 3
erase_all:
        movs    r0, #erase_enable
        bl      configure
        movs    r0, #1
        str     r0, [r11, #flash_erase_all]
erasing:
        bl      wait_for_flash
        movs    r0, #read_only
        bl      configure
        b.n     done

@ 4 address words data...: r4 where, r5 how many are left. The next word is fetched while the flash controller is busy
@ with the last one, which stands at r12 and has to become r6; before the first, that is what is there already.
write:  bl      take
        mov     r4, r0
        bl      take
        mov     r5, r0
        movs    r0, #write_enable
        bl      configure
        mov     r12, r4
        ldr     r6, [r4]
write_word:
        cbz     r5, written
        bl      take
        bl      wait_for_flash
        ldr     r1, [r12]
        cmp     r1, r6
        bne     not_written
        mov     r6, r0
        mov     r12, r4
        ldr     r1, [r4]
        bics    r2, r6, r1                      @ a bit that is 0 becomes 1 by an erase only
        bne     cannot
        cmp     r1, r6
        it      ne
        strne   r6, [r4]
        adds    r4, #4
        subs    r5, #1
        b.n     write_word
written:
        bl      wait_for_flash
        ldr     r1, [r12]
        cmp     r1, r6
        bne     not_written
        movs    r0, #read_only
        bl      configure
        b.n     done
not_written:
        mov     r4, r12
        b.n     cannot

@ 1 address bytes count: so many checksums, of so many bytes each, one after the other
checksums:
        bl      take
        mov     r4, r0
        bl      take
        mov     r5, r0
        bl      take
        mov     r6, r0
        mov     r0, r7
        bl      send
next_checksum:
        cmp     r6, #0
        beq     next
        mov     r0, r4
        mov     r1, r5
        bl      crc
        bl      send
        add     r4, r4, r5
        subs    r6, #1
        b.n     next_checksum

@ What it cannot do ends it: at r4, where r1 is found.
refuse: mov     r4, r7
        movs    r1, #0
cannot: mov     r5, r1
        movs    r0, #read_only
        bl      configure
        orr     r0, r7, #failed
        bl      send
        mov     r0, r4
        bl      send
        mov     r0, r5
        bl      send
        bkpt    #1
        b.n     .

@ r0: the flash controller's mode, when it is ready for it
configure:
        ldr     r1, [r11, #flash_ready]
        cmp     r1, #0
        beq     configure
        movw    r1, #flash_config
        str     r0, [r11, r1]
wait_for_flash:
        ldr     r1, [r11, #flash_ready]
        cmp     r1, #0
        beq     wait_for_flash
        bx      lr

@ The next word of the down ring, when it is there, in r0.
take:   ldr     r2, [r8, #ring_read]
        ldr     r1, [r8, #ring_write]
        ldr     r3, [r8, #ring_size]
        subs    r1, r1, r2
        it      mi
        addmi   r1, r1, r3
        cmp     r1, #4
        blo     take
        ldr     r1, [r8, #ring_buffer]
        ldr     r0, [r1, r2]
        adds    r2, #4
        cmp     r2, r3
        it      hs
        movhs   r2, #0
        str     r2, [r8, #ring_read]
        bx      lr

@ r0 into the up ring, when there is room.
send:   ldr     r2, [r9, #ring_write]
        ldr     r1, [r9, #ring_read]
        ldr     r3, [r9, #ring_size]
        subs    r1, r2, r1
        it      mi
        addmi   r1, r1, r3
        adds    r1, #4
        cmp     r1, r3                          @ one byte always stays free
        bhs     send
        ldr     r1, [r9, #ring_buffer]
        str     r0, [r1, r2]
        adds    r2, #4
        cmp     r2, r3
        it      hs
        movhs   r2, #0
        str     r2, [r9, #ring_write]
        bx      lr

@ CRC-32 of r1 bytes at r0, in r0.
crc:    mov     r2, #-1
crc_go_on:
        cbz     r1, crc_end
        tst     r0, #3
        bne     crc_byte
        cmp     r1, #4
        blo     crc_byte
crc_word:
        ldr     r3, [r0], #4
        eors    r2, r3
        .rept   4
        uxtb    r3, r2
        ldr     r3, [r10, r3, lsl #2]
        eor     r2, r3, r2, lsr #8
        .endr
        subs    r1, #4
        cmp     r1, #4
        bhs     crc_word
        b.n     crc_go_on
crc_byte:
        ldrb    r3, [r0], #1
        eors    r2, r3
        uxtb    r3, r2
        ldr     r3, [r10, r3, lsl #2]
        eor     r2, r3, r2, lsr #8
        subs    r1, #1
        b.n     crc_go_on
crc_end:
        mvns    r0, r2
        bx      lr

make_crc_table:
        ldr     r3, =crc_polynomial
        movs    r0, #0
crc_entry:
        mov     r1, r0
        .rept   8
        sbfx    r2, r1, #0, #1
        and     r2, r2, r3
        eor     r1, r2, r1, lsr #1
        .endr
        str     r1, [r10, r0, lsl #2]
        adds    r0, #1
        cmp     r0, #256
        bne     crc_entry
        bx      lr

        .ltorg

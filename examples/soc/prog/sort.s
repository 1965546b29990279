# Sorts words of a pseudo-random sequence, computes their CRC-32, and reports on the serial line:
#
#   ready
#   sorted 09: 0a1b2c3d..f1e2d3c4, crc=12345678
#
# once for each round: number of words, the least, the greatest, and the CRC-32 of the sorted words
# in the order of their bytes in memory. All numbers are hexadecimal. Round r, from 0, sorts
# 9 + r % 8 words. It never ends.
#
#   s0  array in data memory           s3  round
#   s1  peripherals                    s4  words of this round
#   s2  state of the generator

start:
        li   s0, 0x10000000
        li   s1, 0x20000000
        li   s2, 0x2545f491
        li   s3, 0
        la   a0, text_ready
        jal  ra, puts

round:
        sw   s3, 0x30(s1)           # lamps
        andi s4, s3, 7
        addi s4, s4, 9

# Fill the array: x ^= x << 13, x ^= x >> 17, x ^= x << 5.
        mv   t0, s0
        slli t1, s4, 2
        add  t1, t1, s0             # end of the array
fill:
        slli t2, s2, 13
        xor  s2, s2, t2
        srli t2, s2, 17
        xor  s2, s2, t2
        slli t2, s2, 5
        xor  s2, s2, t2
        sw   s2, 0(t0)
        addi t0, t0, 4
        bltu t0, t1, fill

# Insertion sort: words below t0 are in order.
        addi t0, s0, 4
insert:
        lw   t2, 0(t0)
        mv   t3, t0
shift:
        lw   t4, -4(t3)
        bgeu t2, t4, place
        sw   t4, 0(t3)
        addi t3, t3, -4
        bne  t3, s0, shift
place:
        sw   t2, 0(t3)
        addi t0, t0, 4
        bne  t0, t1, insert

# CRC-32 of the bytes, low bits first, one bit at a time.
        li   t2, -1
        li   t3, 0xedb88320
        mv   t0, s0
crc_word:
        lw   t4, 0(t0)
        xor  t2, t2, t4
        li   t5, 32
crc_bit:
        andi t6, t2, 1
        srli t2, t2, 1
        beqz t6, crc_next
        xor  t2, t2, t3
crc_next:
        addi t5, t5, -1
        bnez t5, crc_bit
        addi t0, t0, 4
        blt  t0, t1, crc_word
        xori s5, t2, -1

# Report.
        la   a0, text_sorted
        jal  ra, puts
        mv   a0, s4
        li   a1, 4
        jal  ra, puthex
        la   a0, text_colon
        jal  ra, puts
        lw   a0, 0(s0)
        li   a1, 28
        jal  ra, puthex
        la   a0, text_dots
        jal  ra, puts
        slli t0, s4, 2
        add  t0, t0, s0
        lw   a0, -4(t0)
        li   a1, 28
        jal  ra, puthex
        la   a0, text_crc
        jal  ra, puts
        mv   a0, s5
        li   a1, 28
        jal  ra, puthex
        la   a0, text_newline
        jal  ra, puts

# Keep a digest of the bus signature in memory, from instructions that nothing above uses.
        lw   t0, 0x20(s1)
        lw   t1, 0x24(s1)
        lw   t2, 0x2c(s1)
        sub  t3, t0, t1
        sra  t3, t3, t2
        slt  t4, t0, t1
        sltu t5, t0, t1
        sll  t4, t4, t2
        or   t3, t3, t4
        and  t5, t5, t1
        slti t6, t5, -3
        ori  t6, t6, 0x5a0
        add  t3, t3, t5
        add  t3, t3, t6
        srai t3, t3, 3
        sw   t3, 0x80(s0)

# Rest until the timer has counted 200 cycles.
        lw   t0, 0(s1)
        addi t0, t0, 200
        sw   t0, 8(s1)
        li   t0, 8
        sw   t0, 12(s1)
rest:
        lw   t0, 12(s1)
        beqz t0, rest
        addi s3, s3, 1
        j    round

# Sends the text at a0, which ends with a zero byte.
puts:
        lbu  t0, 0(a0)
        beqz t0, puts_end
        sw   t0, 0x10(s1)
        addi a0, a0, 1
        j    puts
puts_end:
        ret

# Sends the hexadecimal digits of a0, the first from bit a1 up.
puthex:
        srl  t0, a0, a1
        andi t0, t0, 15
        sltiu t1, t0, 10
        addi t0, t0, 0x57           # 'a' - 10
        bnez t1, decimal
        j    send
decimal:
        addi t0, t0, -0x27          # '0' - ('a' - 10)
send:
        sw   t0, 0x10(s1)
        addi a1, a1, -4
        bge  a1, zero, puthex
        ret

text_ready:     .asciz "ready\n"
text_sorted:    .asciz "sorted "
text_colon:     .asciz ": "
text_dots:      .asciz ".."
text_crc:       .asciz ", crc="
text_newline:   .asciz "\n"

        .pad 256                    # words of the whole image

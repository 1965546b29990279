# Every instruction, with corners of its fields. encodings.hex holds what LLVM's assembler makes of
# it, without .pad, by
#   llvm-mc -triple=riscv32 -mattr=-relax -filetype=obj encodings.s -o encodings.o
#   llvm-objcopy -O binary --only-section=.text encodings.o encodings.bin
#   od -A n -v -t x4 -w4 encodings.bin | tr -d ' '
back:   add  t0, t1, t2
        sub  ra, sp, gp
        sll  tp, s0, s1
        slt  a0, a1, a2
        sltu a3, a4, a5
        xor  a6, a7, s2
        srl  s3, s4, s5
        sra  s6, s7, s8
        or   s9, s10, s11
        and  t3, t4, t5
        addi t6, zero, -2048
        slti t0, t1, 2047
        sltiu t0, t1, -1
        xori t0, t1, -1
        ori  t0, t1, 0x555
        andi t0, t1, 1
        slli t0, t1, 31
        srli t0, t1, 1
        srai t0, t1, 17
        lui  t0, 0xfffff
        lw   t0, -4(sp)
        lbu  t0, 2047(a0)
        sw   t6, -2048(sp)
        sw   t0, 0x7ff(t6)
        jalr ra, -8(t0)
        beq  t0, t1, back
        bne  t0, t1, ahead
        blt  t0, t1, back
        bge  t0, t1, ahead
        bltu t0, t1, back
        bgeu t0, t1, ahead
        jal  ra, back
        jal  zero, ahead
        mv   a0, a1
        beqz a0, ahead
        bnez a0, back
        j    back
        ret
        li   a0, -1
        li   a0, 2047
        li   a0, 2048
        li   a0, 0x10000000
        li   a0, 0xedb88320
        li   a0, 0x7fffffff
        li   a0, -2049
ahead:  .word 0xdeadbeef
        .word -1

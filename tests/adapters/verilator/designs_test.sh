#!/usr/bin/env bash
# Models of several designs against Icarus Verilog: designs_test.sh QKVERILATE VCDCMP
. "$(dirname "$0")/common.sh"
designs=$here/designs

# compareAll NAME SUFFIX LINKED COMPARED CHANGES ALL ALL_CHANGES: as recorded, and in other orders
compareAll() {
    local name=$1 suffix=$2 order
    build "$name" "$designs/$name.$suffix"
    simulate good.vcd "$designs/$name.$suffix" "$designs/${name}_tb.$suffix"
    agrees "$name" good.vcd "$3" "$4" "$5" --map "$name=tb.dut"
    agrees "$name" good.vcd "$3" "$6" "$7" --map "$name=tb.dut" --all-nets
    everyName "$name" good.vcd tb.dut
    for order in reverse 1 2; do
        reorder $order good.vcd other.vcd
        agrees "$name" other.vcd "$3" "$4" "$5" --map "$name=tb.dut"
    done
}

mutant() { # NAME SUFFIX SED_SCRIPT TIME NET
    sed "$3" "$designs/$1.$2" >mutant.v
    ! cmp -s mutant.v "$designs/$1.$2" || fail "$1: no mutant by $3"
    simulate bad.vcd mutant.v "$designs/$1_tb.$2"
    differs "$1" bad.vcd "$4" "$5" --map "$1=tb.dut"
}

compareAll packet sv 47 19 15032 26 21610
mutant packet sv 's/acc\[128:0\], acc\[129\]/acc[0], acc[129:1]/' 25ns packet.acc
grep -q 'left out' packet.said && fail 'packet: something is left out' packet.said

compareAll clocks v 17 8 2402 10 3055
mutant clocks v 's/c ^ (a + ticks)/c ^ (a - ticks)/' 21.0ns clocks.c
mutant clocks v 's/negedge slow/posedge slow/' 7.0ns clocks.c
grep -qx 'qkverilate: note: clock clocks.gated is made by logic' clocks.said ||
    fail 'clocks: no note' clocks.said

compareAll fifo v 15 7 5191 10 7171
mutant fifo v 's/level + put - get/level + put + get/' 35ns fifo.level

# An input that changes just before the edge, in the same time step
simulate early.vcd -DEARLY "$designs/fifo.v" "$designs/fifo_tb.v"
differs fifo early.vcd 15ns fifo.tail --map fifo=tb.dut
agrees fifo early.vcd 15 7 5160 --map fifo=tb.dut --early fifo.push
build fifo_early --early push "$designs/fifo.v"
agrees fifo_early early.vcd 15 7 5160 --map fifo=tb.dut

exit $failed

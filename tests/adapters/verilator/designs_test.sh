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

mutant() { # NAME SUFFIX SED_SCRIPT TIME NET [OPTION...]
    sed "$3" "$designs/$1.$2" >mutant.v
    ! cmp -s mutant.v "$designs/$1.$2" || fail "$1: no mutant by $3"
    simulate bad.vcd mutant.v "$designs/$1_tb.$2"
    differs "$1" bad.vcd "$4" "$5" --map "$1=tb.dut" "${@:6}"
}

record() { # PROGRAM TRACE OPTION...: all nets of a run by the commands of standard input
    local program=$1 trace=$2
    shift 2
    { cat && echo traceclose && echo exit; } >commands
    "./$program" -i "$@" <commands >out 2>&1 || fail "$program: $trace is not recorded" out
    ! grep -q 'failed\|not recogni\|No matching' out || fail "$program: $trace" out
}

compareAll packet sv 47 19 15032 26 21610
mutant packet sv 's/acc\[128:0\], acc\[129\]/acc[0], acc[129:1]/' 25ns packet.acc
grep -q 'left out' packet.said && fail 'packet: something is left out' packet.said

compareAll clocks v 17 8 2402 10 3055
mutant clocks v 's/c ^ (a + ticks)/c ^ (a - ticks)/' 21.0ns clocks.c
mutant clocks v 's/negedge slow/posedge slow/' 7.0ns clocks.c
grep -qx 'qkverilate: note: clock clocks.gated is made by logic' clocks.said ||
    fail 'clocks: no note' clocks.said

compareAll widths v 71 35 1286 35 1286
mutant widths v 's/a``N << 1/a``N << 0/' 15ns widths.r100

compareAll fifo v 15 7 5191 10 7171
mutant fifo v 's/level + put - get/level + put + get/' 35ns fifo.level

compareAll array v 42 10 1915 24 4638
mutant array v "s/d + 4'd1/d + 4'd2/" 25ns array.single[0].q

# ---- An input that changes just before the edge, in the same time step
simulate early.vcd -DEARLY "$designs/fifo.v" "$designs/fifo_tb.v"
differs fifo early.vcd 15ns fifo.tail --map fifo=tb.dut
agrees fifo early.vcd 15 7 5160 --map fifo=tb.dut --early fifo.push
./fifo --validate early.vcd --map fifo=tb.dut --scan >out 2>&1 </dev/null || fail 'fifo: --scan' out
grep -q -- '--early fifo.push' out || fail 'fifo: --scan does not propose the input' out
build fifo_early --early push "$designs/fifo.v"
agrees fifo_early early.vcd 15 7 5160 --map fifo=tb.dut

# ---- Memories: both simulators load them from one file each
for memory in m8:16:2 m12:16:3 m32:4:8 m48:4:12 m100:8:25 grid:6:2; do
    IFS=: read -r name count digits <<<"$memory"
    for ((i = 0; i < count; ++i)); do
        printf "%.${digits}s\n" "$(printf '%s' "$name$i" | md5sum)"
    done >"$name.hex"
    echo "readmemh memories.$name $name.hex"
done >load
build memories "$designs/memories.sv"
simulate good.vcd "$designs/memories.sv" "$designs/memories_tb.sv"
agrees memories good.vcd 11 6 425 --map memories=tb.dut --script load
agrees memories good.vcd 11 8 545 --map memories=tb.dut --script load --all-nets
mutant memories sv 's/<= ~q48/<= q48 + 1/' 25ns memories.q48 --script load
record memories again.vcd <<END
$(cat load)
validate
map memories=tb.dut
open good.vcd
continue
writememh memories.m100 ours.out
END
diff <(grep -v '^[/@]' m100.out) <(grep -v @ ours.out) >compared || fail 'writememh' compared

# ---- The logic behind registers that are set follows at once
{
    cat <<END
set packet.rst_n = 1
set packet.lanes[1].u.q = 1
set packet.lanes[2].u.q = 2
set packet.alone.q = 9
set packet.wide_i = 96'h123456789abcdef012345678
set packet.header_i = 48'hfedcba987654
trace *
traceto model.vcd
step 30ns
set packet.state = 3
END
    while read -r name value other; do
        echo "set packet.$name = $value"
        echo "dut.${other:-$name} = $value;" >>sets.svh
    done <<END
acc 130'h20123456789abcdeffedcba9876543210
wide_o 96'habcdef0123456789abcdef01
last 48'h3a7c5e1b2d4f
pair 16'hbeef
n 32'h9
lanes[0].u.q 8'h11
lanes[2].u.q 8'h33
lanes[1].u.slot 2'h2
alone.q 8'h5a
grid[1] 8'h77 grid[0][1]
big[2] 65'h100000000000000ff
END
    echo 'step 95ns'
} | record packet model.vcd
simulate forced.vcd -I. "$designs/packet.sv" "$designs/force_tb.sv"
withoutUnknown forced.vcd >known.vcd
"$vcdcmp" --map tb.dut.=packet. --min-vars 45 known.vcd model.vcd >compared
! grep -v -e 'not in the first file$' -e 'variables agree$' compared | grep -q . ||
    fail 'packet: forced' compared
sed 's/acc\[128:0\], acc\[129\]/acc[0], acc[129:1]/' "$designs/packet.sv" >mutant.v
simulate forced.vcd -I. mutant.v "$designs/force_tb.sv"
withoutUnknown forced.vcd >known.vcd
"$vcdcmp" --map tb.dut.=packet. --min-vars 45 known.vcd model.vcd >compared
grep -q "^first difference: {(15, 'packet.acc'" compared || fail 'packet: forced mutant' compared

# ---- Save and load, with a divided clock at both levels and its own clock low
inputs=$'set clocks.d = 5\nset clocks.gate = 1'
clks=(--clk fast=7ns --clk slow=10.6ns)
for half in 100 107 110.5; do
    record clocks whole.vcd "${clks[@]}" <<<"$inputs
step ${half}ns
savesim half
trace *
traceto whole.vcd
step 100ns"
    record clocks second.vcd "${clks[@]}" <<<"loadsim half
trace *
traceto second.vcd
step 100ns"
    "$vcdcmp" --all --min-vars 17 whole.vcd second.vcd >compared || fail "loadsim at $half" compared
done

# ---- What is set at an edge and between edges is recorded at its time
record clocks session.vcd "${clks[@]}" <<<"trace *
traceto session.vcd
set clocks.d = 3
step 10.5ns
set clocks.gate = 1
step 11ns
set clocks.d = 77
set clocks.rst = 1
step 2.6ns
set clocks.rst = 0
step 300ns"
agrees clocks session.vcd 17 8 283

exit $failed

#!/usr/bin/env bash
# The example's Verilog, a design's own tasks, and what qkverilate refuses or leaves out:
# runs_test.sh QKVERILATE VCDCMP SOC
. "$(dirname "$0")/common.sh"
designs=$here/designs soc=$3 example=$(cd "$here/../../../examples/soc" && pwd)

runs() { # STATUS PROGRAM ARGUMENT...: both streams in `out`
    local expected=$1 status=0
    shift
    "./$1" "${@:2}" >out 2>&1 || status=$?
    [ $status -eq "$expected" ] || fail "$*: status $status" out
}
says() { # LINE...: whole lines
    local line
    for line; do grep -qxF -- "$line" out || fail "no line '$line'" out; done
}

# ---- The example: the reports of its hand-written model, but for the chosen name among aliases
rtl=$(ls "$example"/rtl/*.v | grep -v tb.v)
echo "readmemh soc.u_rom.words $example/prog/sort.hex" >load
report() { # PROGRAM OPTION...
    "$1" --validate "$example/reference/$trace.vcd.gz" --map soc=tb.dut --threshold 0 "${@:2}" \
        </dev/null 2>&1 | sed -n '/^Time: 0ns/,$p' | sed 's/soc\.[a-z0-9_.]*/NET/g; s/[^ ]*soc[a-z_]*:/PROGRAM:/; s/22[56] linked/N linked/'
}
# shellcheck disable=SC2086 # a list of files
build soc_sim --top soc $rtl
for trace in good late stuck swapped unreset; do
    report "$soc" >expected
    report ./soc_sim --script load >got
    diff expected got >difference || fail "soc: $trace" difference
done
good=$example/reference/good.vcd.gz
agrees soc_sim "$good" 226 150 158037 --map soc=tb.dut --script load --all-nets
# shellcheck disable=SC2086
build soc_fast --fast --top soc $rtl
agrees soc_fast "$good" 92 58 61892 --map soc=tb.dut --script load

# ---- Names complete at the prompt, which a stand-in for rlwrap shows
mkdir prompt
printf '#!/bin/bash\nwhile [ "$1" != ./soc_sim ]; do [ "$1" != --file ] || cp "$2" words; shift; done\n' \
    >prompt/rlwrap
chmod +x prompt/rlwrap
PATH=$work/prompt:$PATH HOME=$work "$here/../../../scripts/zeft-prompt" ./soc_sim -i >out 2>&1 </dev/null
grep -qx 'soc.u_cpu.pc' words || fail 'zeft-prompt' out

# ---- Nothing changed, and one thing changed
touch -d '1 hour ago' soc_fast
# shellcheck disable=SC2086
build soc_fast --fast --verbose --top soc $rtl
grep -q 'make' soc_fast.said && fail 'an unchanged design is built again' soc_fast.said
[ -z "$(find soc_fast -mmin +30)" ] || fail 'the unchanged program is older than its sources'

# ---- The design's own tasks
printf '11 22 33 44\n' >rom.hex
echo 'extern "C" int twice(int a) { return 2 * a; }' >twice.cpp
build tasks "$designs/tasks.sv" twice.cpp
runs 0 tasks --batch --vcd end.vcd </dev/null
says 'TOP.tasks: 0 at 5, 00' 'TOP.tasks: 3 at 35, 33' "- $designs/tasks.sv:22: Verilog \$finish" \
    'tasks: runs until $finish or Ctrl-C: no --stop'
grep -A2 '^#55$' end.vcd | grep -q '^b110 ' || fail 'the last cycle is not recorded' end.vcd
runs 0 tasks --batch --stop 1us +step=3 +quiet </dev/null
says 'step 6'
grep -q ' at ' out && fail 'not quiet' out
while read -r input text; do
    printf 'set tasks.%s = 1\n' "$input" >script
    runs 1 tasks --batch --script script --stop 1us </dev/null
    sed -i 's/%Fatal:/%Error:/' out  # of newer releases of Verilator
    says "$text"
    grep -q ' at 15, ' out && fail "goes on after $input" out
done <<END
stop $designs/tasks.sv:19: \$stop
fail [5] %Error: tasks.sv:20: Assertion failed in TOP.tasks: failed at 0
die [5] %Error: tasks.sv:21: Assertion failed in TOP.tasks: died
END
runs 0 tasks -i <<END
step 2ns
step
set tasks.stop = 1
continue
ls tasks.clk
set tasks.word = 300
set tasks.step = 1
exit
END
grep '^time=' out | sed 's/:.*//' | uniq | head -n 4 | tr '\n' ' ' >times
[ "$(cat times)" = 'time=0ns time=2ns time=5ns time=15ns ' ] || fail "stops at $(cat times)" out
says 'zeft> tasks.clk   c   : 1' 'zeft> 300 exceeds bit range of tasks.word' \
    'zeft> tasks.step is combinational, cannot be set'
build tasks_small -G LIMIT=2 "$designs/tasks.sv" twice.cpp
echo 'ls tasks.LIMIT' >script
runs 0 tasks_small --batch +quiet --script script </dev/null
says 'tasks.LIMIT     : 00000002'
runs 0 tasks --batch --vcd twice.vcd +quiet +step=2 </dev/null
differs tasks twice.vcd 5ns tasks.count
sed -i 's/"word"/"work"/' objects/tasks_qk.cpp
make -C objects -f Vtop.mk >make.said 2>&1 && cp objects/Vtop other || fail 'other tables' make.said
runs 2 other </dev/null
says 'tasks.work: not in the compiled model; was it built from other sources?'

# A callback of the library requests the end: nothing of a later time is evaluated or recorded.
cat >ends.sv <<'END'
module ends(input clk, output reg [7:0] n);
    import "DPI-C" function void watch(input int n);
    initial n = 0;
    always @(posedge clk) begin n <= n + 1; watch(int'(n)); end
endmodule
END
cat >watch.cpp <<'END'
#include <qkzeft.h>
#include <verilated.h>
static VerilatedContext* context;
extern "C" void watch(int n) {
    if (n > 0) return;
    context = Verilated::threadContextp();
    QkVariable::GetByName("ends.n")->RegisterBreak(
        [](QkVariable*) { context->gotFinish(true); }, QkVariable::BreakOnEqual, 1, uint64_t{3});
}
END
build ends ends.sv watch.cpp
runs 0 ends --batch --vcd ends.vcd </dev/null
[ "$(grep '^#' ends.vcd | tail -n 1)" = '#25' ] || fail 'ends: later changes' ends.vcd

# ---- Refusals, each with a whole line of what is said; those that leave something out go on
mkdir fake
printf '#!/bin/sh\necho Verilator 4.038 2020-07-11\n' >fake/verilator
chmod +x fake/verilator
refuses() { # STATUS LINE SOURCE [OPTION...]
    local expected=$1 line=$2 status=0
    printf '%s\n' "$3" >m.sv
    PATH=${path-$PATH} "$qkverilate" --tables --build refused "${@:4}" m.sv >out 2>&1 || status=$?
    [ $status -eq "$expected" ] || fail "$3 ${*:4}: status $status" out
    says "qkverilate: $line"
}
while IFS='|' read -r status line source options; do
    # shellcheck disable=SC2086 # words
    refuses "$status" "$line" "module m(input clk $source endmodule" $options
done <<'END'
2|m.sv:1: the design makes its own time: give the modules below the test bench|); reg r; initial #5 r = clk;|
2|m.sv:1: the design makes its own time: give the modules below the test bench|); reg r; always begin #5; r = clk; end|
2|--clock x: m has no input of that name; it has clk, d|, input d);|--clock x
2|--timing is qkverilate's to give|);|--timing
2|verilator failed|) nonsense|
0|m.r: left out: real|, output o); real r; always @(posedge clk) r = r + 1; assign o = r > 3;|
0|m.q: left out: queue|); int q[$]; always @(posedge clk) q.push_back(1);|
0|m.a.b: left out: a name that cannot be typed at the console|, output reg o); reg \a.b ; always @(posedge clk) begin \a.b <= clk; o <= \a.b ; end|
0|m.x: left out: an input that is an array; it stays 0|, input x [1:0], output reg o); always @(posedge clk) o <= x[1];|
0|no clock found: the model is evaluated once a time unit; give --clock NET|, output o); assign o = ~clk;|
END
verilator --pins-inout-enables --version >/dev/null 2>&1 ||
    refuses 0 'm.pad: shown, but neither driven nor compared: see docs/verilator.md' \
        "module m(input clk, inout pad); assign pad = clk ? 1'b1 : 1'bz; endmodule"
path=$work/none refuses 2 'verilator: not found' ''
path=$work/fake:$PATH refuses 2 'verilator 4.038: 5.002 or later is needed' ''

exit $failed

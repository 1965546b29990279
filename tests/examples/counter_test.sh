#!/bin/sh
# The smallest example against Icarus Verilog: every change of every net, the array, and the text.
# Then a run that goes on from a saved state, against one without a break.
#
# usage: counter_test.sh COUNTER VCDCMP EXAMPLE_DIR
set -eu
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
fail() {
    echo "FAILED: $1"
    exit 1
}

sed 's/#9988/#9988 $writememh("icarus.mem", dut.history);/' "$3/counter.v" >tb.v
iverilog -g2001 -Wall -o tb.vvp tb.v 2>iverilog.log || fail "$(cat iverilog.log)"
[ ! -s iverilog.log ] || fail "iverilog warns: $(cat iverilog.log)"
vvp -n tb.vvp | grep wrapped >icarus.txt
printf '%s\n' 'trace *' 'traceto model.vcd' 'continue 10us' 'writememh counter.history model.mem' exit |
    "$1" -i >model.log || fail "$(cat model.log)"
"$2" --map tb.dut.=counter. --all --min-vars 12 icarus.vcd model.vcd || fail "the dumps differ"
sed 's/^#95$/#96/' model.vcd >wrong.vcd
! "$2" model.vcd wrong.vcd >/dev/null || fail "a difference is overlooked"
grep '^wrapped\|> wrapped' model.log | sed 's/^zeft> //' | cmp - icarus.txt || fail "the texts differ"
grep -v '^//' icarus.mem >icarus.words
grep -v '^@' model.mem | cmp - icarus.words || fail "the arrays differ"

second_half="trace *
traceto second.vcd
continue
writememh counter.history end.mem
exit"
for time in 12ns 1us; do
    rm -rf one two
    mkdir one two
    (cd one && printf '%s\n' "continue $time" 'savesim half' "$second_half" | "$1" -i >run.log)
    cp one/half.* two
    (cd two && printf '%s\n' 'loadsim half' "$second_half" | "$1" -i >run.log)
    "$2" --all --min-vars 12 one/second.vcd two/second.vcd || fail "the dumps after $time differ"
    cmp one/end.mem two/end.mem || fail "the arrays after $time differ"
    for run in one two; do grep -o 'wrapped.*' $run/run.log >$run/texts; done
    cmp one/texts two/texts || fail "the texts after $time differ"
done

# What is set at the console counts at once: the model agrees with a recording of such a run.
for time in 33ns 52ns 71ns; do printf '%s\n' "continue $time" 'set counter.clear = 1' \
    'step 4ns' 'set counter.clear = 0'; done |
    { echo 'trace *' && echo 'traceto set.vcd' && cat && echo 'continue 300ns' && echo exit; } |
    "$1" -i >set.log
"$1" --validate set.vcd --clock-first >verdict || fail "$(cat verdict)"

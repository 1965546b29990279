#!/bin/sh
# The smallest example against Icarus Verilog: every change of every net, the array, and the text.
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
grep '^wrapped\|> wrapped' model.log | sed 's/^zeft> //' | cmp - icarus.txt || fail "the texts differ"
grep -v '^//' icarus.mem >icarus.words
grep -v '^@' model.mem | cmp - icarus.words || fail "the arrays differ"

#!/bin/sh
# The examples' models agree with dumps of other simulators than those of their references, as these
# are, and as waveform databases and compressions that other programs read.
#
# usage: dialects_test.sh SOC COUNTER GOLDEN_DIR
set -eu
soc=$1 counter=$2 golden=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"

# model, trace, scope of the model, scope of the trace, registers and outputs to be compared
agrees() {
    "$1" --validate "$2" --map "$3=$4" --synctime 1ns >out 2>&1 </dev/null &&
        grep -q "^  Compared [1-9][0-9]* changes in $5 signals" out &&
        grep -q "^  Longest time to synchronise was 0" out &&
        return
    echo "FAILED: $2"
    cat out
    exit 1
}

agrees "$soc" "$golden/soc_verilator.vcd.gz" soc TOP.tb.dut 58
agrees "$soc" "$golden/soc_yosys.vcd.gz" soc soc 53
agrees "$counter" "$golden/counter_ghdl.vcd.gz" counter tb.dut 4

gzip -dc "$golden/soc_verilator.vcd.gz" >verilator.vcd
vcd2fst verilator.vcd verilator.fst
agrees "$soc" verilator.fst soc TOP.tb.dut 58
xz verilator.vcd
agrees "$soc" verilator.vcd.xz soc TOP.tb.dut 58

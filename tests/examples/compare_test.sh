#!/bin/sh
# Runs the example's Verilog source under Icarus Verilog and its model on the library, and compares
# every change of every net, the memories at the end, and the text on the serial line.
#
# usage: compare_test.sh SOC VCDCMP SORT_REFERENCE EXAMPLE_DIR
set -eu
soc=$1 vcdcmp=$2 reference=$3 example=$4
cycles=100000

fail() {
    echo "FAILED: $1"
    exit 1
}

command -v iverilog >/dev/null || fail "iverilog is not installed"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"

iverilog -g2001 -Wall -o tb.vvp "$example"/rtl/*.v 2>iverilog.log || fail "$(cat iverilog.log)"
[ ! -s iverilog.log ] || fail "iverilog warns: $(cat iverilog.log)"
mkdir icarus
(cd icarus && vvp -n ../tb.vvp +image="$example/prog/sort.hex" +cycles=$cycles +vcd=../icarus.vcd +memories >../icarus.log)
mv icarus/*.mem .

cat >run.cmd <<END
# The whole run; the listings are made at its last moment.
trace *
traceto model.vcd
continue $((cycles * 10))
lstofile ram.ls soc.u_ram.words[]
lstofile regs.ls soc.u_cpu.u_rf.regs[]
lstofile fifo.ls soc.u_fifo.slots[]
lstofile trail.ls soc.u_sig.trail[]
continue
END
"$soc" -n $cycles -c run.cmd "$example/prog/sort.hex" >model.log </dev/null || fail "$(tail model.log)"

"$vcdcmp" --map tb.dut.=soc. --all --min-vars 230 icarus.vcd model.vcd || fail "the dumps differ"

# Memories, as lines of index and word. Icarus writes the words from index 0 up; a row of the listing
# begins with its first and last index.
for memory in ram regs fifo trail; do
    grep -v '^//' $memory.mem | tr -s ' ' '\n' | awk '{ print NR - 1, $1 }' >$memory.icarus
    awk '/^\[/ {
        split(substr($1, 2), row, /[]:]/)
        for (i = 2; i <= NF; i++) print row[1] + (row[2] < row[1] ? 2 - i : i - 2), $i
    }' $memory.ls | sort -n >$memory.model
    cmp $memory.icarus $memory.model || fail "contents of $memory differ"
done

# Text: the last line may be cut by the end of the run.
grep '^uart: ' icarus.log >icarus.txt
grep '^uart: ' model.log >model.txt || true
cmp icarus.txt model.txt || fail "the text on the serial line differs"
complete=$(($(wc -l <model.txt) - 1))
cmp icarus/serial.log serial.log || fail "the logs differ"
[ $complete -ge 12 ] || fail "only $complete lines were sent"
"$reference" $complete | head -n $complete >expected.txt
head -n $complete model.txt | cmp - expected.txt || fail "the program computes something else"
echo "$complete lines of text, as expected"

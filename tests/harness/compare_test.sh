#!/usr/bin/env bash
# Comparing with a trace, and what the exit status says of it: compare_test.sh COUNTER
. "$(dirname "$0")/expect.sh"

# The counter over four rising edges, as worked out by hand. Scopes, one word each, enclose the nets.
trace() { # FILE SCOPES [SED_SCRIPT]
    {
        echo '$timescale 1 ns $end'
        for scope in $2; do echo "\$scope module $scope \$end"; done
        printf '$var wire 1 %s $end\n' 'c clk' 'e en' 'd done'
        echo '$var reg 4 n count [3:0] $end'
        for scope in $2; do echo "\$upscope \$end"; done
        printf '%s\n' '$enddefinitions $end' '#0' '$dumpvars' 0c 1e 0d 'b0 n' '$end' \
            '#5' 1c 'b1 n' '#10' 0c '#15' 1c 'b10 n' '#20' 0c '#25' 1c 'b11 n' 1d '#30' 0c \
            '#35' 1c 'b100 n' 0d '#40' 0c
    } | sed "${3-}" >"$1"
}
trace good.vcd top
trace wrong.vcd top 's/^b10 n/b110 n/; s/^b100 n/b0 n/'
trace bench.vcd 'tb dut'
trace elsewhere.vcd other 's/ clk / takt /; s/ en / enable /; s/ done / fertig /; s/ count / zahl /'
trace undriven.vcd top 's/ clk / takt /; s/ en / enable /'
trace inputs.vcd top 's/ done / fertig /; s/ count / zahl /'
trace stray.vcd top 's/^b100 n/b1 nonsense/'
trace finer.vcd top 's/1 ns/1 ps/; s/^#[1-9].*/&000/'
trace named.vcd top 's/ en / enable /; s/^#20/&\n0e/; /^b11 n/d; /^[01]d/d; /^b100 n/d'
trace extra.vcd top 's/^\$var wire 1 d.*/&\n$var wire 1 x pad $end/'
gzip -k good.vcd
head -c 120 good.vcd.gz >short.vcd.gz
head -c 100 good.vcd >short.vcd
: >empty.vcd

# ---- Status 0 and 1
counts='^4 signals in the trace, 4 linked; of the model 2 nets comparable, 2 compared, 2 driven$'
agrees='^The model agrees with [a-z.]* until 40ns$'
expect 0 "$counts" '' --validate good.vcd
expect 0 "$agrees" '' --validate good.vcd
expect 0 "$agrees" '' --validate good.vcd.gz
mkfifo pipe.vcd
cat good.vcd >pipe.vcd &
expect 0 "$agrees" '' --validate pipe.vcd
expect 0 "until 40000ps" '' --validate finer.vcd
expect 1 '^The model differs from wrong.vcd: 2 differences until 40ns$' '' --validate wrong.vcd
expect 1 'differs' '' --validate good.vcd --fault count
expect 0 "$agrees" '' --validate wrong.vcd --ignore top.count
expect 2 '!agrees' 'ignore top.nothing: no net matches' --validate good.vcd --ignore top.nothing
expect 1 'Model became|the Trace became' '' --validate wrong.vcd --verbose
expect 1 '! 2 differences' '' --validate wrong.vcd --threshold 1
expect 1 ' 2 differences' '' --validate wrong.vcd --threshold 0
expect 0 'agrees with wrong.vcd until 15ns' '' --validate wrong.vcd --stop 15ns
expect 0 'agrees with wrong.vcd until 15000ps|until 15ns' '' --validate wrong.vcd --stop .015us

# ---- A change that comes 4 ns late; waits are looked at whenever time has moved
trace late.vcd top '/^b10 n/d; s/^#20/#18\n#19\nb10 n\n&/'
sed 's/1 ns/1 ps/; s/^#[1-9].*/&000/' late.vcd >latefine.vcd
expect 0 'agrees' '' --validate late.vcd --synctime 3ns
expect 1 '1 difference until' '' --validate late.vcd --synctime 2ns
expect 0 'agrees' '' --validate latefine.vcd --synctime 3ns
expect 1 'differs' '' --validate latefine.vcd --synctime 2.9ns
expect 2 '!agrees' 'agrees, but nets were up to 4ns apart: give --synctime$' --validate late.vcd
expect 0 "$agrees" '' --validate late.vcd --synctime 0

# ---- What the trace lacks
trace lacking.vcd top 's/ done / fertig /; s/ en / enable /'
lacks='counter: lacking.vcd: 1 comparable net not compared: top.done; 1 input not driven: top.en$'
expect 0 "$agrees" "$lacks" --validate lacking.vcd
expect 2 '!agrees' "$lacks" --validate lacking.vcd --complete
expect 0 "$agrees" '' --validate lacking.vcd --complete --ignore top.done --ignore top.en
expect 0 "$agrees" '' --validate good.vcd --complete

# ---- The order of inputs
expect 0 "$agrees" '' --validate good.vcd
holds 'no hint without a reason' test ! -s hint
expect 1 '' '' --validate wrong.vcd
holds 'a hint with a difference' grep -q '^counter: wrong.vcd: .*--scan may help$' hint
expect 0 'agrees' '' --validate late.vcd --synctime 3ns
holds 'a hint with a tolerance' grep -q 'late.vcd' hint
# The enable changes by <= at the clock edge, and its line comes before the clock's.
trace racing.vcd top 's/^#[12]5/&\n-e/; /^b11 n/d; /^1d/d; /^#35/,$ { /^0d/d }; s/^b100 n/b11 n\n1d/'
sed -i '/^#15/,/^-/ s/^-/0/; s/^-/1/' racing.vcd
expect 1 'differs' '' --validate racing.vcd --synctime 1ns
expect 0 "$agrees" '' --validate racing.vcd --synctime 1ns --clock-first
expect 1 'differs' '' --validate racing.vcd --synctime 1ns --clock-first --clock top.clk=off
expect 1 'top.en is an early input' '' --validate racing.vcd --synctime 1ns --clock-first --early top.en
expect 2 '!agrees' 'early top.count: the trace drives no such input' --validate good.vcd --early top.count
expect 2 '' "clock-first cannot be 'perhaps'" --validate good.vcd --clock-first=perhaps
expect 0 "$agrees" '' --validate racing.vcd --synctime 1ns --fault clock-first
expect 1 'differs' '' --validate racing.vcd --synctime 1ns --fault clock-first --clock-first=off

scans() { # STATUS OPTIONS TRACE...: what --scan proposes
    expect "$1" '' '' --validate "${@:3}" --scan
    holds "--scan of $3 proposes '$2'" test "$(tail -n 1 out)" = "$2"
}
scans 0 '' good.vcd
scans 0 --clock-first racing.vcd
scans 1 '' wrong.vcd
scans 1 '' late.vcd
scans 0 '' late.vcd --synctime 3ns
scans 0 '--clock-first --clock top.clk' racing.vcd --fault unmarked-clock
holds 'an unmarked clock is named' grep -q '^top.clk looks like a clock' out
expect 2 '' 'nothing is linked' --validate elsewhere.vcd --scan
expect 2 '' 'cannot be read' --validate missing.vcd --scan
expect 2 '' 'scan records nothing' --validate good.vcd --scan --vcd x.vcd
expect 2 '' 'of no use without --validate' --scan
expect 2 '' 'pipe.vcd is read several times, and must be a file' --validate pipe.vcd --scan

# ---- What the trace drives
expect 0 'top.en is a clock input' '' --validate good.vcd --clock top.en
expect 2 '!agrees' 'clock top.count: the trace drives no such input' --validate good.vcd --clock top.count
expect 1 'input not traced in VCD file: top.en' '1 input not driven: top.en$' --validate named.vcd
expect 0 "$agrees" '' --validate named.vcd --stimulus top.en=top.enable
expect 0 '3 driven' '' --validate extra.vcd --stimulus top.tap=top.pad
expect 2 '!agrees' 'stimulus top.x: ' --validate good.vcd --stimulus top.x=top.en
expect 2 '!agrees' 'stimulus top.tap=top.x: the trace has no such net' --validate good.vcd --stimulus top.tap=top.x

# ---- Scopes in other places
expect 2 '!agrees' 'at tb.dut: try --map top=tb.dut$' --validate bench.vcd
expect 0 "$agrees" '' --validate bench.vcd --map top=tb.dut
expect 2 '!agrees' 'map nothing: the model has no such scope' --validate bench.vcd --map nothing=tb
expect 2 '!agrees' 'map top=tb.x: the trace has no such scope' --validate bench.vcd --map top=tb.x
expect 2 '!agrees' 'map top=x: the trace has no such scope' --validate good.vcd --map top=x
sed 's/^\$scope module dut/$var wire 1 c clk $end\n$var wire 1 e en $end\n$var wire 1 d done $end\n&/' bench.vcd >twice.vcd
expect 2 '' 'at tb: or --map top=tb$' --validate twice.vcd
holds 'the scope with more of the design comes first' grep -q 'dut: try' err

# ---- Status 2: there was nothing to compare, or not all of it
trace still.vcd top '/^#5/,$d'
echo '#40' >>still.vcd
expect 2 '2 nets compared in name only [(]no change in the trace[)]: ' 'the trace changes no net that is compared' --validate still.vcd
expect 0 "$agrees" '' --validate still.vcd --strict
expect 2 '!agrees' 'nothing is linked: the trace has no net' --validate elsewhere.vcd
expect 2 '!agrees' 'nothing is linked: the trace has no input' --validate undriven.vcd
expect 2 '!agrees' 'the trace has no net to compare' --validate inputs.vcd
expect 2 '!agrees' 'the model has no net that can' --validate good.vcd --fault nothing-to-compare
expect 2 '!agrees' 'no function that evaluates it' --validate good.vcd --fault no-step
for file in empty.vcd short.vcd . missing.vcd; do expect 2 '!agrees' "$file: cannot be read" --validate $file; done
expect 2 '!agrees' 'damaged, or ends early|cannot be read' --validate short.vcd.gz
expect 2 '!agrees' 'stray.vcd: left at 35ns, before its end' --validate stray.vcd
expect 2 '!agrees' 'good.vcd: left at 15ns, before its end' --validate good.vcd --fault finish-in-step
expect 2 '!agrees' '' --validate good.vcd --fault exit-in-step
expect 2 '!agrees' 'ended before the run began' --validate good.vcd --fault qk_exit-in-build
expect 0 "$agrees" '' --validate good.vcd --fault no-run

# A compressed trace that ends amid its changes.
{ sed '/^#40/,$d' good.vcd; seq 41 20000 | sed 's/.*/#&\n0c\n1c/'; } | gzip >long.vcd.gz
head -c 30000 long.vcd.gz >cut.vcd.gz
expect 2 '!agrees' 'cut.vcd.gz: is damaged, or ends early' --validate cut.vcd.gz --threshold 0

# ---- With the other options
expect 1 'VCD written to file: last.vcd' '' --validate wrong.vcd --last 50 --vcd last.vcd
holds 'the last changes are saved' grep -q '^#35' last.vcd
expect 0 "$agrees" '' --validate good.vcd --vcd model.vcd --batch --log run.log
holds 'the verdict is logged' grep -q agrees run.log
expect 0 'agrees with model.vcd' '' --validate model.vcd

# ---- Progress is for terminals only
expect 0 '!%' '' --validate good.vcd
script -qec "$counter --validate good.vcd" /dev/null >terminal </dev/null
holds 'progress is shown' grep -qE '[0-9]+ % of good.vcd, [0-9]+ns, 0 differences' terminal
holds 'and taken away' grep -q "$(printf '\r\033\\[K')" terminal
exit $failed

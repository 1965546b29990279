#!/usr/bin/env bash
# A list of comparisons on this machine: regress_test.sh ZEFT_REGRESS COUNTER
program=$1
export COUNTER=$2
. "$(dirname "$0")/../support/checks.sh"

{
    printf '%s\n' '$timescale 1 ns $end $scope module top $end' '$var wire 1 c clk $end' \
        '$var wire 1 e en $end' '$var wire 1 d done $end' '$var reg 4 n count [3:0] $end' \
        '$upscope $end $enddefinitions $end' '#0' '$dumpvars' 0c 1e 0d 'b0 n' '$end' '#5' 1c 'b1 n' \
        '#10' 0c '#15' 1c 'b10 n' '#20' 0c
} >'a good one.vcd'
sed 's/^b10 n/b11 n/' 'a good one.vcd' >wrong.vcd

# ---- The list: CONTENTS MESSAGE
while IFS='|' read -r contents message; do
    printf '%b' "$contents" >list
    runs 2 list
    says "zeft-regress: $message"
done <<'END'
a x\nb y\n\n# c\na z|list:5: 'a' is the name of line 1
a x \\\n 'b\nc|list:1: a quote is not closed: '
a x\nb # no\nc|list:3: 'c' has no command
a/b x|list:1: 'a/b' cannot be a name: letters, digits and ._+-, not . or - first
.a x|list:1: '.a' cannot be a name: letters, digits and ._+-, not . or - first
\n# nothing\n|list: no comparison is listed
a x --report=r.json|list:1: 'a': --report is given to each model; its file is {}/report.json
END
runs 2 nowhere
says 'zeft-regress: nowhere: cannot be read: No such file or directory'
runs 2 --jobs 0 list
says "zeft-regress: --jobs cannot be '0'"
runs 2

# ---- A run. One entry kills its supervisor, and with it xargs, amid the others.
ln -s "$COUNTER" model
cat >list <<'END'
# name command
agrees     ./model --validate 'a good one.vcd' \
           --synctime "2ns"
differs    ./model --validate wrong.vcd --synctime 2ns
missing    ./model --validate missing.vcd
unknown    ./nothing --validate wrong.vcd
crashes    ./model --validate a\ good\ one.vcd --fault abort-in-step
killer     sh -c 'kill -9 $PPID' {}
silent     true {}
wide       ./model --report {}/report.json --validate wrong.vcd --threshold 1
END
expected() {
    cat <<'END'
differs  differs  The model differs from wrong.vcd: 1 difference until 20ns
missing  failed   missing.vcd: cannot be read: No such file or directory
unknown  failed   ./nothing: cannot be run: No such file or directory
crashes  failed   signal 6 (Aborted); the run has not ended: it goes on, crashed or was killed
killer   failed   its supervisor was killed
silent   failed   exit status 0; out.d/silent/report.json: cannot be read: No such file or directory
wide     differs  The model differs from wrong.vcd: 1 difference until 20ns
8 comparisons: 1 agree, 2 differ, 5 failed
END
}
for jobs in 1 3; do
    rm -rf out.d
    runs 2 list -j $jobs --results out.d --junit all.xml
    sed -i '/^xargs: /d' out
    holds "the table with $jobs jobs" diff <(expected) out
done
holds 'kept of what agrees' test "$(ls -m out.d/agrees)" = 'command.json, report.json, result.json'
holds 'kept of what differs' test "$(ls -m out.d/differs)" = 'command.json, last.vcd.gz, log, report.json, result.json'
holds "JUnit's XML" python3 -c "import xml.etree.ElementTree as tree
root = tree.parse('all.xml').getroot()
assert [root.get(k) for k in ('tests', 'failures', 'errors')] == ['8', '2', '5']
cases = {c.get('name'): c for c in root.iter('testcase')}
assert list(cases)[0] == 'agrees' and len(cases['agrees']) == 0
assert 'top.count, trace 4\'h3, model 4\'h2' in cases['differs'].find('failure').text
assert 'Aborted' in cases['crashes'].find('error').get('message')"

# ---- Again: only what failed, and what is asked for otherwise
touch -d 2001-01-01 out.d/*/result.json
sed -i 's/^killer.*/killer .\/model --validate missing.vcd/; s/threshold 1/threshold 2/' list
cp 'a good one.vcd' missing.vcd
runs 2 list --results out.d --resume --last 10000
says '8 comparisons: 3 agree, 2 differ, 3 failed'
holds 'what ran again' test "$(find out.d -name result.json -newermt 2002-01-01 | sort | xargs -n 1 dirname | xargs -n 1 basename | tr '\n' ' ')" = 'crashes killer missing silent unknown wide '
grep -v -e ^unknown -e ^crashes -e ^silent list >fewer
runs 1 fewer --results out.d --resume
runs 0 <(sed -n 2,3p list) --results other.d --verbose
says 'agrees  agrees   The model agrees with a good one.vcd until 20ns'

# ---- By the report alone
runs 1 --results out.d --rerun differs
says './model --validate wrong.vcd --synctime 2ns --report out.d/differs/report.json --last 10000 --vcd out.d/differs/last.vcd.gz'
says 'The model differs from wrong.vcd: 1 difference until 20ns'
runs 0 --rerun out.d/agrees/report.json
says "./model --validate 'a good one.vcd' --synctime 2ns --report out.d/agrees/report.json --last 10000 --vcd out.d/agrees/last.vcd.gz"
sed -i 's/zeft-report 1/zeft-report 2/' out.d/agrees/report.json
runs 2 --rerun out.d/agrees/report.json
says "zeft-regress: out.d/agrees/report.json:2: the format is 'zeft-report 2', not 'zeft-report 1'"
head -c 300 out.d/differs/report.json >cut.json
runs 2 --rerun cut.json
holds 'a report that is cut short' grep -qE '^zeft-regress: cut.json:[0-9]+: not JSON, or not whole$' out

# ---- Ended by a signal, and by the time
mkfifo ready
printf '%s\n' "first sh -c 'echo >ready; exec sleep 600' {}" 'second true {}' >list
"$program" list -j 1 --results ended.d >out 2>&1 </dev/null &
read -r <ready
kill -TERM $!
status=0
wait $! || status=$?
holds "status $status of what was ended" test $status -eq 143
holds 'what was ended' grep -q '^first *failed *signal 15 (Terminated)' out
says 'second  failed   not run: the regression was ended'
mkfifo pipe.vcd
echo 'hangs ./model --validate pipe.vcd' >list
runs 2 list --timeout 1
holds 'what took too long' grep -q '^hangs  failed   took longer than 1 s; ' out
exit $failed

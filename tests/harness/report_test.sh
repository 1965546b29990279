#!/usr/bin/env bash
# What --report writes of a comparison: report_test.sh COUNTER
program=$1
. "$(dirname "$0")/../support/checks.sh"

{
    echo '$timescale 1 ns $end $scope module top $end'
    printf '$var wire 1 %s $end\n' 'c clk' 'e en' 'd done'
    echo '$var reg 4 n count [3:0] $end $upscope $end $scope module tb $end'
    printf '%s\n' '$var reg 1 t x $end $upscope $end $enddefinitions $end' '#0' '$dumpvars' 0c 1e 0d \
        'b0 n' '$end' '#5' 1c 'b1 n' '#10' 0c '#15' 1c 'b10 n' '#20' 0c '#25' 1c 'b11 n' 1d '#30' 0c \
        '#35' 1c 'b100 n' 0d '#40' 0c '#45' 1c 'b101 n' '#50' 0c
} >good.vcd
sed 's/^b10 n/b11x n/; s/^b100 n/b0 n/; s/^1d/0d/' good.vcd >wrong.vcd
sed 's/ done / fertig /' good.vcd >lacking.vcd
sed '/^b10 n/d; s/^#20/#18\n#19\nb10 n\n&/' good.vcd >late.vcd

# reports PYTHON: an expression over `r`, the report in r.json
reports() { holds "$1 in the report of: $said" python3 -c "import json
r = json.load(open('r.json'))
assert $1, json.dumps(r, indent=1)"; }
run() { # STATUS OPTION...: runs with a report, when there was another
    said=${*:2}
    echo stale >r.json
    runs "$1" --report r.json "${@:2}"
}
same() { grep -v '"resources"' "$1"; }

run 0 --validate good.vcd --synctime 2ns --seed 7
reports 'r["format"] == "zeft-report 1" and r["model"] == "counter" and r["trace"] == "good.vcd"'
reports 'r["command"][1:] == "--report r.json --validate good.vcd --synctime 2ns --seed 7".split()'
reports '(r["status"], r["verdict"], r["seed"], r["time"]) == (0, "agrees", 7, "50ns")'
reports 'r["reason"] == "The model agrees with good.vcd until 50ns" and r["differences"] == []'
reports 'r["options"]["synctime"] == "2ns" and r["counts"]["compared"] == 2 and r["counts"]["complete"]'
reports '{"net": "top.tap", "reason": "no such name"} in r["model_only"]'
reports 'r["trace_only"] == [{"scope": "tb", "nets": 1, "reason": "no such scope"}]'
reports 'r["resources"]["peak_memory_kib"] > 0 and r["resources"]["cpu_seconds"] >= 0'
same r.json >first
run 0 --validate good.vcd --synctime 2ns --seed 7
holds 'two reports are the same' cmp first <(same r.json)

run 1 --validate wrong.vcd --threshold 0
reports '[(d["net"], d["time"], d["count"]) for d in r["differences"]] == [("top.count", "15ns", 2), ("top.done", "25ns", 1)]'
reports 'r["differences"][0]["trace"] == "4'"'"'hX" and r["differences"][0]["trace_binary"] == "011x"'
reports 'r["differences"][0]["model"] == "4'"'"'h2" and "trace_binary" not in r["differences"][1]'
reports 'r["differences"][0]["kind"] == "VCD change does not match earlier live model change"'
reports 'r["counts"]["differences"] == 3 and r["verdict"] == "differs" and "3 differences" in r["reason"]'
run 1 --validate wrong.vcd --threshold 1
reports 'len(r["differences"]) == 1'
run 0 --validate late.vcd --synctime 5ns
reports 'r["synchronisation"] == [{"net": "top.count", "longest": "4ns"}]'

# What could not be compared: STATUS REASON OPTION...
fails() {
    run "$1" "${@:3}"
    reports "r['status'] == $1 and r['verdict'] == 'failed' and '''$2''' in r['reason']"
}
fails 2 'missing.vcd: cannot be read' --validate missing.vcd
fails 2 'wrong option, or without its argument: --mpa' --validate good.vcd --mpa top=tb
fails 2 '--synctime cannot be' --validate good.vcd --synctime x
fails 2 'of no use without --validate'
fails 2 'map top=x: the trace has no such scope' --validate good.vcd --map top=x
fails 2 'up to 4ns apart: give --synctime' --validate late.vcd
fails 2 '1 comparable net not compared: top.done' --validate lacking.vcd --complete
fails 2 'before its end' --validate good.vcd --fault finish-in-step
fails 2 'the model ended the program' --validate good.vcd --fault exit-in-step
fails 2 'r.vcd: cannot be written' --validate good.vcd --vcd /dev/full/r.vcd
fails 143 'ended at 15ns: Terminated' --validate good.vcd --fault term-in-step
run 134 --validate good.vcd --fault abort-in-step
reports "r['status'] == 2 and 'the run has not ended' in r['reason']"
run 0 --validate lacking.vcd
reports 'r["not_compared"] == ["top.done"] and "top.done" in r["messages"][0]'

# JUnit
runs 1 --validate wrong.vcd --threshold 0 --report r.xml
holds 'XML with the differences' python3 -c "import xml.etree.ElementTree as tree
suite = tree.parse('r.xml').getroot()[0]
case = suite.find('testcase')
failure = case.find('failure')
assert suite.get('failures') == '1' and suite.get('errors') == '0' and case.get('name') == 'wrong.vcd'
assert 'top.count, trace 4\'hX (011x), model 4\'h2, 2 differences' in failure.text, failure.text"
runs 0 --validate good.vcd --report r.xml
holds 'XML without a failure' grep -q '<testcase .*/>' r.xml
holds 'nothing is left beside a report' test -z "$(compgen -G 'r.*.*')"
exit $failed

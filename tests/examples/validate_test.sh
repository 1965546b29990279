#!/bin/sh
# The example's model against the traces that are kept: it agrees with the good one, and in each of
# the others the first difference is reported at its net and its time.
#
# usage: validate_test.sh SOC EXAMPLE_DIR
set -eu
soc=$1 traces=$2/reference
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"

fail() {
    echo "FAILED: $1"
    cat out
    exit 1
}

# trace, status
validate() {
    status=0
    "$soc" --validate "$1" --map soc=tb.dut --synctime 1ns >out 2>&1 </dev/null || status=$?
    [ $status -eq "$2" ] || fail "$1: status $status, not $2"
}

# The first difference of each variable of two dumps, until the second ends: time, path, and whether
# it is a register or an output of the design.
cat >differences.awk <<'END'
FNR == 1 { ++file; depth = 0 }
$1 == "$scope" { scope[++depth] = $3 }
$1 == "$upscope" { --depth }
$1 == "$var" {
    path = ""
    for (i = 1; i <= depth; i++) path = path scope[i] "."
    code[file, path $5] = $4
    if ($2 == "reg" || $2 == "integer" || path $5 ~ /^tb\.dut\.(txd|leds)$/) held[path $5] = " held"
    if (file == 1) paths[path $5]
}
/^#/ { time = substr($1, 2) + 0 }
/^[01xz]/ { change(substr($1, 2), substr($1, 1, 1)) }
/^b/ { change($2, $1) }
function change(c, value) {
    c = file SUBSEP c
    times[c, ++count[c]] = time
    values[c, count[c]] = value
}
function at(c, i) { return i > count[c] || times[c, i] > time ? time + 1 : times[c, i] }
END {
    for (path in paths) {
        a = 1 SUBSEP code[1, path]
        b = 2 SUBSEP code[2, path]
        for (i = 1; at(a, i) <= time || at(b, i) <= time; i++)
            if (at(a, i) != at(b, i) || values[a, i] != values[b, i]) {
                print (at(a, i) < at(b, i) ? at(a, i) : at(b, i)), path held[path]
                break
            }
    }
}
END

# ---- Traces that can be compared
validate "$traces/good.vcd.gz" 0
for line in '225 match variables' '56 variables can be compared, 56 in trace' \
    'Made 6003 changes in 2 inputs' ' changes in 58 signals' 'synchronise was 0ns' \
    ' 0 differences found'; do
    grep -q -- "$line" out || fail "good: no '$line'"
done

gzip -dc "$traces/good.vcd.gz" >good.vcd
while read -r name time net; do
    gzip -dc "$traces/$name.vcd.gz" >broken.vcd
    awk -f differences.awk good.vcd broken.vcd | sort -n >differences
    first=$(awk '/ held$/ { print $1; exit }' differences)
    [ "$first" = "$time" ] || fail "$name: the dumps differ at $first, not $time"
    grep -q "^$time tb.dut.${net#soc.}\( held\)*$" differences || fail "$name: $net does not differ"
    validate "$traces/$name.vcd.gz" 1
    line=$(grep -m 1 '^Time: [0-9]*ns: [BM]' out) || fail "$name: no difference"
    case $line in
        "Time: ${time}ns: "*": $net") ;;
        *) fail "$name: not at $time, $net: $line" ;;
    esac
done <<END
late 300 soc.txd
stuck 205 soc.tx_data
swapped 855 soc.u_cpu.pc
unreset 20005 soc.u_timer.count
END

# ---- Traces that tell nothing
# The start of the good trace, with the clock and the reset (1) or with all but them (0).
part() {
    awk -v inputs="$1" '
        $1 == "$scope" { ++depth }
        $1 == "$upscope" { --depth }
        $1 == "$var" && (depth == 2 && $5 ~ /^(clk|rst_n)$/) != inputs { next }
        $1 == "$var" { kept[$4] }
        /^[01xz]/ && !(substr($1, 2) in kept) { next }
        /^b/ && !($2 in kept) { next }
        /^#10$/ { exit }
        1' good.vcd
}
part 0 >undriven.vcd
part 1 >nothing.vcd
sed '/^#100$/,$d' good.vcd >cut.vcd
echo '1?nobody' >>cut.vcd
head -c 200000 "$traces/good.vcd.gz" >cut.vcd.gz
validate missing.vcd 2
validate undriven.vcd 2
validate nothing.vcd 2
grep -q 'End of Trace File Reached' out || fail 'nothing.vcd: it can be run'
validate cut.vcd 2
validate cut.vcd.gz 2
validate "$soc" 2
echo 'agreement and differences told apart'

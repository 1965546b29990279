#!/bin/sh
# The comparator must see every kind of difference, and see through every kind of spelling.
#
# usage: vcdcmp_test.sh VCDCMP
set -eu
vcdcmp=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"

# file; variables, one a line; changes, one a line
dump() {
    {
        printf '$timescale 1 ns $end\n$scope module top $end\n%b\n$upscope $end\n' "$2"
        printf '$enddefinitions $end\n%b\n' "$3"
    } >"$1"
}

# status; what it is about; options
expect() {
    want=$1 about=$2
    shift 2
    status=0
    "$vcdcmp" "$@" a.vcd b.vcd >out 2>&1 || status=$?
    [ $status -eq "$want" ] && return
    echo "FAILED: $about: status $status, not $want"
    cat a.vcd b.vcd out
    exit 1
}

vars='$var wire 1 ! c $end\n$var reg 8 " v [7:0] $end'
changes='#0\n$dumpvars\n0!\nb1010 "\n$end\n#5\n1!\n#10\n0!\nb11 "'
dump a.vcd "$vars" "$changes"

dump b.vcd "$vars" "$changes"
expect 0 'the same file'
expect 0 'two variables are enough' --min-vars 2
expect 1 'three would be wanted' --min-vars 3

# ---- Other spellings of the same history
same() {
    dump b.vcd "$2" "$3"
    expect 0 "$1" --all
}
same 'codes, padding, glued range' '$var wire 8 v v[7:0] $end\n$var wire 1 cc c $end' \
    '#0 b00001010 v\n0cc\n#5 1cc\n#7\n#10 0cc\nB00000011 v\n#99'
same 'redundant changes' "$vars" '#0 0! 0! b1010 "\n#3 b1010 "\n#5 1!\n#10 0!\nb11 "'
same 'glitches within a time' "$vars" '#0 1! 0! b1010 "\n#5 1!\n#10 0! b1 " b11 "'
same 'a net in parts' \
    '$var wire 1 ! c $end\n$var wire 4 l v [3:0] $end\n$var wire 3 m v [6:4] $end
$var wire 1 h v [7] $end' \
    '#0 0! b1010 l b0 m 0h\n#5 1!\n#10 0! b11 l'
same 'another alias' "$vars"'\n$var parameter 4 p P $end' "$changes"'\nb1 p'
same 'comments and reals' "$vars"'\n$var real 64 r r $end\n$comment #1 0! $end' \
    '$comment b1 " $end\n#0 0! b1010 " r1.5 r\n#5 1!\n#10 0! b11 "'
sed 's/1 ns/100ps/; s/^#\([1-9].*\)/#\10/' a.vcd >b.vcd
expect 0 'a finer timescale'

# ---- Differences
differs() {
    dump b.vcd "$2" "$3"
    expect 1 "$1"
}
differs 'a value' "$vars" '#0 0! b1010 "\n#5 1!\n#10 0! b10 "'
differs 'a time' "$vars" '#0 0! b1010 "\n#6 1!\n#10 0! b11 "'
differs 'a change less' "$vars" '#0 0! b1010 "\n#5 1!\n#10 0!'
differs 'a change more' "$vars" '#0 0! b1010 "\n#5 1!\n#10 0! b11 "\n#11 1!'
differs 'the first value' "$vars" '#0 1! b1010 "\n#5 1!\n#10 0! b11 "'
differs 'x for 0' "$vars" '#0 x! b1010 "\n#5 1!\n#10 0! b11 "'
differs 'z extended' "$vars" '#0 0! bz1010 "\n#5 1!\n#10 0! b11 "'
differs 'an unknown variable' "$vars"'\n$var wire 1 n n $end' "$changes"
differs 'the width' '$var wire 1 ! c $end\n$var reg 9 " v [8:0] $end' "$changes"
differs 'the direction' '$var wire 1 ! c $end\n$var reg 8 " v [0:7] $end' "$changes"
differs 'no range' '$var wire 1 ! c $end\n$var reg 8 " v $end' "$changes"
differs 'a missing part' \
    '$var wire 1 ! c $end\n$var wire 4 l v [3:0] $end\n$var wire 1 h v [7] $end' \
    "#0 0! b1010 l\n#5 1!\n#10 0! b11 l"

# ---- Paths
dump b.vcd '$var wire 1 ! c $end' '#0 0!\n#5 1!\n#10 0!'
expect 0 'a variable of the first file may be missing'
expect 1 'unless all are wanted' --all
expect 0 'a prefix is replaced' --map top.=top.
expect 1 'a prefix that is not there' --map tb.=top.

# ---- Files that are no VCD
unreadable() {
    printf "$2" >b.vcd
    expect 2 "$1"
}
unreadable 'nothing at all' ''
unreadable 'an open section' '$timescale 1 ns'
unreadable 'no end of the declarations' '$timescale 1 ns $end'
unreadable 'a scope closed twice' '$upscope $end'
unreadable 'a short declaration' '$var wire 1 $end'
unreadable 'a width of nothing' '$var wire 0 ! c $end'
unreadable 'a huge range' '$var wire 8 ! c [2147483647:-2147483648] $end'
unreadable 'an odd timescale' '$timescale 20 ns $end'
unreadable 'an unknown code' '$enddefinitions $end\n#0\n1!'
unreadable 'time runs back' '$enddefinitions $end\n#5\n#4'
unreadable 'a strange value' '$var wire 1 ! c $end $enddefinitions $end\n#0\nbq !'
rm b.vcd
expect 2 'no file'

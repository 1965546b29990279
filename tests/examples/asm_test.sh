#!/bin/sh
# The checked-in image is what the assembler makes of its source; each instruction is encoded as
# another assembler encodes it; faulty sources are refused with their line.
#
# usage: asm_test.sh SOC_ASM EXAMPLE_DIR
set -eu
asm=$1 example=$2
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

fail() {
    echo "FAILED: $1"
    exit 1
}

"$asm" "$example/prog/sort.s" "$work/sort.hex"
cmp "$work/sort.hex" "$example/prog/sort.hex" || fail "prog/sort.hex is not up to date"
"$asm" "$here/encodings.s" "$work/encodings.hex"
diff "$here/encodings.hex" "$work/encodings.hex" || fail "encodings differ"

# line of the fault; source, with \n between lines
refuse() {
    printf "$2" >"$work/bad.s"
    if "$asm" "$work/bad.s" "$work/bad.hex" 2>"$work/said"; then fail "accepted: $2"; fi
    grep -q "bad.s:$1: " "$work/said" || fail "for $2 it said: $(cat "$work/said")"
}
refuse 2 'nop_is_none:\n        nop'
refuse 1 'addi t0, t0'
refuse 1 'addi t0, t0, 2048'
refuse 1 'addi t0, x40, 1'
refuse 1 'lw t0, 4'
refuse 1 'lw t0, 4(t0'
refuse 1 'slli t0, t0, 32'
refuse 1 'li t0, 0x100000000'
refuse 1 'li t0'
refuse 1 'j nowhere'
refuse 2 'a:\na:'
refuse 1 '.asciz "open'
refuse 1 '.asciz "\\q"'
refuse 1 '.asciz'
refuse 1 '.pad 100000'
refuse 2 '.word 1\n.pad 0'

#!/usr/bin/env bash
# Inouts, where Verilator can split them: pads_test.sh QKVERILATE VCDCMP
. "$(dirname "$0")/common.sh"
designs=$here/designs
verilator --pins-inout-enables --version >/dev/null 2>&1 ||
    { echo "skipped: this Verilator has no --pins-inout-enables"; exit 77; }

build pads "$designs/pads.v"
simulate good.vcd "$designs/pads.v" "$designs/pads_tb.v"
agrees pads good.vcd 13 4 655 --map pads=tb.dut
sed 's/write ? held/write ? ~held/' "$designs/pads.v" >mutant.v
simulate bad.vcd mutant.v "$designs/pads_tb.v"
differs pads bad.vcd 15ns pads.seen --map pads=tb.dut

# In a free run the design reads what it drives, and else what was set.
cat >script <<END
set pads.bus = 0x21
step 5ns
ls pads.seen
set pads.value = 0x43
step 10ns
set pads.write = 1
ls pads.bus*
step 10ns
ls pads.seen
END
./pads --batch --script script --stop 30ns >out 2>&1 </dev/null || fail 'pads: free run' out
grep '^pads.*:' out | grep -v '=' >shown
diff shown - <<END || fail 'pads: free run' out
pads.seen    r : 21
pads.bus      i   : 21
pads.bus__en      : 00
pads.bus__out     : 00
pads.seen    r : 43
END

exit $failed

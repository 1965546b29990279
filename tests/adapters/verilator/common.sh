# shellcheck shell=bash
# Sourced by the tests of models that qkverilate builds: QKVERILATE VCDCMP are the first arguments.
# Without Verilator or Icarus Verilog a test ends with status 77, "skipped".
qkverilate=$1 vcdcmp=$2
here=$(cd "$(dirname "$0")" && pwd)
for tool in verilator iverilog; do
    command -v $tool >/dev/null || { echo "skipped: $tool is not installed"; exit 77; }
done
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work" || exit 1
export MAKEFLAGS="OPT_FAST=-O1 OPT_GLOBAL=-O0" LC_ALL=C
failed=0

fail() { # TEXT [FILE]
    failed=1
    echo "FAILED: $1"
    [ -z "${2-}" ] || tail -n 40 "$2"
}

build() { # NAME ARGUMENT...: the program NAME; what is said is in NAME.said
    local name=$1
    shift
    # In one folder, so that Verilator's run time and ours are compiled once.
    "$qkverilate" -o "$name" --build objects "$@" >"$name.said" 2>&1 ||
        fail "$name is not built" "$name.said"
}

simulate() { # TRACE ARGUMENT...: what Icarus Verilog records of a bench that writes trace.vcd
    local trace=$1
    shift
    iverilog -g2012 -o bench.vvp "$@" 2>iverilog.said && vvp -n bench.vvp >vvp.said 2>&1 ||
        fail "$trace is not made" iverilog.said
    mv trace.vcd "$trace"
}

# agrees PROGRAM TRACE LINKED COMPARED CHANGES [OPTION...]: without a difference, and without the
# tolerance having been needed
agrees() {
    local program=$1 trace=$2 linked=$3 compared=$4 changes=$5 status=0 line missing=
    shift 5
    "./$program" --validate "$trace" "$@" >out 2>&1 </dev/null || status=$?
    for line in ", $linked linked; of the model $compared nets comparable, $compared compared" \
        "Compared $changes changes in $compared signals" 'synchronise was 0\.*0*[munpf]*s$' \
        ' 0 differences found'; do
        grep -q -- "$line" out || missing+=", no '$line'"
    done
    [ "$status$missing" = 0 ] || fail "$program, $trace $*: status $status$missing" out
}

differs() { # PROGRAM TRACE TIME NET [OPTION...]: and where first
    local program=$1 trace=$2 time=$3 net=$4 status=0 first
    shift 4
    "./$program" --validate "$trace" "$@" >out 2>&1 </dev/null || status=$?
    first=$(grep -m 1 -E '^Time: [0-9.]+[a-z]+: (Bad|Model|VCD|Trace)' out)
    case $status/$first in
        "1/Time: $time: "*": $net") ;;
        *) fail "$program, $trace: status $status, not first at $time $net: $first" out ;;
    esac
}

# reorder reverse|SEED FROM TO: the lines of each time step in another order
reorder() {
    python3 - "$@" <<'END'
import random, sys
how, source, target = sys.argv[1:]
shuffle = random.Random(how).shuffle if how != "reverse" else list.reverse
out, step, body = [], [], False
for line in open(source):
    if body and line[0] not in "#$":
        step.append(line)
        continue
    shuffle(step)
    out += step + [line]
    step = []
    body |= line.startswith("#") and line != "#0\n"
open(target, "w").writelines(out + step)
END
}

# everyName PROGRAM TRACE SCOPE: each name has the trace's value at every time
withoutUnknown() { sed -E 's/^x/0/; :next; s/^(b[01]*)[xz]/\10/; t next' "$1"; }

everyName() {
    "./$1" --validate "$2" --map "$1=$3" --vcd model.vcd >/dev/null 2>&1 </dev/null
    withoutUnknown "$2" >known.vcd
    "$vcdcmp" --min-vars 1 --map "$3.=$1." known.vcd model.vcd >compared
    # Parameters are in no dump of Icarus Verilog's.
    ! grep -v -e 'not in the first file$' -e 'variables agree$' compared | grep -q . ||
        fail "$1: names differ" compared
}

#!/usr/bin/env bash
# Options of a free run, and what is wrong with a command line: options_test.sh COUNTER
# Where the tests were started signals may be ignored, and a shell cannot undo that.
[ "${DEFAULT_SIGNALS-}" ] || DEFAULT_SIGNALS=1 exec env --default-signal bash "$0" "$@"
. "$(dirname "$0")/expect.sh"

# ---- Help, version, faults of the line
expect 0 '^usage: counter \[OPTION\]... \[START\]' '' --help
for option in script interactive batch strict no-threads stop log trace vcd last validate map stimulus clock ignore \
    complete synctime threshold verbose help version fault; do
    holds "--help names --$option" grep -qE -- "--$option( |$)" out
done
expect 0 '^counter \(zeft [0-9.]+\)$' '' --version
expect 0 '^own c' '' -c
COUNTER_HIDES=1 expect 0 '^own$' '' --version --help
holds 'what a model hides is listed once' [ "$(grep -c -e '--version' -e '^  -c' out)" = 2 ]
usage='^usage: counter'
expect 2 '!.' "$usage" --nonsense
expect 2 '!.' "$usage" --script
expect 2 '!.' "$usage" 12
expect 2 '!.' "unexpected argument 'x'" 1 x
expect 2 '!.' "fault cannot be '-x'" --fault=-x
expect 2 '!.' "stop cannot be 'soon'" --stop soon
expect 2 '!.' "stop cannot be '-5ns'" --stop=-5ns
expect 2 '!.' "stop cannot be '5 parsecs'" --stop '5 parsecs'
expect 2 '!.' "last cannot be '0'" --last 0
expect 2 '!.' "last cannot be '99999999999'" --last 99999999999
expect 2 '!.' "vcd cannot be ''" --vcd ''
expect 2 '!.' 'exclude each other' --batch -i
for option in --map=a=b --stimulus=a=b --clock=clk --ignore=x --synctime=1ns --threshold=3 --verbose; do
    expect 2 '!.' "${option%%=*} is of no use without --validate" "$option"
    expect 2 '!.' 'cannot be read' --validate missing.vcd "$option"
done
for option in --map --stimulus; do
    for pair in a a= =b ''; do expect 2 '!.' "cannot be '$pair'" --validate r.vcd "$option" "$pair"; done
done

# ---- Running
expect 0 'ran until 100ns with count 10' ''
expect 0 'ran until 100ns with count 13' '' 3
expect 0 'ran until 40ns with count 4' '' --stop 42ns
expect 0 'ran until 40ns with count 4' '' --stop .042us
expect 1 'ran until 100ns' '' --fault checks
expect 1 'ran until 100ns' '' --fault fatal
expect 7 'ran until 100ns' '' --fault exit
expect 0 '!ran until 100ns' '' --fault finish-in-step
expect 2 '!ran' '' --fault build
expect 2 '!ran' 'no stimulus of its own' --fault no-run
expect 2 '!ran' '' --fault registration
expect 0 '!ran' '' --fault qk_exit-in-build

# ---- The console
printf 'trace top.count\ntraceto script.vcd\ncontinue 50\nls top.count\ncontinue\n' >script
expect 0 'top.count +tr : 5' '' --script script --batch
holds 'the script records' grep -q '^#95' script.vcd
expect 2 '!ran' 'missing: cannot be read: No such file or directory$' --script missing
expect 2 '!ran' 'cannot be read: Is a directory$' --script .
expect 0 'zeft> ' '' --interactive
echo exit >script
expect 0 '!ran' '' --script script
expect 0 'Stopped|\$stop' '' --batch --fault stop
expect 0 '' '' --log run.log --script script
holds 'the log has what was said' grep -q '^zeft> exit' run.log
expect 2 '!ran' 'no/run.log: cannot be written' --log no/run.log

# ---- Commands of a script that fail: LINES|LINE: COMMAND: REASON
mkdir dir
while IFS='|' read -r lines error; do
    printf '%b\nls top.*\n' "$lines" >script
    expect 2 '!ran until|top.en' "^script:$error" --script script
    expect 2 '!ran until|top.en' "^script:$error" --script script --batch --strict
    holds "one line reports '$lines'" [ "$(wc -l <err)" = 1 ]
done <<'END'
frob|1: frob: Command not recognised$
# x\n\n readmemh top.mem f|3: readmemh: Array 'top.mem' not found$
readmemb top.mem|1: readmemb: Usage: 
writememh top.mem f|1: writememh: Array
loadsim none|1: loadsim: 'none.vcd' cannot be loaded$
savesim dir/x/y|1: savesim: Failed to open 'dir/x/y.vcd' for writing$
savet dir|1: savet: Failed to open file: dir$
lstofile dir|1: lstofile: failed to open file 'dir'$
ls -q|1: ls: Unknown option
wired top.x|1: wired: No matching signals$
trace top.x|1: trace: no signals match pattern: top.x$
untrace top.x|1: untrace: no signals match
show top.x|1: show: trace: no signals match
traceto dir|1: traceto: Failed to open 'dir' for writing$
traceto x.vcd\nlog x.vcd|2: log: 'x.vcd' is already being written by traceto$
continue 50\nsave dir|2: save: Failed to open 'dir'
set top.count = 99|1: set: 99 exceeds bit range of top.count$
break top.x|1: break: Invalid net name: top.x
setvv v = top.x|1: setvv: failure: top.x matches none
step abc|1: step: 'abc' is not a time$
continue soon|1: continue: 'soon' is not a time$
loadt none|1: loadt: Failed to open command file: none$
log dir|1: log: ZEFT: qk_logfile_open: failed to open file
validate none.vcd|1: validate: none.vcd: Open Trace: Failed to Open$
clock top.clk|1: clock: Command not recognised \(ZEFT Validate is not running\)$
END
printf 'frob\nls top.clk\n' >script
echo 'loadt script' >outer
expect 2 '!top.clk' '^script:1: frob: ' --script outer
cp script same
expect 2 '!ran' '^counter: --script same: .* console text is written to it$' --script same --log same
typed '' 2 'script:1: frob: .*top.clk   c   : 0.*ran until' --script script

# ---- The end of input
typed 'step 10\n' 0 'time=10ns: [^\n]*\nzeft> exit\nVCD written' -i --vcd typed.vcd
holds 'Ctrl-D completes a trace' grep -q '^#10$' typed.vcd
typed 'continue\n' 1 'completed\n\ntime=100ns[^\n]*\nzeft> \n$' -i --fault checks
typed 'continue\nexit\n' 1 'completed\n\ntime=100ns' -i --fault checks
typed 'step 10\n' 0 'ran until 100ns.*Simulation run completed' -i --strict

# ---- Signals
for arguments in 'SIGINT 130 Interrupt --batch' 'SIGINT 130 Interrupt' 'SIGINT 130 Interrupt -i' \
    'SIGTERM 143 Terminated' 'SIGTERM 143 Terminated -i' 'SIGHUP 129 Hangup'; do
    # shellcheck disable=SC2086 # words
    set -- $arguments
    expect "$2" '!ran' "^counter: ended at 50ns: $3\$" --fault "$1" --vcd signal.vcd ${4-}
    holds "$arguments completes the trace" grep -q '^#50' signal.vcd
done
expect 143 'VCD written' 'ended at 50ns' --fault SIGTERM --last 10000 --vcd ended.vcd
trap '' HUP
expect 0 'ran until 100ns' '' --fault SIGHUP
trap - HUP
{
    printf 'show top.count\ntraceto pipe.vcd\ncontinue\n' | "$counter" -i --fault endless 2>err
    echo "${PIPESTATUS[1]}" >status
} | head -n 1 >out
holds 'a console that goes away ends the run' [ "$(cat status)" = 141 ]
holds 'quietly' [ ! -s err ]
holds 'with its trace complete' grep -q '^\$end$' pipe.vcd

# ---- Standard streams that are closed
echo 'traceto closed.vcd' >script
for streams in '<&-' '>&-' '2>&-' '<&- >&- 2>&-'; do
    eval "\"\$counter\" --script script $streams" >>out 2>&1
    holds "nothing strays into a file with $streams" \
        [ "$(head -n 1 closed.vcd)$(grep -c zeft closed.vcd)" = "\$version0" ]
done

# ---- Recording
expect 0 'VCD written to file: all.vcd' '' --vcd all.vcd
holds 'all nets are recorded' grep -q ' done ' all.vcd
expect 0 'gzipped' '' --vcd some.vcd.gz --trace top.c*
holds 'some nets are recorded' [ "$(gzip -dc some.vcd.gz | grep -c '^\$var')" = 2 ]
expect 0 'FST written to file: all.fst' '' --vcd all.fst --no-threads
holds 'all is in the FST file' cmp <(sed -n '/^#/,$p' all.vcd | grep -c '^[#b01]') \
    <(fst2vcd all.fst | sed -n '/^#/,$p' | grep -c '^[#b01]')
expect 1 'last.fst' '' --last 100 --vcd last.fst --fault checks
holds 'its end may be FST' grep -q '^#100' <(fst2vcd last.fst)
expect 0 'logfile.vcd' '' --trace top.count
expect 2 '!ran' 'no/x.vcd: cannot be written' --vcd no/x.vcd
expect 2 '!ran' 'trace top.x: no net matches' --trace top.count --trace top.x
expect 2 '!ran' 'one.vcd: cannot be written' --log one.vcd --vcd one.vcd
expect 0 '!VCD written' '' --last 100 --vcd last.vcd
holds 'a good run saves nothing' [ ! -e last.vcd ]
expect 1 'last.vcd' '' --last 100 --vcd last.vcd --fault checks
holds 'a bad run saves its end' grep -q '^#100' last.vcd
rm last.vcd
expect 1 'last.vcd' '' --last 100 --vcd last.vcd --fault fatal
holds 'by qk_exit, too' [ -s last.vcd ]
expect 2 '' '' --last 100 --vcd no/last.vcd --fault checks

# ---- A full disk
full='failed: No space left on device$' told='^counter: /dev/full: cannot be written$'
expect 2 "^ZEFT: writing VCD file '/dev/full' $full" "$told" --vcd /dev/full
expect 2 "^ZEFT: writing VCD file '/dev/full' $full" "$told" --vcd /dev/full --last 100 --fault fatal
expect 2 "^ZEFT: writing log file \"/dev/full\" $full" "$told" --log /dev/full --interactive
expect 2 'ran until' "$told" --fault full-text
status=0
"$counter" >/dev/full 2>err || status=$?
holds 'a full standard output gives 2' [ $status = 2 ]
holds 'and is told' grep -q 'standard output: cannot be written' err
exit $failed

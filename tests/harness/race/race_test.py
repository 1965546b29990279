#!/usr/bin/env python3
"""Compares models with dumps of benches that drive their inputs in different ways.

    race_test.py --fifo PROGRAM --soc PROGRAM --example DIR [--store]

Each dump is compared as it is, and with the lines of each time step reversed and shuffled: all must agree
with the same numbers, and no net may be late. --scan must propose the options. A dump of a design with a
fault must differ first where the two dumps do, by a comparison that knows nothing of the model.

The dumps are made by Icarus Verilog where it is installed, else those of reference/ are taken. --store makes
those of reference/ anew, Verilator's too (which are always taken from there).
"""
import argparse
import gzip
import pathlib
import random
import re
import shutil
import subprocess
import sys
import tempfile

HERE = pathlib.Path(__file__).resolve().parent
REFERENCE = HERE / "reference"
FAULTS = {"fifo": ("lost <= lost + 1", "lost <= lost + 3"), "soc": ("cycles <= cycles + 1", "cycles <= cycles + 2")}


class Design:
    def __init__(self, name, program, sources, options, styles, cycles, image=None):
        self.name, self.program, self.sources, self.options = name, program, sources, options
        self.styles, self.cycles, self.image = styles, cycles, image


class Dump:
    """A dump with its header, first values and time steps apart."""

    def __init__(self, text):
        header, body = re.split(r"(?<=\$enddefinitions \$end\n)", text, maxsplit=1)
        self.header = header
        self.steps = []  # [time, lines]
        for line in body.splitlines():
            if line.startswith("#"):
                if not self.steps or self.steps[-1][0] != int(line[1:]):
                    self.steps.append((int(line[1:]), []))
            elif line and not line.startswith("$"):
                if not self.steps:
                    self.steps.append((0, []))
                self.steps[-1][1].append(line)

    def text(self, reorder=lambda lines: lines):
        """The first time step is the dump of all values, whatever the simulator made of it."""
        parts = [self.header]
        for number, (time, lines) in enumerate(self.steps):
            lines = reorder(list(lines))
            if number == 0:
                lines = ["$dumpvars", *lines, "$end"]
            parts.append("\n".join([f"#{time}", *lines]) + "\n")
        return "".join(parts)

    def code(self, net):
        """The code of a net of the design."""
        return re.search(r"\$var\s+\w+\s+\d+\s+(\S+)\s+" + net + r"\s", self.header)[1]


def simulate(design, style, work, edit=("", ""), by_verilator=False):
    """A dump by Icarus Verilog, or by Verilator's own tracing, without its date."""
    sources = []
    for source in design.sources:
        sources.append(work / source.name)
        sources[-1].write_text(source.read_text().replace(*edit))
    command, run = ["iverilog", "-g2005", "-o", "tb.vvp"], ["vvp", "-n", "tb.vvp"]
    if by_verilator:
        command = ["verilator", "--binary", "--timing", "--trace", "-Wno-fatal", "-Wno-lint", "-Wno-style",
                   "--top-module", "tb", "-o", "tb"]
        run = [work / "obj_dir/tb"]
    command += [f"-DSTYLE={style}", f"-DCYCLES={design.cycles}", *sources]
    for line in command, run + ([f"+image={design.image}"] if design.image else []):
        subprocess.run(line, cwd=work, check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    return re.sub(r"\$date.*?\$end\n", "", (work / "dump.vcd").read_text(), flags=re.S)


class Test:
    def __init__(self, work):
        self.work = work
        self.failed = False
        self.has_icarus = shutil.which("iverilog") is not None

    def fail(self, what, said=""):
        print(f"FAILED: {what}\n{said}")
        self.failed = True

    def dump(self, name, make):
        """@return the dump of a name, made if it can be, else the stored one."""
        if self.has_icarus and make:
            return Dump(make())
        with gzip.open(REFERENCE / f"{name}.vcd.gz", "rt") as stored:
            return Dump(stored.read())

    def run(self, design, text, *options):
        path = self.work / "trace.vcd"
        path.write_text(text)
        place = "TOP.tb.dut" if "$scope module TOP " in text else "tb.dut"
        done = subprocess.run([design.program, "--validate", path, "--map", f"{design.name}={place}", *options],
                              stdin=subprocess.DEVNULL, capture_output=True, text=True, timeout=120, check=False)
        return done.returncode, done.stdout

    def check_agreement(self, what, design, dump, options):
        """All orders of lines give the same numbers."""
        shuffled = random.Random(1)
        orders = {"as written": lambda lines: lines, "reversed": lambda lines: lines[::-1],
                  "shuffled": lambda lines: shuffled.sample(lines, len(lines))}
        numbers = None
        for order, reorder in orders.items():
            status, said = self.run(design, dump.text(reorder), "--synctime", "1", *options)
            found = re.findall(r"^  (?:Made|Compared) .*", said, re.M)
            good = status == 0 and "  0 differences found\n" in said and "synchronise was 0ns" in said
            if not good or len(found) != 2 or (numbers and found != numbers):
                self.fail(f"{what}, {order}: status {status}, {found}, not {numbers}", said)
            numbers = found
        if not self.failed:
            print(f"{what}: {'; '.join(line.strip() for line in numbers)}")

    def check_scan(self, what, design, dump, options):
        status, said = self.run(design, dump.text(), "--scan")
        proposed = said.splitlines()[-1] if said else "nothing"
        if status != 0 or sorted(proposed.split()) != sorted(options):
            self.fail(f"{what}: --scan: status {status}, proposes '{proposed}', not '{' '.join(options)}'", said)

    def check_fault(self, what, design, good, bad, options):
        """The first difference is reported at the net and time at which the dumps differ."""
        for name, dump in (("good.vcd", good), ("bad.vcd", bad)):
            (self.work / name).write_text(dump.text())
        found = subprocess.run([HERE.parents[1] / "tools/vcdcmp", "good.vcd", "bad.vcd"], cwd=self.work,
                               capture_output=True, text=True, check=False).stdout
        status, said = self.run(design, bad.text(), "--synctime", "1", "--threshold", "1", *options)
        report = re.search(r"^Time: (\d+)ns: [^:]*: " + design.name + r"\.([\w.]+)$", said, re.M)
        if status != 1 or not report or f"({report[1]}, 'tb.dut.{report[2]}'," not in found:
            self.fail(f"{what}: not reported where the dumps differ: {found}", said)

    def check_last_step(self, what, design, dump, net, options):
        """A value of the last clock edge of the trace is compared."""
        code = dump.code(net)
        at = max(i for i, (_, lines) in enumerate(dump.steps)
                 if any(line.endswith(f" {code}") for line in lines))
        cut = Dump(dump.text())
        cut.steps = [(time, list(lines)) for time, lines in cut.steps[:at + 1]]
        time, lines = cut.steps[-1]
        status, said = self.run(design, cut.text(), "--synctime", "1", *options)
        if status != 0:
            self.fail(f"{what}: cut at {time}: status {status}", said)
        cut.steps[-1] = (time, ["b101010 " + code if line.endswith(f" {code}") else line for line in lines])
        status, said = self.run(design, cut.text(), "--synctime", "1", *options)
        if status != 1 or f"Time: {time}ns: Bad state change in Model: {design.name}.{net}\n" not in said:
            self.fail(f"{what}: {net} wrong in the last step, at {time}: status {status}", said)


COUNTER = {"fifo": "lost", "soc": "cycles"}


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--fifo", required=True)
    parser.add_argument("--soc", required=True)
    parser.add_argument("--example", type=pathlib.Path, required=True)
    parser.add_argument("--store", action="store_true")
    given = parser.parse_args()
    first = ["--clock-first"]
    rtl = [path for path in sorted((given.example / "rtl").glob("*.v")) if path.name != "tb.v"]
    early = [word for net in ("rst", "push", "pop", "din") for word in ("--early", f"fifo.{net}")]
    designs = [
        Design("fifo", given.fifo, [HERE / "fifo_tb.v", HERE / "fifo.v"], [], {0: first, 1: first + early, 2: first,
               3: first + ["--early", "fifo.pop"]}, 150),
        Design("soc", given.soc, [HERE / "soc_tb.v", *rtl], [], {0: first, 1: first + ["--early", "soc.rst_n"],
               2: []}, 100, given.example / "prog/sort.hex"),
    ]
    with tempfile.TemporaryDirectory() as place:
        work = pathlib.Path(place)
        test = Test(work)
        for design in designs:
            dumps = {f"{design.name}_{style}": (lambda s=style: simulate(design, s, work)) for style in design.styles}
            dumps[f"{design.name}_fault"] = lambda: simulate(design, 0, work, FAULTS[design.name])
            if given.store:
                REFERENCE.mkdir(exist_ok=True)
                dumps[f"{design.name}_verilator"] = lambda: simulate(design, 0, work, by_verilator=True)
                for name, make in dumps.items():
                    (REFERENCE / f"{name}.vcd.gz").write_bytes(gzip.compress(make().encode(), 9, mtime=0))
                continue
            for style, options in design.styles.items():
                name = f"{design.name}_{style}"
                dump = test.dump(name, dumps[name])
                # Where nothing changes with the clock, clocks may come first all the same.
                test.check_agreement(name, design, dump, options or first)
                test.check_scan(name, design, dump, options)
                if style == 0:
                    fault = test.dump(f"{design.name}_fault", dumps[f"{design.name}_fault"])
                    test.check_fault(f"{design.name}_fault", design, dump, fault, options)
                    test.check_last_step(name, design, dump, COUNTER[design.name], options)
            name = f"{design.name}_verilator"
            test.check_agreement(name, design, test.dump(name, None), first)
        if not test.has_icarus:
            print("iverilog is not installed: stored dumps were compared")
        return 1 if test.failed else 0


if __name__ == "__main__":
    sys.exit(main())

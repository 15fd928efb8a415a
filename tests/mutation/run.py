#!/usr/bin/env python3
"""usage: run.py [--list] [--only NAME...] [--jobs N]

Shows that the tests notice faults: each fault of faults.toml is put into a copy of its source, the copy is built into
the test program, and the test named beside the fault must fail there.

The sources stay as they are. The other objects are those of build/dev, which is brought up to date first; copies and
programs are made in build/mutation and go when they have been used.
"""

import argparse
import concurrent.futures
import json
import os
import pathlib
import re
import shlex
import shutil
import subprocess
import sys
import time
import tomllib

ROOT = pathlib.Path(__file__).resolve().parents[2]
BUILD = ROOT / "build/dev"
SCRATCH = ROOT / "build/mutation"
FAULTS = ROOT / "tests/mutation/faults.toml"
PROGRAMS = {"src": "unit_tests", "platform": "standalone_tests"}  # by the source's first folder
TIME_LIMIT = 60  # seconds; a fault may make a test wait for ever


class Unusable(Exception):
    """The fault says nothing about the tests."""


class Fault:
    def __init__(self, source, name, old, new, test):
        self.source, self.name, self.old, self.new, self.test = source, name, old, new, test

    def apply(self, text):
        if text.count(self.old) != 1 or self.old == self.new:
            raise Unusable(f"the old text occurs {text.count(self.old)} times in {self.source}, and must once")
        return text.replace(self.old, self.new)


def read_faults():
    table = tomllib.loads(FAULTS.read_text())
    faults = [Fault(source, *entry) for source, entries in table.items() for entry in entries]
    names = [fault.name for fault in faults]
    twice = {name for name in names if names.count(name) > 1}
    if twice:
        sys.exit("names given twice: " + ", ".join(sorted(twice)))
    return faults


class TestPrograms:
    """Builds test programs in which one source is another."""

    def __init__(self, names):
        for command in (["cmake", "--preset", "dev"], ["cmake", "--build", "--preset", "dev", "--target", *names]):
            done = subprocess.run(command, cwd=ROOT, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
            if done.returncode != 0:
                sys.exit(done.stdout)
        self.links = {name: self.link_command(name) for name in names}
        entries = json.loads((BUILD / "compile_commands.json").read_text())
        self.compiles = {entry["file"]: shlex.split(entry["command"]) for entry in entries}

    @staticmethod
    def link_command(name):
        listed = subprocess.run(["ninja", "-t", "commands", name], cwd=BUILD, check=True, capture_output=True, text=True)
        return shlex.split(re.fullmatch(": && (.*) && :", listed.stdout.splitlines()[-1])[1])

    def build(self, name, source, text):
        folder = SCRATCH / name
        copy, made, program = folder / source, folder / "copy.o", folder / "tests"
        copy.parent.mkdir(parents=True, exist_ok=True)
        copy.write_text(text)
        compile_command = list(self.compiles[str(ROOT / source)])
        at = compile_command.index("-o") + 1
        original, compile_command[at], compile_command[-1] = compile_command[at], made, copy
        link = [{original: made, "bin/" + PROGRAMS[source.split("/")[0]]: program}.get(word, word)
                for word in self.links[PROGRAMS[source.split("/")[0]]]]
        self.run([*launcher(), *compile_command, "-O0", "-g0", "-w", f"-ffile-prefix-map={folder}/="])
        self.run([*link, *fast_linker(), "-Wl,--strip-debug"])
        return program

    @staticmethod
    def run(command):
        done = subprocess.run(command, cwd=BUILD, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
        if done.returncode != 0:
            raise Unusable("it does not build\n" + done.stdout)


def launcher():
    return ["ccache"] if shutil.which("ccache") else []


def fast_linker():
    return ["-fuse-ld=lld"] if shutil.which("ld.lld") else []


def outcome(program, test):
    try:
        done = subprocess.run([program, f"--gtest_filter={test}"], cwd=BUILD, stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT, text=True, errors="replace", timeout=TIME_LIMIT)
    except subprocess.TimeoutExpired:
        return f"not ended after {TIME_LIMIT} s"
    if "[==========] Running 1 test from" not in done.stdout:
        raise Unusable(f"there is no test {test}")
    if done.returncode < 0:
        return f"ended by signal {-done.returncode}"
    return "passed" if done.returncode == 0 else "failed"


def check_copy(programs, source, tests):
    """The copy without a fault passes all tests that are to fail with one."""
    name = "sound-" + pathlib.Path(source).stem
    try:
        program = programs.build(name, source, (ROOT / source).read_text())
        return [f"{test}: {result}" for test in tests if (result := outcome(program, test)) != "passed"]
    except Unusable as reason:
        return [str(reason)]
    finally:
        shutil.rmtree(SCRATCH / name, ignore_errors=True)


def check_fault(programs, fault):
    """Returns what came of it and the line that tells it."""
    try:
        text = fault.apply((ROOT / fault.source).read_text())
        result = outcome(programs.build(fault.name, fault.source, text), fault.test)
    except Unusable as reason:
        return "unusable", f"UNUSABLE {fault.name}: {reason}"
    finally:
        shutil.rmtree(SCRATCH / fault.name, ignore_errors=True)
    if result == "passed":
        return "survived", f"SURVIVED {fault.name}: {fault.test} passes"
    return "caught", f"caught {fault.name} by {fault.test}" + ("" if result == "failed" else f" ({result})")


def main():
    parser = argparse.ArgumentParser(usage=__doc__.split("\n")[0].removeprefix("usage: "))
    parser.add_argument("--list", action="store_true")
    parser.add_argument("--only", nargs="+", metavar="NAME")
    parser.add_argument("--jobs", type=int, default=os.cpu_count())
    options = parser.parse_args()
    faults = read_faults()
    unknown = set(options.only or []) - {fault.name for fault in faults}
    if unknown:
        sys.exit("no fault " + ", ".join(sorted(unknown)))
    if options.only:
        faults = [fault for fault in faults if fault.name in options.only]
    if options.list:
        for fault in faults:
            print(f"{fault.name:<50} {fault.source}")
        return 0

    begin = time.monotonic()
    tests = {}
    for fault in faults:
        tests.setdefault(fault.source, {})[fault.test] = None
    programs = TestPrograms(sorted({PROGRAMS[source.split("/")[0]] for source in tests}))
    with concurrent.futures.ThreadPoolExecutor(options.jobs) as pool:
        for source, wrong in zip(tests, pool.map(lambda source: check_copy(programs, source, tests[source]), tests)):
            if wrong:
                sys.exit(f"{source} without a fault: " + "\n".join(wrong))
        counts = {"caught": 0, "survived": 0, "unusable": 0}
        for result, line in pool.map(lambda fault: check_fault(programs, fault), faults):
            counts[result] += 1
            print(line, flush=True)
    told = " ".join(f"{name}={count}" for name, count in counts.items())
    print(f"faults={len(faults)} {told} seconds={time.monotonic() - begin:.0f}")
    return 0 if counts["caught"] == len(faults) else 1


if __name__ == "__main__":
    sys.exit(main())

#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Runs the programs beneath this folder at every SIMD width and compares what they leave in memory
with what the comments at their heads say.

    corpus.py RUNNER [WORD...] [--width 32,16,8,4,1]     programs whose path contains a WORD; all if none

README.md says how a head is written. Prints a line for each program that fails, with its first wrong
element, and exits with 1 when there is any, or when one that expected_failures.txt names passes.
"""
import argparse
import concurrent.futures
import pathlib
import queue
import select
import subprocess
import sys
import time

import heads

FOLDER = pathlib.Path(__file__).resolve().parent
SECONDS = 60  # much longer than any program takes on a busy machine


class Runner:
    """The process that compiles and runs programs; a new one when it has died of one of them."""

    def __init__(self, command):
        self.command = command
        self.process = None

    def ask(self, lines):
        if self.process is None or self.process.poll() is not None:
            self.process = subprocess.Popen([self.command], stdin=subprocess.PIPE,
                                            stdout=subprocess.PIPE, bufsize=0)
        self.process.stdin.write(("\n".join(lines) + "\n").encode())
        answer = b""
        limit = time.monotonic() + SECONDS
        while not answer.endswith(b"done\n"):
            ready, _, _ = select.select([self.process.stdout], [], [], limit - time.monotonic())
            piece = self.process.stdout.read(1 << 16) if ready else b""
            if not piece:
                return answer.decode().splitlines() + [f"error {self.fate(bool(ready))}"]
            answer += piece
        return answer.decode().splitlines()

    def fate(self, ended):
        if not ended:
            self.process.kill()
        status = self.process.wait()
        return f"the runner ended with status {status}" if ended else f"no result in {SECONDS} s"

    def close(self):
        if self.process is not None:
            self.process.stdin.close()
            self.process.wait()


def check(runner, path, widths):
    """What is wrong with a program; None when all is well."""
    head = heads.parse(path)
    lines = [f"file {path}", *head.requests(), "go " + " ".join(map(str, widths))]
    width = None
    for line in runner.ask(lines):
        word, _, rest = line.partition(" ")
        if word == "width":
            width = rest
            continue
        wrong = rest.replace("\\n", "\n    ") if word == "error" else head.compare(word, rest)
        if wrong:
            return f"width {width}: {wrong}"
    return None


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("runner")
    parser.add_argument("words", nargs="*")
    parser.add_argument("--width", default="32,16,8,4,1")
    options = parser.parse_args()
    widths = [int(width) for width in options.width.split(",")]
    excused = {}
    for line in (FOLDER / "expected_failures.txt").read_text().splitlines():
        if line and not line.startswith("#"):
            name, _, reason = line.partition(": ")
            excused[name] = reason
    paths = [path for path in sorted(FOLDER.rglob("*.metal"))
             if not options.words or any(word in str(path) for word in options.words)]
    runners = queue.SimpleQueue()
    count = 2
    for _ in range(count):
        runners.put(Runner(options.runner))

    def run(path):
        runner = runners.get()
        try:
            return check(runner, path, widths)
        except Exception as error:  # pylint: disable=broad-except
            return f"its head: {type(error).__name__}: {error}"
        finally:
            runners.put(runner)

    with concurrent.futures.ThreadPoolExecutor(count) as pool:
        results = list(pool.map(run, paths))
    for _ in range(count):
        runners.get().close()
    faults = 0
    waiting = 0
    for path, wrong in zip(paths, results):
        name = str(path.relative_to(FOLDER))
        reason = excused.pop(name, None)
        if reason is not None and wrong is not None:
            waiting += 1
            if options.words:
                print(f"{name}: {wrong} (expected: {reason})")
        elif reason is not None:
            print(f"{name}: passes; take it out of expected_failures.txt")
            faults += 1
        elif wrong is not None:
            print(f"{name}: {wrong}")
            faults += 1
    if not options.words:
        for name in excused:
            print(f"{name}: in expected_failures.txt, but there is no such program")
            faults += 1
    print(f"{len(paths)} programs at {len(widths)} widths: {faults} failed, "
          f"{waiting} failed as expected")
    return 1 if faults or not paths else 0


if __name__ == "__main__":
    sys.exit(main())

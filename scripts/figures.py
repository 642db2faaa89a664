#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Prints what can be counted of the code's structure: sizes, the share of tests, arrows, circles.

    scripts/figures.py [CHECKOUT]

Functions are found by Universal Ctags (the package universal-ctags); without it they are left out.
"""
import collections
import os
import re
import shutil
import subprocess
import sys


def tracked():
    names = subprocess.run(["git", "ls-files", "*.cpp", "*.h", "*.metal", "compute/metal/stdlib/*"],
                           check=True, capture_output=True, text=True).stdout.splitlines()
    return [name for name in names if os.path.isfile(name) and not name.endswith((".md", ".txt"))]


def percentiles(values):
    values = sorted(values)
    return f"p50 {values[len(values) // 2]}, p90 {values[len(values) * 9 // 10]}, max {values[-1]}"


def functionLengths(files):
    command = ["ctags", "-f", "-", "--fields=+ne", "--kinds-C++=f", "--languages=C++", "-L", "-"]
    tags = subprocess.run(command, input="\n".join(files), capture_output=True, text=True).stdout
    places = re.findall(r"\tline:(\d+).*?\tend:(\d+)", tags)
    return [int(end) - int(begin) + 1 for begin, end in places]


def includes(files):
    """Folder pairs, with how many includes lead from the one to the other."""
    arrows = collections.Counter()
    for path in files:
        for name in re.findall(r'^\s*#\s*include\s+"([^"]+)"', open(path).read(), re.M):
            ends = os.path.dirname(path), os.path.dirname(name)
            if os.path.isfile(name) and ends[0] != ends[1]:
                arrows[ends] += 1
    return arrows


def circles(arrows):
    """Folders that include each other, directly or by way of others."""
    reached = collections.defaultdict(set)
    for begin, end in arrows:
        reached[begin].add(end)
    for through in list(reached):
        for begin in list(reached):
            if through in reached[begin]:
                reached[begin] |= reached[through]
    return sorted(folder for folder in reached if folder in reached[folder])


def main():
    os.chdir(sys.argv[1] if len(sys.argv) > 1 else os.path.join(os.path.dirname(__file__), ".."))
    lines = {name: sum(1 for _ in open(name, errors="replace")) for name in tracked()}
    isTest = re.compile(r"(tests|fuzz)/").match
    isCode = re.compile(r"(?!(tests|fuzz|examples)/)").match
    code = [name for name in lines if isCode(name) and name.endswith((".cpp", ".h"))]
    total = sum(count for name, count in lines.items() if isCode(name))
    tests = sum(count for name, count in lines.items() if isTest(name))
    arrows = includes(code)
    print(f"files: {len(code)}; lines {percentiles([lines[name] for name in code])}")
    if shutil.which("ctags"):
        lengths = functionLengths(code)
        print(f"functions: {len(lengths)}; lines {percentiles(lengths)}")
    print(f"code: {total} lines; tests: {tests}, {100 * tests / total:.1f} % of the code")
    print(f"arrows between folders: {len(arrows)}, of {sum(arrows.values())} includes")
    print(f"folders in circles: {len(circles(arrows))} {' '.join(circles(arrows))}")


if __name__ == "__main__":
    main()

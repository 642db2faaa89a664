#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Checks what the compiler does not: format, lint of changed files, headers, layering, locks,
documents.

    scripts/check.py                 all checks; clang-tidy on the files that the last commit or the
                                     working tree changed
    scripts/check.py --tidy-all      clang-tidy on every file
    scripts/check.py --no-tidy       everything but clang-tidy
Prints one line per fault and exits with 1 when there is any.
"""
import argparse
import concurrent.futures
import os
import pathlib
import re
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
BUILD = ROOT / "build" / "release"

# Folder -> project folders whose headers it may include, with what lies below them; "folder/*" is the
# folder alone. The longest matching folder counts. A folder may always include itself, but not its
# sub-folders unless it says so.
LAYERS = {
    "platform/base": [],
    "platform": ["platform"],
    "platform/capture": ["platform/base"],
    "platform/capture/portal": ["platform"],
    "platform/capture/x11": ["platform"],
    "platform/capture/choice": ["platform"],
    "platform/bus": [],
    "platform/desktop": ["platform/base", "platform/bus"],
    "compute/types": [],
    "compute/protocol": ["platform/base", "compute/types"],
    "compute/backend": ["platform/base", "compute/types", "compute/memory"],
    "compute/memory": ["platform/base"],
    "compute/target": ["platform/base"],
    "compute/kernel": ["platform/base", "compute/types"],
    "compute/kernel/passes": ["platform/base", "compute/types", "compute/kernel/*"],
    "compute/kernel/sharing": ["platform/base", "compute/types", "compute/kernel/*",
                               "compute/kernel/passes"],
    "compute/kernel/containment": ["platform/base", "compute/memory"],
    "compute/kernel/pipeline": ["platform/base", "compute/types", "compute/kernel"],
    "compute/metal": ["platform/base", "compute/types", "compute/kernel/*"],
    "compute/simd/analysis": ["platform/base", "compute/kernel/*"],
    "compute/simd/transform": ["platform/base", "compute/simd/analysis"],
    "compute/simd/emit": ["platform/base", "compute/kernel/*", "compute/simd/analysis"],
    "compute/simd": ["platform/base", "compute/kernel", "compute/simd", "compute/target"],
    "compute/workers": [],
    "compute/host/code": ["platform/base", "compute/types"],
    "compute/host/locations": ["compute/backend", "compute/kernel/*"],
    "compute/host/memory": ["platform/base", "compute/kernel/*", "compute/kernel/containment",
                            "compute/memory"],
    "compute/host/loop": ["platform/base", "compute/kernel/*", "compute/kernel/containment",
                          "compute/host/memory", "compute/simd/*"],
    "compute/host": ["platform/base", "compute/backend", "compute/types", "compute/host",
                     "compute/kernel", "compute/memory", "compute/simd/*", "compute/target",
                     "compute/workers"],
    "compute/spirv/passes": ["platform/base", "compute/types", "compute/kernel/*",
                             "compute/kernel/containment", "compute/spirv/ShaderInterface.h"],
    "compute/spirv/emit": ["platform/base", "compute/kernel/*", "compute/spirv/ShaderInterface.h",
                           "compute/spirv/passes"],
    "compute/spirv": ["platform/base", "compute/types", "compute/kernel", "compute/spirv"],
    "compute/vulkan": ["platform/base", "compute/backend", "compute/types", "compute/kernel/*",
                       "compute/memory", "compute/spirv/*"],
    "compute/service": ["platform/base", "compute"],
    "gpu": ["platform/base", "compute/types"],
    "gpu/selection": ["gpu", "platform/base"],
    "gpu/host": ["platform/base", "platform/files", "platform/digest", "platform/UserFolders.h", "gpu",
                 "compute/types", "compute/protocol"],
    "Shader": ["platform", "gpu"],
    "preview": ["platform", "gpu"],
    "LiveCoding": ["platform"],
    "SL42/hardware": ["platform", "gpu"],
    "SL42/prelude": ["SL42/hardware"],
    "SL42/input": ["platform", "SL42/hardware"],
    "SL42/font": ["platform", "gpu"],
    "SL42/capture": ["platform", "gpu", "SL42/hardware"],
    "SL42/audio": ["platform", "gpu", "Shader", "SL42/hardware"],
    "SL42/builder": ["platform", "gpu", "Shader", "SL42/hardware", "SL42/prelude"],
    "SL42/recording": ["platform"],
    "SL42/engine": ["platform", "gpu", "Shader", "preview", "SL42/audio", "SL42/font",
                    "SL42/hardware", "SL42/input", "SL42/prelude"],
    "SL42/document": ["platform", "LiveCoding"],
    "SL42/console": ["platform", "gpu", "Shader", "preview", "SL42/builder", "SL42/capture",
                     "SL42/document", "SL42/engine", "SL42/hardware", "SL42/performance"],
    "SL42/performance": ["platform", "SL42/hardware", "SL42/input"],
    "SL42/offline": ["platform", "gpu", "preview", "SL42/builder", "SL42/console", "SL42/hardware",
                     "SL42/input", "SL42/performance"],
    "cli": ["platform", "gpu", "SL42", "Shader", "preview"],
    "app/help": ["platform/base"],
    "app/common": [],
    "app/input": ["platform", "SL42/input"],
    "app/stage": ["platform", "gpu", "preview"],
    "app/console": ["platform", "gpu", "LiveCoding", "SL42", "app/input", "app/stage"],
    "app/panes": ["platform", "SL42", "app/common", "app/stage"],
    "app/window": ["platform", "gpu", "SL42", "app/common", "app/console", "app/help", "app/input",
                   "app/panes", "app/stage"],
    "app": ["platform", "app/console", "app/window"],
    "tests": [""],
    "bench": [""],
    "fuzz": [""],
}
# Implementations of the compute interface, which only gpu/selection may name.
HIDDEN = ("gpu/host", "gpu/vulkan")

# External headers and the only folders that may see them.
EXTERNAL = [
    (r"(llvm|clang)/", ["compute/metal", "compute/kernel", "compute/simd", "compute/host",
                        "compute/target", "compute/spirv",
                        "compute/service", "tests/compute"]),
    (r"seccomp\.h", ["compute/service"]),
    (r"vulkan/", ["compute/vulkan", "tests/compute/spirv"]),
    (r"spirv/unified1/", ["compute/spirv", "compute/vulkan"]),
    (r"spirv-tools/", ["compute/spirv"]),
    (r"SDL2?/", ["platform/audio"]),
    (r"(kissfft/|kiss_fft)", ["platform/signal"]),
    (r"Q[A-Z]", ["app", "tests/app"]),
    (r"CLI/", ["cli"]),
    (r"(png\.h|OpenEXR/|Imf)", ["platform/image"]),
    (r"(xcb|xkbcommon)/", ["platform/keyboard", "platform/capture/x11", "tests/SL42/keyboard",
                          "tests/platform/capture", "tests/app"]),
    (r"(pipewire|spa)/", ["platform/capture/portal", "tests/platform/capture/portal"]),
    (r"systemd/", ["platform/bus", "platform/capture/portal", "platform/desktop", "tests/platform"]),
    (r"libyuv/", ["platform/capture"]),
    (r"lib(av|sw)\w+/", ["platform/media", "platform/digest", "tests/platform/media"]),
    (r"ebur128\.h", ["platform/media"]),
    (r"nlohmann/", ["SL42/performance"]),
    (r"(brotli/|lz4|lzma\.h|zlib\.h)", ["platform/compression", "tests/platform/compression"]),
    (r"(ft2build\.h|freetype/|fontconfig/)", ["platform/glyphs"]),
    (r"(sys/(mman|socket|syscall|prctl|resource|inotify|wait)|unistd|fcntl|poll|signal|spawn)\.h",
     ["platform", "compute", "gpu/host", "tests", "bench/fuzz", "fuzz"]),
]

WORDS = re.compile(r"\bTODO\b|\bFIXME\b|\bXXX\b")


def tracked(*patterns):
    command = ["git", "ls-files", "--cached", "--others", "--exclude-standard", "--", *patterns]
    names = subprocess.run(command, cwd=ROOT, check=True, capture_output=True, text=True).stdout
    return [name for name in names.splitlines() if (ROOT / name).is_file()]


def sources():
    return tracked("*.cpp", "*.h")


def inside(path, folder):
    return folder == "" or path == folder or path.startswith(folder + "/")


def reaches(folder, path):
    if folder.endswith("/*"):
        return os.path.dirname(path) == folder[:-2]
    return inside(path, folder)


def checkFormat(faults):
    run = subprocess.run(["clang-format-19", "--dry-run", "-Werror", *sources()], cwd=ROOT,
                         capture_output=True, text=True)
    lines = [line for line in run.stderr.splitlines() if " error: " in line]
    faults += sorted({line.split(":")[0] + ": not formatted (clang-format-19 -i)" for line in lines})


def layerOf(path):
    return max((folder for folder in LAYERS if inside(path, folder)), key=len, default=None)


def checkIncludes(faults):
    folders = {path.split("/")[0] for path in sources()}
    for path in sources():
        layer = layerOf(path)
        if layer is None:
            faults.append(f"{path}: no layer is declared for this folder in scripts/check.py")
            continue
        for number, line in enumerate((ROOT / path).read_text().splitlines(), 1):
            match = re.match(r'\s*#\s*include\s+([<"])([^>"]+)', line)
            if match is None:
                continue
            name = match[2]
            if match[1] == '"':
                own = layerOf(name) == layer or name.split("/")[0] not in folders
                hidden = any(inside(name, h) and not inside(path, h) for h in HIDDEN)
                privileged = inside(path, "gpu/selection") or inside(path, "tests")
                allowed = own or any(reaches(folder, name) for folder in LAYERS[layer])
                if not allowed or (hidden and not privileged):
                    faults.append(f"{path}:{number}: {layer} may not include {name}")
                continue
            for pattern, places in EXTERNAL:
                if re.match(pattern, name) and not any(inside(path, p) for p in places):
                    faults.append(f"{path}:{number}: <{name}> belongs under {', '.join(places)}")


def checkHeaders(faults):
    for path in sources():
        text = (ROOT / path).read_text()
        if not text.startswith("// SPDX-License-Identifier: MIT\n"):
            faults.append(f"{path}: does not open with the licence line")
        if path.endswith(".h") and "#pragma once" not in text:
            faults.append(f"{path}: has no #pragma once")
        if re.search(r"^using namespace", text, re.M) and path.endswith(".h"):
            faults.append(f"{path}: using namespace in a header")
        if WORDS.search(text):
            faults.append(f"{path}: leftover marker ({WORDS.search(text)[0]})")


def checkLocks(faults):
    """Who must hold a lock is only checked where the lock carries annotations."""
    for path in sources():
        if path == "platform/base/Mutex.h" or path.startswith(("tests/", "bench/", "fuzz/")):
            continue
        for number, line in enumerate((ROOT / path).read_text().splitlines(), 1):
            match = re.search(r"std::(\w*mutex|condition_variable\w*)\b", line)
            if match is not None:
                faults.append(f"{path}:{number}: {match[0]} instead of platform/base/Mutex.h")


def checkArchitecturePage(faults):
    """The page lists every folder that holds code, as `folder/`, and no folder that does not exist."""
    page = (ROOT / "docs" / "architecture.md").read_text()
    listed = set(re.findall(r"^\| `([\w/]+)/` \|", page, re.M))
    actual = {os.path.dirname(path) for path in tracked("*.cpp", "*.h", "*.metal", "*.py")}
    actual = {folder for folder in actual if not folder.startswith("tests/")}
    for folder in sorted(listed):
        if not (ROOT / folder).is_dir():
            faults.append(f"docs/architecture.md: lists {folder}/, which does not exist")
    for folder in sorted(actual - listed - {""}):
        if not any(inside(folder, place) and place.count("/") >= 1 for place in listed):
            faults.append(f"docs/architecture.md: does not list {folder}/")


def checkTour(faults):
    """Every station of the tour is there, and is named once."""
    stations = re.findall(r"^\d+\. `([\w/]+)`:", (ROOT / "docs" / "tour.md").read_text(), re.M)
    files = {os.path.splitext(path)[0] for path in sources()}
    for station in sorted(set(stations) - files):
        faults.append(f"docs/tour.md: there is no {station}")
    for station in sorted({name for name in stations if stations.count(name) > 1}):
        faults.append(f"docs/tour.md: names {station} twice")


def changedSources():
    diff = ["git", "diff", "--name-only", "--diff-filter=d"]
    names = set()
    for base in (["HEAD"], ["HEAD~1", "HEAD"]):
        run = subprocess.run(diff + base, cwd=ROOT, capture_output=True, text=True)
        names |= set(run.stdout.splitlines())
    return [name for name in names if name in set(sources())]


def checkTidy(faults, files):
    if not (BUILD / "compile_commands.json").exists():
        faults.append("build/release has no compile_commands.json: configure first")
        return

    def tidy(path):
        command = ["clang-tidy-19", "-p", str(BUILD), "--quiet", path]
        run = subprocess.run(command, cwd=ROOT, capture_output=True, text=True)
        return [line for line in run.stdout.splitlines() if re.search(r" (error|warning): ", line)]

    units = [path for path in files if path.endswith(".cpp")]
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        found = {line.replace(str(ROOT) + "/", "") for lines in pool.map(tidy, units)
                 for line in lines}
    faults += sorted(found)


def main():
    parser = argparse.ArgumentParser(description="Checks what the compiler does not.")
    parser.add_argument("--tidy-all", action="store_true")
    parser.add_argument("--no-tidy", action="store_true")
    options = parser.parse_args()
    faults = []
    checkFormat(faults)
    checkIncludes(faults)
    checkHeaders(faults)
    checkLocks(faults)
    checkArchitecturePage(faults)
    checkTour(faults)
    if not options.no_tidy:
        checkTidy(faults, sources() if options.tidy_all else changedSources())
    for fault in faults:
        print(fault)
    print(f"check: {len(faults)} fault(s) in {len(sources())} files")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())

"""The rows of the table. Each function takes the machine and whether all sizes are wanted."""
import functools
import math
import os
import shutil

import floor
import footprint
from measure import (FAILED, NEW_PACKAGE, OLD_PACKAGE, ROOT, Row, count_row, exactly, expect_same_work, make_files,
                     make_tree, process_row, slice_row, summed, time_in_random_order)

ROUNDS = 5
SAMPLES = 3
SAMPLES_OF_SMALL = 12  # of which little is left without the run with nothing to do


def start(machine, full):
    """B1, B1b: a run that ends with the usage text."""
    usage = [*machine.install("LSDKConfigurator"), "1", "2"]
    com = machine.install("com-start")
    smallest = machine.install("smallest")

    machine.run(usage, FAILED)
    with open(machine.path("lsdkConfiguratorLog.txt"), encoding="ascii") as log:
        if "Use it like below" not in log.read():
            raise RuntimeError("the run does not end with the usage text")

    def action(command):
        return lambda: None, lambda: machine.run(command, FAILED), lambda: None

    times = time_in_random_order(100 if full else 40,
                                 {"product": action(usage), "com": action(com), "smallest": action(smallest)})
    counts = [machine.count(command, ends_with=FAILED) if machine.can_count else None for command in (usage, com)]
    return [
        process_row("B1", "start, against starting COM", times, "product", "com", 1.15, True),
        count_row("B1", "start, against starting COM", *counts, 1.06),
        process_row("B1b", "start, against the smallest program", times, "product", "smallest", 2.6, True),
    ]


def copy_slices(machine, full):
    """B2: app data, 100 files to the folder."""
    folders = 100 if full else 20

    def measured(rounds):
        machine.clean()
        for folder in range(folders):
            make_files(machine.path("src", str(folder)), 100)
        figures = machine.slices("copy", ROOT, folders, rounds)
        expect_same_work(machine, rounds, folders * 100)
        return figures

    text = f"{folders * 100:,} files of 1 KiB, 100 per folder, against bare copying"
    return [slice_row("B2", text, measured, ROUNDS, 1.05)]


def count_copy(machine, side, files, per_folder, kind="copy"):
    machine.clean()
    make_tree(machine.path("src", "tree"), files, per_folder)
    calls = machine.count_bench("one", side, kind, ROOT)
    copied = sum(len(names) for _, _, names in os.walk(machine.path(side)))
    left = sum(len(names) for _, _, names in os.walk(machine.path("src")))
    if copied != files or left != (0 if kind == "move" else files):
        raise RuntimeError(f"{side}: {copied} of {files} files copied, {left} left")
    return calls


def slope(machine, side, sizes, per_folder, kind="copy"):
    """Host calls for one file more."""
    if not machine.can_count:
        return None
    small, large = (count_copy(machine, side, size, per_folder, kind) for size in sizes)
    return (large - small) / (sizes[1] - sizes[0])


def copy_calls(machine, full):
    """B2b, B2c, B4: host calls for each file."""
    many = (2000, 10000) if full else (200, 600)
    few = (200, 1000) if full else (50, 150)
    rows = []
    for name, text, sizes, per_folder, other, goal, kind in (
            ("B2b", "a file more, 100 per folder, against bare copying", many, 100, "bare", 1.045, "copy"),
            ("B2c", "a file more, 10 per folder, against bare copying", few, 10, "bare", 1.10, "copy"),
            ("B2c", "a file more, 1 per folder, against the prescribed calls", few, 1, "book", 1.02, "copy"),
            ("B4", "the same with deletion, 100 per folder, against bare moving", many, 100, "bare", 1.05, "move")):
        sides = (slope(machine, side, sizes, per_folder, kind) for side in ("product", other))
        rows.append(count_row(name, text, *sides, goal))
    return rows


def whole_copy(machine, full):
    """B2d: the whole executable against other programs that copy the same tree."""
    files = 10000 if full else 500
    machine.clean()
    packages = machine.path("users", "0", "AppData", "Local", "Packages")
    source = os.path.join(packages, OLD_PACKAGE, "LocalState")
    make_tree(os.path.join(source, "tree"), files, 100)
    # As deep as the product's: Wine looks for each folder of a path.
    other = os.path.join(packages, "other")
    os.makedirs(other)
    os.symlink(source, os.path.join(other, "src"))
    machine.bench("prepare", "profiles", ROOT, 1)
    run = [*machine.install("LSDKConfigurator"), "40.1.0.0", "Velta.LC.QK", "QK.exe", "ZRKL"]
    root = ROOT + "\\users\\0\\AppData\\Local\\Packages\\other"
    targets = {"product": os.path.join(packages, NEW_PACKAGE), "xcopy": os.path.join(other, "xcopy"),
               "shell": os.path.join(other, "shell")}
    xcopy = ["xcopy", root + "\\src\\tree", root + "\\xcopy\\tree", "/E", "/I", "/Q", "/Y"]
    commands = {"product": (run, FAILED), "xcopy": (xcopy, 0),
                "shell": (machine.bench_command("one", "shell", "copy", root), 0)}

    def check(side):
        copied = sum(name.endswith(".qk") for _, _, names in os.walk(targets[side]) for name in names)
        if copied != files:
            raise RuntimeError(f"{side} copied {copied} of {files} files")

    def action(side):
        return (functools.partial(shutil.rmtree, targets[side], True), functools.partial(machine.run, *commands[side]),
                functools.partial(check, side))

    times = time_in_random_order(ROUNDS if full else 3, {side: action(side) for side in commands})
    return [
        process_row("B2d", f"{files:,} files, whole run, against xcopy", times, "product", "xcopy", 0.75, False),
        process_row("B2d", f"{files:,} files, whole run, against one shell copy", times, "product", "shell", 0.40, False),
    ]


def copy_growth(machine, full):
    """B2e: what a file costs does not grow with their number."""
    sizes = (1000, 10000, 100000) if full else (300, 600, 1200)
    text = f"a file more at {sizes[2]:,} against one at {sizes[1]:,}"
    if not machine.can_count:
        return [count_row("B2e", text, None, None, 1.01)]
    counts = [count_copy(machine, "product", size, 100) for size in sizes]
    at_medium, at_large = ((counts[i + 1] - counts[i]) / (sizes[i + 1] - sizes[i]) for i in (0, 1))
    row = count_row("B2e", text, at_large, at_medium, 1.01)
    row.ratio = exactly(at_large, at_medium)
    return [row]


def large_files(machine, full):
    """B3: where the disk is all that counts."""
    mebibytes = 256 if full else 64

    def measured(rounds):
        figures = []
        for number in range(rounds):
            machine.clean()
            # An empty folder before them turns the order, so that not always the same side copies first.
            empty = number % 2
            for folder in range(empty + 4):
                make_files(machine.path("src", str(folder)), 0 if folder < empty else 1, mebibytes << 20)
            _, product, bare = machine.slices("copy", ROOT, empty + 4, 1)
            expect_same_work(machine, 1, 4)
            figures.append((product, bare))
        return summed(figures)

    text = f"4 files of {mebibytes} MiB, against bare copying"
    return [slice_row("B3", text, measured, ROUNDS if full else 7, 1.07)]


def log(machine, full):
    """B5: the log."""
    def measured(rounds):
        machine.clean()
        figures = machine.slices("log", ROOT, 100, rounds)
        for name in ("lsdkConfiguratorLog.txt", "plain.txt"):
            with open(machine.path(name), encoding="ascii") as file:
                if sum("Recursively copying" in line for line in file) != 10_000 * rounds:
                    raise RuntimeError(f"{name} has not all lines")
        return figures

    rows = [slice_row("B5", "10,000 log lines, against a plain wide stream", measured, ROUNDS, 1.05)]
    writes = None
    if machine.can_count:
        few, many = (machine.count_bench("one", "product", "log", ROOT, lines, of=("write", "pwrite64", "writev"))
                     for lines in (100, 1100))
        writes = (many - few) / 1000
    row = count_row("B5", "a line more", writes, 1, 1, "writes")
    row.ratio = None if writes is None else exactly(writes, 1)
    return [*rows, row]


def growth(machine, name, what, sizes, prepare, check=lambda size: None):
    """How the program's own processor time and its host calls grow, both beyond those of a run with nothing to do."""
    seconds, calls = [], []
    for size in (0, *sizes):
        samples = []
        for _ in range(SAMPLES if size == sizes[1] else SAMPLES_OF_SMALL):
            prepare(size)
            command = machine.bench_command("grow", what, ROOT)
            samples.append(machine.processor_seconds(command))
        seconds.append(min(samples))
        prepare(size)
        calls.append(machine.count_bench("grow", what, ROOT) if machine.can_count else None)
        check(size)

    def row(way, figures, unit, factor, is_gate):
        text = f"{what}, {sizes[0]:,} to {sizes[1]:,}"
        if None in figures:
            return Row(name, text, way, "-", "-", None, 1.1)
        small, large = (figure - figures[0] for figure in figures[1:])
        exponent = math.log(large / small) / math.log(sizes[1] / sizes[0]) if min(small, large) > 0 else math.inf
        return Row(name, text, way, f"{large * factor:.0f} {unit}", f"{small * factor:.0f} {unit}", exponent, 1.1, is_gate)

    return [row("exponent of processor time", seconds, "ms", 1000, False),
            row("exponent of calls", calls, "calls", 1, True)]


def registry(machine, full):
    """B6: recent-files lists."""
    machine.clean()
    sizes = (100, 10000) if full else (100, 1000)
    return [slice_row("B6", "1,000 entries with three values each, against the same calls",
                      lambda rounds: machine.slices("registry", ROOT, 10, rounds), ROUNDS, 1.15),
            *growth(machine, "B6", "registry", sizes,
                    lambda count: machine.bench("prepare", "registry", ROOT, count))]


def plug_ins(machine, full):
    """B7: plug-ins, where the shell does the work."""
    count = 100 if full else 10

    def measured(rounds):
        machine.clean()
        for plug_in in range(count):
            make_files(machine.path("plugins", str(plug_in)), 20)
            settings = machine.path("plugin_settings", str(plug_in))
            for folder in (settings, os.path.join(settings, "LocalStorage"), os.path.join(settings, "SecureStorage")):
                make_files(folder, 2)
        figures = machine.slices("plugins", ROOT, count, rounds)
        expect_same_work(machine, rounds, count * 26)
        return figures

    return [slice_row("B7", f"{count} plug-ins of 20 files, against the same shell operations", measured, ROUNDS, 1.02)]


def profiles(machine, full):
    """B10: profiles that are migrated in one run."""
    def prepare(count):
        machine.clean()
        for user in range(count):
            package = machine.path("users", str(user), "AppData", "Local", "Packages", OLD_PACKAGE)
            make_files(os.path.join(package, "LocalState", "drafts"), 1)
        machine.bench("prepare", "profiles", ROOT, count)

    def check(count):
        migrated = sum("mig_status.json" in names for _, _, names in os.walk(machine.path("users")))
        if migrated != count:
            raise RuntimeError(f"{migrated} of {count} users migrated")

    return growth(machine, "B10", "profiles", (100, 1000) if full else (10, 100), prepare, check)


def failed_plug_ins(machine, _full):
    """B11: names in the worst order."""
    seconds = min(machine.figure("seconds", "failed", 10000) for _ in range(3))
    return [Row("B11", "computeFailedPlugins, 10,000 names backwards", "time", f"{seconds * 1000:.1f} ms", "100.0 ms",
                seconds / 0.1, 1)]


# The rows that each makes.
ALL = ((("B1", "B1b"), start), (("floor",), floor.floor), (("B2",), copy_slices), (("B2b", "B2c", "B4"), copy_calls),
       (("B2d",), whole_copy), (("B2e",), copy_growth), (("B3",), large_files), (("B5",), log), (("B6",), registry),
       (("B7",), plug_ins), (("B8",), footprint.memory), (("B9",), footprint.executable), (("B10",), profiles),
       (("B11",), failed_plug_ins))

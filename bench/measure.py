"""Ways to measure, and the table."""
import dataclasses
import math
import os
import random
import re
import resource
import shutil
import statistics
import subprocess
import sys
import tempfile
import time

WINE = "/usr/lib/wine/wine64"  # not the script of that name, which costs as much as a small run
FAILED = 255  # -1 as Linux sees it: how a run ends that finds no package
ROOT = "C:\\bench"
OLD_PACKAGE = "Velta.LC.QK_qzw4mhtrvb2ne"
NEW_PACKAGE = "Velta.LC.QK_kt83f9rd2xj6a"


@dataclasses.dataclass
class Row:
    name: str
    workload: str
    way: str
    product: str
    other: str
    ratio: float | None  # None: not measured
    goal: float
    is_gate: bool = True

    @property
    def verdict(self):
        if self.ratio is None:
            return "skipped"
        if self.ratio <= self.goal:
            return "met"
        return "MISSED" if self.is_gate else "missed (no gate)"


def print_table(rows):
    """The table; 1 if a gate is missed."""
    cells = [("", "workload", "way", "product", "compared with", "ratio", "goal", "")]
    for row in rows:
        ratio = "-" if row.ratio is None else f"{row.ratio:.3f}"
        cells.append((row.name, row.workload, row.way, row.product, row.other, ratio, f"{row.goal:.3f}", row.verdict))
    widths = [max(len(line[i]) for line in cells) for i in range(len(cells[0]))]
    print()
    for line in cells:
        print("| " + " | ".join(text.ljust(width) for text, width in zip(line, widths)) + " |")
        if line is cells[0]:
            print("|" + "|".join("-" * (width + 2) for width in widths) + "|")
    return 1 if any(row.verdict == "MISSED" for row in rows) else 0


class Machine:
    """The programs, and a folder of the Wine prefix for them to work in."""

    def __init__(self, build):
        self.build = build
        self.can_count = shutil.which("strace") is not None
        self.folder = os.path.join(os.environ["WINEPREFIX"], "drive_c", "bench")
        self.clean()
        # The first program of all starts Wine's own, which would keep a pipe open for as long as they run.
        subprocess.run([WINE, "cmd", "/c", "exit"], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, check=False)

    def clean(self):
        shutil.rmtree(self.folder, ignore_errors=True)
        os.makedirs(self.folder)

    def path(self, *parts):
        """The Linux path of a place below the folder."""
        return os.path.join(self.folder, *parts)

    def program(self, name):
        return os.path.join(self.build, name + ".exe")

    def install(self, name):
        """A copy of a program in the folder, where its log will lie; the command that starts it."""
        shutil.copy(self.program(name), self.path(name + ".exe"))
        return [f"{ROOT}\\{name}.exe"]

    def run(self, command, ends_with=0):
        result = subprocess.run([WINE, *command], capture_output=True, text=True, cwd=self.folder)
        if result.returncode != ends_with:
            raise RuntimeError(f"{command}: {result.returncode} {result.stderr}")
        return result.stdout

    def bench_command(self, *arguments):
        return [*self.install("bench"), *(str(argument) for argument in arguments)]

    def bench(self, *arguments):
        return self.run(self.bench_command(*arguments))

    def figure(self, name, *arguments):
        """The one figure that the bench program prints under this name."""
        return float(re.search(rf"^{name} ([\d.]+)$", self.bench(*arguments), re.M)[1])

    def processor_seconds(self, command):
        """What a command spends itself; the Wine server's part is not in it."""
        before = resource.getrusage(resource.RUSAGE_CHILDREN)
        self.run(command)
        after = resource.getrusage(resource.RUSAGE_CHILDREN)
        return after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime

    def count(self, command, of=None, ends_with=0):
        """How many host calls a command makes; `of`: of these names alone."""
        with tempfile.NamedTemporaryFile(mode="r") as table:
            result = subprocess.run(["strace", "-f", "-c", "-o", table.name, WINE, *command], stdout=subprocess.DEVNULL,
                                    stderr=subprocess.DEVNULL, cwd=self.folder, check=False)
            if result.returncode != ends_with:
                raise RuntimeError(f"{command}: {result.returncode}")
            calls = {line.split()[-1]: int(line.split()[3]) for line in table if re.match(r"^ *\d+\.\d+ ", line)}
        return sum(calls.get(name, 0) for name in of) if of else calls["total"]

    def count_bench(self, *arguments, of=None):
        return self.count(self.bench_command(*arguments), of)

    def slices(self, *arguments):
        """Median over the rounds of product to bare, and the seconds of both."""
        output = self.bench("slices", *arguments)
        rounds = [tuple(map(float, pair)) for pair in re.findall(r"^round (\S+) (\S+)$", output, re.M)]
        return summed(rounds)


def summed(rounds):
    return (statistics.median(product / bare for product, bare in rounds),
            statistics.median(product for product, _ in rounds), statistics.median(bare for _, bare in rounds))


def slice_row(name, workload, measured, rounds, goal):
    """`measured` takes a number of rounds. What misses is measured again, three times as long, and that decides."""
    ratio, product, bare = measured(rounds)
    way = "slices"
    if ratio > goal:
        print(f"    {workload}: {ratio}, so again", file=sys.stderr, flush=True)
        ratio, product, bare = measured(3 * rounds)
        way = "slices, again"
    return Row(name, workload, way, f"{product * 1000:.1f} ms", f"{bare * 1000:.1f} ms", ratio, goal)


def count_row(name, workload, product, other, goal, unit="calls", is_gate=True):
    """`product` and `other` are figures, or None where nothing can be counted."""
    if product is None:
        return Row(name, workload, "calls", "-", "-", None, goal, is_gate)
    return Row(name, workload, "calls", f"{product:.1f} {unit}", f"{other:.1f} {unit}", product / other, goal, is_gate)


def time_in_random_order(rounds, actions):
    """Seconds of each action in each round. An action is (before, timed, after)."""
    times = {name: [] for name in actions}
    for _ in range(rounds):
        for name in random.sample(list(actions), len(actions)):
            before, timed, after = actions[name]
            before()
            start = time.perf_counter()
            timed()
            times[name].append(time.perf_counter() - start)
            after()
    return times


def process_row(name, workload, times, product, other, goal, is_gate):
    minima = min(times[product]) / min(times[other])
    paired = statistics.median(a / b for a, b in zip(times[product], times[other]))
    return Row(name, workload, f"processes (paired median {paired:.2f})", f"{min(times[product]) * 1000:.1f} ms",
               f"{min(times[other]) * 1000:.1f} ms", minima, goal, is_gate)


def exactly(figure, other):
    """The ratio of the two, turned so that it is one at least."""
    return math.inf if figure <= 0 or other <= 0 else max(figure / other, other / figure)


def tree_of(folder):
    """Each file below a folder and what is in it."""
    content = {}
    for path, _, names in os.walk(folder):
        for name in names:
            with open(os.path.join(path, name), "rb") as file:
                content[os.path.relpath(os.path.join(path, name), folder)] = file.read()
    return content


def expect_same_work(machine, rounds, files):
    """Both sides of each round left so many files, and the same."""
    for number in range(rounds):
        product, bare = (tree_of(machine.path(f"{side}{number}")) for side in ("product", "bare"))
        if len(product) != files or product != bare:
            raise RuntimeError(f"round {number}: {len(product)} and {len(bare)} of {files} files, or others")


def make_tree(folder, files, per_folder, size=1024):
    """Files in folders three levels deep, none of them with more than `per_folder` files or, above, ten folders."""
    for leaf in range((files + per_folder - 1) // per_folder):
        path = os.path.join(folder, f"a{leaf // 100}", f"b{leaf // 10 % 10}", f"c{leaf % 10}")
        os.makedirs(path)
        make_files(path, min(per_folder, files - leaf * per_folder), size)


def make_files(folder, count, size=1024):
    os.makedirs(folder, exist_ok=True)
    content = bytes(range(256)) * (size // 256)
    for i in range(count):
        with open(os.path.join(folder, f"file-{i:06}.qk"), "wb") as file:
            file.write(content)

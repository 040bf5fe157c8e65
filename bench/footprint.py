"""What the program takes: memory, and the bytes of its file."""
import os
import re
import subprocess

from measure import ROOT, Row, make_files, make_tree


def memory(machine, full):
    """B8: what the program holds at once."""
    def row(what, text, listed, entries):
        limit = (64 << 10) + 128 * listed
        output = machine.bench("memory", what, ROOT)
        peak, done = (int(re.search(rf"^{name} (\d+)$", output, re.M)[1]) for name in ("bytes", "entries"))
        if what == "copy":
            done = sum(len(names) for _, _, names in os.walk(machine.path("memory")))
        if done != entries:
            raise RuntimeError(f"{done} of {entries} entries")
        return Row("B8", text, "peak", f"{peak / 1024:.1f} KiB", f"{limit / 1024:.1f} KiB", peak / limit, 1)

    rows = []
    for files in (1000, 10000, 100000) if full else (1000, 2000):
        machine.clean()
        make_tree(machine.path("src", "tree"), files, 100)
        on_path = sum(max(len(folders) + len(names) for _, folders, names in level)
                      for level in levels(machine.path("src", "tree")))
        rows.append(row("copy", f"copying {files:,} files, against 64 KiB and 128 bytes an entry on the path", on_path,
                        files))
    # What grows by doubling holds most just behind a power of two.
    for in_one in (65537, 100000) if full else (4097,):
        machine.clean()
        make_files(machine.path("src", "tree"), in_one, 256)
        rows.append(row("list", f"one folder of {in_one:,}, against the same", in_one, in_one))
    return rows


def levels(folder):
    """What os.walk gives, level by level."""
    by_depth = {}
    for entry in os.walk(folder):
        by_depth.setdefault(entry[0].count(os.sep), []).append(entry)
    return by_depth.values()


def executable(machine, _full):
    """B9: the executable as a file."""
    program = machine.program("LSDKConfigurator")
    tables = subprocess.run(["x86_64-w64-mingw32-objdump", "-p", program], check=True, capture_output=True, text=True)
    system = os.path.join(os.environ["WINEPREFIX"], "drive_c", "windows", "system32")
    dlls = [line.split()[-1] for line in tables.stdout.splitlines() if "DLL Name:" in line]
    if not dlls:
        raise RuntimeError("no DLL is named")
    # Windows resolves the names of sets of functions itself; no file bears them.
    foreign = [dll for dll in dlls if not dll.startswith("api-ms-win-") and
               not os.path.exists(os.path.join(system, dll.lower()))]
    length = os.path.getsize(program)
    return [Row("B9", "size, stripped", "bytes", f"{length:,}", "1,000,000", length / 1_000_000, 1),
            Row("B9", f"DLLs that are not the system's, of {len(dlls)}", "imports", str(len(foreign)), "0",
                len(foreign), 0)]

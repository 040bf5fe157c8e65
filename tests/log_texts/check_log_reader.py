"""The log reader places each line of the runs of the executable that tests left, and judges each run as it ended.

    check_log_reader.py BUILD_FOLDER LOG_READER...

Has the reader read BUILD_FOLDER/runs (tests/support/KeptLogs.h), where each run has a log of its own, and compares what
it says with how the run ended.
"""

import json
import pathlib
import subprocess
import sys

# What a value with a line break makes look like a line of its own.
FORGED = {"All is well."}


def known_ends(runs, since):
    """By the name of its log: exit code, whether the run returned, its faults; of the runs that came after `since`."""
    ends = {}
    for file in sorted(runs.glob("*.ends")):
        if file.stat().st_mtime < since:
            continue
        for line in file.read_text(encoding="utf-8").splitlines():
            log, code, end, *faults = line.split(" ", 3)
            ends[log] = (int(code), end == "returned", "".join(faults))
    return ends


def main():
    build_folder, reader = pathlib.Path(sys.argv[1]), sys.argv[2:]
    ends = known_ends(build_folder / "runs", (build_folder / "LSDKConfigurator.exe").stat().st_mtime)
    if not ends:
        sys.exit("no run since the executable was built")
    result = subprocess.run([*reader, "--json", "runs"], cwd=build_folder, capture_output=True)
    if result.returncode not in (0, 1):
        sys.exit(f"exit code {result.returncode}: {result.stderr.decode(errors='replace')}")

    document = json.loads(result.stdout)
    print(document["totals"])
    for log in document["logs"]:
        name = pathlib.PureWindowsPath(log["file"]).name
        if name not in ends: continue
        print(name, ends[name], [(r["outcome"], r["exitCode"]) for r in log["runs"]])


main()

"""The log reader places each line of the runs of the executable that tests left, and says how each run ended.

    check_log_reader.py BUILD_FOLDER LOG_READER...

Has the reader read BUILD_FOLDER/runs (tests/support/KeptLogs.h), where each run has a log of its own, and compares what
it says with what the system said.
"""

import collections
import dataclasses
import json
import pathlib
import subprocess
import sys

# What a value with a line break makes look like a line of its own.
FORGED = {"All is well."}


@dataclasses.dataclass
class Run:
    text: bytes
    exit_code: int
    has_returned: bool
    is_written: bool
    faults: str

    def may_be(self, outcome):
        """Whether the outcome is true, and the best that can be said from this log."""
        is_killed = "!" in self.faults or "~" in self.faults
        if outcome == "succeeded":
            # Killed behind the last line of all, which no log tells.
            is_whole = b"LocalDumps" in self.text.rstrip().split(b"\n")[-1]
            return self.exit_code == 0 and self.has_returned or is_killed and is_whole
        if outcome == "failed":
            return self.exit_code == -1 and self.has_returned or is_killed
        if outcome == "crashed":
            return not self.has_returned
        # A character that the log cannot encode ends it within a line; so does a stream without memory, between two.
        is_lost = not self.is_written or not self.text.endswith(b"\n") or self.faults.startswith("malloc")
        return outcome == "cut off" and (is_lost or not self.has_returned)


def known_runs(folder, since):
    """The runs that came after `since` by the names of their logs."""
    runs = {}
    for ends in sorted(folder.glob("*.ends")):
        if ends.stat().st_mtime < since:
            continue
        for line in ends.read_text(encoding="utf-8").splitlines():
            log, code, end, writing, faults = line.split(" ", 4)
            runs[log] = Run((folder / log).read_bytes(), int(code), end == "returned", writing == "written", faults)
    return runs


def main():
    build_folder, reader = pathlib.Path(sys.argv[1]), sys.argv[2:]
    runs = known_runs(build_folder / "runs", (build_folder / "LSDKConfigurator.exe").stat().st_mtime)
    result = subprocess.run([*reader, "--json", "runs"], cwd=build_folder, capture_output=True)
    if result.returncode not in (0, 1):
        sys.exit(f"exit code {result.returncode}: {result.stderr.decode(errors='replace')}")

    complaints, seen, verdicts = [], set(), collections.Counter()
    for log in json.loads(result.stdout)["logs"]:
        name = pathlib.PureWindowsPath(log["file"]).name
        if name not in runs:
            continue
        seen.add(name)
        unplaced = log["strayLines"] + [line for run in log["runs"] for line in run["unplacedLines"]]
        complaints += [f"{name}:{line['line']}: not placed: {line['text']}" for line in unplaced
                       if line["text"] not in FORGED]
        outcomes = [run["outcome"] for run in log["runs"]]
        verdicts.update(outcomes)
        if len(outcomes) != 1 or not runs[name].may_be(outcomes[0]):
            end = runs[name]
            complaints.append(f"{name}: {outcomes}, but {end.exit_code}, {end.has_returned=}, faults {end.faults}")
    complaints += [f"{name}: not read" for name, run in runs.items() if run.text and name not in seen]
    print(f"{len(seen)} runs: {dict(verdicts)}")
    print("\n".join(complaints))
    sys.exit(1 if complaints or not seen else 0)


main()

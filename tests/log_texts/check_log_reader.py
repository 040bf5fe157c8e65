"""The log reader places each line of the logs of whole runs that tests left.

    check_log_reader.py BUILD_FOLDER LOG_READER...

Has the reader read BUILD_FOLDER/logs/*.log (tests/support/KeptLogs.h) of the programs that start
the executable, and asks what it could not place.
"""

import json
import pathlib
import subprocess
import sys

PROGRAMS = ("end_to_end_tests", "sweep_tests", "corpus_tests")
# What a value with a line break makes look like a line of its own.
FORGED = {"All is well."}


def main():
    build_folder, reader = pathlib.Path(sys.argv[1]), sys.argv[2:]
    executable = (build_folder / "LSDKConfigurator.exe").stat().st_mtime
    logs = [
        log
        for program in PROGRAMS
        for log in sorted((build_folder / "logs").glob(f"{program}.*.log"))
        if log.stat().st_mtime >= executable
    ]
    if not logs:
        sys.exit("no log of a whole run since the executable was built")
    names = [str(log.relative_to(build_folder)) for log in logs]
    result = subprocess.run([*reader, "--json", *names], cwd=build_folder, capture_output=True)
    if result.returncode not in (0, 1):
        sys.exit(f"exit code {result.returncode}: {result.stderr.decode(errors='replace')}")

    document = json.loads(result.stdout)
    complaints, runs = [], 0
    for log in document["logs"]:
        runs += len(log["runs"])
        unplaced = log["strayLines"] + [line for run in log["runs"] for line in run["unplacedLines"]]
        complaints += [
            f"{log['file']}:{line['line']}: not placed: {line['text']}"
            for line in unplaced
            if line["text"] not in FORGED
        ]
    print(f"{len(logs)} logs, {runs} runs: {document['totals']}")
    print("\n".join(complaints))
    sys.exit(1 if complaints or runs == 0 else 0)


main()

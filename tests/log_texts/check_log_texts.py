"""Every text that the program can log was logged by a test.

    check_log_texts.py SOURCE_FOLDER BUILD_FOLDER PROGRAM...

Takes each entry of the log in the sources as a pattern, its texts in their order, from the entry's
beginning to its line end if it has one, and looks for it in the logs that the tests left in
BUILD_FOLDER/logs (tests/support/KeptLogs.h). Only logs of this build count: those newer than the
test program that left them and than the executable.
"""

import pathlib
import re
import sys

from log_texts import CHOSEN_ELSEWHERE, Text, log_entries

# Narrow literals that are no part of an entry's statement. Each either reaches the log through a
# value, and is looked for there, or never does, for the reason given.
LOGGED_THROUGH_A_VALUE = {
    *(text for texts in CHOSEN_ELSEWHERE.values() for text in texts),
    "HKEY_CLASSES_ROOT\\",
    "HKEY_USERS\\",
    "Unknown exception",
    "bad allocation",
    "invalid string position",
    "invalid stoi argument",
    "stoi argument out of range",
}
NEVER_LOGGED = {
    "bad array new length": "a text for the log, but nothing in the program throws it",
    "bad cast": "a text for the log, but nothing in the program throws it",
    "bad conversion": "ends the process; no handler that logs stands around it",
    "": "separator in a status file",
    " ,": "separator in a status file",
    "copied": "name in a status file",
    "failed": "name in a status file",
    "Velta": "only its length is used",
    "SunMonTueWedThuFriSat": "part of the time prefix",
    "JanFebMarAprMayJunJulAugSepOctNovDec": "part of the time prefix",
    "%.3s %.3s %2d %02d:%02d:%02d %4d\n": "part of the time prefix",
    "NetworkIsolationEnumAppContainers": "name of a function",
    "NetworkIsolationSetAppContainerConfig": "name of a function",
    "NetworkIsolationGetAppContainerConfig": "name of a function",
    "NetworkIsolationFreeAppContainers": "name of a function",
    "CreateProcessWithTokenW": "name of a function",
    "C": "linkage",
    "c": "register",
    "null": "name of a check that is left out",
    "int $0x29": "instruction",
}

# Where an entry begins and ends in a kept log: "[]" stands for the time prefix in the middle of a line.
ENTRY_BEGIN = r"(?:^|\[\])"
ENTRY_END = r"(?:$|(?=\[\]))"


# No value begins with a blank: a text that another one goes on with is not found by that one.
VALUE = "(?! ).*"


def pattern_of(entry):
    pieces = "".join(re.escape(piece) if isinstance(piece, Text) else VALUE for piece in entry.pieces)
    return (ENTRY_BEGIN if entry.has_time else "") + pieces + (ENTRY_END if entry.has_end else "")


def kept_logs(build_folder, programs):
    """The lines of this build's logs, and the test programs that left none."""
    executable = (build_folder / "LSDKConfigurator.exe").stat().st_mtime
    lines, silent = set(), []
    for program in programs:
        test_program = build_folder / f"{program}.exe"
        built = max(executable, test_program.stat().st_mtime if test_program.exists() else 0)
        logs = [log for log in (build_folder / "logs").glob(f"{program}.*.txt") if log.stat().st_mtime >= built]
        if not logs:
            silent.append(program)
        for log in logs:
            lines.update(log.read_bytes().decode("latin-1").split("\n"))
    return lines, silent


def main():
    source_folder, build_folder = map(pathlib.Path, sys.argv[1:3])
    entries, others = log_entries(source_folder)
    lines, silent = kept_logs(build_folder, sys.argv[3:])
    text = "\n".join(sorted(lines))

    complaints = [
        f"{entry.place}: not logged by any test: " + "".join(p if isinstance(p, Text) else "..." for p in entry.pieces)
        for entry in entries
        if not re.search(pattern_of(entry), text, re.MULTILINE)
    ]
    for literal, place in others.items():
        if literal in LOGGED_THROUGH_A_VALUE:
            if literal not in text:
                complaints.append(f"{place}: not logged by any test: {literal!r}")
        elif literal not in NEVER_LOGGED:
            complaints.append(f"{place}: neither an entry of the log nor known otherwise: {literal!r}")
    for literal in (LOGGED_THROUGH_A_VALUE | NEVER_LOGGED.keys()) - others.keys():
        complaints.append(f"no longer in the sources: {literal!r}")

    print(f"{len(entries)} entries of the log in the sources, {len(lines)} lines logged by the tests")
    print("\n".join(complaints))
    if silent and complaints:
        print("These have not run, or logged nothing, since they were built:", *silent)
    sys.exit(1 if complaints or not entries else 0)


main()

"""Every text that the program can log was logged by a test.

    check_log_texts.py SOURCE_FOLDER BUILD_FOLDER PROGRAM...

Takes each entry that the sources write into the log, `beginLine() << "text" << value << ...`, as a
pattern, its texts in their order, from the entry's beginning to its line end if it has one, and
looks for it in the logs that the tests left in BUILD_FOLDER/logs (tests/support/KeptLogs.h). Only
logs of this build count: those newer than the test program that left them and than the executable.
"""

import ast
import pathlib
import re
import sys

# What a statement names that writes into the log, and what one begins with that writes a status file.
LOG_STREAMS = {"beginLine", "line", "m_stream"}
STATUS_STREAMS = {"stream", "text"}
# What only the time prefix names, which the kept logs are without.
TIME_PREFIX = "g_timeText"

# Narrow literals that are no part of an entry's statement. Each either reaches the log through a
# value, and is looked for there, or never does, for the reason given.
LOGGED_THROUGH_A_VALUE = {
    "Caught std::exception while reading Local AppData folder with Key ",
    "Caught std::exception while reading AppData folder with Key ",
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
    "int $0x29": "instruction",
}

# Where an entry begins and ends in a kept log: "[]" stands for the time prefix in the middle of a line.
ENTRY_BEGIN = r"(?:^|\[\])"
ENTRY_END = r"(?:$|(?=\[\]))"

TOKEN = re.compile(
    r"""(?P<skip>//[^\n]*|/\*.*?\*/|^[ \t]*\#[^\n]*|\s+)
      | (?P<text>(?P<wide>L?)(?P<quoted>"(?:\\.|[^"\\\n])*"))
      | (?P<other>L?'(?:\\.|[^'\\\n])+'|\w+|<<|::|->|.)""",
    re.VERBOSE | re.DOTALL | re.MULTILINE,
)


class Text(str):
    """A narrow literal, as the program has it."""


def tokens_of(source):
    """(token, line) pairs; neighbouring narrow literals are one."""
    found = []
    for match in TOKEN.finditer(source):
        if match.lastgroup == "skip" or match.group("skip") is not None:
            continue
        token, line = match.group(), source.count("\n", 0, match.start()) + 1
        if match.group("text") is not None and not match.group("wide"):
            token = Text(ast.literal_eval(match.group("quoted")))
            if found and isinstance(found[-1][0], Text):
                token = Text(found.pop()[0] + token)
        found.append((token, line))
    return found


def statements_of(source):
    statement = []
    for token, line in tokens_of(source):
        if not isinstance(token, Text) and token in (";", "{", "}"):
            if statement:
                yield statement
            statement = []
        else:
            statement.append((token, line))
    if statement:
        yield statement


def operands_of(statement):
    """What stands between the << of a statement."""
    operands, depth = [[]], 0
    for token, _ in statement:
        is_text = isinstance(token, Text)
        if not is_text and token == "<<" and depth == 0:
            operands.append([])
            continue
        if not is_text:
            depth += (token == "(") - (token == ")")
        operands[-1].append(token)
    return operands


def patterns_of(operands):
    """The regular expressions that an entry's statement stands for: one, or two for a choice."""
    begins = "beginLine" in operands[0]
    patterns = [ENTRY_BEGIN if begins else ""]
    for operand in operands[1:]:
        texts = [re.escape(token) for token in operand if isinstance(token, Text)]
        if "endl" in operand:
            pieces = [ENTRY_END]
        elif len(operand) == 1 and texts:
            pieces = texts
        else:
            pieces = texts or [".*"]
        patterns = [pattern + piece for pattern in patterns for piece in pieces]
    return patterns


def readable(pattern):
    return re.sub(r"\\(.)", r"\1", pattern.replace(ENTRY_BEGIN, "").replace(ENTRY_END, "").replace(".*", "..."))


def log_texts(source_folder):
    """(place, pattern) of each entry; the narrow literals outside of entries with their places."""
    entries, others = [], {}
    for path in sorted(source_folder.rglob("*")):
        if path.suffix not in (".cpp", ".h"):
            continue
        for statement in statements_of(path.read_text(encoding="utf-8")):
            place = f"{path.relative_to(source_folder.parent)}:{statement[0][1]}"
            texts = [token for token, _ in statement if isinstance(token, Text)]
            words = {token for token, _ in statement if not isinstance(token, Text)}
            if "<<" in words and TIME_PREFIX in words:
                continue
            if "<<" in words and words & LOG_STREAMS:
                entries += [(place, pattern) for pattern in patterns_of(operands_of(statement))]
            elif not ("<<" in words and statement[0][0] in STATUS_STREAMS):
                others.update({str(text): place for text in texts})
    return entries, others


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
    entries, others = log_texts(source_folder)
    lines, silent = kept_logs(build_folder, sys.argv[3:])
    text = "\n".join(sorted(lines))

    complaints = [
        f"{place}: not logged by any test: {readable(pattern)}"
        for place, pattern in entries
        if not re.search(pattern, text, re.MULTILINE)
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

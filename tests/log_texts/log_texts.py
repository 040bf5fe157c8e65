"""Takes out of the sources each entry that they write into the log, `beginLine() << "text" << value << ...`."""

import ast
import dataclasses
import itertools
import re

# What a statement names that writes into the log, and what one begins with that writes a status file.
LOG_STREAMS = {"beginLine", "line", "m_stream"}
STATUS_STREAMS = {"stream", "text"}
# What only the time prefix names.
TIME_PREFIX = "g_timeText"
# A value that is one of these texts.
CHOSEN_ELSEWHERE = {
    "failureText": (
        "Caught std::exception while reading Local AppData folder with Key ",
        "Caught std::exception while reading AppData folder with Key ",
    ),
}

TOKEN = re.compile(
    r"""(?P<skip>//[^\n]*|/\*.*?\*/|^[ \t]*\#[^\n]*|\s+)
      | (?P<text>(?P<wide>L?)(?P<quoted>"(?:\\.|[^"\\\n])*"))
      | (?P<other>L?'(?:\\.|[^'\\\n])+'|\w+|<<|::|->|.)""",
    re.VERBOSE | re.DOTALL | re.MULTILINE,
)


class Text(str):
    """A narrow literal, as the program has it."""


class Value(str):
    """Anything else that is written: the expression."""


@dataclasses.dataclass
class Entry:
    place: str
    has_time: bool
    pieces: list  # of Text and Value, in their order
    has_end: bool = False


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


def pieces_of(operand):
    """The pieces that an operand can be: one, or several for a choice; none for a manipulator."""
    texts = [token for token in operand if isinstance(token, Text)]
    expression = "".join(operand)
    if texts:
        return texts
    if expression in CHOSEN_ELSEWHERE:
        return [Text(text) for text in CHOSEN_ELSEWHERE[expression]]
    return [] if expression.startswith("std::") else [Value(expression)]


def entries_of_statement(place, operands):
    """One entry, or several for a choice."""
    choices = [pieces for pieces in map(pieces_of, operands[1:]) if pieces]
    for pieces in itertools.product(*choices):
        yield Entry(place, "beginLine" in operands[0], list(pieces), any("endl" in operand for operand in operands))


def log_entries(source_folder):
    """The entries; the narrow literals outside of entries with their places."""
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
            if {"beginLine", "="} <= words and "<<" not in words:
                entries.append(Entry(place, True, []))  # written by the statements behind this one
            elif "<<" in words and words & LOG_STREAMS:
                found = list(entries_of_statement(place, operands_of(statement)))
                if words.isdisjoint({"beginLine", "m_stream"}):  # goes on with the entry before
                    entries[-1].pieces += found[0].pieces
                    entries[-1].has_end |= found[0].has_end
                else:
                    entries += found
            elif not ("<<" in words and statement[0][0] in STATUS_STREAMS):
                others.update({str(text): place for text in texts})
    return entries, others

"""Reads the lines of the log out of docs/log-and-files.md, the one place that says what each means."""

import dataclasses
import re

WEIGHTS = ("information", "note", "cause", "failure", "fatal")
FLAGS = ("no time", "no line end")
KINDS = ("text", "number", "exit code", "HRESULT", "shell error", "Win32 error")
# Blanks that a page would hide.
BLANK = "␣"

VALUE = re.compile(r"\{([a-z0-9-]+)\}")
SECTION = re.compile(r"## (\d+)\. (.+)")
HEADING = re.compile(r"#### `(.+)`")
# To a place of the page, which what is read has not.
LINK = re.compile(r"\[([^\]]+)\]\(#[^)]*\)")
MARK = re.compile(r"`([a-z0-9-]+)` · (.+)")


@dataclasses.dataclass
class Line:
    text: str  # with {values}
    place: int  # line of the page
    section: int
    id: str = ""
    weight: str = ""
    flags: tuple = ()
    meaning: str = ""
    causes: str = ""
    advice: str = ""
    example: str = ""

    @property
    def values(self):
        return VALUE.findall(self.text)

    @property
    def texts(self):
        """What stands between the values: one more than there are values."""
        return VALUE.split(self.text)[::2]


@dataclasses.dataclass
class Reference:
    lines: list
    values: dict  # name: kind
    sections: dict  # number: title
    examples: list  # text of each log that the page shows


def _read_value_rows(text):
    rows = {}
    for names, kind in re.findall(r"^\| ((?:`\{[a-z0-9-]+\}`(?:, )?)+) \| ([^|]+) \|", text, re.MULTILINE):
        rows.update({name: kind for name in VALUE.findall(names)})
    return rows


def _fill(line, body):
    """The paragraphs below a heading."""
    example = re.search(r"^```log\n(.*?)^```$", body, re.DOTALL | re.MULTILINE)
    if example:
        line.example = example.group(1)
        body = body.replace(example.group(), "")
    body = LINK.sub(r"\1", body)
    parts = re.split(r"\*\*(Causes|Do):\*\*", body)
    named = dict(zip(parts[1::2], parts[2::2]))
    line.meaning, line.causes, line.advice = (
        " ".join(part.split()) for part in (parts[0], named.get("Causes", ""), named.get("Do", ""))
    )


def read(path):
    text = path.read_text(encoding="utf-8")
    lines, sections, bodies = [], {}, []
    section, body = 0, None
    for place, row in enumerate(text.split("\n"), 1):
        if match := SECTION.fullmatch(row):
            section, body = int(match.group(1)), None
            sections[section] = match.group(2)
        elif match := HEADING.fullmatch(row):
            lines.append(Line(match.group(1).replace(BLANK, " "), place, section))
            bodies.append(body := [])
        elif row.startswith("#") and not row.startswith("#### "):
            body = None
        elif body is not None:
            body.append(row)
    for line, body in zip(lines, bodies):
        mark = MARK.fullmatch(body[0])
        if not mark:
            raise ValueError(f"{path}:{line.place + 1}: expected `id` · weight")
        line.id = mark.group(1)
        line.weight, *flags = mark.group(2).split(" · ")
        line.flags = tuple(flags)
        _fill(line, "\n".join(body[1:]))
    examples = re.findall(r"^```log\n(.*?)^```$", text, re.DOTALL | re.MULTILINE)
    return Reference(lines, _read_value_rows(text), sections, examples)

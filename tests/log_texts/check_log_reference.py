"""The log reference and the sources have the same lines.

    check_log_reference.py SOURCE_FOLDER LOG_REFERENCE

No line of the log is missing from docs/log-and-files.md and none there is made up: each has the
same texts, the same values at the same places, the same kinds of numbers, the same beginning and
end. Each line of the page is complete in its own form too.
"""

import pathlib
import re
import sys

sys.path.insert(0, str(pathlib.Path(__file__).parents[2] / "tools" / "lsdk-log"))

import log_reference  # noqa: E402
from log_texts import Text, log_entries  # noqa: E402

KIND_OF_VALUE = {
    "error": "Win32 error",
    "status": "Win32 error",
    "0": "Win32 error",
    "result": "HRESULT",
    "code": "shell error",
    "exitCode": "exit code",
}
TIME = r"\[[A-Z][a-z]{2} [A-Z][a-z]{2} [ \d]\d \d\d:\d\d:\d\d \d{4}\] "


def line_of_source(entry):
    """(text with {kind} for each value, flags); neighbouring values are one."""
    text = "".join(
        piece if isinstance(piece, Text) else "{" + KIND_OF_VALUE.get(piece, "text") + "}" for piece in entry.pieces
    )
    # The arguments: each in quotation marks, as often as there are any.
    text = text.replace('"{text}" ', "{text}") if text.startswith("Starting with") else text
    flags = (() if entry.has_time else ("no time",)) + (() if entry.has_end else ("no line end",))
    return re.sub(r"(\{text\})+", "{text}", text), flags


def line_of_page(line, kinds):
    def kind(match):
        found = kinds.get(match.group(1), "unknown")
        return "{" + ("text" if found == "number" else found) + "}"

    return log_reference.VALUE.sub(kind, line.text), line.flags


def example_complaint(line):
    """What is wrong with the log shown for a line without an end."""
    texts = [re.escape(text) for text in line.texts]
    shown = re.compile("".join([f"^(?:.*?{TIME})?", "[^\n]*?".join(texts), ".*?", TIME]), re.MULTILINE)
    if not line.example:
        return "shows no log"
    return None if shown.search(line.example) else "shows a log in which nothing continues on this line"


def form_complaints(line, kinds):
    if line.weight not in log_reference.WEIGHTS:
        yield f"unknown weight {line.weight!r}"
    if set(line.flags) - set(log_reference.FLAGS):
        yield f"unknown mark in {line.flags}"
    if not line.meaning:
        yield "says nothing"
    if line.weight in ("cause", "failure", "fatal") and not (line.causes and line.advice):
        yield "has no causes, or nothing to do about them"
    if "no line end" in line.flags and (complaint := example_complaint(line)):
        yield complaint
    for name in set(line.values) - kinds.keys():
        yield f"the value {{{name}}} is not in the table of values"


def main():
    source_folder, page = map(pathlib.Path, sys.argv[1:3])
    reference = log_reference.read(page)
    kinds = reference.values
    in_sources = {}
    for entry in log_entries(source_folder)[0]:
        in_sources.setdefault(line_of_source(entry), entry.place)
    on_page, ids, complaints = {}, set(), []

    for line in reference.lines:
        key, where = line_of_page(line, kinds), f"{page.name}:{line.place}"
        if key not in in_sources:
            complaints.append(f"{where}: not in the sources: {line.text!r}, {line.flags}")
        if key in on_page:
            complaints.append(f"{where}: again: {line.text!r}")
        if line.id in ids:
            complaints.append(f"{where}: the id {line.id!r} is taken")
        on_page[key] = where
        ids.add(line.id)
        complaints += [f"{where}: {complaint}: {line.text!r}" for complaint in form_complaints(line, kinds)]
    for key in in_sources.keys() - on_page.keys():
        complaints.append(f"{in_sources[key]}: not on the page: {key}")
    for name in kinds.keys() - {name for line in reference.lines for name in line.values}:
        complaints.append(f"no line has the value {{{name}}}")
    complaints += [f"unknown kind {kind!r}" for kind in set(kinds.values()) - set(log_reference.KINDS)]

    print(f"{len(in_sources)} lines of the log in the sources, {len(on_page)} on the page")
    print("\n".join(complaints))
    sys.exit(1 if complaints or not on_page else 0)


main()

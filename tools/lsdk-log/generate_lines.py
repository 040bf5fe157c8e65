"""Makes the reader's table of lines from the log reference.

    generate_lines.py LOG_REFERENCE OUTPUT_FOLDER
"""

import json
import pathlib
import sys

import log_reference

MAX_VALUES = 4


def name_of(text):
    """enum name of an id, a weight, a kind or a title: 'no-time' and 'No time' are NoTime."""
    words = "".join(c if c.isalnum() else " " for c in text).split()
    return "".join(word[0].upper() + word[1:] for word in words)


def text_of(text):
    """A C++ literal of these UTF-8 bytes."""
    return json.dumps(text, ensure_ascii=False)


def enumeration(name, names):
    return f"enum class {name} {{\n" + "".join(f"    {each},\n" for each in names) + "};\n"


def ids_of(reference):
    return (
        "#pragma once\n\n"
        + enumeration("LineId", [name_of(line.id) for line in reference.lines])
        + enumeration("Section", [name_of(title) for _, title in sorted(reference.sections.items())])
        + enumeration("Weight", [name_of(weight) for weight in log_reference.WEIGHTS])
        + enumeration("ValueKind", [name_of(kind) for kind in log_reference.KINDS])
    )


def row_of(line, reference):
    if len(line.values) > MAX_VALUES:
        raise ValueError(f"too many values: {line.text}")
    kinds = [f"ValueKind::{name_of(reference.values[value])}" for value in line.values]
    fields = [
        f"LineId::{name_of(line.id)}",
        text_of(line.id),
        f"Section::{name_of(reference.sections[line.section])}",
        f"Weight::{name_of(line.weight)}",
        "false" if "no time" in line.flags else "true",
        "false" if "no line end" in line.flags else "true",
        str(len(kinds)),
        "{" + ", ".join(map(text_of, line.texts)) + "}",
        "{" + ", ".join(kinds) + "}",
        text_of(line.meaning),
        text_of(line.causes),
        text_of(line.advice),
    ]
    return "    {" + ",\n     ".join(fields) + "},\n"


def table_of(reference):
    titles = "".join(f"    {text_of(title)},\n" for _, title in sorted(reference.sections.items()))
    return (
        '#include "LineTable.h"\n\n'
        "extern const LineInfo kLines[] = {\n"
        + "".join(row_of(line, reference) for line in reference.lines)
        + f"}};\nextern const std::size_t kLineCount = {len(reference.lines)};\n"
        + f"extern const std::string_view kSectionTitles[] = {{\n{titles}}};\n"
        + f"extern const std::string_view kExamples[] = {{\n"
        + "".join(f"    {text_of(example)},\n" for example in reference.examples)
        + f"}};\nextern const std::size_t kExampleCount = {len(reference.examples)};\n"
    )


def main():
    reference = log_reference.read(pathlib.Path(sys.argv[1]))
    folder = pathlib.Path(sys.argv[2])
    (folder / "LineIds.h").write_text(ids_of(reference), encoding="utf-8")
    (folder / "LineData.cpp").write_text(table_of(reference), encoding="utf-8")


main()

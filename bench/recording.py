"""A recorded run of the executable as the table that Replay.cpp plays."""
import json
import re

# They come seldom and ask nobody outside the process. Without them the recorded run is quicker than it could be.
LEFT_OUT = {"ConvertSidToStringSidW", "GetCurrentProcess", "GetModuleFileNameW", "PathCchAddBackslash",
            "PathCchRemoveFileSpec", "WindowsCompareStringOrdinal", "WindowsGetStringRawBuffer"}
ROOTS = ("HKEY_CLASSES_ROOT", "HKEY_CURRENT_USER", "HKEY_LOCAL_MACHINE", "HKEY_USERS")


def table_of(trace):
    """The calls of a trace file of the launcher, one a line."""
    slots = {root: slot for slot, root in enumerate(ROOTS)}

    def part(argument, is_data):
        if argument.startswith('"') and is_data:
            text = re.sub(r"\\u([0-9A-F]{4})", lambda match: chr(int(match[1], 16)), argument[1:-1])
            return "b" + text.encode("latin-1").hex()
        if argument.startswith('"'):
            return "t" + argument[1:-1]
        if re.fullmatch(r"\[[0-9A-F ]*\]", argument):
            return "b" + argument[1:-1].replace(" ", "")
        if argument in ROOTS or re.fullmatch(r"[a-z]+#\d+", argument):
            return "s" + str(slots.setdefault(argument, len(slots)))
        number = re.match(r"(0x[0-9A-F]+|\d+)(->\d+)?$", argument)
        if number:
            return "n" + str(int(number[1], 0))
        return "g" if argument == "given" else "-"

    lines = []
    with open(trace, encoding="utf-8") as calls:
        for call in map(json.loads, calls):
            if "call" in call and call["call"] not in LEFT_OUT:
                arguments = [part(argument, call["call"] in ("_write", "WriteFile"))
                             for argument in [*call["arguments"], call["result"]]]
                lines.append("\t".join([call["call"], *arguments]) + "\n")
    return "".join(lines)

"""Makes the reader's table of error names from the system's own header.

    generate_error_names.py WINERROR_H OUTPUT_FILE
"""

import pathlib
import re
import sys

NUMBER = r"(0x[0-9A-Fa-f]+|\d+)"
WIN32 = re.compile(rf"^#define (ERROR_\w+|RPC_[SX]_\w+|EPT_S_\w+|WSA\w+|DNS_\w+) (?:__MSABI_LONG\()?{NUMBER}L?\)?\s*$", re.M)
HRESULT = re.compile(rf"^#define (\w+) (?:_HRESULT_TYPEDEF_|\(\(HRESULT\))\(?{NUMBER}L?\)\s*$", re.M)


def names_of(pattern, text):
    """number: name; the first name of a number is its name."""
    found = {}
    for name, number in pattern.findall(text):
        found.setdefault(int(number, 0), name)
    return found


def table(name, names):
    rows = "".join(f'    {{{number}u, "{names[number]}"}},\n' for number in sorted(names))
    return f"extern const ErrorName {name}[] = {{\n{rows}}};\nextern const std::size_t {name}Count = {len(names)};\n"


def main():
    text = pathlib.Path(sys.argv[1]).read_text(encoding="latin-1")
    win32 = {number: name for number, name in names_of(WIN32, text).items() if number > 0}
    hresults = {number: name for number, name in names_of(HRESULT, text).items() if number >= 0x80000000}
    pathlib.Path(sys.argv[2]).write_text(
        '#include "ErrorNames.h"\n\n' + table("kWin32Names", win32) + table("kHResultNames", hresults), encoding="utf-8"
    )


main()

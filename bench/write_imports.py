#!/usr/bin/env python3
"""Writes C++ that refers to every import of an executable: write_imports.py OBJDUMP EXECUTABLE OUTPUT"""
import re
import subprocess
import sys

objdump, executable, output = sys.argv[1:]
text = subprocess.run([objdump, "-p", executable], check=True, capture_output=True, text=True).stdout
# "        hint  number  name" in the tables of imports
names = sorted(set(re.findall(r"^\t[0-9a-f]+\t +\d+ +(\w+)$", text, re.M)))
if not names:
    sys.exit(f"{executable} imports nothing")
with open(output, "w", encoding="ascii") as file:
    for name in names:
        file.write(f'extern "C" const char slot_{name} __asm__("__imp_{name}");\n')
    file.write('extern "C" {\nextern const void* const kImports[];\nextern const unsigned kImportCount;\n')
    file.write("const void* const kImports[] = {\n" + "".join(f"    &slot_{name},\n" for name in names) + "};\n")
    file.write(f"const unsigned kImportCount = {len(names)};\n}}\n")

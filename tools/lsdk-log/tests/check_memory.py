"""The memory that the log reader needs for reading does not grow with a log.

    check_memory.py LOG_READER GOLDEN_LOG MEBIBYTES

Has the reader read a log of a mebibyte, then one of the given number of them, both of the golden log's run again and again,
in each form of its report, and compares the most that it held in memory.
"""
import os
import re
import subprocess
import sys

TIME = "[Tue Feb  3 04:05:06 2026] "
# What the system's allocator keeps at its own discretion.
SLACK = 256 << 10


def peak_of(command, run, mebibytes):
    """Bytes that the reader held at most when it had read all but what a pipe holds."""
    with subprocess.Popen([*command, "/dev/stdin"], stdin=subprocess.PIPE, stdout=subprocess.DEVNULL) as reader:
        for _ in range((mebibytes << 20) // len(run) + 1):
            reader.stdin.write(run)
        reader.stdin.flush()
        with open(f"/proc/{reader.pid}/status", encoding="ascii") as status:
            peak = int(re.search(r"VmHWM:\s+(\d+) kB", status.read())[1]) << 10
    if reader.returncode != 0:
        sys.exit(f"{command}: exit code {reader.returncode}")
    return peak


def main():
    reader, log, size = sys.argv[1], sys.argv[2], int(sys.argv[3])
    with open(log, encoding="utf-8") as file:
        run = "".join(TIME + line.rstrip("\n").replace("[]", TIME) + "\r\n" for line in file).encode()
    failed = False
    for form in ([], ["--json"], ["--html", os.devnull]):
        small, large = (peak_of([reader, *form], run, mebibytes) for mebibytes in (1, size))
        print(f"{form[0] if form else 'text'}: at most {small:,} bytes for 1 MiB, {large:,} for {size} MiB")
        failed = failed or large > small + SLACK
    sys.exit(failed)


main()

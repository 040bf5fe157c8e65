"""What no program that makes the same calls can be quicker than: the calls of a run, recorded and replayed."""
import functools
import os
import re

import recording
from measure import (FAILED, NEW_PACKAGE, OLD_PACKAGE, ROOT, count_row, make_files, process_row, slice_row,
                     time_in_random_order, tree_of)

CLASS_NOT_REGISTERED = 0x80040154 - (1 << 32)


def make_typical_world(machine):
    """A user with both listed files, three folders, one of them nested, and three entries in each recent-files list."""
    machine.clean()
    package = machine.path("users", "0", "AppData", "Local", "Packages", OLD_PACKAGE)
    for folder, files in (("Settings", 0), ("LocalState", 0), ("LocalState/drafts", 3), ("LocalState/drafts/nested", 3),
                          ("LocalState/notes", 3), ("LocalState/empty", 0)):
        make_files(os.path.join(package, folder), files)
    for name in ("LocalState/preferences.json", "Settings/settings.dat"):
        with open(os.path.join(package, name), "wb") as file:
            file.write(bytes(1000))
    data = "Local Settings\\Software\\Microsoft\\Windows\\CurrentVersion\\AppModel\\SystemAppData\\"
    lines = ["Windows Registry Editor Version 5.00"]
    for root in ("HKEY_CLASSES_ROOT\\", "HKEY_USERS\\S-1-5-21-1000-2000-3000-0\\SOFTWARE\\Classes\\"):
        lines.append(f"[-{root}{data}{NEW_PACKAGE}]")
        for entry in (f"{table}\\{{entry-{i}}}" for table in ("MostRecentlyUsed", "ManagedByApp") for i in range(3)):
            lines += [f"[{root}{data}{OLD_PACKAGE}\\PersistedStorageItemTable\\{entry}]",
                      f'"FilePath"="C:\\\\Packages\\\\{OLD_PACKAGE}\\\\a.qk"', '"Metadata"="notes"',
                      f'"PackageFamilyName"="{OLD_PACKAGE}"']
    with open(machine.path("world.reg"), "w", encoding="ascii", newline="\r\n") as file:
        file.write("\n".join(lines) + "\n")
    machine.run(["reg", "import", ROOT + "\\world.reg"])
    machine.bench("prepare", "profiles", ROOT, 2)


def floor(machine, full):
    """The run on a typical user's data against its own calls, recorded and replayed."""
    def prepare():
        make_typical_world(machine)
        with open(machine.path("table.txt"), "w", encoding="utf-8", newline="\n") as file:
            file.write(table)
        return {"product": [*machine.install("LSDKConfigurator"), "40.1.0.0", "Velta.LC.QK", "QK.exe", "ZRKL"],
                "replay": [*machine.install("replay"), ROOT + "\\table.txt"]}

    def left_by(side):
        """The new package's files, and the log but for times and addresses."""
        machine.run(prepare()[side], FAILED)
        with open(machine.path("lsdkConfiguratorLog.txt"), encoding="ascii") as file:
            log = re.sub(r"^\[.{24}\]|:0x[0-9a-f]+$", "", file.read(), flags=re.M)
        return tree_of(machine.path("users", "0", "AppData", "Local", "Packages", NEW_PACKAGE)), log

    # The launcher's machine has the packages that this one lacks.
    table = ""
    machine.run([machine.program("launcher"), "--trace", ROOT + "\\trace.jsonl", "--fault",
                 f"RoGetActivationFactory:1+={CLASS_NOT_REGISTERED}", "--", *prepare()["product"]])
    table = recording.table_of(machine.path("trace.jsonl"))
    if len(left_by("product")[0]) != 12 or left_by("product") != left_by("replay"):
        raise RuntimeError("the recorded calls do something else than the run")

    text = f"typical run, against its {len(table.splitlines())} calls alone"
    sides = prepare()
    times = time_in_random_order(20 if full else 5, {
        side: (prepare, functools.partial(machine.run, command, FAILED), lambda: None)
        for side, command in sides.items()})
    counts = {side: machine.count(prepare()[side], ends_with=FAILED) if machine.can_count else None for side in sides}

    def measured(rounds):
        prepare()
        return machine.slices("typical", ROOT, 1, rounds)

    return [slice_row("floor", text, measured, 25, 1.05),
            count_row("floor", text, counts["product"], counts["replay"], 1.05),
            process_row("floor", text, times, "product", "replay", 1.05, False)]

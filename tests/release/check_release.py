"""Checks the packing of a release: check_release.py BUILD_FOLDER SCRATCH_FOLDER

Packs twice and compares; unpacks, and holds each file to the checksums and to the build.
"""
import hashlib
import pathlib
import subprocess
import sys
import zipfile

PACK = pathlib.Path(__file__).resolve().parents[2] / "scripts" / "pack_release.py"
TIME = 1770091506


def pack(build, folder):
    folder.mkdir(parents=True, exist_ok=True)
    output = folder / "LSDKConfigurator-1.2.3.zip"
    subprocess.run([sys.executable, "-B", PACK, build, output, str(TIME)], check=True)
    return output


def main(build, scratch):
    first, second = pack(build, scratch / "first"), pack(build, scratch / "second")
    assert first.read_bytes() == second.read_bytes(), "two archives of the same files differ"

    with zipfile.ZipFile(first) as archive:
        files = {name: archive.read(name) for name in archive.namelist()}
    prefix = "LSDKConfigurator-1.2.3/"
    assert all(name.startswith(prefix) for name in files), "a file outside the release's folder"
    files = {name.removeprefix(prefix): data for name, data in files.items()}

    sums = dict(line.split("  ")[::-1] for line in files.pop("SHA256SUMS").decode().splitlines())
    assert sums.keys() == files.keys(), f"checksums of other files: {sums.keys() ^ files.keys()}"
    for name, data in files.items():
        assert data, f"{name} is empty"
        assert hashlib.sha256(data).hexdigest() == sums[name], f"{name} has another checksum"

    for name in ("LSDKConfigurator.exe", "LSDKConfiguratorHelper.exe"):
        assert files[name] == (build / name).read_bytes(), f"{name} is not the one that was built"
        assert files[f"{name}.debug"] == (build / f"{name}.debug").read_bytes()
    for name in ("lsdk-log.exe", "LICENSE", "README.md", "docs/log-and-files.md"):
        assert name in files, f"{name} is missing"
    print(f"{len(files)} files, packed twice to the same bytes")


main(pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2]))

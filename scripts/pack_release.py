"""Packs a release: pack_release.py BUILD_FOLDER FILE.zip TIME

TIME, in seconds since 1970, becomes that of every entry, so that the same files give the same archive.
SHA256SUMS in it names every other file, as `sha256sum --check` takes it.
"""
import hashlib
import pathlib
import sys
import time
import zipfile

ROOT = pathlib.Path(__file__).resolve().parent.parent
BINARIES = ["LSDKConfigurator.exe", "LSDKConfiguratorHelper.exe", "lsdk-log.exe"]
WITH_SYMBOLS = BINARIES[:2]
DOCUMENTS = ["LICENSE", "README.md", "CHANGELOG.md", "docs/log-and-files.md", "docs/security.md",
             "docs/lsdk-log.png", "tools/lsdk-log/README.md"]
# What the executables hold of the compiler's runtime: its notices, as the distribution keeps them.
NOTICES = {
    "licences/mingw-w64.txt": "/usr/share/doc/mingw-w64-common/copyright",
    "licences/gcc-runtime.txt": "/usr/share/doc/gcc-mingw-w64-base/copyright",
}


def contents(build):
    files = {name: build / name for name in BINARIES}
    files |= {f"{name}.debug": build / f"{name}.debug" for name in WITH_SYMBOLS}
    files |= {name: ROOT / name for name in DOCUMENTS}
    files |= {name: pathlib.Path(path) for name, path in NOTICES.items()}
    return {name: path.read_bytes() for name, path in sorted(files.items())}


def pack(build, output, seconds):
    entries = contents(build)
    sums = "".join(f"{hashlib.sha256(data).hexdigest()}  {name}\n" for name, data in entries.items())
    entries["SHA256SUMS"] = sums.encode()
    stamp = time.gmtime(seconds)[:6]
    with zipfile.ZipFile(output, "w", zipfile.ZIP_DEFLATED, compresslevel=9) as archive:
        for name, data in entries.items():
            entry = zipfile.ZipInfo(f"{output.stem}/{name}", stamp)
            entry.create_system = 0  # no permissions, whatever system packs
            entry.compress_type = zipfile.ZIP_DEFLATED
            archive.writestr(entry, data)


if __name__ == "__main__":
    if len(sys.argv) != 4:
        sys.exit(__doc__)
    pack(pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2]), int(sys.argv[3]))

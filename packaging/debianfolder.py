"""The folder debian/ of a source tree, from the one beside this file.

usage: debianfolder.py SOURCES EPOCH TARGET

SOURCES is the top of the source tree, EPOCH its time in seconds since 1970, TARGET the folder to make. What the build
already knows stands nowhere else: the ABI, which is part of package and file names and is written @ABI@ here, and the
version. A version that is not released yet is older than its release.
"""
import datetime
import email.utils
import pathlib
import re
import shutil
import sys

HERE = pathlib.Path(__file__).resolve().parent
CHANGELOG = """\
quenlofar ({version}) unstable; urgency=medium

  * What has changed is in changelog.gz.

 -- {maintainer}  {date}
"""


def only(pattern, text):
    """What the one place in `text` that looks like `pattern` says."""
    found = re.findall(pattern, text, re.MULTILINE)
    if len(found) != 1:
        sys.exit(f"debianfolder: {len(found)} places look like {pattern}")
    return found[0]


def package_version(sources):
    version = only(r"^project\(quenlofar VERSION ([0-9.]+) ", (sources / "CMakeLists.txt").read_text())
    headings = re.findall(r"^## (.*)", (sources / "CHANGELOG.md").read_text(encoding="utf-8"), re.MULTILINE)
    return version + ("~dev" if headings[0] == "Unreleased" else "") + "-1"


def main(sources, epoch, target):
    sources, target = pathlib.Path(sources), pathlib.Path(target)
    abi = only(r"^set\(QUENLOFAR_ABI (\d+)\)", (sources / "CMakeLists.txt").read_text())
    shutil.copytree(HERE / "debian", target)
    for path in sorted(path for path in target.rglob("*") if path.is_file()):
        path.write_text(path.read_text(encoding="utf-8").replace("@ABI@", abi), encoding="utf-8")
        path.rename(path.with_name(path.name.replace("@ABI@", abi)))
    maintainer = only("^Maintainer: (.*)", (target / "control").read_text())
    date = email.utils.format_datetime(datetime.datetime.fromtimestamp(int(epoch), datetime.timezone.utc))
    (target / "changelog").write_text(
        CHANGELOG.format(version=package_version(sources), maintainer=maintainer, date=date), encoding="utf-8")


if __name__ == "__main__":
    if len(sys.argv) != 4:
        sys.exit(__doc__)
    main(*sys.argv[1:])

"""CHANGELOG.md as a Debian changelog.

usage: debianchangelog.py CHANGELOG PACKAGE VERSION EPOCH MAINTAINER

VERSION is that of the newest section, EPOCH its time in seconds since 1970; older sections are headed by their version
and date: "## 0.1.0 (2026-11-21)".
"""

import datetime
import email.utils
import pathlib
import re
import sys
import textwrap

HEADING = re.compile(r"## (\S+)(?: \((\d{4}-\d\d-\d\d)\))?$")


def sections(text):
    """Heading, and one text per change, newest section first."""
    found = []
    for line in text.splitlines():
        heading = HEADING.match(line)
        if heading:
            found.append((heading, []))
        elif found and line.startswith("- "):
            found[-1][1].append(line[2:])
        elif found and line.startswith("  "):
            found[-1][1][-1] += " " + line.strip()
    return found


def entry(package, version, changes, time, maintainer):
    items = [textwrap.fill(change, 76, initial_indent="  * ", subsequent_indent="    ", break_on_hyphens=False)
             for change in changes]
    return "\n\n".join([f"{package} ({version}) unstable; urgency=medium", "\n".join(items),
                        f" -- {maintainer}  {email.utils.format_datetime(time)}"])


def main(changelog, package, version, epoch, maintainer):
    entries = []
    for number, (heading, changes) in enumerate(sections(pathlib.Path(changelog).read_text(encoding="utf-8"))):
        if number == 0:
            time = datetime.datetime.fromtimestamp(int(epoch), datetime.timezone.utc)
        else:
            version = heading[1] + "-1"
            time = datetime.datetime.fromisoformat(heading[2]).replace(tzinfo=datetime.timezone.utc)
        entries.append(entry(package, version, changes, time, maintainer))
    print("\n\n".join(entries))


if __name__ == "__main__":
    if len(sys.argv) != 6:
        sys.exit(__doc__)
    main(*sys.argv[1:])

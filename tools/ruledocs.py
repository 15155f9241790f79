"""Makes docs/avi-rules.md from the rule tables of the AVI plug-in, as the program prints them: ./dev rules --accept."""
import argparse
import json
import pathlib
import subprocess
import sys

HEAD = """# Rules for AVI files

What `quenlofar check` looks for in AVI files. This page is made from the tables in `container-avi/analyze` by
`./dev rules --accept`; a test compares the two. Names are stable: scripts and policies use them, so no name is reused
or gets another meaning.

Severities: an *error* is data that is lost, unreachable or shown wrongly by some reader, or a broken must of the format;
with a *warning* readers cope, but practice says otherwise or the file promises something false; a *note* is legal and
unusual. Where there are several, the file decides. Levels: *quick* reads headers and sizes, *default* every chunk header
and index entry, *deep* payload too. [check.md](check.md) says how to use them.
"""


def output(program, *arguments):
    return json.loads(subprocess.run([program, "check", "--format", "json", *arguments], check=True,
                                     stdout=subprocess.PIPE).stdout)


def escaped(text):
    return text.replace("|", "\\|").replace("<", "&lt;")


def page(program):
    """The text of the page."""
    names = [rule["rule"] for rule in output(program, "--list-rules")["rules"] if rule["container"] == "AVI"]
    rules = [next(rule for rule in output(program, "--explain", name)["rules"] if rule["container"] == "AVI")
             for name in names]
    lines = [HEAD, "| rule | severity | level | repair | what has to hold |", "|---|---|---|---|---|"]
    for rule in rules:
        lines.append(f"| [{rule['rule']}](#{rule['rule']}) | {', '.join(rule['severities'])} | {rule['level']} | "
                     f"{rule['repair']} | {escaped(rule['title'])} |")
    for rule in rules:
        lines += ["", f"## {rule['rule']}", "", f"{escaped(rule['title'])}.", "", escaped(rule["reason"]), "",
                  f"- Who notices: {escaped(rule['affected'])}", f"- What to do: {escaped(rule['advice'])}",
                  f"- Source: {escaped(rule['source'])}"]
    return "\n".join(lines) + "\n"


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--accept", action="store_true", help="write the page")
    parser.add_argument("program")
    parser.add_argument("page", type=pathlib.Path)
    arguments = parser.parse_args()
    text = page(arguments.program)
    if arguments.accept:
        arguments.page.write_text(text)
        return 0
    if arguments.page.read_text() == text:
        return 0
    print(f"{arguments.page} is not what the rule tables say: ./dev rules --accept", file=sys.stderr)
    return 1


if __name__ == "__main__":
    sys.exit(main())

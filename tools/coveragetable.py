"""Prints what a JSON report of gcovr says: coveragetable.py REPORT LEAST-LINES LEAST-BRANCHES (both in percent).

Exit status 1 where the totals are below that.
"""
import json
import sys


def percent(covered, total):
    return 100.0 * covered / total if total else 100.0


def ranges(numbers):
    """[3, 4, 5, 9] as "3-5, 9"."""
    texts = []
    for number in sorted(numbers):
        if texts and texts[-1][1] == number - 1:
            texts[-1][1] = number
        else:
            texts.append([number, number])
    return ", ".join(str(a) if a == b else f"{a}-{b}" for a, b in texts)


def main():
    report, least_lines, least_branches = sys.argv[1], float(sys.argv[2]), float(sys.argv[3])
    with open(report, encoding="utf-8") as file:
        files = json.load(file)["files"]
    totals = [0, 0, 0, 0]
    not_reached, half_reached = [], []
    print(f"{'file':44} {'lines':>15} {'branches':>18}")

    def print_row(name, lines, all_lines, branches, all_branches):
        print(f"{name:44} {lines:4}/{all_lines:<4} {percent(lines, all_lines):5.1f}"
              f" {branches:6}/{all_branches:<5} {percent(branches, all_branches):5.1f}")

    for each in sorted(files, key=lambda entry: entry["file"]):
        lines = [line for line in each["lines"] if not line.get("gcovr/noncode")]
        branches = [(line["line_number"], branch) for line in lines for branch in line["branches"]]
        numbers = [sum(line["count"] > 0 for line in lines), len(lines),
                   sum(branch["count"] > 0 for _, branch in branches), len(branches)]
        print_row(each["file"], *numbers)
        totals = [a + b for a, b in zip(totals, numbers)]
        unreached = {line["line_number"] for line in lines if line["count"] == 0}
        if unreached:
            not_reached.append(f"{each['file']}: {ranges(unreached)}")
        partly = {number for number, branch in branches if branch["count"] == 0} - unreached
        if partly:
            half_reached.append(f"{each['file']}: {ranges(partly)}")
    print_row("all", *totals)
    print("\nlines that no test reaches:", *(not_reached or ["none"]), sep="\n  ")
    print("\nlines with a branch that no test takes:", *(half_reached or ["none"]), sep="\n  ")

    failed = False
    for what, reached, least in (("lines", percent(*totals[:2]), least_lines),
                                 ("branches", percent(*totals[2:]), least_branches)):
        if not files or reached < least:
            print(f"coverage: {reached:.1f} % of the {what} are fewer than {least:g} %", file=sys.stderr)
            failed = True
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())

# SPDX-License-Identifier: Apache-2.0
"""usage: instructions.py COUNTS-DIRECTORY TABLE [--update]

Compares the instructions per operation in callgrind's files with those in the table, or rewrites the table.
"""
import pathlib
import re
import sys

TOLERANCE = 0.03

HEADER = """\
# SPDX-License-Identifier: Apache-2.0
#
# Instructions per operation, in the release build. scripts/instructions compares with this table; --update rewrites it.
"""


def counted(directory):
    """The counts in the files: the trigger of each file names the operation and the number of runs."""
    result = {}
    files = sorted(directory.glob("*.*"), key=lambda file: (file.stem != "out", int(file.suffix[1:])))
    for file in files:
        text = file.read_text(errors="replace")
        trigger = re.search(r"^desc: Trigger: Client Request: (\w+) (\d+)$", text, re.MULTILINE)
        total = re.search(r"^totals: (\d+)$", text, re.MULTILINE)
        if trigger and total:
            result[trigger[1]] = round(int(total[1]) / int(trigger[2]))
    return result


def read_table(path):
    if not path.exists():
        return {}
    lines = [line.split() for line in path.read_text().splitlines() if line and not line.startswith("#")]
    return {operation: int(count) for operation, count in lines}


def write_table(path, counts):
    rows = [f"{operation:<26}{count:>10}\n" for operation, count in counts.items()]
    path.write_text(HEADER + "".join(rows))


def compare(today, table):
    """Prints the new counts next to the table's. Result: whether no count is missing or has grown too much."""
    good = True
    for operation in list(table) + [new for new in today if new not in table]:
        before, now = table.get(operation), today.get(operation)
        if before is None or now is None:
            remark = "not in the table" if before is None else "not counted"
            good = False
        else:
            change = now / before - 1
            remark = f"{change:+7.1%}"
            if change > TOLERANCE:
                remark += "  too many"
                good = False
        print(f"{operation:<26}{before or '-':>10}{now or '-':>10}  {remark}")
    return good


def main():
    arguments = sys.argv[1:]
    update = "--update" in arguments
    arguments = [argument for argument in arguments if argument != "--update"]
    if len(arguments) != 2:
        sys.exit(__doc__)
    today = counted(pathlib.Path(arguments[0]))
    table = pathlib.Path(arguments[1])
    if not today:
        sys.exit("instructions: no counts found")
    good = compare(today, read_table(table))
    if update:
        write_table(table, today)
    elif not good:
        sys.exit(1)


main()

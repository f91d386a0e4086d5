# SPDX-License-Identifier: Apache-2.0
"""usage: measure_sharing.py [--repetitions N] PROGRAMS-DIRECTORY DOCS-DIRECTORY

Measures settings that processes share, and writes its sections of performance.md and performance-details.md. Needs
dbus-run-session: the processes get a session and a home for configuration of their own.
"""
import argparse
import json
import os
import pathlib
import statistics
import subprocess
import sys
import tempfile
import textwrap

import sections

COUNTS = [1_000, 13_000]
TIMES = 300
LIVE = "live settings"
FLOOR = "floor"

GOAL_OF_COUNT = {1_000: 1.5, 13_000: 1.7}
GOAL_OF_WAITS = 0.5  # ms
GOAL_OF_START = 1.2

STARTS = {
    "nothing": "QtCore, and nothing else",
    "live": LIVE,
    "qsettings": "QSettings",
    "initialize": "`initialize`, with the save at exit",
}
WAITS = {
    "live": "save with `LiveSettings::sync`",
    "merge": "merge 100 names that another process has saved",
    "plain": "save with `saveSettings`, without live settings",
}

INTRODUCTION = """
`scripts/bench-live` measures and writes this section. A change made with live settings is durable, and visible to other
processes, after {save[0]:.2f} ms with 1,000 settings and after {save[1]:.2f} ms with 13,000. That is
{save_ratio[0]:.2f} and {save_ratio[1]:.2f} times the *floor*, the time that it takes only to replace a file of the same
size: write, fsync, rename, fsync of the directory. A listener in another process is notified after {hear[0]:.2f} and
{hear[1]:.2f} ms.

The figures are medians of {repetitions} changes, on {processors} processors, with temporary files on {file_system}. The
load average was {load_before:.2f} before and {load_after:.2f} after.
"""

SAVING = """
### Saving a change

Half of the settings are integers, half are short strings. A change counts as saved when it is durable and other
processes can read it. For live settings that takes a `write` and a `LiveSettings::sync`, which also keeps the previous
file. For LMDB and SQLite (write-ahead log, `synchronous=FULL`) it takes a transaction, which writes a few pages and not
the whole file. The other stores save in their own way. The stores take turns, each in its own process.
"""

HEARING = """
### Notifying another process

The time from the change in one process to the call of the listener in another. Live settings use a `Listener`, KConfig
its `KConfigWatcher` and dconf its client library, both over a private D-Bus. QSettings does not notify other processes,
so its listener watches the file, reads it again and compares the value. LMDB and SQLite are left out, because programs
have to poll them. The floor is the time that the writer takes. A listener can run before the writer's last fsync has
returned, so its time can be below the floor. The floor of this table was measured separately from the one above.
"""

STARTING = """
### Starting a program

The elapsed time of a whole process that starts, reads ten of 371 settings and exits. These are small programs, linked
only with what they use; [Start and exit](performance-details.md#start-and-exit) has the times of the benchmark program
itself, measured separately.
"""

WAITING = """
### Reading during a save

The longest time that a single read takes, in a thread that reads without pause, during each of {times} saves of 100,000
settings, or merges of changes to them: the median and the 95th percentile. The last column leaves out reads that took
long only because the scheduler ran another thread meanwhile. That happens mostly during merges, when the other process
needs a processor too.
"""


def run_sharing(program, count, repetitions):
    """The medians in milliseconds: by row, then by way."""
    with tempfile.TemporaryDirectory() as home:
        # dconf keeps a file of the same name in each of the two.
        environment = dict(os.environ)
        for variable in "XDG_CONFIG_HOME", "XDG_RUNTIME_DIR":
            environment[variable] = os.path.join(home, variable)
            os.mkdir(environment[variable], 0o700)
        command = ["dbus-run-session", "--", program, str(count), str(repetitions)]
        output = subprocess.run(command, check=True, env=environment, stdout=subprocess.PIPE, text=True).stdout
    result = {}
    for row, way, median, _ in (line.split("\t") for line in output.splitlines()):
        result.setdefault(row, {})[way] = float(median) / 1e6
    return result


def run_waits(program, way):
    """In milliseconds: the median, the 95th percentile, and that without interruptions."""
    command = [program, way, "100000", str(TIMES)]
    output = subprocess.run(command, check=True, stdout=subprocess.PIPE, text=True).stdout
    columns = [sorted(float(wait) / 1e6 for wait in column) for column in zip(*map(str.split, output.splitlines()))]
    return [statistics.median(columns[0])] + [column[len(column) * 95 // 100] for column in columns]


def run_starts(program):
    """The medians in milliseconds, by program."""
    with tempfile.NamedTemporaryFile(suffix=".json") as out:
        command = [
            program,
            "--benchmark_filter=start_and_read",
            "--benchmark_repetitions=15",
            "--benchmark_enable_random_interleaving=true",
            "--benchmark_min_time=0.1",
            f"--benchmark_out={out.name}",
            "--benchmark_out_format=json",
        ]
        subprocess.run(command, check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        runs = json.loads(pathlib.Path(out.name).read_text())["benchmarks"]
    medians = [run for run in runs if run.get("aggregate_name") == "median"]
    return {run["run_name"].split("/")[2]: run["real_time"] for run in medians}


def measure(programs, repetitions):
    def program(name):
        return str(programs / f"velmorand-bench-{name}")

    return {
        "repetitions": repetitions,
        "processors": os.cpu_count(),
        "load_before": os.getloadavg()[0],
        "sharing": {count: run_sharing(program("sharing"), count, repetitions) for count in COUNTS},
        "waits": {way: run_waits(program("waits"), way) for way in WAITS},
        "starts": run_starts(program("process")),
        "load_after": os.getloadavg()[0],
        "file_system": subprocess.run(
            ["df", "--output=fstype", tempfile.gettempdir()], check=True, stdout=subprocess.PIPE, text=True
        ).stdout.split()[-1],
    }


def table(head, lines):
    yield "| " + " | ".join(head) + " |"
    yield "|---" + "|---:" * (len(head) - 1) + "|"
    for line in lines:
        yield "| " + " | ".join(line) + " |"


def sharing_table(sharing, row):
    head = ["store"]
    for count in COUNTS:
        head += [f"{count:,} settings, ms", "relative to the floor"]
    first = sharing[COUNTS[0]][row]
    lines = []
    for way in sorted(first, key=first.get):
        line = [f"**{way}**" if way == LIVE else way]
        for count in COUNTS:
            measured = sharing[count][row]
            line += [f"{measured[way]:.2f}", f"{measured[way] / measured[FLOOR]:.2f}"]
        lines.append(line)
    return table(head, lines)


def starts_table(starts):
    least = starts["nothing"]
    lines = [[title, f"{starts[name]:.2f}", f"{starts[name] / least:.2f}"] for name, title in STARTS.items()]
    return table(["program with", "time, ms", "relative to QtCore"], lines)


def waits_table(waits):
    lines = [[title] + [f"{wait:.3f}" for wait in waits[way]] for way, title in WAITS.items()]
    return table(["meanwhile", "median, ms", "95th percentile, ms", "95th percentile without interruptions, ms"], lines)


def ratios(result, row):
    return [result["sharing"][count][row][LIVE] / result["sharing"][count][row][FLOOR] for count in COUNTS]


def goals_tables(result):
    """One for ratios, one for times."""
    head = ["live settings", "measured", "goal", "met"]

    def lines(goals, digits):
        return [[title, f"{value:.{digits}f}", f"{goal:.1f}", "yes" if value <= goal else "no"]
                for title, value, goal in goals]

    goals = []
    for row, title in {"save": "save a change", "hear": "notify another process"}.items():
        for count, ratio in zip(COUNTS, ratios(result, row)):
            goals.append((f"{title}, {count:,} settings, relative to the floor", ratio, GOAL_OF_COUNT[count]))
    starts = result["starts"]
    goals.append(("start a program, relative to QtCore", starts["live"] / starts["nothing"], GOAL_OF_START))
    yield from table(head, lines(goals, 2))
    yield ""
    head[1:3] = ["measured, ms", "goal, ms"]
    yield from table(head, lines([
        ("longest read during a save, 95th percentile", result["waits"]["live"][1], GOAL_OF_WAITS),
        ("longest read during a merge, 95th percentile", result["waits"]["merge"][1], GOAL_OF_WAITS),
    ], 3))


def wrapped(text):
    """Text with its paragraphs filled again, since figures differ in length."""
    paragraphs = text.strip().split("\n\n")
    return "\n\n".join(textwrap.fill(paragraph, 120, break_on_hyphens=False) for paragraph in paragraphs) + "\n"


def section(result):
    save, hear = ([result["sharing"][count][row][LIVE] for count in COUNTS] for row in ("save", "hear"))
    yield wrapped(INTRODUCTION.format(save=save, hear=hear, save_ratio=ratios(result, "save"), **result))
    yield wrapped(SAVING)
    yield from sharing_table(result["sharing"], "save")
    yield "\n" + wrapped(HEARING)
    yield from sharing_table(result["sharing"], "hear")
    yield "\n" + wrapped(STARTING)
    yield from starts_table(result["starts"])
    yield "\n" + wrapped(WAITING.format(times=TIMES))
    yield from waits_table(result["waits"])


def main():
    parser = argparse.ArgumentParser(usage=__doc__)
    parser.add_argument("--repetitions", type=int, default=100)
    parser.add_argument("programs", type=pathlib.Path)
    parser.add_argument("docs", type=pathlib.Path)
    arguments = parser.parse_args()
    result = measure(arguments.programs.resolve(), arguments.repetitions)
    for page, heading, lines in (
        ("performance.md", sections.SHARED, section(result)),
        ("performance-details.md", sections.GOALS, goals_tables(result)),
    ):
        text = "\n".join(lines)
        sections.replace(arguments.docs / page, heading, text)
        print(text)


main()

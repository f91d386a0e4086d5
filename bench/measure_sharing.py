# SPDX-License-Identifier: Apache-2.0
"""usage: measure_sharing.py [--repetitions N] PROGRAMS-DIRECTORY

Measures settings that processes share, and prints the tables for docs/performance.md. Needs dbus-run-session: the
processes get a session and a home for configuration of their own.
"""
import argparse
import os
import pathlib
import subprocess
import tempfile

COUNTS = [1_000, 13_000]
GOALS = {1_000: 1.5, 13_000: 1.7}
ROWS = {"save": "a change durable and visible", "hear": "a change heard in another process"}


def run_sharing(program, count, repetitions):
    """The medians in nanoseconds: by row, then by way."""
    with tempfile.TemporaryDirectory() as home:
        environment = dict(os.environ, XDG_CONFIG_HOME=home, XDG_RUNTIME_DIR=home)
        command = ["dbus-run-session", "--", program, str(count), str(repetitions)]
        output = subprocess.run(command, check=True, env=environment, stdout=subprocess.PIPE, text=True).stdout
    result = {}
    for row, way, median, _ in (line.split("\t") for line in output.splitlines()):
        result.setdefault(row, {})[way] = float(median)
    return result


def run_waits(program, way):
    lines = subprocess.run([program, way, "100000", "300"], check=True, stdout=subprocess.PIPE, text=True).stdout
    waits = sorted(int(line) for line in lines.split())
    return waits[len(waits) // 2], waits[len(waits) * 95 // 100]


def print_sharing(programs, repetitions):
    print("| operation | settings | way | median in ms | way / floor | goal |\n|---|---:|---|---:|---:|---:|")
    for count in COUNTS:
        measured = run_sharing(programs / "velmorand-bench-sharing", count, repetitions)
        for row, title in ROWS.items():
            floor = measured[row]["floor"]
            for way, median in sorted(measured[row].items(), key=lambda item: item[1]):
                goal = GOALS[count] if way == "live settings" else "-"
                print(f"| {title} | {count:,} | {way} | {median / 1e6:.1f} | {median / floor:.2f} | {goal} |")


def print_waits(programs):
    print("\n| a reader's longest wait in a save | median in ms | 95th percentile in ms |\n|---|---:|---:|")
    for way, title in {"live": "`LiveSettings::sync`", "plain": "`saveSettings` without live settings"}.items():
        median, high = run_waits(programs / "velmorand-bench-waits", way)
        print(f"| {title} | {median / 1e6:.3f} | {high / 1e6:.3f} |")


def main():
    parser = argparse.ArgumentParser(usage=__doc__)
    parser.add_argument("--repetitions", type=int, default=100)
    parser.add_argument("programs", type=pathlib.Path)
    arguments = parser.parse_args()
    print_sharing(arguments.programs.resolve(), arguments.repetitions)
    print_waits(arguments.programs.resolve())


main()

# SPDX-License-Identifier: Apache-2.0
"""usage: measure.py [--repetitions N] [--seconds S] PROGRAMS-DIRECTORY RESULT.json

Runs the benchmark programs and writes the median of each benchmark. One process measures one row for all stores, with
the repetitions in random order, so that a temporary disturbance of the machine affects all stores alike.
"""
import argparse
import json
import os
import pathlib
import platform
import re
import statistics
import subprocess
import sys
import tempfile

import rows

PEER_PACKAGES = ["libglib2.0-0", "liblmdb0", "libqt5core5a", "libkf5configcore5", "libsqlite3-0", "libboost-dev"]
OTHER_PACKAGES = ["g++", "libstdc++6", "libc6", "libbenchmark-dev"]


def run_row(program, row, arguments):
    """The medians of one row, by the rest of the benchmark's name."""
    with tempfile.NamedTemporaryFile(suffix=".json") as out:
        command = [
            program,
            f"--benchmark_filter=^{row}/",
            f"--benchmark_repetitions={arguments.repetitions}",
            "--benchmark_enable_random_interleaving=true",
            f"--benchmark_min_time={arguments.seconds}",
            f"--benchmark_out={out.name}",
            "--benchmark_out_format=json",
        ]
        subprocess.run(command, check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        report = json.loads(pathlib.Path(out.name).read_text())
    times = {}
    for run in report["benchmarks"]:
        if run.get("run_type") == "aggregate":
            continue
        if run.get("error_occurred"):
            sys.exit(f"{run['name']}: {run['error_message']}")
        name = run["run_name"].removeprefix(row + "/")
        # Work that waits for the disk or another thread is measured in elapsed time, the rest in processor time.
        waits = "/real_time" in name
        name = re.sub(r"/real_time.*", "", name)
        scale = {"ns": 1, "us": 1e3, "ms": 1e6}[run["time_unit"]]
        times.setdefault(name, []).append(run["real_time" if waits else "cpu_time"] * scale)
    if not times:
        sys.exit(f"{program} has no row {row}")
    return {name: statistics.median(values) for name, values in times.items()}


def measure_memory(program):
    lines = subprocess.run([program], check=True, capture_output=True, text=True).stdout.splitlines()
    return {store: float(size) for store, size in (line.split("\t") for line in lines)}


def first_match(path, pattern):
    found = re.search(pattern, pathlib.Path(path).read_text(), re.MULTILINE)
    return found[1].strip() if found else "unknown"


def version_of(package):
    query = subprocess.run(["dpkg-query", "-W", "-f", "${Version}", package], capture_output=True, text=True)
    return query.stdout if query.returncode == 0 else None


def machine():
    memory = int(first_match("/proc/meminfo", r"^MemTotal:\s*(\d+)")) / 1024 / 1024
    file_system = subprocess.run(
        ["stat", "-f", "-c", "%T", tempfile.gettempdir()], check=True, capture_output=True, text=True
    ).stdout.strip()
    return {
        "processor": first_match("/proc/cpuinfo", r"^model name\s*:\s*(.*)$"),
        "processors": os.cpu_count(),
        "memory": f"{memory:.0f} GiB",
        "system": first_match("/etc/os-release", r'^PRETTY_NAME="(.*)"$'),
        "kernel": platform.release(),
        "file system": file_system,
        "load": os.getloadavg()[0],
        "packages": {name: version_of(name) for name in PEER_PACKAGES + OTHER_PACKAGES if version_of(name)},
    }


def main():
    parser = argparse.ArgumentParser(usage=__doc__)
    parser.add_argument("--repetitions", type=int, default=7)
    parser.add_argument("--seconds", default="0.1")
    parser.add_argument("programs", type=pathlib.Path)
    parser.add_argument("result", type=pathlib.Path)
    arguments = parser.parse_args()

    def program(name):
        return str(arguments.programs / f"velmorand-bench-{name}")

    def measured(name, row):
        print(f"measuring {row}", file=sys.stderr, flush=True)
        return run_row(program(name), row, arguments)

    result = {"machine": machine(), "repetitions": arguments.repetitions}
    compared = [row for row, _, _ in rows.COMPARISON if row != "memory" and not row.startswith("growth")]
    compared += [f"growth/{count}" for count in rows.GROWTH if count != 10_000] # that is "read_integer"
    result["comparison"] = {row: measured("compare", row) for row in compared}
    result["comparison"]["memory"] = measure_memory(program("memory"))
    result["details"] = {row: measured("details", row) for row, _, _ in rows.DETAILS}
    result["declared"] = {row: measured("declared", row) for row, _ in rows.DECLARED}
    result["declared threads"] = measured("declared", "declared_threads")
    result["process"] = measured("process", "process")
    arguments.result.write_text(json.dumps(result, indent=1) + "\n")


main()

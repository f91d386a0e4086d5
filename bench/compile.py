# SPDX-License-Identifier: Apache-2.0
"""usage: compile.py [--repetitions N] BUILD RESULT.json

Measures how long g++ -O2 takes to compile files that use the settings, compared with files that use QSettings, and adds
the medians of the compiler's time to the result of measure.py. The files are compiled in turns, so that a disturbance
of the machine affects all of them. BUILD is the build directory, where some headers are generated.
"""
import argparse
import json
import os
import pathlib
import statistics
import subprocess
import tempfile

ROOT = pathlib.Path(__file__).resolve().parent.parent
INCLUDED = ["settings/include", "include", "platform/exception/include", "platform/filesystem/include"]

SOURCES = {
    "property": "#include <velmorand/Property.h>\n",
    "property used": """\
#include <velmorand/Property.h>
velmorand::Property<int> const width{"editor/width", 80};
int get() { return width.get(); }
""",
    "QSettings": "#include <QSettings>\n",
    "QSettings used": """\
#include <QSettings>
int get() { return QSettings().value("editor/width", 80).toInt(); }
""",
    "nothing": "",
}


def compiler_time(command):
    """The processor time, in seconds, of a command and its child processes."""
    process = subprocess.Popen(command)
    _, status, usage = os.wait4(process.pid, 0)
    if status != 0:
        raise SystemExit(f"failed: {' '.join(command)}")
    return usage.ru_utime + usage.ru_stime


def main():
    parser = argparse.ArgumentParser(usage=__doc__)
    parser.add_argument("--repetitions", type=int, default=21)
    parser.add_argument("build", type=pathlib.Path)
    parser.add_argument("result", type=pathlib.Path)
    arguments = parser.parse_args()
    flags = subprocess.run(["pkg-config", "--cflags", "Qt5Core"], check=True, capture_output=True, text=True).stdout
    command = ["g++", "-std=c++17", "-O2", "-fPIC", "-c", "-o", os.devnull, *flags.split()]
    command += [f"-I{ROOT / folder}" for folder in INCLUDED]
    command.append(f"-I{arguments.build / 'include'}")
    times = {name: [] for name in SOURCES}
    with tempfile.TemporaryDirectory() as directory:
        for name, text in SOURCES.items():
            (pathlib.Path(directory) / f"{name}.cpp").write_text(text)
        for _ in range(arguments.repetitions):
            for name in SOURCES:
                times[name].append(compiler_time([*command, str(pathlib.Path(directory) / f"{name}.cpp")]))
    result = json.loads(arguments.result.read_text()) if arguments.result.exists() else {}
    result["compile"] = {name: statistics.median(values) for name, values in times.items()}
    arguments.result.write_text(json.dumps(result, indent=1) + "\n")
    for name, seconds in result["compile"].items():
        print(f"{name:<16}{seconds * 1000:6.0f} ms")


main()

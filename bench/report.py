# SPDX-License-Identifier: Apache-2.0
"""usage: report.py RESULT.json DOCS-DIRECTORY

Prints the table of ratios, and writes performance.md, its plots, and performance/measured.json, a copy of RESULT.json
from which they can be drawn again without measuring.
"""
import json
import pathlib
import sys
import textwrap

import plots
import rows

OURS = "register"
LIMIT = "limit"

METHOD = """\
# Performance

This page compares the speed of the register with that of stores that an application could use instead, and with the
*limit*: a lock around a hash table, the least work that any thread-safe store must do. `scripts/bench` installs the
other stores, builds, measures, and writes this page and its plots, except for the section on
[settings shared between processes](#settings-shared-between-processes). Times vary from machine to machine; ratios vary
much less.

## Method

- The **limit** is a `std::recursive_mutex` around a `std::unordered_map` of `std::variant`. It keeps a list of the
  names in each group, notifies only the listener on the property's own group, and saves by writing out the table.
- All stores do the same work on the same names: 10,000 properties in 100 groups, `group_i/sub_j/prop_k` with 24
  characters, in the same random order. The rows that load, save or measure memory have 100,000. A list is one property,
  read again and again into the same vector.
- Each figure is the median of {repetitions} repetitions. One process measures one row for all stores, with the
  repetitions in random order. Rows that wait for the disk or for other threads count elapsed time, all others processor
  time.
- Some operations are in two tables: reading an integer among 10,000 properties is also a row of [Growth](#growth), and
  lists of 100 integers and of 1,000 numbers, and a write that notifies one listener, are also in
  [More of the register](#more-of-the-register). Their figures differ, because each table is measured separately, while
  the load of the machine changes. In addition, most rows of "More of the register" use one name, whose data stays in
  the processor's cache.
- For a safe save, each store uses its own method, if it has one. Otherwise, and for the limit, the file is written
  under another name, flushed, and renamed over the old one. The settings have changed since the last save. A load ends
  with a read in each group. LMDB and SQLite do not load their file: they map or open it.
- LMDB's writes are transactions that do not wait for the disk. SQLite is in memory. GSettings uses its memory backend,
  and its key-file backend in the rows that load and save.
- Creating a property means writing an integer to a name that does not exist. Reading with a fallback first asks the
  register whether the name exists.
- Memory is what the heap allocates for 100,000 properties, with its overhead: a quarter each of integers, numbers,
  booleans and strings of 8 bytes. For LMDB it is the pages of its map.

## Machine
"""


def wrapped(paragraph):
    return textwrap.wrap(paragraph, 120, break_on_hyphens=False)


def machine_lines(machine):
    yield f"- {machine['processor']}, {machine['processors']} processors, {machine['memory']}"
    yield f"- {machine['system']}, Linux {machine['kernel']}, temporary files on {machine['file system']}"
    yield f"- load average at the end: {machine['load']:.1f}"
    packages = ", ".join(f"{name} {version}" for name, version in machine["packages"].items())
    yield from textwrap.wrap("- " + packages, 120, subsequent_indent="  ", break_on_hyphens=False)


def table(head, lines):
    yield "| " + " | ".join(head) + " |"
    yield "|---|" + "---:|" * (len(head) - 1)
    for line in lines:
        yield "| " + " | ".join(line) + " |"


def nanoseconds_text(nanoseconds):
    return f"{nanoseconds:,.0f}"


def milliseconds_text(nanoseconds):
    milliseconds = nanoseconds / 1e6
    return f"{milliseconds:.1f}" if milliseconds >= 1 else f"{milliseconds:.3f}"


def bytes_text(size):
    return f"{size:.0f}"


def ratio_text(ratio):
    return f"{ratio:.2f}" if ratio < 10 else f"{ratio:.0f}"


def goal_table(comparison):
    lines = []
    for row, title, goal in rows.COMPARISON:
        ratio = comparison[row][OURS] / comparison[row][LIMIT]
        lines.append([title, ratio_text(ratio), f"{goal}", "yes" if ratio <= goal else "**no**"])
    return table(["operation", "register / limit", "goal", "met"], lines)


def peers_of(comparison):
    return [store for store in rows.STORES if store in comparison["memory"] and store not in (OURS, LIMIT)]


def value_table(comparison, unit, text_of, chosen):
    """What was measured in the chosen rows, all of which have the same unit."""
    stores = [OURS, LIMIT] + peers_of(comparison)
    lines = []
    for row, title, _ in rows.COMPARISON:
        if row in chosen:
            cells = [comparison[row].get(store) for store in stores]
            lines.append([title] + ["-" if cell is None else text_of(cell) for cell in cells])
    return table([unit] + stores, lines)


def value_tables(comparison):
    """A table for each unit."""
    files, memory = ["load", "save"], ["memory"]
    times = [row for row, _, _ in rows.COMPARISON if row not in files + memory]
    yield from value_table(comparison, "time, ns", nanoseconds_text, times)
    yield ""
    yield from value_table(comparison, "time, ms", milliseconds_text, files)
    yield ""
    yield from value_table(comparison, "size, bytes", bytes_text, memory)


def ratio_table(comparison):
    """What each store takes as a multiple of the register: below 1 it is ahead."""
    stores = [LIMIT] + peers_of(comparison)
    lines = []
    for row, title, _ in rows.COMPARISON:
        ours = comparison[row][OURS]
        cells = [comparison[row].get(store) for store in stores]
        texts = ["-" if cell is None else ratio_text(cell / ours) for cell in cells]
        lines.append([title] + [f"**{text}**" if cell is not None and cell < ours and store != LIMIT else text
                                for store, cell, text in zip(stores, cells, texts)])
    return table(["operation"] + stores, lines)


def growth_table(comparison):
    stores = [OURS, LIMIT] + peers_of(comparison)
    lines = [
        [f"{count:,}"] + [nanoseconds_text(comparison[f"growth/{count}"][store]) for store in stores]
        for count in rows.GROWTH
    ]
    return table(["properties (times in ns)"] + stores, lines)


def details_table(parameter_title, measured):
    parameters = {name.rpartition("/")[0] for name in measured}
    parameters = sorted(parameters, key=lambda text: int(text) if text.isdigit() else text)
    lines = []
    for parameter in parameters:
        ours, limit = measured.get(f"{parameter}/{OURS}"), measured.get(f"{parameter}/{LIMIT}")
        ratio = ratio_text(ours / limit) if limit else "-"
        label = f"{int(parameter):,}" if parameter.isdigit() else parameter
        lines.append([label, nanoseconds_text(ours), nanoseconds_text(limit) if limit else "-", ratio])
    return table([parameter_title, f"{OURS}, ns", f"{LIMIT}, ns", f"{OURS} / {LIMIT}"], lines)


def process_table(measured):
    return table(["whole process", "time, ms"],
                 [[title, milliseconds_text(measured[row])] for row, title in rows.PROCESS])


AGAINST_LIMIT = """\
The time that the register takes or, in the last row, the memory, relative to the limit (1 = same). For files and
memory, the limit is a simple implementation rather than a lower bound.
"""

AGAINST_OTHERS = """\
To list a group, the register returns a set of names that belongs to the caller, with an allocation and a reference for
each name; a store that returns plain strings, or the bytes of a page, needs less time. Pages of packed names and values
also need less memory than nodes that can be found directly and can grow. LMDB and SQLite only map or open their file,
whereas the others load it.
"""

COMPARISON_CAPTION = """\
*One panel for each operation, with the cheapest store at the top. Bars start at the limit, 1: a store whose bar points
to the left takes less than the limit, to the right more. Each step of the axis is a factor of 10.*
"""

GROWTH_CAPTION = """\
*One line for each store; lower is faster. The flatter the line, the less a read depends on the number of properties.
Both axes are logarithmic.*
"""

START = """\
The elapsed time of a whole process: the benchmark program itself, which is linked with every store that it measures.
[Starting a program](#starting-a-program) has the times of small programs.
"""

DECLARED = """
## Declared settings

The time to read a declared setting with `Property::get()` if nothing in the register has changed since the last read:
100 settings among 10,000 properties, in turn. The other stores read the same values by name; *read* is the register's
own reader. The *floor* is one relaxed load from an atomic variable with a copy of the value, which nothing keeps up to
date.
"""


def declared_goal_table(declared):
    lines = []
    for row, title in rows.DECLARED:
        time, limit, mirror = (declared[row][store] for store in ("declared", LIMIT, "mirror"))
        ratio = time / limit
        met = "yes" if ratio <= rows.DECLARED_GOAL else "**no**"
        lines.append([title, f"{time:.1f}", f"{mirror:.1f}", f"{limit:.1f}", f"{ratio:.2f}", f"{rows.DECLARED_GOAL}",
                      met])
    return table(["type", "declared, ns", "floor, ns", f"{LIMIT}, ns", "declared / limit", "goal", "met"], lines)


def declared_others_table(declared):
    """What each store takes as a multiple of a declared setting."""
    stores = [store for store in rows.STORES if store in declared[rows.DECLARED[0][0]]]
    lines = []
    for row, title in rows.DECLARED:
        lines.append([title] + [ratio_text(declared[row][store] / declared[row]["declared"])
                                for store in stores])
    return table(["type"] + ["read" if store == OURS else store for store in stores], lines)


def declared_threads_table(times):
    stores = ["declared", "mirror", LIMIT, OURS]
    lines = [
        [str(threads)] + [f"{times[f'{threads}/{store}']:.1f}" for store in stores] for threads in rows.DECLARED_THREADS
    ]
    return table(["threads (times in ns)", "declared", "floor", LIMIT, "read"], lines)


def compile_table(compiled):
    lines = []
    for ours, other, title in rows.COMPILED:
        ratio = compiled[ours] / compiled[other]
        met = "yes" if ratio <= rows.COMPILED_GOAL else "**no**"
        lines.append([title, f"{compiled[ours] * 1000:.0f}", f"{compiled[other] * 1000:.0f}", f"{ratio:.2f}",
                      f"{rows.COMPILED_GOAL}", met])
    return table(["g++ -O2", "`velmorand/Property.h`, ms", "`QSettings`, ms", "ratio", "goal", "met"], lines)


def declared_section(result):
    declared = result["declared"]
    yield DECLARED
    yield from declared_goal_table(declared)
    yield "\nTime relative to a declared setting (1 = same):\n"
    yield from declared_others_table(declared)
    yield "\nAn `int`, read by several threads: the elapsed time, divided by the reads of all threads.\n"
    yield from declared_threads_table(result["declared threads"])
    yield "\nProcessor time to compile a file that includes the header:\n"
    yield from compile_table(result["compile"])


def page(result):
    comparison = result["comparison"]
    yield METHOD.format(repetitions=result["repetitions"])
    yield from machine_lines(result["machine"])
    yield "\n## Against the limit\n"
    yield from wrapped(AGAINST_LIMIT)
    yield ""
    yield from goal_table(comparison)
    yield "\n## Against the others\n"
    yield "The cost of each store relative to the register (1 = same). Bold: the store costs less.\n"
    yield from ratio_table(comparison)
    yield ""
    yield from wrapped(AGAINST_OTHERS)
    yield "\n![The stores, operation by operation](performance/comparison.svg)\n"
    yield from wrapped(COMPARISON_CAPTION)
    yield "\nThe measured values:\n"
    yield from value_tables(comparison)
    yield from declared_section(result)
    yield "\n## Growth\n"
    yield "The time to read one integer, by the number of properties in the store.\n"
    yield "![Reading an integer, by the number of properties](performance/growth.svg)\n"
    yield from wrapped(GROWTH_CAPTION)
    yield ""
    yield from growth_table(comparison)
    yield "\n## Start and exit\n"
    yield from wrapped(START)
    yield ""
    yield from process_table(result["process"])
    yield "\n## More of the register"
    for row, title, parameter in rows.DETAILS:
        yield f"\n### {title}\n"
        yield from details_table(parameter, result["details"][row])


def shared_section(path):
    """The section on shared settings, which scripts/bench-live measures: it stays as it is."""
    heading = "\n## Settings shared between processes\n"
    _, found, section = path.read_text().partition(heading) if path.exists() else ("", "", "")
    return found + section


def main():
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    measured = pathlib.Path(sys.argv[1]).read_text()
    result = json.loads(measured)
    docs = pathlib.Path(sys.argv[2])
    (docs / "performance").mkdir(parents=True, exist_ok=True)
    (docs / "performance" / "measured.json").write_text(measured)
    comparison = result["comparison"]
    target = docs / "performance.md"
    target.write_text("\n".join(page(result)) + "\n" + shared_section(target))
    (docs / "performance" / "growth.svg").write_text(plots.growth(comparison, rows.GROWTH))
    (docs / "performance" / "comparison.svg").write_text(plots.comparison(comparison, rows.COMPARISON))
    print("\n".join(goal_table(comparison)), "\n")
    print("\n".join(ratio_table(comparison)), "\n")
    print("\n".join(declared_section(result)))


main()

# SPDX-License-Identifier: Apache-2.0
"""usage: report.py RESULT.json DOCS-DIRECTORY

Prints the tables of ratios, and writes performance.md, performance-details.md, their plots, and
performance/measured.json, a copy of RESULT.json from which they can be written again without measuring.
"""
import json
import pathlib
import sys
import textwrap

import plots
import rows
import sections

OURS = "register"
LIMIT = "limit"

MAIN = "performance.md"
DETAILS = "performance-details.md"

INTRODUCTION = """\
# Performance

How fast the register is, compared with other stores that an application could use, for readers who are choosing one.
[Performance in detail](performance-details.md) describes how the figures were measured and has those of single
operations.
"""

STORES = """
## The stores compared

{count} settings in the store, unless a column says otherwise. The *limit* is not a store: it is a lock around a hash
table of the standard library, which does little more than find a value. Its names and values are separate blocks of
memory, whereas the register keeps a short name and its value together, and is therefore sometimes faster.
"""

AHEAD = """\
Bold figures are better than the register's. LMDB and SQLite map or open their file where the other stores load and
check it. They keep settings packed in pages, which takes less memory than entries that can be found directly and can
grow.
"""

COMPARISON_CAPTION = """\
*One panel for each operation, with the cheapest store at the top. Bars start at the limit, 1: a store whose bar points
to the left takes less than the limit, to the right more. Each step of the axis is a factor of 10.*
"""

DECLARED = """
## Declared settings

The time to read a setting with `Property::get()` if nothing in the register has changed since the last read: 100
settings among 10,000, in turn. The *floor* is one relaxed load from an atomic variable with a copy of the value, which
nothing keeps up to date. The other stores read the same values by name; *register* is the register's own reader.
"""

METHOD = """\
# Performance in detail

The figures behind [Performance](performance.md), for developers of the register and for readers who want to repeat the
measurements. `scripts/bench` installs the other stores, builds, measures, and writes both pages and their plots, except
for the section on settings shared between processes, which `scripts/bench-live` writes. Times vary from machine to
machine; ratios vary much less.

## Method

- The **limit** is a `std::recursive_mutex` around a `std::unordered_map` of `std::variant`. It keeps a list of the
  names in each group, notifies only the listener on the property's own group, and saves by writing out the table. It
  is a simple implementation rather than a lower bound.
- All stores do the same work on the same names: 10,000 properties in 100 groups, `group_i/sub_j/prop_k` with 24
  characters, in the same random order. The rows that load, save or measure memory have 100,000. A list is one property,
  read again and again into the same vector.
- The register is measured without the settings library, except where a row or table names it, and when it lists a
  group, with `Group::properties`.
- Each figure is the median of {repetitions} repetitions. One process measures one row for all stores, with the
  repetitions in random order. Rows that wait for the disk or for other threads count elapsed time, all others processor
  time.
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

AGAINST_LIMIT = """
## Against the limit

The time that the register takes or, in the last row, the memory, relative to the limit (1 = same).
"""

GROWTH = """
## Growth

The time to read one integer, by the number of properties in the store.

![Reading an integer, by the number of properties](performance/growth.svg)

*One line for each store; lower is faster. The flatter the line, the less a read depends on the number of properties.
Both axes are logarithmic.*
"""

THREADS = """
## Declared settings in several threads

How many times as many reads of an `int` several threads complete together as one thread does.
"""

START = """
## Start and exit

The elapsed time of a whole process: the benchmark program itself, which is linked with every store that it measures.
[Starting a program](performance.md#starting-a-program) has the times of small programs.
"""

SINGLE = """
## The register and the limit, by size

In these tables, unless a heading says otherwise, one property is used again and again, so that its data stays in the
processor's cache.
"""


def wrapped(paragraph):
    return textwrap.wrap(paragraph, 120, break_on_hyphens=False)


def machine_lines(machine):
    yield f"- {machine['processor']}, {machine['processors']} processors, {machine['memory']}"
    yield f"- {machine['system']}, Linux {machine['kernel']}, temporary files on {machine['file system']}"
    yield f"- load average before: {machine['load']:.2f}"
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


def ratio_text(ratio):
    return f"{ratio:.2f}" if ratio < 10 else f"{ratio:.0f}"


def goal_table(comparison, declared):
    lines = declared_goals(declared)
    for row, title, goal in rows.COMPARISON:
        ratio = comparison[row][OURS] / comparison[row][LIMIT]
        lines.append([title, ratio_text(ratio), f"{goal}", "yes" if ratio <= goal else "**no**"])
    return table(["operation", "register / limit", "goal", "met"], lines)


def peers_of(comparison):
    return [store for store in rows.STORES if store in comparison["memory"] and store not in (OURS, LIMIT)]


UNITS = {"ns": 1, "µs": 1e3, "ms": 1e6, "bytes": 1}


def in_unit(value, unit):
    """A figure with three significant digits."""
    scaled = value / UNITS[unit]
    return f"{scaled:,.0f}" if scaled >= 100 else f"{scaled:#.3g}"


def choice_table(comparison):
    """A line for each store, and one unit for each column."""
    lines = []
    for store in [OURS, LIMIT] + peers_of(comparison):
        cells = [f"**{store}**" if store == OURS else store]
        for row, _, unit in rows.CHOICE:
            value, ours = comparison[row].get(store), comparison[row][OURS]
            text = "-" if value is None else in_unit(value, unit)
            isAhead = value is not None and value < ours and store != LIMIT
            cells.append(f"**{text}**" if isAhead else text)
        lines.append(cells)
    return table(["store"] + [f"{title}, {unit}" for _, title, unit in rows.CHOICE], lines)


def value_table(comparison):
    """The operations that the table of the stores leaves out, all in nanoseconds."""
    stores = [OURS, LIMIT] + peers_of(comparison)
    chosen = [row for row, _, _ in rows.CHOICE] + [f"growth/{count}" for count in rows.GROWTH]
    lines = []
    for row, title, _ in rows.COMPARISON:
        if row not in chosen:
            cells = [comparison[row].get(store) for store in stores]
            lines.append([title] + ["-" if cell is None else nanoseconds_text(cell) for cell in cells])
    return table(["time, ns"] + stores, lines)


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


def declared_table(declared):
    stores = ["declared", "mirror"] + [store for store in rows.STORES if store in declared[rows.DECLARED[0][0]]]
    lines = [[title] + [f"{declared[row][store]:,.1f}" if declared[row][store] < 10 else
                        nanoseconds_text(declared[row][store]) for store in stores] for row, title in rows.DECLARED]
    return table(["type (times in ns)", "`Property::get`", "floor"] + stores[2:], lines)


def declared_goals(declared):
    lines = []
    for row, title in rows.DECLARED:
        ratio = declared[row]["declared"] / declared[row][LIMIT]
        met = "yes" if ratio <= rows.DECLARED_GOAL else "**no**"
        lines.append([f"read a declared {title}", f"{ratio:.2f}", f"{rows.DECLARED_GOAL}", met])
    return lines


def threads_table(times, processors):
    stores = {"declared": "`Property::get`", "mirror": "floor", OURS: OURS, LIMIT: LIMIT}
    lines = [[str(threads)] + [f"{times[f'1/{store}'] / times[f'{threads}/{store}']:.2f}" for store in stores]
             for threads in rows.DECLARED_THREADS if 1 < threads <= processors]
    return table(["threads"] + list(stores.values()), lines)


def compile_table(compiled):
    lines = []
    for ours, other, title in rows.COMPILED:
        ratio = compiled[ours] / compiled[other]
        met = "yes" if ratio <= rows.COMPILED_GOAL else "**no**"
        lines.append([title, f"{compiled[ours] * 1000:.0f}", f"{compiled[other] * 1000:.0f}", f"{ratio:.2f}",
                      f"{rows.COMPILED_GOAL}", met])
    return table(["g++ -O2", "`velmorand/Property.h`, ms", "`QSettings`, ms", "ratio", "goal", "met"], lines)


def main_results(comparison):
    """The main results, as a list."""
    def others(row):
        values = [comparison[row][store] for store in peers_of(comparison) if store in comparison[row]]
        return min(values), max(values)

    def sentence(text, row, unit):
        least, most = others(row)
        return (f"- {text} takes {in_unit(comparison[row][OURS], unit)} {unit}; in the other stores, "
                f"{in_unit(least, unit)} to {in_unit(most, unit)} {unit}.")

    yield sentence("Reading an integer", "read_integer", "ns")
    yield sentence("Writing one", "write_integer", "ns")
    yield sentence("Creating a setting", "create", "ns")
    yield sentence("Saving 100,000 settings, safely,", "save", "ms")
    yield sentence("Loading them", "load", "ms")


def main_page(result, shared):
    comparison = result["comparison"]
    yield INTRODUCTION
    yield from main_results(comparison)
    declared = result["declared"]["declared_integer"]["declared"]
    yield (f"- Reading a [declared setting](#declared-settings) takes {declared:.1f} ns until something in the register "
           "changes.")
    yield "- A change is durable, and visible to other processes, after about a millisecond"
    yield "  ([settings shared between processes](#settings-shared-between-processes))."
    yield STORES.format(count="10,000")
    yield from choice_table(comparison)
    yield ""
    yield from wrapped(AHEAD)
    yield "\n![The stores, operation by operation](performance/comparison.svg)\n"
    yield from wrapped(COMPARISON_CAPTION)
    yield DECLARED
    yield from declared_table(result["declared"])
    yield shared


def details_page(result, goals):
    comparison = result["comparison"]
    yield METHOD.format(repetitions=result["repetitions"])
    yield from machine_lines(result["machine"])
    yield AGAINST_LIMIT
    yield from goal_table(comparison, result["declared"])
    yield "\n## Against the others\n"
    yield "The cost of each store relative to the register (1 = same). Bold: the store costs less.\n"
    yield from ratio_table(comparison)
    yield "\nThe times of the operations that [Performance](performance.md#the-stores-compared) leaves out:\n"
    yield from value_table(comparison)
    yield GROWTH
    yield from growth_table(comparison)
    yield THREADS
    yield from threads_table(result["declared threads"], result["machine"]["processors"])
    yield "\n## Compiling\n\nThe processor time to compile a file that includes the header.\n"
    yield from compile_table(result["compile"])
    yield START
    yield from process_table(result["process"])
    yield SINGLE
    for row, title, parameter in rows.DETAILS:
        yield f"### {title}\n"
        yield from details_table(parameter, result["details"][row])
        yield ""
    yield goals.lstrip("\n")


def merged(result):
    """Gives rows that are in two tables the same figure in both: that of the comparison."""
    comparison, details = result["comparison"], result["details"]
    comparison["growth/10000"] = comparison["read_integer"]
    for store in (OURS, LIMIT):
        details["read_integers"][f"100/{store}"] = comparison["read_100_integers"][store]
        details["read_numbers"][f"1000/{store}"] = comparison["read_1000_numbers"][store]
    return result


def main():
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    measured = pathlib.Path(sys.argv[1]).read_text()
    result = merged(json.loads(measured))
    docs = pathlib.Path(sys.argv[2])
    (docs / "performance").mkdir(parents=True, exist_ok=True)
    (docs / "performance" / "measured.json").write_text(measured)
    comparison = result["comparison"]
    for name, page, heading in (MAIN, main_page, sections.SHARED), (DETAILS, details_page, sections.GOALS):
        target = docs / name
        target.write_text("\n".join(page(result, sections.kept(target, heading))) + "\n")
    (docs / "performance" / "growth.svg").write_text(plots.growth(comparison, rows.GROWTH))
    (docs / "performance" / "comparison.svg").write_text(plots.comparison(comparison, rows.COMPARISON))
    print("\n".join(goal_table(comparison, result["declared"])), "\n")
    print("\n".join(ratio_table(comparison)))


main()

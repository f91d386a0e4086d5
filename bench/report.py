# SPDX-License-Identifier: Apache-2.0
"""usage: report.py RESULT.json DOCS-DIRECTORY

Prints the table of ratios, and writes performance.md and its plots from what measure.py measured.
"""
import json
import pathlib
import sys

import plots
import rows

OURS = "register"
LIMIT = "limit"

METHOD = """\
# Performance

How fast the register is beside the stores that one would take instead, and beside the least that any thread-safe store
does. This page and its plots are written by `scripts/bench`, which installs, builds and measures; times differ from
machine to machine, the ratios much less.

## Method

- *Limit* is a `std::recursive_mutex` around a `std::unordered_map` of `std::variant`, with nothing else to do: the
  names of a group stand ready in it, and it tells no listener but the one on the property's own group.
- Every store does the same work on the same names: 10,000 properties in 100 groups, `group_i/sub_j/prop_k` of 24
  characters, read in the same random order; 100,000 in the rows that load and save. A list is one property, read again
  and again into the same vector.
- Each row is the median of {repetitions} repetitions. A process measures one row for all stores, its repetitions in
  random order. Rows in memory count the processor's time, rows that wait for the disk or for other threads the clock's.
- Safe saving is what the store itself offers for that, where it offers it; otherwise, and for the limit, the file is
  written aside, synchronised and moved over the old one. What is saved has changed since the last save; a load ends with
  a read in each group. LMDB and SQLite only map or open their file.
- LMDB's writes are transactions that do not wait for the disk; SQLite is in memory; GSettings is on its memory backend,
  and on its key-file backend in the rows that load and save.
- To create a property is to write an integer under a name that is not there. To read with a fallback is to ask the
  register whether the name exists.
- Memory is what the heap gives out for 100,000 properties, a quarter each of integers, numbers, booleans and strings of
  8 bytes, its own overhead included, and for LMDB the pages of its map.

## Machine
"""


def machine_lines(machine):
    yield f"- {machine['processor']}, {machine['processors']} processors, {machine['memory']}"
    yield f"- {machine['system']}, Linux {machine['kernel']}, temporary files on {machine['file system']}"
    yield f"- load average at the end: {machine['load']:.1f}"
    yield "- " + ", ".join(f"{name} {version}" for name, version in machine["packages"].items())


def table(head, lines):
    yield "| " + " | ".join(head) + " |"
    yield "|---|" + "---:|" * (len(head) - 1)
    for line in lines:
        yield "| " + " | ".join(line) + " |"


def time_text(nanoseconds):
    if nanoseconds >= 1e6:
        return f"{nanoseconds / 1e6:.1f} ms"
    return f"{nanoseconds:,.0f} ns"


def value_text(row, value):
    if value is None:
        return "-"
    return f"{value:.0f} B" if row == "memory" else time_text(value)


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


def value_table(comparison):
    stores = [OURS, LIMIT] + peers_of(comparison)
    lines = [
        [title] + [value_text(row, comparison[row].get(store)) for store in stores] for row, title, _ in rows.COMPARISON
    ]
    return table(["operation"] + stores, lines)


def ratio_table(comparison):
    """How many times what the register takes each store takes: below 1 it is ahead."""
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
        [f"{count:,}"] + [time_text(comparison[f"growth/{count}"][store]) for store in stores] for count in rows.GROWTH
    ]
    return table(["properties"] + stores, lines)


def details_table(measured):
    parameters = {name.rpartition("/")[0] for name in measured}
    parameters = sorted(parameters, key=lambda text: int(text) if text.isdigit() else text)
    lines = []
    for parameter in parameters:
        ours, limit = measured.get(f"{parameter}/{OURS}"), measured.get(f"{parameter}/{LIMIT}")
        ratio = ratio_text(ours / limit) if limit else "-"
        label = f"{int(parameter):,}" if parameter.isdigit() else parameter
        lines.append([label, time_text(ours), time_text(limit) if limit else "-", ratio])
    return table(["", OURS, LIMIT, "ratio"], lines)


def process_table(measured):
    return table(["whole process", "time"], [[title, time_text(measured[row])] for row, title in rows.PROCESS])


DECLARED = """
## Declared settings

Reading a declared setting, `Property::get()`, while nothing in the register has changed since it was last read: 100
settings among 10,000 properties, in turn. The others are asked for the same values by their names; *read* is the
register's own reader. The floor is a mirror of the value in an atomic variable that nothing keeps up to date, read by one
relaxed load.
"""


def declared_goal_table(declared):
    lines = []
    for row, title in rows.DECLARED:
        time, limit, mirror = (declared[row][store] for store in ("declared", LIMIT, "mirror"))
        ratio = time / limit
        met = "yes" if ratio <= rows.DECLARED_GOAL else "**no**"
        lines.append([title, f"{time:.1f} ns", f"{mirror:.1f} ns", f"{limit:.1f} ns", f"{ratio:.2f}",
                      f"{rows.DECLARED_GOAL}", met])
    return table(["type", "declared", "floor", LIMIT, "declared / limit", "goal", "met"], lines)


def declared_others_table(declared):
    """How many times what a declared setting takes each store takes."""
    stores = [store for store in rows.STORES if store in declared[rows.DECLARED[0][0]]]
    lines = []
    for row, title in rows.DECLARED:
        lines.append([title] + [ratio_text(declared[row][store] / declared[row]["declared"])
                                for store in stores])
    return table(["type"] + ["read" if store == OURS else store for store in stores], lines)


def declared_threads_table(times):
    stores = ["declared", "mirror", LIMIT, OURS]
    lines = [
        [str(threads)] + [f"{times[f'{threads}/{store}']:.1f} ns" for store in stores]
        for threads in rows.DECLARED_THREADS
    ]
    return table(["threads", "declared", "floor", LIMIT, "read"], lines)


def compile_table(compiled):
    lines = []
    for ours, other, title in rows.COMPILED:
        ratio = compiled[ours] / compiled[other]
        met = "yes" if ratio <= rows.COMPILED_GOAL else "**no**"
        lines.append([title, f"{compiled[ours] * 1000:.0f} ms", f"{compiled[other] * 1000:.0f} ms", f"{ratio:.2f}",
                      f"{rows.COMPILED_GOAL}", met])
    return table(["g++ -O2", "`velmorand/Property.h`", "`QSettings`", "ratio", "goal", "met"], lines)


def declared_section(result):
    declared = result["declared"]
    yield DECLARED
    yield from declared_goal_table(declared)
    yield "\nHow many times as long the others take:\n"
    yield from declared_others_table(declared)
    yield "\nAn `int`, read by several threads: the time that passes for each read, of whichever thread.\n"
    yield from declared_threads_table(result["declared threads"])
    yield "\nWhat the header costs the compiler, processor's time:\n"
    yield from compile_table(result["compile"])


def page(result):
    comparison = result["comparison"]
    yield METHOD.format(repetitions=result["repetitions"])
    yield from machine_lines(result["machine"])
    yield "\n## Against the limit\n"
    yield from goal_table(comparison)
    yield "\n## Against the others\n"
    yield "How many times what the register takes each store takes; in bold where it takes less.\n"
    yield from ratio_table(comparison)
    yield "\nA listing is a set of names that belongs to the caller, which takes an allocation and a reference for each of them;"
    yield "a store that hands out plain strings, or the bytes of a page, needs less. Pages of packed names and values also take"
    yield "less memory than nodes that are found at once and can grow. LMDB and SQLite map or open their file where the others"
    yield "load it."
    yield "\n![The stores, operation by operation](performance/comparison.svg)\n"
    yield "What was measured:\n"
    yield from value_table(comparison)
    yield from declared_section(result)
    yield "\n## Growth\n"
    yield "Reading one integer, by the number of properties.\n"
    yield "![Reading an integer, by the number of properties](performance/growth.svg)\n"
    yield from growth_table(comparison)
    yield "\n## Start and exit\n"
    yield from process_table(result["process"])
    yield "\n## More of the register"
    for row, title in rows.DETAILS:
        yield f"\n{title[0].upper()}{title[1:]}:\n"
        yield from details_table(result["details"][row])


def shared_section(path):
    """What the page says of shared settings, which scripts/bench-live measures: it stays as it is."""
    heading = "\n## Settings shared between processes\n"
    _, found, section = path.read_text().partition(heading) if path.exists() else ("", "", "")
    return found + section


def main():
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    result = json.loads(pathlib.Path(sys.argv[1]).read_text())
    docs = pathlib.Path(sys.argv[2])
    (docs / "performance").mkdir(parents=True, exist_ok=True)
    comparison = result["comparison"]
    target = docs / "performance.md"
    target.write_text("\n".join(page(result)) + "\n" + shared_section(target))
    (docs / "performance" / "growth.svg").write_text(plots.growth(comparison, rows.GROWTH))
    (docs / "performance" / "comparison.svg").write_text(plots.comparison(comparison, rows.COMPARISON))
    print("\n".join(goal_table(comparison)), "\n")
    print("\n".join(ratio_table(comparison)), "\n")
    print("\n".join(declared_section(result)))


main()

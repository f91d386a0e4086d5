# SPDX-License-Identifier: Apache-2.0
"""The plots of the performance page, as SVG text. They can be read without colour, and adapt to dark pages."""
import html
import math

# For each store: its colour on light pages, on dark ones, its marker, and the dashes of its line.
STORES = {
    "register": ("#b03024", "#ff8f80", "circle", ""),
    "limit": ("#2c3e50", "#d0dae4", "square", "2 4"),
    "GKeyFile": ("#7a5a2c", "#d9b88a", "triangle", "8 4"),
    "LMDB": ("#1f6fa8", "#79bdf0", "diamond", ""),
    "QSettings": ("#1d8046", "#6fd699", "cross", "8 4"),
    "KConfig": ("#0e7a65", "#5fd0ba", "wedge", ""),
    "SQLite": ("#7d3c98", "#cf9ce6", "plus", "12 3 2 3"),
    "Boost.PropertyTree": ("#9c6206", "#f0b95c", "ring", "2 4"),
    "GSettings": ("#5d6d6e", "#b3c0c1", "star", "12 3 2 3"),
}

# Paths around the origin. Those without a "Z" at the end are drawn as lines, the others are filled.
MARKERS = {
    "circle": "M-4,0 A4,4 0 1 1 4,0 A4,4 0 1 1 -4,0 Z",
    "square": "M-4,-4 H4 V4 H-4 Z",
    "triangle": "M0,-5 L5,4 H-5 Z",
    "wedge": "M0,5 L5,-4 H-5 Z",
    "diamond": "M0,-5 L5,0 L0,5 L-5,0 Z",
    "ring": "M-4,0 A4,4 0 1 1 4,0 A4,4 0 1 1 -4,0",
    "plus": "M-5,0 H5 M0,-5 V5",
    "cross": "M-4,-4 L4,4 M-4,4 L4,-4",
    "star": "M-5,0 H5 M-3,-4 L3,4 M-3,4 L3,-4",
}


def css_class(store):
    return "store-" + store.lower().replace(".", "-")


def style():
    def colours(page, ink, faint, index):
        yield f".page {{ fill: {page}; stroke: {faint}; }}"
        yield f"text {{ fill: {ink}; }}"
        yield f".grid {{ stroke: {faint}; }}"
        yield f".axis {{ stroke: {ink}; }}"
        for store, look in STORES.items():
            name = css_class(store)
            yield f".{name} .filled {{ fill: {look[index]}; }}"
            yield f".{name} .drawn {{ fill: none; stroke: {look[index]}; }}"

    yield "<style>"
    yield "svg { font-family: sans-serif; font-size: 13px; }"
    yield ".title { font-size: 16px; font-weight: bold; }"
    yield ".strong { font-weight: bold; }"
    yield ".middle { text-anchor: middle; }"
    yield ".end { text-anchor: end; }"
    yield from colours("#ffffff", "#16222e", "#d5dbe1", 0)
    yield "@media (prefers-color-scheme: dark) {"
    yield from colours("#14191f", "#e6edf3", "#3d4956", 1)
    yield "}"
    yield "</style>"


def text(x, y, content, classes=""):
    return f'<text x="{x:.1f}" y="{y:.1f}" class="{classes}">{html.escape(content)}</text>'


def line(x1, y1, x2, y2, classes="grid"):
    return f'<line x1="{x1:.1f}" y1="{y1:.1f}" x2="{x2:.1f}" y2="{y2:.1f}" class="{classes}"/>'


def marker(x, y, store):
    shape = MARKERS[STORES[store][2]]
    kind = "filled" if shape.endswith("Z") else "drawn"
    return f'<path transform="translate({x:.1f},{y:.1f})" d="{shape}" class="{kind}" stroke-width="2"/>'


def group(store, parts):
    return "\n".join([f'<g class="{css_class(store)}">', *parts, "</g>"])


def document(width, height, title, description, parts):
    head = [
        f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {width} {height}" role="img" '
        'aria-labelledby="title description">',
        f'<title id="title">{html.escape(title)}</title>',
        f'<desc id="description">{html.escape(description)}</desc>',
    ]
    page = f'<rect class="page" x="1" y="1" width="{width - 2}" height="{height - 2}" rx="8"/>'
    return "\n".join([*head, *style(), page, text(20, 30, title, "title"), *parts, "</svg>"]) + "\n"


def spread(positions, gap):
    """Moves labels down, top to bottom, until none is nearer than `gap` to the one above it."""
    placed = {}
    last = -math.inf
    for name, y in sorted(positions.items(), key=lambda item: item[1]):
        last = max(y, last + gap)
        placed[name] = last
    return placed


def growth(comparison, counts):
    """Time of one read over the number of properties, both logarithmic, a line for each store."""
    width, height = 860, 520
    left, right, top, bottom = 100, 670, 56, 440
    stores = [store for store in STORES if store in comparison[f"growth/{counts[0]}"]]
    values = [comparison[f"growth/{count}"][store] for count in counts for store in stores]
    low, high = math.floor(math.log10(min(values))), math.ceil(math.log10(max(values)))

    def x_of(count):
        return left + (right - left) * math.log10(count / counts[0]) / math.log10(counts[-1] / counts[0])

    def y_of(value):
        return bottom - (bottom - top) * (math.log10(value) - low) / (high - low)

    parts = []
    for power in range(low, high + 1):
        parts += [line(left, y_of(10**power), right, y_of(10**power))]
        parts += [text(left - 10, y_of(10**power) + 4, f"{10**power:,}", "end")]
    for count in counts:
        parts += [line(x_of(count), top, x_of(count), bottom), text(x_of(count), bottom + 20, f"{count:,}", "middle")]
    parts += [line(left, bottom, right, bottom, "axis"), line(left, top, left, bottom, "axis")]
    parts += [text((left + right) / 2, bottom + 48, "properties in the store (logarithmic)", "middle")]
    middle = (top + bottom) / 2
    parts += [
        f'<text x="30" y="{middle:.1f}" class="middle" transform="rotate(-90 30 {middle:.1f})">'
        "time for one read, ns (logarithmic)</text>"
    ]
    labels = spread({store: y_of(comparison[f"growth/{counts[-1]}"][store]) for store in stores}, 18)
    for store in stores:
        places = [(x_of(count), y_of(comparison[f"growth/{count}"][store])) for count in counts]
        points = " ".join(f"{x:.1f},{y:.1f}" for x, y in places)
        dashes = STORES[store][3]
        dashes = f' stroke-dasharray="{dashes}"' if dashes else ""
        thickness = 3.5 if store == "register" else 1.8
        drawn = [f'<polyline points="{points}" class="drawn" stroke-width="{thickness}"{dashes}/>']
        drawn += [marker(x, y, store) for x, y in places]
        drawn += [line(right + 6, places[-1][1], right + 22, labels[store], "drawn")]
        drawn += [marker(right + 30, labels[store], store)]
        drawn += [text(right + 42, labels[store] + 4, store, "strong" if store == "register" else "")]
        parts += [group(store, drawn)]
    return document(
        width, height, "Reading one integer, by the number of properties",
        "A line for each store. The table below the plot has the same figures.", parts)


def panel(x, y, width, title, quantity, values):
    """One operation: for each store a bar from 1 to its cost relative to the limit, on a logarithmic axis."""
    smallest, largest, bar, gap = 0.01, 10_000, 12, 6
    left, right = x + 136, x + width - 66
    top = y + 26
    bottom = top + len(values) * (bar + gap)

    def x_of(ratio):
        return left + (right - left) * math.log10(ratio / smallest) / math.log10(largest / smallest)

    parts = [text(x, y + 14, title, "strong")]
    for power in range(round(math.log10(smallest)), round(math.log10(largest)) + 1):
        place = x_of(10**power)
        parts += [line(place, top - 4, place, bottom, "axis" if power == 0 else "grid")]
        if power % 2 == 0: # labels at every line would overlap
            parts += [text(place, bottom + 14, f"{10**power:,g}", "middle")]
    parts += [text(x_of(10), bottom + 30, f"{quantity} relative to the limit", "middle")]
    for number, (store, value) in enumerate(sorted(values.items(), key=lambda item: item[1])):
        ratio = value / values["limit"]
        bar_top = top + number * (bar + gap)
        ends = sorted([x_of(1), x_of(ratio)])
        classes = "strong" if store == "register" else ""
        shown = f"{ratio:,.0f}" if ratio >= 10 else f"{ratio:.2g}"
        parts += [group(store, [
            text(left - 10, bar_top + 11, store, f"{classes} end"),
            f'<rect class="filled" x="{ends[0] - 1:.1f}" y="{bar_top}" '
            f'width="{ends[1] - ends[0] + 2:.1f}" height="{bar}"/>',
            text(right + 56, bar_top + 11, shown, f"{classes} end"),
        ])]
    return parts


def comparison(measured, rows):
    """A panel for each row, with the cheapest store on top."""
    columns, panel_width, panel_height = 2, 470, 244
    parts = [text(20, 52, "All axes are logarithmic, with a factor of 10 between two lines. Bars start at the limit: "
                          "those to the left are better, those to the right worse.")]
    for number, (row, title, _) in enumerate(rows):
        x = 20 + number % columns * panel_width
        y = 72 + number // columns * panel_height
        quantity = "memory" if row == "memory" else "time"
        parts += panel(x, y, panel_width - 20, title, quantity, measured[row])
    height = 72 + math.ceil(len(rows) / columns) * panel_height
    return document(
        columns * panel_width + 20, height, "Every operation, relative to the limit",
        "A panel for each operation with a bar for each store. The tables of the page have the same figures.", parts)

# SPDX-License-Identifier: Apache-2.0
"""The plots of the performance page, as SVG text."""
import html
import math

COLOURS = {
    "register": "#c0392b",
    "limit": "#2c3e50",
    "GKeyFile": "#8e6c3a",
    "LMDB": "#2980b9",
    "QSettings": "#27ae60",
    "KConfig": "#16a085",
    "SQLite": "#8e44ad",
    "Boost.PropertyTree": "#d68910",
    "GSettings": "#7f8c8d",
}


def text(x, y, content, anchor="start", size=12, weight="normal", colour="#222"):
    return (
        f'<text x="{x:.1f}" y="{y:.1f}" text-anchor="{anchor}" font-size="{size}" font-weight="{weight}" '
        f'fill="{colour}">{html.escape(content)}</text>'
    )


def line(x1, y1, x2, y2, colour="#ddd"):
    return f'<line x1="{x1:.1f}" y1="{y1:.1f}" x2="{x2:.1f}" y2="{y2:.1f}" stroke="{colour}"/>'


def document(width, height, parts):
    head = (
        f'<svg xmlns="http://www.w3.org/2000/svg" width="{width}" height="{height}" '
        f'viewBox="0 0 {width} {height}" font-family="sans-serif">'
    )
    return "\n".join([head, f'<rect width="{width}" height="{height}" fill="white"/>', *parts, "</svg>"]) + "\n"


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
    width, height = 760, 460
    left, right, top, bottom = 70, 600, 30, 400
    stores = [store for store in COLOURS if store in comparison[f"growth/{counts[0]}"]]
    values = [comparison[f"growth/{count}"][store] for count in counts for store in stores]
    low, high = math.floor(math.log10(min(values))), math.ceil(math.log10(max(values)))

    def x_of(count):
        return left + (right - left) * math.log10(count / counts[0]) / math.log10(counts[-1] / counts[0])

    def y_of(value):
        return bottom - (bottom - top) * (math.log10(value) - low) / (high - low)

    parts = []
    for power in range(low, high + 1):
        parts += [line(left, y_of(10**power), right, y_of(10**power))]
        parts += [text(left - 8, y_of(10**power) + 4, f"{10**power:,} ns", "end")]
    for count in counts:
        parts += [line(x_of(count), top, x_of(count), bottom), text(x_of(count), bottom + 18, f"{count:,}", "middle")]
    parts += [text((left + right) / 2, bottom + 42, "properties in the store", "middle")]
    labels = spread({store: y_of(comparison[f"growth/{counts[-1]}"][store]) for store in stores}, 15)
    for store in stores:
        points = " ".join(f"{x_of(count):.1f},{y_of(comparison[f'growth/{count}'][store]):.1f}" for count in counts)
        colour = COLOURS[store]
        thickness = 3 if store == "register" else 1.5
        parts += [f'<polyline points="{points}" fill="none" stroke="{colour}" stroke-width="{thickness}"/>']
        weight = "bold" if store == "register" else "normal"
        parts += [text(right + 8, labels[store] + 4, store, colour=colour, weight=weight)]
    return document(width, height, parts)


def panel(x, y, width, title, values):
    """One operation: a bar for each store, its length the logarithm of what it takes as a multiple of the limit."""
    label, bar_height, smallest, largest = 118, 13, 0.01, 10_000
    scale = (width - label - 52) / math.log10(largest / smallest)
    parts = [text(x, y + 12, title, weight="bold", size=13)]
    for number, (store, value) in enumerate(sorted(values.items(), key=lambda item: item[1])):
        ratio = value / values["limit"]
        length = max(1.0, scale * math.log10(max(ratio, smallest) / smallest))
        bar_top = y + 22 + number * (bar_height + 3)
        weight = "bold" if store == "register" else "normal"
        parts += [text(x + label - 6, bar_top + 11, store, "end", 11, weight)]
        parts += [
            f'<rect x="{x + label}" y="{bar_top}" width="{length:.1f}" height="{bar_height}" '
            f'fill="{COLOURS[store]}"/>'
        ]
        shown = f"{ratio:,.0f}" if ratio >= 10 else f"{ratio:.2g}"
        parts += [text(x + label + length + 4, bar_top + 11, shown, size=11, weight=weight)]
    return parts


def comparison(measured, rows):
    """A panel for each row, the fastest store on top."""
    columns, panel_width, panel_height = 3, 390, 190
    parts = [text(16, 24, "What each store takes, as a multiple of the limit (logarithmic, shorter is better)", size=15)]
    for number, (row, title, _) in enumerate(rows):
        x = 16 + number % columns * panel_width
        y = 44 + number // columns * panel_height
        parts += panel(x, y, panel_width - 16, title, measured[row])
    height = 44 + math.ceil(len(rows) / columns) * panel_height
    return document(columns * panel_width + 16, height, parts)

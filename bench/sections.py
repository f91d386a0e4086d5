# SPDX-License-Identifier: Apache-2.0
"""The sections that measure_sharing.py writes at the end of the pages that report.py writes."""

SHARED = "## Settings shared between processes"
GOALS = "## Settings shared between processes: goals"


def kept(page, heading):
    """The section with the heading, up to the end of the page; empty if the page does not have it."""
    text = page.read_text() if page.exists() else ""
    _, found, section = text.partition(f"\n{heading}\n")
    return (found + section).rstrip("\n")


def replace(page, heading, section):
    """Puts a section at the end of the page, in place of one with the same heading."""
    text = page.read_text() if page.exists() else ""
    before = text.partition(f"\n{heading}\n")[0].rstrip("\n")
    page.write_text(f"{before}\n\n{heading}\n\n" + section.strip("\n") + "\n")

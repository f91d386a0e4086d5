# SPDX-License-Identifier: Apache-2.0
"""What is measured, in the order of the tables."""

STORES = [
    "register",
    "limit",
    "GKeyFile",
    "LMDB",
    "QSettings",
    "KConfig",
    "SQLite",
    "Boost.PropertyTree",
    "GSettings",
]

# The benchmark's name, the row's title, and the goal as a multiple of what the limit takes.
COMPARISON = [
    ("read_integer", "read integer, first scope", 2.5),
    ("read_next_scope", "the same, found in the next scope", 2.5),
    ("read_string", "read string, 32 bytes", 2.0),
    ("read_100_integers", "read list of 100 integers", 2.9),
    ("read_1000_numbers", "read list of 1,000 numbers", 2.8),
    ("read_missing", "read a missing name, with a fallback", 3.0),
    ("write_integer", "write integer, nobody listening", 3.5),
    ("write_heard", "write integer, a listener on its group", 3.0),
    ("create", "create a property", 3.5),
    ("list_group", "list a group of 1,000", 5.0),
    ("load", "load 100,000", 0.8),
    ("save", "save 100,000, safely", 0.4),
    ("growth/1000000", "read integer among 1,000,000", 1.5),
    ("memory", "memory per property, at 100,000", 0.72),
]

GROWTH = [100, 1_000, 10_000, 100_000, 1_000_000]

# What only the register and the limit are asked for.
DETAILS = [
    ("read_long_name", "read integer, name in ten levels, by the name's length"),
    ("write_among_listeners", "write integer that one listener hears, by the listeners in all"),
    ("write_heard_by", "write integer, by the listeners that hear it"),
    ("read_integers", "read list of integers, by its length"),
    ("read_numbers", "read list of numbers, by its length"),
    ("read_booleans", "read list of booleans, by its length"),
    ("read_strings", "read list of strings of 32 bytes, by its length"),
    ("write_integers", "write list of integers, by its length"),
    ("write_numbers", "write list of numbers, by its length"),
    ("write_booleans", "write list of booleans, by its length"),
    ("write_strings", "write list of strings of 32 bytes, by its length"),
    ("threads", "two threads"),
]

# Declared settings that have not changed since they were read, by their type.
DECLARED = [
    ("declared_integer", "`int`"),
    ("declared_number", "`double`"),
    ("declared_boolean", "`bool`"),
    ("declared_enum", "enum, kept as a string"),
]

DECLARED_GOAL = 0.15
DECLARED_THREADS = [1, 2, 4]

# What is compiled, and beside what.
COMPILED = [
    ("property", "QSettings", "the header alone"),
    ("property used", "QSettings used", "one setting, read once"),
]
COMPILED_GOAL = 1.1

PROCESS = [
    ("nothing", "a process that does not use the register"),
    ("start", "`initialize`, no register file"),
    ("start_with_global_file", "`initialize`, a global file of 13,000 properties"),
    ("start_with_user_file", "`initialize`, a user file of 13,000 properties, saved twice by it"),
    ("start_with_user_file_and_exit", "the same, and saved once more at exit"),
]

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
    ("read_integer", "read integer, first scope", 1.6),
    ("read_next_scope", "read integer, found in the next scope", 2.5),
    ("read_string", "read string, 32 bytes", 2.0),
    ("read_100_integers", "read list of 100 integers", 2.9),
    ("read_1000_numbers", "read list of 1,000 numbers", 2.8),
    ("read_missing", "read a missing name, with a fallback", 3.0),
    ("write_integer", "write integer, without listeners", 3.5),
    ("write_heard", "write integer, a listener on its group", 3.0),
    ("create", "create a property", 3.5),
    ("list_group", "list a group of 1,000", 1.0),
    ("load", "load 100,000", 0.25),
    ("save", "save 100,000, safely", 0.25),
    ("growth/1000000", "read integer among 1,000,000", 1.2),
    ("memory", "memory per property, at 100,000", 0.72),
]

# The columns of the table of the stores: the benchmark's name, the title, and the unit.
CHOICE = [
    ("read_integer", "read an integer", "ns"),
    ("read_string", "read a string", "ns"),
    ("read_1000_numbers", "read 1,000 numbers", "ns"),
    ("write_integer", "write an integer", "ns"),
    ("create", "create a setting", "ns"),
    ("list_group", "list 1,000 names", "µs"),
    ("load", "load 100,000", "ms"),
    ("save", "save 100,000 safely", "ms"),
    ("memory", "memory per setting", "bytes"),
]

GROWTH = [100, 1_000, 10_000, 100_000, 1_000_000]

# What only the register and the limit are asked for: the benchmark's name, the title, and what a row stands for.
DETAILS = [
    ("read_long_name", "Reading integers whose names have ten levels, 10,000 in turn", "length of the name, bytes"),
    ("list_entries", "Listing a group of the register itself, with `propertyList`", "names"),
    ("write_among_listeners", "Writing an integer, with one of several listeners notified", "listeners"),
    ("write_heard_by", "Writing an integer, with every listener notified", "listeners"),
    ("read_integers", "Reading a list of integers", "elements"),
    ("read_numbers", "Reading a list of numbers", "elements"),
    ("read_booleans", "Reading a list of booleans", "elements"),
    ("read_strings", "Reading a list of strings of 32 bytes", "elements"),
    ("write_integers", "Writing a list of integers", "elements"),
    ("write_numbers", "Writing a list of numbers", "elements"),
    ("write_booleans", "Writing a list of booleans", "elements"),
    ("write_strings", "Writing a list of strings of 32 bytes", "elements"),
    ("threads", "Two threads that go through 10,000 properties", "threads"),
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

# What is compiled, and what it is compared with.
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
    ("start_with_user_file_and_exit", "the same, and saved again at exit"),
]

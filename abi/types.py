"""Prints what a host compiles in of a library's types: gdb -ex "python types = 'A B'" -ex 'source types.py' LIBRARY

One line each for an enumerator, a member and a virtual function. abidw leaves out the members whose types are Qt's or
the standard library's, and a record has no others; enumerations that no function takes; and what a pure virtual
function takes and returns.
"""

import re
import sys

import gdb


def find(name):
    try:
        return gdb.lookup_type(f"analytics::{name}")
    except gdb.error as error:
        print(f"abi/types.py: {error}", file=sys.stderr)
        gdb.execute("quit 1")  # An error alone leaves gdb's exit status at 0.


for name in types.split():
    found = find(name)
    if found.code == gdb.TYPE_CODE_ENUM:
        for enumerator in found.fields():
            print(f"{enumerator.name.removeprefix('analytics::')} = {enumerator.enumval}")
        continue
    # Bases, the pointer to the virtual table and what is static are no members of an object.
    members = [
        field
        for field in found.fields()
        if hasattr(field, "bitpos") and not field.is_base_class and not field.artificial
    ]
    print(f"{name}: {found.sizeof} bytes, {len(members)} members")
    for member in members:
        print(f"{name}::{member.name}: {member.type} at {member.bitpos // 8}")
    for function in re.findall(r"^ +virtual (.*);$", gdb.execute(f"ptype analytics::{name}", to_string=True), re.M):
        print(f"{name}: virtual {function}")

#!/usr/bin/env python3
"""Prints offset, kind and value of each element of a message on standard input. Ends with status 1 at damage."""
import sys

import quill

try:
    for element in quill.decode(sys.stdin.buffer.read()):
        value = element.value.hex() if isinstance(element.value, bytes) else repr(element.value)
        print(f"{element.offset:4} {element.kind:10} {value}")
except quill.Damage as damage:
    sys.exit(f"read_message: {damage}")

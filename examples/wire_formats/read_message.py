#!/usr/bin/env python3
"""Prints the elements of a codec message on standard input: offset, kind and value. Ends with status 1 at damage."""
import ipaddress
import struct
import sys

FIXED = {2: ("u8", ">B"), 3: ("u16", ">H"), 4: ("u32", ">I"), 9: ("u64", ">Q")}
SIZED = {0: ("str", ">H"), 8: ("hex", ">H"), 12: ("str3", ">I"), 13: ("hex_len32", ">I"), 14: ("hex32", ">I")}
BYTES = {1: ("mac", 6), 5: ("ip", 4), 10: ("ipv6", 16), 11: ("ip_af", 20)}


def take(message, at, count):
    if at + count > len(message):
        raise ValueError(f"the message ends {at + count - len(message)} bytes early")
    return message[at:at + count], at + count


def number(message, at, form):
    data, at = take(message, at, struct.calcsize(form))
    return struct.unpack(form, data)[0], at


def inner(message, at, tag):
    """The number of an element that stands inside another one."""
    found, at = number(message, at, ">B")
    if found != tag:
        raise ValueError(f"tag {found} where {tag} belongs")
    return number(message, at, FIXED[tag][1])


def address(kind, data):
    if kind == "mac":
        return data.hex(":")
    if kind == "ip_af":  # the family of the device's kernel: 2 for IPv4, which fills four bytes, 10 for IPv6
        kind, data = ("ip", data[4:8]) if data[:2] == b"\0\2" else ("ipv6", data[4:])
    return str((ipaddress.IPv4Address if kind == "ip" else ipaddress.IPv6Address)(data))


def element(message, at):
    """Kind, value and end of the element at an offset."""
    tag, at = number(message, at, ">B")
    if tag in FIXED:
        kind, form = FIXED[tag]
        return kind, *number(message, at, form)
    if tag in BYTES:
        kind, count = BYTES[tag]
        data, at = take(message, at, count)
        return kind, address(kind, data), at
    if tag in SIZED:
        kind, form = SIZED[tag]
        length, at = number(message, at, form)
        data, at = take(message, at, length)
        return kind, repr(data.decode(errors="replace")) if "str" in kind else data.hex(), at
    if tag == 7:
        value, at = inner(message, at, 2)
        return "bool", value == 1, at
    if tag == 6:
        flag, at = number(message, at, ">B")
        if flag != 7:
            raise ValueError(f"tag {flag} where 7 belongs")
        negative, at = inner(message, at, 2)
        magnitude, at = inner(message, at, 4)
        return "s32", -magnitude if negative == 1 else magnitude, at
    raise ValueError(f"no element has tag {tag}")


def main():
    message, at = sys.stdin.buffer.read(), 0
    while at < len(message):
        try:
            kind, value, end = element(message, at)
        except ValueError as damage:
            sys.exit(f"at {at}: {damage}")
        print(f"{at:4} {kind:10} {value}")
        at = end


main()

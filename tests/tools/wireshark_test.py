#!/usr/bin/env python3
"""wireshark_test.py QUILL DISSECTOR: tshark and quill must show the same for messages and buffers: for every kind of
element, for each cut, and for damage at each byte."""
import json
import os
import shutil
import subprocess
import sys
import tempfile

try:
    import xml.etree.ElementTree as ET
except ImportError:
    print("skipped: no XML in Python")
    sys.exit(77)

QUILL, DISSECTOR = sys.argv[1:]
MESSAGE = r"""str "two \"words\"\xff"
mac 00:1b:63:aa:bb:cc
u8 255
u16 20
u32 70123
u64 18446744073709551615
s32 -2147483648
s32 67
ip 10.1.2.15
ipv6 2001:db8::1
ip_af 10.0.0.1
ip_af ::1
ip_af 2 000102030405060708090a0b0c0d0e0f
bool true
str "9,1-3"
bool 7
hex 000102030405060708090a0b0c0d0e0f10
str3 "é"
hex_len32
hex32 01
"""
BUFFER = '3 "hello"\n1 u32 20\n4 001b63aabbcc\n9\n5 "\xe9"\n'
FIELDS = {"str3": "str", "hex_len32": "hex", "hex32": "hex"}  # fields whose names differ from those of their kinds


def run(*command, text=None):
    return subprocess.run(command, input=text, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, check=False).stdout


def variants(whole):
    """Returns each cut of the message, and the message with other bits at each byte."""
    yield from (whole[:end] for end in range(1, len(whole) + 1))
    for at in range(len(whole)):
        yield from (whole[:at] + bytes([whole[at] ^ bits]) + whole[at + 1:] for bits in (1, 0x80))


def tshark(capture, *options):
    return run("tshark", "-X", "lua_script:" + DISSECTOR, "-r", capture, *options)


def members(parent, prefix):
    return {f.get("name")[len(prefix):]: f for f in parent.iter("field") if f.get("name", "").startswith(prefix)}


def damage_of(document):
    found = document["damage"]
    return found and "offset {offset}: expected {expected}, found {found}".format(**found)


def as_text(value):
    return str(value).lower() if isinstance(value, bool) else str(value)


def wanted_element(e):
    if "family" in e:
        value = e["hex"]
    elif e["kind"] in ("str", "str3"):
        value = e.get("hex", e.get("value", "").encode().hex())
    else:
        value = as_text(e.get("value", e.get("hex")))
    return [e["offset"], e["length"], e["kind"], value]


def shown_element(element):
    inside = members(element, "quill.")
    kind = inside["tag"].get("showname").split()[-2]
    field = FIELDS.get(kind, kind)
    if kind == "ip_af":
        field = next(name for name in ("ip", "ipv6", "hex") if name in inside)
    value = inside[field].get("value" if field in ("str", "hex") else "show") or ""
    if kind == "bool":
        value = {"0": "false", "1": "true"}.get(value, value)
    return [int(element.get("pos")), int(element.get("size")), kind, value]


def wanted_record(r):
    return [r["offset"], r["type"], r["hex"], r.get("number"), r.get("text", "").encode().hex()]


def shown_record(record):
    inside = members(record, "quill_tlv.")
    number = int(inside["number"].get("show")) if "number" in inside else None
    value, text = (inside[name].get("value") if name in inside else "" for name in ("value", "text"))
    return [int(record.get("pos")), int(inside["type"].get("show")), value, number, text]


def compare(capture, documents, prefix, part, parts, wanted, shown):
    packets = ET.fromstring(tshark(capture, "-T", "pdml")).findall("packet")
    assert len(packets) == len(documents), (len(packets), len(documents))
    for packet, document in zip(packets, documents):
        proto = next(p for p in packet if p.get("name") == prefix)
        fields = members(proto, prefix + ".")
        damage = fields["damage"].get("show") if "damage" in fields else None
        got = [shown(f) for f in proto.findall(f"field[@name='{prefix}.{part}']")], damage
        assert got == ([wanted(p) for p in document[parts]], damage_of(document)), (document, got)
    print(f"{len(packets)} packets of {prefix}")


def main():
    lines = "".join(m.hex() + "\n" for m in variants(run(QUILL, "encode", text=MESSAGE.encode())))
    shown = run(QUILL, "decode", "--lines", "--json", "--pcap", "messages", text=lines.encode())
    compare("messages", [json.loads(line) for line in shown.splitlines()], "quill", "element", "elements",
            wanted_element, shown_element)
    documents = []
    for buffer in variants(run(QUILL, "tlv", "--encode", text=BUFFER.encode("latin-1"))):
        documents.append(json.loads(run(QUILL, "tlv", "--json", "--pcap", "one", text=buffer)))
        with open("one", "rb") as one, open("buffers", "ab") as all_of_them:
            all_of_them.write(one.read()[0 if len(documents) == 1 else 24:])
    compare("buffers", documents, "quill_tlv", "record", "records", wanted_record, shown_record)
    # The first third of the packets are the cuts. The last of these is the whole message.
    whole = str(len(lines.split()) // 3)
    for names, test in (("", 'quill.vlan == 2 && quill.vlan != 4 && quill.str contains "wor"'),
                        ("1: x; *: a,b,vlan,rest...", "quill.vlan == 255 && !quill.damage"),
                        ("a", 'quill.damage == "offset 15: expected the end, found mac"'),
                        ("1: a", 'quill.damage contains "that has names, found another"')):
        packets = tshark("messages", "-o", "quill.names:" + names, "-Y", f"frame.number == {whole} && {test}")
        assert len(packets.splitlines()) == 1, (names, test)


if not shutil.which("tshark"):
    print("skipped: no tshark")
    sys.exit(77)
with tempfile.TemporaryDirectory() as folder:
    os.chdir(folder)
    main()

#!/usr/bin/env python3
"""corpus.py unpack CORPUS FOLDER: writes each input to a separate file, as a fuzzer reads them
corpus.py pack CORPUS FOLDER: writes the inputs in the folder's files to one text file

Each line is an input. Letters, digits and punctuation are unchanged; blanks, backslashes and other bytes are \\xHH.
Lines are sorted, and no two are equal.
"""
import hashlib
import pathlib
import re
import sys

action, corpus, folder = sys.argv[1], *map(pathlib.Path, sys.argv[2:])
if action == "unpack":
    folder.mkdir(parents=True, exist_ok=True)
    for line in corpus.read_bytes().splitlines() if corpus.exists() else []:
        data = re.sub(rb"\\x(..)", lambda byte: bytes.fromhex(byte[1].decode()), line)
        (folder / hashlib.sha1(data).hexdigest()).write_bytes(data)  # the file name that libFuzzer uses
elif action == "pack":
    inputs = {file.read_bytes() for file in folder.iterdir()}
    lines = (re.sub(rb"[^!-\[\]-~]", lambda byte: b"\\x%02x" % byte[0][0], data) + b"\n" for data in inputs)
    corpus.write_bytes(b"".join(sorted(lines)))
else:
    sys.exit(__doc__)

#!/usr/bin/env python3
"""Writes md5_lengths.txt: "<length> <hex digest>" of the test content at every
length from 0 to 200 and at 1 MiB, computed with hashlib."""
import hashlib
import os


def content(length):
    # Byte i is (i * 167 + (i >> 9)) mod 256; the tests build the same bytes.
    return bytes((i * 167 + (i >> 9)) & 0xFF for i in range(length))


here = os.path.dirname(os.path.abspath(__file__))
with open(os.path.join(here, "md5_lengths.txt"), "w") as out:
    for length in list(range(201)) + [1 << 20]:
        out.write(f"{length} {hashlib.md5(content(length)).hexdigest()}\n")

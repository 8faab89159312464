#!/usr/bin/env python3
"""Runs `qelcert json` over made-up inputs: exit codes, error lines, order.

Usage: qelcert_json_test.py QELCERT DATA_DIR
"""
import itertools
import json
import os
import subprocess
import sys
import tempfile

QELCERT, DATA = sys.argv[1], sys.argv[2]
failures = []


def run(*args, stdin=b""):
    done = subprocess.run([QELCERT, *args], input=stdin, capture_output=True)
    text = done.stdout.decode("utf-8")
    lines = [json.loads(line) for line in text.splitlines()] if text.startswith("{") else []
    return done.returncode, lines, done.stderr.decode()


def expect(what, got, want):
    if got != want:
        failures.append("%s: got %r, want %r" % (what, got, want))


def pem(label, der):
    import base64
    body = base64.encodebytes(der).decode()
    return "-----BEGIN %s-----\n%s-----END %s-----\n" % (label, body, label)


def read(name):
    with open(os.path.join(DATA, name), "rb") as f:
        return f.read()


cert, crl = read("sample.der"), read("families/crl/v2_100_entries.der")
tmp = tempfile.mkdtemp()


def write(name, data):
    path = os.path.join(tmp, name)
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, "wb") as f:
        f.write(data.encode() if isinstance(data, str) else data)
    return path


good, list_der = write("good.der", cert), write("list.der", crl)
bundle = write("bundle.pem", pem("CERTIFICATE", cert) + "-----BEGIN CERTIFICATE-----\nMII!\n"
               "-----END CERTIFICATE-----\n" + pem("X509 CRL", crl) + pem("PRIVATE KEY", b"\x30\x00"))

# Error lines: (what, file contents or None for a missing file, index, code, offset).
ERRORS = [
    ("empty file", b"", None, None, None),
    ("missing file", None, None, None, None),
    ("truncated DER", cert[:100], 0, -9, 0),
    ("octets after the element", cert + b"\0", 0, -10, len(cert)),
    ("not a known type", b"\x04\x02ab", 0, None, None),
]
for what, data, index, code, offset in ERRORS:
    path = write(what.replace(" ", "_"), data) if data is not None else os.path.join(tmp, "absent")
    status, lines, _ = run("json", path)
    expect(what + ": status", status, 1)
    expect(what + ": line", [(l["file"], l["index"], "error" in l, l["code"], l["offset"]) for l in lines],
           [(path, index, True, code, offset)])

# A bundle with a broken block: the blocks after it still come.
status, lines, _ = run("json", bundle)
expect("bundle status", status, 1)
expect("bundle lines", [(l["index"], l.get("type"), "error" in l) for l in lines],
       [(0, "certificate", False), (1, None, True), (2, "crl", False), (3, None, True)])
expect("broken block text", "line 11" in lines[1]["error"], True)

# Exit codes, standard input, digests, forced types.
CASES = [
    (["json", good], 0, 1),
    (["json", "-", "--digest", "md5,sha1"], 0, 1),
    (["json", "--type=request", good], 1, 1),
    (["json", "--type", "crl", list_der], 0, 1),
    (["json", "--digest", "sha512", good], 2, 0),
    (["json", "-j", "0", good], 2, 0),
    (["json", "--bogus", good], 2, 0),
    (["json"], 2, 0),
    (["frobnicate", good], 2, 0),
    (["--help"], 0, 0),
]
for args, want_status, want_lines in CASES:
    status, lines, _ = run(*args, stdin=cert)
    expect("%s: status" % args, status, want_status)
    expect("%s: lines" % args, len(lines), want_lines)
status, lines, _ = run("json", "--digest", "sha1,md5", "-", stdin=cert)
expect("digest keys in order", list(lines[0]["fingerprints"]), ["sha1", "md5"])
status, _, err = run("json", "--bogus")
expect("usage on stderr", "usage:" in err, True)

# Directories: an error line without -r; with it, the files below in name order.
tree = os.path.join(tmp, "tree")
names = []
for i in range(120):
    kind = i % 4
    name = "d%d/f%03d" % (i % 3, i)
    names.append(name)
    write(os.path.join("tree", name), [cert, crl, pem("CERTIFICATE", cert) * 2, cert[:50]][kind])
status, lines, _ = run("json", tree)
expect("directory without -r", (status, len(lines), lines[0]["index"], "error" in lines[0]), (1, 1, None, True))
status1, one, _ = run("json", "-j", "1", "-r", tree)
status2, two, _ = run("json", "-j", "2", "-r", tree + "/")
expect("-j 1 and -j 2 alike", one, [dict(l, file=l["file"].replace("tree//", "tree/")) for l in two])
order = sorted(names)
want = [os.path.join(tree, n) for n in order for _ in range(2 if int(n[-3:]) % 4 == 2 else 1)]
expect("order of files", [l["file"] for l in one], want)
expect("status with -r", (status1, status2), (1, 1))

# A PEM file over 1 MiB is read in pieces: blocks cut across pieces keep their
# order and the line numbers of their errors.
broken = "-----BEGIN CERTIFICATE-----\nMII!\n-----END CERTIFICATE-----\n"
parts = [broken if i % 97 == 5 else pem("CERTIFICATE", cert) for i in range(4000)]
big = write("big.pem", "".join(parts).replace("\n", "\r\n"))
starts = list(itertools.accumulate((p.count("\n") for p in parts[:-1]), initial=1))
for j in ("1", "2"):
    status, lines, _ = run("json", "-j", j, big)
    expect("pieces: order, -j " + j, [l["index"] for l in lines], list(range(len(parts))))
    expect("pieces: error lines, -j " + j, [l["error"] for l in lines if "error" in l],
           ["PEM block at line %d: bad base64" % starts[i] for i, p in enumerate(parts) if p is broken])

if failures:
    print("\n".join(failures))
    sys.exit(1)
print("qelcert json: all cases pass")

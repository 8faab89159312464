#!/usr/bin/env python3
"""Compares the JSON lines of `qelcert json` with those of the Python reference
over the same files, object by object and key by key.

Usage: compare_json.py --program PATH --oracle bench/qelcert_json.py FILE|DIR ...

Runs `PATH json --digest md5,sha1,sha256 FILES` and the reference with the same
arguments, checks that every line of the program is valid UTF-8, valid JSON,
one object without repeated keys, and written in the compact form (what
json.dumps with separators (",", ":") and ensure_ascii=False writes back), pairs
the objects of both by (file, index) and prints each difference as
"file index key.path: program=... oracle=...". Objects the reference cannot
read (error lines) are skipped and counted. Exits 1 on any difference.
"""
import argparse, fnmatch, json, os, re, subprocess, sys  # noqa: E401

DIGESTS = "md5,sha1,sha256"

# Differences that are known and accepted: (file pattern, key path pattern, why).
# The reference reads with `cryptography`; where that differs from the output
# format on purpose, the row says so. Keep this list short.
KNOWN = [
]


def known(path, key):
    return any(fnmatch.fnmatch(path, f) and re.fullmatch(k, key) for f, k, _ in KNOWN)


def unique_keys(pairs):
    keys = [k for k, _ in pairs]
    if len(set(keys)) != len(keys):
        raise ValueError("repeated key " + next(k for k in keys if keys.count(k) > 1))
    return dict(pairs)


def parse(raw, who):
    """{(file, index): object} of the output `raw`, and the faults of its lines."""
    objects, faults = {}, []
    for number, line in enumerate(raw.split(b"\n")[:-1] if raw.endswith(b"\n") else raw.split(b"\n"), 1):
        where = f"{who} line {number}"
        try:
            text = line.decode("utf-8")
        except UnicodeDecodeError as e:
            faults.append(f"{where}: not UTF-8 ({e})")
            continue
        try:
            obj = json.loads(text, object_pairs_hook=unique_keys)
        except ValueError as e:
            faults.append(f"{where}: not JSON ({e}): {text[:200]}")
            continue
        if not isinstance(obj, dict) or "file" not in obj or "index" not in obj:
            faults.append(f"{where}: not an object with file and index: {text[:200]}")
            continue
        compact = json.dumps(obj, separators=(",", ":"), ensure_ascii=False)
        if compact != text:
            at = next((i for i, (a, b) in enumerate(zip(compact, text)) if a != b), min(len(compact), len(text)))
            faults.append(f"{where}: not in compact form at column {at}: {text[max(0, at - 30):at + 30]!r}")
        key = (obj["file"], obj["index"])
        if key in objects:
            faults.append(f"{where}: a second object for {key[0]} {key[1]}")
        objects[key] = obj
    if raw and not raw.endswith(b"\n"):
        faults.append(f"{who}: the last line has no newline")
    return objects, faults


def differences(program, oracle, path=""):
    """[(key path, program value, oracle value)] where the two values differ;
    objects must have the same keys in the same order."""
    if isinstance(program, dict) and isinstance(oracle, dict):
        if list(program) != list(oracle):
            return [(path + ".keys", list(program), list(oracle))]
        return [d for k in program for d in differences(program[k], oracle[k], f"{path}.{k}" if path else k)]
    if isinstance(program, list) and isinstance(oracle, list) and len(program) == len(oracle):
        return [d for i, (a, b) in enumerate(zip(program, oracle)) for d in differences(a, b, f"{path}[{i}]")]
    # bool is an int to Python: true and 1 must not pass for each other.
    if program != oracle or type(program) is not type(oracle):
        return [(path, program, oracle)]
    return []


def compare(program_objects, oracle_objects):
    """(lines of differences, objects compared, objects the reference could not read)."""
    out, compared, skipped = [], 0, 0
    for key in sorted(set(program_objects) | set(oracle_objects), key=lambda k: (k[0], str(k[1]))):
        p, o = program_objects.get(key), oracle_objects.get(key)
        where = f"{key[0]} {key[1]}"
        if o is not None and "error" in o:
            skipped += 1
            continue
        if p is None or o is None:
            out.append(f"{where}: only the {'oracle' if p is None else 'program'} has this object")
            continue
        compared += 1
        if "error" in p:
            out.append(f"{where}: the program failed ({p['error']}) where the oracle did not")
            continue
        for path, a, b in differences(p, o):
            if not known(key[0], path):
                show = lambda v: json.dumps(v, ensure_ascii=False)[:300]  # noqa: E731
                out.append(f"{where} {path}: program={show(a)} oracle={show(b)}")
    return out, compared, skipped


def run(command):
    done = subprocess.run(command, capture_output=True)
    if done.returncode != 0 and not done.stdout:
        sys.exit(f"{command[0]} failed ({done.returncode}): {done.stderr.decode(errors='replace')[:500]}")
    return done.stdout


def main(argv):
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("--program", required=True, help="the qelcert program")
    parser.add_argument("--oracle", required=True, help="the reference script")
    parser.add_argument("files", nargs="+", metavar="FILE|DIR")
    args = parser.parse_args(argv)
    try:
        import cryptography
        usable = int(cryptography.__version__.split(".")[0]) >= 42
    except ImportError:
        usable = False
    if not usable:
        print(f"{sys.executable} lacks python cryptography 42 or later: nothing compared")
        return 1 if os.environ.get("QEL_CI") else 77
    program, faults = parse(run([args.program, "json", "--digest", DIGESTS, *args.files]), "program")
    oracle, oracle_faults = parse(run([sys.executable, args.oracle, "--digest", DIGESTS, *args.files]), "oracle")
    found, compared, skipped = compare(program, oracle)
    for line in faults + oracle_faults + found:
        print(line)
    problems = len(faults) + len(oracle_faults) + len(found)
    print(f"{compared} objects compared, {skipped} skipped (the reference cannot read them), "
          f"{problems} difference{'s' if problems != 1 else ''}")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))

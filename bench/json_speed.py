#!/usr/bin/env python3
"""Certificates per second of `qelcert json` on one thread and on two, beside
`openssl storeutl -text` printing the same bundle and the Python reference
(bench/qelcert_json.py, python `cryptography`) writing the same lines.

Usage: bench/json_speed.py QELCERT [--copies N] [--runs N]

Inputs: the system's CA bundle repeated N times (default 40) in one file, and
the zlint certificates (../shared/thirdparty/zlint/certs) as separate files.
The row "2 processes x half" runs two processes side by side, each on half
the bundle: what two cores give at most, the yardstick for -j2.
Each command runs --runs times (default 3); the best wall time counts.
"""
import argparse, glob, os, subprocess, sys, tempfile, time  # noqa: E401

HERE = os.path.dirname(os.path.abspath(__file__))
BUNDLE = "/etc/ssl/certs/ca-certificates.crt"
ZLINT = os.path.join(HERE, "..", "..", "shared", "thirdparty", "zlint", "certs")


def best(command, runs):
    """The best wall time of `command`, or of a list of commands run side by side."""
    commands = command if isinstance(command[0], list) else [command]
    times = []
    for _ in range(runs):
        start = time.perf_counter()
        running = [subprocess.Popen(c, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL) for c in commands]
        for process in running:
            process.wait()
        times.append(time.perf_counter() - start)
    return min(times)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("qelcert")
    parser.add_argument("--copies", type=int, default=40)
    parser.add_argument("--runs", type=int, default=3)
    args = parser.parse_args()
    reference = [sys.executable, os.path.join(HERE, "qelcert_json.py")]
    with open(BUNDLE, "rb") as f:
        one = f.read()
    per_copy = one.count(b"-----BEGIN CERTIFICATE-----")
    zlint = sorted(glob.glob(os.path.join(ZLINT, "*.der")))
    with tempfile.NamedTemporaryFile(suffix=".pem") as bundle, tempfile.NamedTemporaryFile(suffix=".pem") as half:
        bundle.write(one * args.copies)
        bundle.flush()
        half.write(one * (args.copies // 2))
        half.flush()
        count = per_copy * args.copies
        rows = [
            ("bundle", count, "qelcert json -j1", [args.qelcert, "json", "-j1", bundle.name]),
            ("bundle", count, "qelcert json -j2", [args.qelcert, "json", "-j2", bundle.name]),
            # What two cores give at most: two processes, each on half the bundle.
            ("bundle", per_copy * (args.copies // 2) * 2, "2 processes x half -j1",
             [[args.qelcert, "json", "-j1", half.name]] * 2),
            ("bundle", count, "openssl storeutl -text", ["openssl", "storeutl", "-noout", "-text", "-certs", bundle.name]),
            ("bundle", count, "python cryptography", reference + [bundle.name]),
        ]
        if zlint:
            rows += [
                ("zlint", len(zlint), "qelcert json -j1", [args.qelcert, "json", "-j1"] + zlint),
                ("zlint", len(zlint), "qelcert json -j2", [args.qelcert, "json", "-j2"] + zlint),
                ("zlint", len(zlint), "python cryptography", reference + zlint),
            ]
        print(f"{'input':8} {'certificates':>12}  {'command':24} {'seconds':>8} {'per second':>11} {'us each':>8}")
        for name, n, label, command in rows:
            seconds = best(command, args.runs)
            print(f"{name:8} {n:12}  {label:24} {seconds:8.3f} {n / seconds:11.0f} {1e6 * seconds / n:8.2f}")


if __name__ == "__main__":
    main()

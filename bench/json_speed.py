#!/usr/bin/env python3
"""Certificates per second of `qelcert json` on one thread and on two, beside
`openssl storeutl -text` printing the same bundle and the Python reference
(bench/qelcert_json.py, python `cryptography`) writing the same lines.

Usage: bench/json_speed.py QELCERT [--copies N] [--runs N]

Inputs: the system's CA bundle repeated N times (default 40) in one file, and
the zlint certificates (../shared/thirdparty/zlint/certs) as separate files.
Each command runs --runs times (default 3); the best wall time counts.
"""
import argparse, glob, os, subprocess, sys, tempfile, time  # noqa: E401

HERE = os.path.dirname(os.path.abspath(__file__))
BUNDLE = "/etc/ssl/certs/ca-certificates.crt"
ZLINT = os.path.join(HERE, "..", "..", "shared", "thirdparty", "zlint", "certs")


def best(command, runs):
    times = []
    for _ in range(runs):
        start = time.perf_counter()
        subprocess.run(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, check=False)
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
    with tempfile.NamedTemporaryFile(suffix=".pem") as bundle:
        bundle.write(one * args.copies)
        bundle.flush()
        count = per_copy * args.copies
        rows = [
            ("bundle", count, "qelcert json -j1", [args.qelcert, "json", "-j1", bundle.name]),
            ("bundle", count, "qelcert json -j2", [args.qelcert, "json", "-j2", bundle.name]),
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

#!/usr/bin/env python3
"""Checks that compare_json.py finds each fault a program's line can have: the
reference's own output over a fixture, spoiled one way per row."""
import pathlib, subprocess, sys, unittest  # noqa: E401

HERE = pathlib.Path(__file__).resolve().parent
sys.path.insert(0, str(HERE))
import compare_json as cj  # noqa: E402

FIXTURE = str(HERE.parent / "data/views/name_escapes.der")
GOOD = subprocess.run([sys.executable, str(HERE.parent.parent / "bench/qelcert_json.py"), "--digest", cj.DIGESTS,
                       FIXTURE], capture_output=True, check=True).stdout

# (what is spoiled, bytes before, bytes after, what the report says)
SPOILS = [
    ("space after a colon", b'"version":3', b'"version": 3', "compact form"),
    ("uppercase \\u escape", b'"serial":"01"', b'"serial":"\\u0030\\u0031"', "compact form"),
    ("escaped slash", b'"rfc4514":"', b'"rfc4514":"\\/', "compact form"),
    ("a stray octet", b'"DE"', b'"D\xff"', "not UTF-8"),
    ("no closing brace", b'}}\n', b'}\n', "not JSON"),
    ("a repeated key", b'"version":3', b'"version":3,"version":3', "repeated key"),
    ("two keys swapped", b'"not_before":"2024-01-01T00:00:00Z","not_after":"2034-01-01T00:00:00Z"',
     b'"not_after":"2034-01-01T00:00:00Z","not_before":"2024-01-01T00:00:00Z"', ".keys"),
    ("a wrong value deep down", b'"value":"#lead"', b'"value":"\\\\#lead"', "subject.rdns[1][0].value"),
    ("true for 1", b'"bits":256', b'"bits":true', "public_key.bits"),
    ("a list one short", b',{"oid":"0.9.2342.19200300.100.1.1","value":"#"}', b'', "subject.rdns[6]"),
    ("an error line", GOOD, b'{"file":"%s","index":0,"error":"x","code":-1,"offset":0}\n' % FIXTURE.encode(),
     "the program failed"),
    ("another index", b'"index":0', b'"index":1', "only the program"),
    ("no newline at the end", b'}}\n', b'}}', "no newline"),
]


class CompareTest(unittest.TestCase):
    def test_each_spoil_is_reported(self):
        oracle, _ = cj.parse(GOOD, "oracle")
        self.assertEqual(cj.compare(oracle, oracle), ([], 1, 0))
        for what, before, after, report in SPOILS:
            with self.subTest(what):
                self.assertIn(before, GOOD)
                program, faults = cj.parse(GOOD.replace(before, after, 1), "program")
                self.assertIn(report, "\n".join(faults + cj.compare(program, oracle)[0]))


if __name__ == "__main__":
    unittest.main()

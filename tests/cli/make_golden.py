#!/usr/bin/env python3
"""Writes the texts the tests expect, composed from what python `cryptography`
and `hashlib` read, never from the code under test: golden/<name>.txt, the whole
output of qeldumpcert under TZ=UTC for each certificate of CERTIFICATES;
../data/names/expected_names.txt, the name texts of the certificates and requests
in ../data/names/ and ../data/certs/; ../data/md5_lengths.txt, the digests of the
test content at every length from 0 to 200 and at 1 MiB.

Usage: python3 make_golden.py   (from any directory, after make_certs.py; needs `cryptography`)
"""
import hashlib, pathlib, sys, time, warnings  # noqa: E401

from cryptography import x509
from cryptography.hazmat.primitives import serialization
from cryptography.hazmat.primitives.asymmetric import rsa
from cryptography.x509.name import _ASN1Type
from cryptography.x509.oid import ExtensionOID

HERE = pathlib.Path(__file__).resolve().parent
DATA = HERE.parent / "data"
sys.path.insert(0, str(DATA))
from der import children, oid_content  # noqa: E402  (for the bytes `cryptography` doesn't hand out)

# ---------------------------------------------------------------------------
# Name texts

# Label of each attribute type that has a row; the others leave no trace.
LABELS = {"2.5.4.3": "CN", "2.5.4.4": "S", "2.5.4.5": "SN", "2.5.4.6": "C", "2.5.4.7": "L", "2.5.4.8": "ST",
          "2.5.4.9": "SA", "2.5.4.10": "O", "2.5.4.11": "OU", "2.5.4.12": "T", "2.5.4.16": "PA",
          "2.5.4.17": "PC", "2.5.4.18": "PO", "2.5.4.20": "TN", "2.5.4.23": "FAX",
          "1.2.840.113549.1.9.1": "emailAddress"}
CODECS = {_ASN1Type.BMPString: "utf-16-be", _ASN1Type.UniversalString: "utf-32-be"}


def texts(name):
    """(slash, ldap) texts of a name; a value ends at its first zero byte on the wire."""
    rdns = [[LABELS[a.oid.dotted_string].encode() + b"=" +
             a.value.encode(CODECS.get(a._type, "utf-8")).split(b"\x00", 1)[0]
             for a in rdn if a.oid.dotted_string in LABELS] for rdn in name.rdns]
    if not rdns:
        return b"//", b""
    slash = b"/" + b"".join(w + b"/" for rdn in rdns for w in rdn)
    return slash, b"".join(w + b"," for rdn in rdns[:0:-1] for w in rdn) + b",".join(rdns[0])


def parsed_count(text, sep):
    """Entries a text parses into: tokens split at runs of `sep`; -1 for none."""
    tokens = [t for t in text.split(sep) if t]
    return -1 if sep not in text or any(b"=" not in t for t in tokens) else len(tokens)


def escape(data):
    return "".join(chr(c) if 0x20 < c < 0x7F and c != 0x5C else "\\x%02x" % c for c in data)


def expected_names():
    lines = ["# file\tfield\tslash\tldap\tentries-from-slash\tentries-from-ldap",
             "# bytes outside 0x21..0x7e and backslash are written as \\xHH"]
    for path in sorted((DATA / "names").glob("*.der")) + sorted((DATA / "certs").glob("*.der")):
        der = path.read_bytes()
        try:
            if path.stem.startswith("req_"):
                fields = [("subject", x509.load_der_x509_csr(der).subject)]
            else:
                cert = x509.load_der_x509_certificate(der)
                fields = [("issuer", cert.issuer), ("subject", cert.subject)]
        except (ValueError, KeyError, x509.InvalidVersion):
            continue  # what the reading library can't hold: a v2 certificate, a value of an unknown type
        for field, name in fields:
            slash, ldap = texts(name)
            lines.append("\t".join([path.relative_to(DATA).as_posix(), field, escape(slash), escape(ldap),
                                    str(parsed_count(slash, b"/")), str(parsed_count(ldap, b","))]))
    return "\n".join(lines) + "\n"


# ---------------------------------------------------------------------------
# Reports of the tool

# ../data/sample.der and certificates of ../data/certs/, in turn: no version, no extensions;
# known algorithm, NULL parameters; parameters shown whole; EC key, absent parameters;
# serial numbers: 4 bytes in decimal, negative, 20 bytes with a leading 00 in hex; a
# GeneralizedTime past 2038; year 9999, which wraps the 32-bit count; SAN with EA, DN,
# URI, IPv4 and IPv6 and an issuerAltName; SAN with a directoryName (no SAN line); a
# distribution point by directory name; a SAN text over the buffer; an empty subject.
CERTIFICATES = ["sample"] + """v1_rsa rsa1024_sha1 private_alg_seq_params ec_p384 serial_04
    serial_negative serial_20_high_bit gen_not_after_2050 gen_both ext_san_text_forms
    ext_san_dirname ext_crldp_dirname ext_san_long subject_empty_san_critical""".split()
ALGORITHMS = {"1.2.840.113549.1.1.4": "MD5 Hash with RSA Encryption",
              "1.2.840.113549.1.1.5": "SHA-1 Hash with RSA Encryption",
              "1.2.840.113549.1.1.2": "MD2 Hash with RSA Encryption",
              "1.2.840.113549.1.1.1": "RSA Encryption"}
# General names with a text besides IP addresses; the others have none.
PREFIXES = {x509.RFC822Name: "EA=", x509.DNSName: "DN=", x509.UniformResourceIdentifier: "URI="}
SAN_BUFFER = 300  # closing zero included


def general_name_text(general):
    if isinstance(general, x509.IPAddress):
        return "IP=" + ".".join(str(b) for b in general.value.packed[:4])
    return PREFIXES[type(general)] + general.value if type(general) in PREFIXES else None


def alt_names_text(names):
    """The text of a list, or None where one name has no text form or it is too long."""
    parts = [general_name_text(g) for g in names]
    if None in parts:
        return None
    text = "/" + "".join(p + "/" for p in parts) if parts else "//"
    return text if len(text) < SAN_BUFFER else None


def distribution_point_text(points):
    first = points[0].full_name[0] if points and points[0].full_name else None
    if isinstance(first, x509.UniformResourceIdentifier):
        return f"/URI={first.value}/"
    return texts(first.value)[0].decode() if isinstance(first, x509.DirectoryName) else None


def dump(data):
    return "".join(f"  {b:02x}" + ("\n" if i % 8 == 7 or i == len(data) - 1 else "")
                   for i, b in enumerate(data)) + "\n"


def when(moment):
    # The tool counts seconds in 32 bits, modulo 2^32.
    return time.strftime("%a %b %e %H:%M:%S %Y\n", time.gmtime(int(moment.timestamp()) % (1 << 32)))


def whole_output(der):
    cert = x509.load_der_x509_certificate(der)
    values = {e.oid: e.value for e in cert.extensions}

    def line(label, oid, rule):
        text = rule(list(values[oid])) if oid in values else None
        return f"{label}: {text}\n" if text else ""

    serial = cert.serial_number
    content = serial.to_bytes(max(1, (serial.bit_length() + 8) // 8), "big", signed=True)
    sig_oid = cert.signature_algorithm_oid.dotted_string
    key_oid = cert.public_key_algorithm_oid.dotted_string
    # The signature's parameters element as it stands, none for NULL.
    parameters = [w for t, w, _ in children(children(children(der)[0][2])[1][2])[1:] if t != 0x05]
    parameters = parameters[0] if parameters else b""
    key = cert.public_key()
    key = (key.public_bytes(serialization.Encoding.DER, serialization.PublicFormat.PKCS1)
           if isinstance(key, rsa.RSAPublicKey) else
           key.public_bytes(serialization.Encoding.X962, serialization.PublicFormat.UncompressedPoint))
    digest = hashlib.md5(der).hexdigest()
    return "".join([
        "-----BEGIN CERTIFICATE-----\n", f"VERSION: {cert.version.value}\n",
        f"SERIAL NUMBER: {serial if len(content) <= 4 else content.hex()}\n",
        f"ISSUER: {texts(cert.issuer)[0].decode()}\n",
        line("ISSUER-ALT NAME", ExtensionOID.ISSUER_ALTERNATIVE_NAME, alt_names_text),
        f"SUBJECT: {texts(cert.subject)[0].decode()}\n",
        line("SUBJECT-ALT NAME", ExtensionOID.SUBJECT_ALTERNATIVE_NAME, alt_names_text),
        line("DISTRIBUTION POINT", ExtensionOID.CRL_DISTRIBUTION_POINTS, distribution_point_text),
        f"NOTBEFORE: {when(cert.not_valid_before_utc)}\n",
        f"NOTAFTER: {when(cert.not_valid_after_utc)}\n",
        f"SIG ALG:  {ALGORITHMS.get(sig_oid, 'Unknown')}\n" + dump(oid_content(sig_oid)),
        f"PARAM : len = {len(parameters)}\n" + dump(parameters),
        f"PUBKEY: len = {len(key)}\n" + dump(key),
        f"KEY ALG:  {ALGORITHMS.get(key_oid, 'Unknown')}\n" + dump(oid_content(key_oid)), "\n",
        f"FINGERPRINT: {':'.join(digest[i:i + 2] for i in range(0, 32, 2))}\n-----END CERTIFICATE-----\n"])


def md5_lengths():
    # Byte i of the test content is (i * 167 + (i >> 9)) mod 256; the tests build the same bytes.
    content = bytes((i * 167 + (i >> 9)) & 0xFF for i in range(1 << 20))
    return "".join(f"{n} {hashlib.md5(content[:n]).hexdigest()}\n" for n in [*range(201), 1 << 20])


if __name__ == "__main__":
    warnings.simplefilter("ignore")  # serial numbers of zero or below, a 200-octet CN: all wanted here
    (HERE / "golden").mkdir(exist_ok=True)
    for name in CERTIFICATES:
        der = (DATA / ("sample.der" if name == "sample" else f"certs/{name}.der")).read_bytes()
        (HERE / "golden" / f"{name}.txt").write_bytes(whole_output(der).encode())
    (DATA / "names" / "expected_names.txt").write_bytes(expected_names().encode())
    (DATA / "md5_lengths.txt").write_bytes(md5_lengths().encode())

#!/usr/bin/env python3
"""Builds the name and certification-request fixtures under tests/data/names/
and writes the expected name texts of every certificate found there (and under
tests/data/certs/ when that directory exists) to expected_names.txt.

The expected texts are computed here from the RDNs that the `cryptography`
package reads back from each DER file, with the attribute labels mapped by
OID; the library under test plays no part in them.

Run from anywhere:  python3 tests/data/names/make_names.py
"""
import datetime
import pathlib
import sys
import warnings

from cryptography import x509
from cryptography.hazmat.primitives import hashes, serialization
from cryptography.hazmat.primitives.asymmetric import ec
from cryptography.x509.name import _ASN1Type
from cryptography.x509.oid import NameOID, ObjectIdentifier

warnings.simplefilter("ignore", UserWarning)  # the 200-octet CN is on purpose

HERE = pathlib.Path(__file__).resolve().parent
DATA = HERE.parent
sys.path.insert(0, str(DATA))
from der import children, ctx, oid, printable, seq, tlv  # noqa: E402

# Label of each attribute type that has a row; the others leave no trace.
LABELS = {
    "2.5.4.3": "CN", "2.5.4.4": "S", "2.5.4.5": "SN", "2.5.4.6": "C",
    "2.5.4.7": "L", "2.5.4.8": "ST", "2.5.4.9": "SA", "2.5.4.10": "O",
    "2.5.4.11": "OU", "2.5.4.12": "T", "2.5.4.16": "PA", "2.5.4.17": "PC",
    "2.5.4.18": "PO", "2.5.4.20": "TN", "2.5.4.23": "FAX",
    "1.2.840.113549.1.9.1": "emailAddress",
}

KEY = ec.derive_private_key(0x1D2C3B4A, ec.SECP256R1())
START = datetime.datetime(2024, 1, 1)


def A(oid, value, kind=None):
    if isinstance(oid, str):
        oid = ObjectIdentifier(oid)
    if kind is None:
        return x509.NameAttribute(oid, value, _validate=False)
    return x509.NameAttribute(oid, value, _type=kind, _validate=False)


def name(*rdns):
    return x509.Name([x509.RelativeDistinguishedName(r if isinstance(r, list) else [r])
                      for r in rdns])


ROOT = name(A(NameOID.COUNTRY_NAME, "US"), A(NameOID.ORGANIZATION_NAME, "Acme"),
            A(NameOID.COMMON_NAME, "Root"))
P = _ASN1Type.PrintableString

CERTS = {
    # Self-signed, three plain RDNs.
    "plain": (ROOT, ROOT),
    # One RDN with two values.
    "multivalued": (ROOT, name(A(NameOID.COUNTRY_NAME, "US"),
                               [A(NameOID.ORGANIZATION_NAME, "Acme"),
                                A(NameOID.ORGANIZATIONAL_UNIT_NAME, "Sales")],
                               A(NameOID.COMMON_NAME, "Leaf"))),
    # Attributes without a row: issuer has nothing else; the subject's first
    # RDN has no row, so its LDAP text ends in a separator.
    "norow": (name(A(NameOID.DOMAIN_COMPONENT, "org"), A(NameOID.DOMAIN_COMPONENT, "example")),
              name(A(NameOID.DOMAIN_COMPONENT, "com"), A(NameOID.ORGANIZATION_NAME, "Acme"),
                   [A(NameOID.COMMON_NAME, "Leaf"), A(NameOID.USER_ID, "jdoe")],
                   A(NameOID.GIVEN_NAME, "Jo"))),
    # Zero bytes inside and at the start of a value.
    "zerobyte": (ROOT, name(A(NameOID.COMMON_NAME, "ab\x00cd"),
                            A(NameOID.ORGANIZATION_NAME, "\x00lead"))),
    # BMPString and UniversalString values start with a zero byte.
    "bmp": (ROOT, name(A(NameOID.ORGANIZATION_NAME, "Acme"),
                       A(NameOID.COMMON_NAME, "Root", _ASN1Type.BMPString),
                       A(NameOID.LOCALITY_NAME, "Here", _ASN1Type.UniversalString))),
    # Empty issuer and subject.
    "empty": (name(), name()),
    # Every row of the table, several string types, a value with a long-form length.
    "allrows": (ROOT, name(
        A(NameOID.COMMON_NAME, "x" * 200), A(NameOID.SURNAME, "Doe"),
        A(NameOID.SERIAL_NUMBER, "1234", P), A(NameOID.COUNTRY_NAME, "DE"),
        A(NameOID.LOCALITY_NAME, "Z\u00fcrich"), A(NameOID.STATE_OR_PROVINCE_NAME, "Bayern", _ASN1Type.T61String),
        A(NameOID.STREET_ADDRESS, "Main St 1"), A(NameOID.ORGANIZATION_NAME, "Acme", P),
        A(NameOID.ORGANIZATIONAL_UNIT_NAME, "Dev"), A(NameOID.TITLE, "Boss"),
        A("2.5.4.16", "Box 7"), A(NameOID.POSTAL_CODE, "80331"), A("2.5.4.18", "PO 9"),
        A("2.5.4.20", "+49 1"), A("2.5.4.23", "+49 2"),
        A(NameOID.EMAIL_ADDRESS, "a@b.example"), A("2.5.4.13", "no row"))),
    # Issuer and subject differ only in letter case.
    "case": (name(A(NameOID.ORGANIZATION_NAME, "Acme"), A(NameOID.COMMON_NAME, "Root")),
             name(A(NameOID.ORGANIZATION_NAME, "Acme"), A(NameOID.COMMON_NAME, "root"))),
    # Separators inside values: the slash text does not parse back.
    "separators": (ROOT, name(A(NameOID.ORGANIZATION_NAME, "x,y=z"),
                              A(NameOID.COMMON_NAME, "a/b"))),
}


def make_cert(issuer, subject):
    b = (x509.CertificateBuilder().issuer_name(issuer).subject_name(subject)
         .public_key(KEY.public_key()).serial_number(7)
         .not_valid_before(START).not_valid_after(START + datetime.timedelta(days=365)))
    cert = b.sign(KEY, hashes.SHA256(), ecdsa_deterministic=True)
    return cert.public_bytes(serialization.Encoding.DER)


def make_requests():
    subject = name(A(NameOID.COUNTRY_NAME, "US"), A(NameOID.COMMON_NAME, "Requester"))
    plain = (x509.CertificateSigningRequestBuilder().subject_name(subject)
             .sign(KEY, hashes.SHA256(), ecdsa_deterministic=True)
             .public_bytes(serialization.Encoding.DER))
    with_attrs = (x509.CertificateSigningRequestBuilder().subject_name(subject)
                  .add_attribute(x509.oid.AttributeOID.CHALLENGE_PASSWORD, b"secret")
                  .add_extension(x509.BasicConstraints(ca=False, path_length=None), critical=True)
                  .sign(KEY, hashes.SHA256(), ecdsa_deterministic=True)
             .public_bytes(serialization.Encoding.DER))
    info, alg, sig = [whole for _, whole, _ in children(children(plain)[0][2])]
    version, subj, spki, attrs = [whole for _, whole, _ in children(children(info)[0][2])]
    assert attrs == b"\xa0\x00"
    no_element = seq(seq(version + subj + spki), alg, sig)
    # One attribute whose value set holds two values.
    two = seq(oid("1.2.840.113549.1.9.7"), tlv(0x31, printable("one") + printable("two")))
    two_values = seq(seq(version, subj, spki, ctx(0, two)), alg, sig)
    # 33 attributes, one more than the list holds.
    many = b"".join(seq(oid(f"1.2.3.{i}"), tlv(0x31, printable("v"))) for i in range(33))
    over = seq(seq(version, subj, spki, ctx(0, many)), alg, sig)
    return {"req_empty_attrs": plain, "req_attrs": with_attrs,
            "req_no_attrs_element": no_element, "req_two_values": two_values,
            "req_33_attrs": over}


# --- expected texts ------------------------------------------------------------

def raw_value(attr):
    """Content bytes of a value as they stand on the wire."""
    kind = attr._type
    if kind == _ASN1Type.BMPString:
        data = attr.value.encode("utf-16-be")
    elif kind == _ASN1Type.UniversalString:
        data = attr.value.encode("utf-32-be")
    else:
        data = attr.value.encode("utf-8")
    return data.split(b"\x00", 1)[0]


def texts(nm):
    """(slash, ldap) texts of a name."""
    def words(rdns):
        return [[LABELS[a.oid.dotted_string].encode() + b"=" + raw_value(a)
                 for a in rdn if a.oid.dotted_string in LABELS] for rdn in rdns]
    rdns = list(nm.rdns)
    if not rdns:
        return b"//", b""
    slash = b"/" + b"".join(w + b"/" for rdn in words(rdns) for w in rdn)
    groups = words(reversed(rdns))
    ldap = b"".join(w + b"," for rdn in groups[:-1] for w in rdn) + b",".join(groups[-1])
    return slash, ldap


def parsed_count(text, sep):
    """Entries a text parses into: tokens split at runs of `sep`; -1 for none."""
    if sep.encode() not in text:
        return -1
    tokens = [t for t in text.split(sep.encode()) if t]
    return -1 if any(b"=" not in t for t in tokens) else len(tokens)


def escape(data):
    return "".join(chr(c) if 0x20 < c < 0x7F and c != 0x5C else "\\x%02x" % c for c in data)


def main():
    for stem, (issuer, subject) in CERTS.items():
        (HERE / (stem + ".der")).write_bytes(make_cert(issuer, subject))
    for stem, der in make_requests().items():
        (HERE / (stem + ".der")).write_bytes(der)

    lines = ["# file\tfield\tslash\tldap\tentries-from-slash\tentries-from-ldap",
             "# bytes outside 0x21..0x7e and backslash are written as \\xHH"]
    for folder in ("names", "certs"):
        for path in sorted((DATA / folder).glob("*.der")) if (DATA / folder).is_dir() else []:
            der = path.read_bytes()
            rel = path.relative_to(DATA).as_posix()
            if path.stem.startswith("req_"):
                try:
                    fields = [("subject", x509.load_der_x509_csr(der).subject)]
                except ValueError:
                    continue
            else:
                try:
                    cert = x509.load_der_x509_certificate(der)
                    fields = [("issuer", cert.issuer), ("subject", cert.subject)]
                except (ValueError, KeyError, x509.InvalidVersion):
                    continue  # what the reading library can't hold: a v2 certificate, a value of an unknown type
            for field, nm in fields:
                slash, ldap = texts(nm)
                lines.append("\t".join([rel, field, escape(slash), escape(ldap),
                                        str(parsed_count(slash, "/")),
                                        str(parsed_count(ldap, ","))]))
    (HERE / "expected_names.txt").write_text("\n".join(lines) + "\n")


if __name__ == "__main__":
    main()

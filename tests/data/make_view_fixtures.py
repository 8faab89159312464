#!/usr/bin/env python3
"""Writes views/: the objects the certificate, request and revocation list views
and `qelcert json` are checked on, beyond those make_certs.py writes. All are
valid DER, so `cryptography` reads them too: long lists of alternative names and
extensions, names of every string type and with values RFC 4514 escapes, keys of
the kinds the other fixtures lack, a long revocation list and one without
nextUpdate, two certification requests, and two PEM bundles.

Usage: python3 make_view_fixtures.py   (from any directory; needs `cryptography`)
The RSA key of exponent 3 is made once and kept in keys/; every other key is
fixed, so a new run writes the same bytes.
"""
import pathlib, sys  # noqa: E401

from datetime import datetime as day, timedelta

from cryptography import x509
from cryptography.hazmat.primitives import hashes, serialization
from cryptography.hazmat.primitives.asymmetric import ec, ed448, rsa, x25519
from cryptography.x509.oid import NameOID

HERE = pathlib.Path(__file__).resolve().parent
sys.path.insert(0, str(HERE))
import make_certs as m  # noqa: E402
from der import *  # noqa: E402,F401,F403

OUT = HERE / "views"
PRIVATE = m.PRIVATE


def rsa_e3():
    path = HERE / "keys/rsa2048_e3.pem"
    if not path.exists():
        key = rsa.generate_private_key(3, 2048)
        path.write_bytes(key.private_bytes(serialization.Encoding.PEM, serialization.PrivateFormat.PKCS8,
                                           serialization.NoEncryption()))
    return serialization.load_pem_private_key(path.read_bytes(), None)


KEYS = {
    "rsa2048_e3": rsa_e3(),
    "secp256k1": ec.derive_private_key(0xA11CE * 7727, ec.SECP256K1()),
    "brainpoolp256r1": ec.derive_private_key(0xB0B * 6151, ec.BrainpoolP256R1()),
    "ed448": ed448.Ed448PrivateKey.from_private_bytes(bytes(range(57))),
    "x25519": x25519.X25519PrivateKey.from_private_bytes(bytes(range(32, 64))),
}
m.ALGS["ed448"] = (seq(oid("1.3.101.113")), lambda k, d: k.sign(d))

# ---------------------------------------------------------------------------
# Alternative names and extensions


def ip(text):
    import ipaddress
    return tlv(0x87, ipaddress.ip_address(text).packed)


# IPv6 addresses: all zero, zero runs at either end, a lone zero group (not
# shortened), a tie between two runs (the first is), a longer second run.
IPV6 = ["::", "::1", "1::", "2001:db8::1", "2001:db8:0:1:1:1:1:1", "1:0:0:2:0:0:3:4",
        "1:0:0:2:0:0:0:4", "fe80::abcd:ef01", "::ffff:192.0.2.1", "ff02::2", "0:1:0:1:0:1:0:1",
        "1:2:3:4:5:6:7:0"]
SAN_40_ITEMS = (
    [dns("www.example.org"), dns("*.wild.example.org"), dns("xn--bcher-kva.example")]
    + [rfc822(a) for a in ("ann@example.org", "bob@sub.example.org", "example.org")]
    + [uri(u) for u in ("https://example.org/", "ldap://ldap.example.org/cn=x?y", "urn:uuid:1234")]
    + [ip(a) for a in ("192.0.2.1", "0.0.0.0", "255.255.255.255", "10.1.2.3")]
    + [ip(a) for a in IPV6]
    + [ctx(4, m.name((m.C, "DE"), (m.O, "Dir, Inc."), (m.CN, "Entry #1"))),
       ctx(4, m.name([(m.O, "Multi"), (m.OU, "Valued")])), ctx(4, seq())]
    + [tlv(0x88, oid_content(o)) for o in (PRIVATE + ".20.1", "1.2.3.4", "2.999.1")]
    + [ctx(0, oid(PRIVATE + ".21.1") + ctx(0, utf8("upn@example.org"))),
       ctx(0, oid("1.3.6.1.4.1.311.20.2.3") + ctx(0, utf8("user@corp"))),
       ctx(0, oid(PRIVATE + ".21.2") + ctx(0, seq(integer(5), ia5("x"))))]
    + [dns(f"n{i}.example") for i in range(5)] + [rfc822("last@example.org")])
assert len(SAN_40_ITEMS) == 40
SAN_40 = seq(*SAN_40_ITEMS)
SAN_33_DNS = seq(*(dns(f"h{i}.io") for i in range(33)))

ROOT_SPKI = m.spki(m.RSA2048)
KEY_ID = bytes.fromhex("00112233445566778899aabbccddeeff01234567")
USUAL = [
    m.ext("bc", seq(boolean(True), integer(0)), True),
    m.ext("ku", bits(b"\x86", 1), True),
    m.ext("eku", seq(*(oid(f"1.3.6.1.5.5.7.3.{n}") for n in (1, 2, 3, 4, 8, 9)), oid(PRIVATE + ".30"))),
    m.ext("ski", octets(KEY_ID)),
    m.ext("aki", seq(tlv(0x80, KEY_ID[::-1]), ctx(1, ctx(4, m.ROOT)), tlv(0x82, b"\x01"))),
    m.ext("san", SAN_33_DNS),
    m.ext("ian", seq(uri("https://ca.example.org"), rfc822("ca@example.org"), ip("192.0.2.9"))),
    m.ext("crldp", seq(seq(ctx(0, ctx(0, uri("http://crl.example.org/a.crl") + dns("not.a.uri")))),
                       seq(ctx(0, ctx(1, seq(oid(m.CN), printable("CRL1"))))),
                       seq(ctx(0, ctx(0, uri("ldap://crl.example.org/b"))), tlv(0x81, b"\x05\xa0")))),
    m.ext("cp", seq(seq(oid("2.23.140.1.2.2")), seq(oid("2.5.29.32.0")), seq(oid(PRIVATE + ".31"), seq(
        seq(oid("1.3.6.1.5.5.7.2.1"), ia5("https://example.org/cps")))))),
    m.ext("aia", seq(seq(oid("1.3.6.1.5.5.7.48.1"), uri("http://ocsp.example.org")),
                     seq(oid("1.3.6.1.5.5.7.48.2"), uri("http://example.org/ca.cer")),
                     seq(oid("1.3.6.1.5.5.7.48.1"), dns("ocsp.example.org")),
                     seq(oid("1.3.6.1.5.5.7.48.1"), uri("http://ocsp2.example.org")))),
    m.ext("sia", seq(seq(oid("1.3.6.1.5.5.7.48.5"), uri("http://example.org/repo/")))),
    m.ext("nc", seq(ctx(0, seq(dns("example.org")) + seq(ctx(7, bytes([10, 0, 0, 0, 255, 0, 0, 0]), False)))),
          True),
    m.ext("pc", seq(tlv(0x80, b"\x00")), True),
    m.ext("inhibit", integer(1), True),
    m.ext("freshest", seq(seq(ctx(0, ctx(0, uri("http://crl.example.org/delta.crl")))))),
    m.ext("tls_feature", seq(integer(5))),
    m.ext("ocsp_nocheck", NULL),
    m.ext("ns_comment", ia5("Made for tests")),
    m.ext("2.5.29.20", integer(42)),  # cRLNumber, out of place in a certificate
]
EXT_40 = USUAL + [m.ext(PRIVATE + f".32.{i}", octets(bytes([i]) * (i % 7)), True if i % 5 == 0 else None)
                  for i in range(40 - len(USUAL))]

# ---------------------------------------------------------------------------
# Names

NUMERIC, VISIBLE = (lambda s: tlv(0x12, s.encode())), (lambda s: tlv(0x1A, s.encode()))
# Every string type; a TeletexString with octets above 0x7F; an INTEGER value.
EVERY_STRING = m.name(
    (m.C, printable("DE")), (m.ST, t61("Île-de-France ©")), (m.L, utf8("Zürich ✓ 😀")),
    (m.O, bmp("Ωmega Корп 😀")), (m.OU, universal("unι 𝄞")), (m.EMAIL, ia5("person@example.org")),
    ("2.5.4.5", NUMERIC("0123 4567")), ("2.5.4.12", VISIBLE("Visible ~title~")),
    (m.CN, utf8("名前")), [(m.DC, ia5("example")), ("2.5.4.65", integer(-300))])
# The same string types as `cryptography` reads them (TeletexString in ASCII),
# a BIT STRING (uniqueIdentifier) and an OCTET STRING.
EVERY_STRING_ASCII_T61 = m.name(
    (m.C, printable("FR")), (m.ST, t61("Teletex")), (m.L, utf8("Genève")), (m.O, bmp("BMP 😀")),
    (m.OU, universal("Universal 𝄞")), (m.EMAIL, ia5("ca@example.org")), ("2.5.4.5", NUMERIC("42")),
    ("2.5.4.12", VISIBLE("Visible")), ("2.5.4.45", bits(b"\xa5\x5a", 4)), ("2.5.4.13", octets(b"desc")),
    (m.CN, printable("Every String CA")))
ESCAPES = m.name(
    (m.C, printable("DE")), (m.O, utf8("#lead")), (m.OU, utf8(" lead")), (m.OU, utf8("trail ")),
    (m.OU, utf8(" ")), (m.L, utf8('a,b+c"d\\e<f>g;h=i')), [(m.CN, utf8("x+y")), (m.UID, utf8("#"))],
    (m.ST, utf8("in#side sp ace")), (m.DC, ia5("back\\slash")), ("2.5.4.9", utf8("  two  ")))

# ---------------------------------------------------------------------------
# Revocation lists and requests

REASONS = list(x509.ReasonFlags)


def crl_2100():
    builder = x509.CertificateRevocationListBuilder(m.X_ROOT, day(2024, 1, 1), day(2024, 2, 1))
    for i in range(2100):
        serial = (i * 2654435761 + 1) % (1 << (8 * (1 + i % 16))) or 1
        entry = x509.RevokedCertificateBuilder(serial, day(2023, 1, 1) + timedelta(minutes=97 * i))
        if i % 3 == 0:
            entry = entry.add_extension(x509.CRLReason(REASONS[i // 3 % len(REASONS)]), False)
        if i % 7 == 0:
            entry = entry.add_extension(x509.InvalidityDate(day(2022, 12, 1) + timedelta(hours=i)), False)
        builder = builder.add_revoked_certificate(entry.build())
    builder = builder.add_extension(x509.CRLNumber(0x0100), False)
    return builder.sign(m.RSA2048, hashes.SHA256()).public_bytes(serialization.Encoding.DER)


def crl_no_next_update():
    reason = seq(seq(oid("2.5.29.21"), octets(tlv(0x0A, b"\x01"))))
    tbs = seq(integer(1), m.ALGS["rsa-sha256"][0], m.ROOT, time(day(2024, 3, 1)),
              seq(seq(integer(0x1234), time(day(2024, 2, 1)), reason), seq(integer(7), time(day(2051, 1, 1)))),
              ctx(0, seq(m.ext("2.5.29.20", integer(0x80)))))
    return m.signed(tbs)


def requests():
    subject = x509.Name([x509.NameAttribute(NameOID.COUNTRY_NAME, "DE"),
                         x509.NameAttribute(NameOID.COMMON_NAME, "Requester")])
    full = (x509.CertificateSigningRequestBuilder().subject_name(subject)
            .add_extension(x509.SubjectAlternativeName([x509.DNSName("req.example.org"),
                                                        x509.RFC822Name("req@example.org")]), False)
            .add_extension(x509.BasicConstraints(ca=False, path_length=None), True)
            .add_extension(x509.KeyUsage(True, False, True, False, False, False, False, False, False), True)
            .add_extension(x509.ExtendedKeyUsage([x509.oid.ExtendedKeyUsageOID.SERVER_AUTH,
                                                  x509.oid.ExtendedKeyUsageOID.CLIENT_AUTH]), False))
    password = (x509.CertificateSigningRequestBuilder().subject_name(subject)
                .add_attribute(x509.oid.AttributeOID.CHALLENGE_PASSWORD, b"secret"))
    return {label: b.sign(m.RSA2048, hashes.SHA256()).public_bytes(serialization.Encoding.DER)
            for label, b in (("req_extension_request", full), ("req_challenge_password", password))}


# ---------------------------------------------------------------------------


def pem(der, label="CERTIFICATE"):
    import base64
    text = base64.b64encode(der).decode()
    return (f"-----BEGIN {label}-----\n" + "".join(text[i:i + 64] + "\n" for i in range(0, len(text), 64))
            + f"-----END {label}-----\n")


def broken(text):
    """`text` with a character outside base64 in its first line of base64."""
    lines = text.split("\n")
    lines[1] = lines[1][:10] + "!" + lines[1][11:]
    return "\n".join(lines)


def fixtures():
    out = {
        "san_40_mixed": m.ec_cert(extensions=[m.ext("san", SAN_40)]),
        "san_33_dns": m.ec_cert(subject=seq(), extensions=[m.ext("san", SAN_33_DNS, True)]),
        "ext_40": m.cert(extensions=EXT_40),
        "name_every_string": m.cert(issuer=EVERY_STRING_ASCII_T61, subject=EVERY_STRING),
        "name_escapes": m.ec_cert(subject=ESCAPES),
        **{f"key_{label}": m.cert(key=key, signer=m.RSA2048, subject=m.dn(CN=f"{label} key".replace("_", " "))) for label, key in KEYS.items()
           if label != "ed448"},
        "key_ed448": m.cert(key=KEYS["ed448"], alg="ed448", issuer=m.dn(CN="Ed448"), subject=m.dn(CN="Ed448")),
        "crl_2100_entries": crl_2100(),
        "crl_v2_no_next_update": crl_no_next_update(),
        **requests(),
    }
    texts = {
        "bundle_three.pem": "Certificates of the bundle test\n\nsubject=CN=Qel Test Root\n" + pem(out["san_33_dns"])
        + "\n# a comment line\n" + pem(out["key_ed448"]) + "trailing words, then the third\n"
        + pem(out["name_escapes"]) + "the end\n",
        "bundle_broken.pem": pem(out["key_secp256k1"]) + broken(pem(out["key_x25519"]))
        + pem(out["req_challenge_password"], "CERTIFICATE REQUEST"),
    }
    return out, texts


if __name__ == "__main__":
    ders, texts = fixtures()
    write(OUT, ders)
    for label, text in texts.items():
        (OUT / label).write_text(text)
    print(f"{len(ders) + len(texts)} files in {OUT}", file=sys.stderr)

#!/usr/bin/env python3
"""Writes the certificate fixtures of the tests: certs/*.der, all canonical DER,
and bad/*.der, certificates with one structural fault each.

Every certificate is assembled element by element here, so that the fixtures
can hold what certificate builders never write (version 1, unique
identifiers, an explicit FALSE `critical`, odd parameters, empty names).
The keys sign for real. RSA keys are made once and kept in keys/; EC and
Ed25519 keys come from fixed scalars, and every signature used here is
deterministic, so running the script again rewrites the same bytes.

Usage: python3 make_certs.py   (from any directory; needs `cryptography`)
"""
import datetime as dt
import os
import sys

from cryptography.hazmat.primitives import hashes, serialization
from cryptography.hazmat.primitives.asymmetric import ec, ed25519, padding, rsa

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from der import *  # noqa: E402,F401,F403

HERE = os.path.dirname(os.path.abspath(__file__))
CERTS = os.path.join(HERE, "certs")
BAD = os.path.join(HERE, "bad")
KEYS = os.path.join(HERE, "keys")

# ---------------------------------------------------------------------------
# Object identifiers

C, ST, L, O, OU, CN = "2.5.4.6", "2.5.4.8", "2.5.4.7", "2.5.4.10", "2.5.4.11", "2.5.4.3"
SERIAL, TITLE, SURNAME, GIVEN = "2.5.4.5", "2.5.4.12", "2.5.4.4", "2.5.4.42"
EMAIL = "1.2.840.113549.1.9.1"
DC = "0.9.2342.19200300.100.1.25"
UID = "0.9.2342.19200300.100.1.1"

SHA256 = "2.16.840.1.101.3.4.2.1"
RSA_SHA1, RSA_SHA256 = "1.2.840.113549.1.1.5", "1.2.840.113549.1.1.11"
RSA_SHA384, RSA_SHA512 = "1.2.840.113549.1.1.12", "1.2.840.113549.1.1.13"
RSA_PSS, MGF1 = "1.2.840.113549.1.1.10", "1.2.840.113549.1.1.8"
ECDSA_SHA256, ECDSA_SHA384, ECDSA_SHA512 = (
    "1.2.840.10045.4.3.2", "1.2.840.10045.4.3.3", "1.2.840.10045.4.3.4")
ED25519 = "1.3.101.112"
PRIVATE = "1.3.6.1.4.1.55555"

EXT = {
    "ski": "2.5.29.14", "ku": "2.5.29.15", "san": "2.5.29.17", "ian": "2.5.29.18",
    "bc": "2.5.29.19", "nc": "2.5.29.30", "crldp": "2.5.29.31", "cp": "2.5.29.32",
    "pm": "2.5.29.33", "aki": "2.5.29.35", "pc": "2.5.29.36", "eku": "2.5.29.37",
    "freshest": "2.5.29.46", "inhibit": "2.5.29.54", "sda": "2.5.29.9",
    "aia": "1.3.6.1.5.5.7.1.1", "sia": "1.3.6.1.5.5.7.1.11",
    "ns_comment": "2.16.840.1.113730.1.13", "ct_poison": "1.3.6.1.4.1.11129.2.4.3",
    "ocsp_nocheck": "1.3.6.1.5.5.7.48.1.5", "tls_feature": "1.3.6.1.5.5.7.1.24",
}

# ---------------------------------------------------------------------------
# Keys and signing


def rsa_key(bits_):
    path = os.path.join(KEYS, f"rsa{bits_}.pem")
    if not os.path.exists(path):
        os.makedirs(KEYS, exist_ok=True)
        key = rsa.generate_private_key(public_exponent=65537, key_size=bits_)
        with open(path, "wb") as f:
            f.write(key.private_bytes(serialization.Encoding.PEM,
                                      serialization.PrivateFormat.PKCS8,
                                      serialization.NoEncryption()))
    with open(path, "rb") as f:
        return serialization.load_pem_private_key(f.read(), password=None)


RSA1024, RSA2048, RSA3072 = rsa_key(1024), rsa_key(2048), rsa_key(3072)
P256 = ec.derive_private_key(0x5EED1E55 * 7919, ec.SECP256R1())
P384 = ec.derive_private_key(0xC0FFEE * 104729, ec.SECP384R1())
P521 = ec.derive_private_key(0xBADC0DE * 15485863, ec.SECP521R1())
ED = ed25519.Ed25519PrivateKey.from_private_bytes(bytes(range(32)))


def spki(key):
    return key.public_key().public_bytes(serialization.Encoding.DER,
                                         serialization.PublicFormat.SubjectPublicKeyInfo)


PSS_PARAMS = seq(ctx(0, seq(oid(SHA256), NULL)),
                 ctx(1, seq(oid(MGF1), seq(oid(SHA256), NULL))),
                 ctx(2, integer(0)))


def pkcs1(h):
    return lambda k, d: k.sign(d, padding.PKCS1v15(), h())


def ecdsa(h):
    return lambda k, d: k.sign(d, ec.ECDSA(h(), deterministic_signing=True))


# name -> (AlgorithmIdentifier, signer(key, data))
ALGS = {
    "rsa-sha256": (seq(oid(RSA_SHA256), NULL), pkcs1(hashes.SHA256)),
    "rsa-sha1": (seq(oid(RSA_SHA1), NULL), pkcs1(hashes.SHA1)),
    "rsa-sha384": (seq(oid(RSA_SHA384), NULL), pkcs1(hashes.SHA384)),
    "rsa-sha512": (seq(oid(RSA_SHA512), NULL), pkcs1(hashes.SHA512)),
    # RSASSA-PSS with a salt of 0 octets keeps the signature deterministic.
    "rsa-pss": (seq(oid(RSA_PSS), PSS_PARAMS),
                lambda k, d: k.sign(d, padding.PSS(padding.MGF1(hashes.SHA256()), 0),
                                    hashes.SHA256())),
    # A made-up algorithm whose parameters are a SEQUENCE; signed as rsa-sha256.
    "private-seq": (seq(oid(PRIVATE + ".1.1"), seq(integer(7), ia5("corpus"))),
                    pkcs1(hashes.SHA256)),
    # The RSA OID with absent parameters.
    "rsa-noparams": (seq(oid(RSA_SHA256)), pkcs1(hashes.SHA256)),
    "ecdsa-sha256": (seq(oid(ECDSA_SHA256)), ecdsa(hashes.SHA256)),
    "ecdsa-sha384": (seq(oid(ECDSA_SHA384)), ecdsa(hashes.SHA384)),
    "ecdsa-sha512": (seq(oid(ECDSA_SHA512)), ecdsa(hashes.SHA512)),
    "ed25519": (seq(oid(ED25519)), lambda k, d: k.sign(d)),
}

# ---------------------------------------------------------------------------
# Names and extensions


def name(*rdns):
    """Each RDN is a list of (oid, encoded value)."""
    return seq(*(set_of(*(seq(oid(t), v) for t, v in rdn)) for rdn in rdns))


def dn(**kw):
    """Single-valued RDNs in argument order, PrintableString unless given bytes."""
    keys = {"C": C, "ST": ST, "L": L, "O": O, "OU": OU, "CN": CN}
    return name(*[[(keys[k], v if isinstance(v, bytes) else printable(v))] for k, v in kw.items()])


ROOT = dn(C="DE", O="Qel Test", CN="Qel Test Root")
EMPTY_NAME = seq()


def ext(kind, value, critical=None):
    parts = [oid(EXT.get(kind, kind))]
    if critical is not None:
        parts.append(boolean(critical))
    parts.append(octets(value))
    return seq(*parts)


def uri(s):
    return tlv(0x86, s.encode())


def dns(s):
    return tlv(0x82, s.encode())


def key_usage(*bit_numbers):
    n = max(bit_numbers) + 1
    value = 0
    for b in bit_numbers:
        value |= 1 << (8 * ((n + 7) // 8) - 1 - b)
    width = (n + 7) // 8
    return bits(value.to_bytes(width, "big"), 8 * width - n)


def basic_constraints(ca, path=None):
    parts = [boolean(True)] if ca else []
    if path is not None:
        parts.append(integer(path))
    return seq(*parts)


SAN_ALL = seq(
    ctx(0, oid(PRIVATE + ".2") + ctx(0, utf8("other"))),   # otherName
    tlv(0x81, b"test@example.org"),                        # rfc822Name
    dns("www.example.org"), dns("*.example.org"),          # dNSName
    ctx(4, dn(C="DE", CN="Directory Entry")),              # directoryName
    ctx(5, ctx(1, utf8("party"))),                         # ediPartyName
    uri("https://example.org/path?q=1"),                   # uniformResourceIdentifier
    tlv(0x87, bytes([192, 0, 2, 1])),                      # iPAddress v4
    tlv(0x87, bytes.fromhex("20010db8000000000000000000000001")),  # iPAddress v6
    tlv(0x88, oid(PRIVATE + ".3")[2:]),                    # registeredID
)

CRLDP = seq(
    seq(ctx(0, ctx(0, uri("http://crl.example.org/root.crl")))),
    seq(ctx(0, ctx(1, seq(oid(CN), printable("CRL1")))),
        tlv(0x81, b"\x05\xa0"), ctx(2, dns("issuer.example.org"))),
)

POLICIES = seq(
    seq(oid("2.23.140.1.2.1")),
    seq(oid(PRIVATE + ".4"),
        seq(seq(oid("1.3.6.1.5.5.7.2.1"), ia5("https://example.org/cps")),
            seq(oid("1.3.6.1.5.5.7.2.2"), seq(utf8("Only for tests"))))),
)

AIA = seq(seq(oid("1.3.6.1.5.5.7.48.1"), uri("http://ocsp.example.org")),
          seq(oid("1.3.6.1.5.5.7.48.2"), uri("http://example.org/ca.cer")))


def many_kinds():
    """One extension of each kind, with every form of `critical`."""
    return [
        ext("bc", basic_constraints(True, 3), True),
        ext("ku", key_usage(0, 5, 6), True),
        ext("eku", seq(oid("1.3.6.1.5.5.7.3.1"), oid("1.3.6.1.5.5.7.3.2"))),
        ext("ski", octets(bytes(range(20)))),
        ext("aki", seq(tlv(0x80, bytes(range(20, 40))))),
        ext("san", SAN_ALL),
        ext("ian", seq(uri("https://ca.example.org"), tlv(0x81, b"ca@example.org"))),
        ext("crldp", CRLDP),
        ext("freshest", seq(seq(ctx(0, ctx(0, uri("http://crl.example.org/delta.crl")))))),
        ext("cp", POLICIES),
        ext("aia", AIA),
        ext("sia", seq(seq(oid("1.3.6.1.5.5.7.48.5"), uri("http://example.org/repo/")))),
        ext("nc", seq(ctx(0, seq(dns("example.org"))),
                      ctx(1, seq(ctx(7, bytes([10, 0, 0, 0, 255, 0, 0, 0]), False)))), True),
        ext("pc", seq(tlv(0x80, b"\x00"), tlv(0x81, b"\x02")), True),
        ext("pm", seq(seq(oid(PRIVATE + ".5"), oid(PRIVATE + ".6")))),
        ext("inhibit", integer(1), True),
        ext("sda", seq(seq(oid("1.3.6.1.5.5.7.9.1"), set_of(tlv(0x18, b"19700101000000Z"))))),
        ext("ns_comment", ia5("Made for tests")),
        ext("tls_feature", seq(integer(5))),
        ext("ocsp_nocheck", NULL, False),
        ext(PRIVATE + ".7", b"\x00\x01\x02opaque"),
    ]


# ---------------------------------------------------------------------------
# Certificates


def tbs(version=2, serial=1, alg="rsa-sha256", issuer=ROOT, subject=None,
        not_before=dt.datetime(2024, 1, 1), not_after=dt.datetime(2034, 1, 1),
        key=RSA2048, issuer_uid=None, subject_uid=None, extensions=None,
        raw_version=None, raw_extensions=None):
    parts = []
    if raw_version is not None:
        parts.append(raw_version)
    elif version is not None:
        parts.append(ctx(0, integer(version)))
    parts.append(serial if isinstance(serial, bytes) else integer(serial))
    parts.append(ALGS[alg][0])
    parts.append(issuer)
    parts.append(seq(time(not_before), time(not_after)))
    parts.append(ROOT if subject is None else subject)
    parts.append(spki(key))
    if issuer_uid is not None:
        parts.append(tlv(0x81, bytes([issuer_uid[1]]) + issuer_uid[0]))
    if subject_uid is not None:
        parts.append(tlv(0x82, bytes([subject_uid[1]]) + subject_uid[0]))
    if raw_extensions is not None:
        parts.append(raw_extensions)
    elif extensions is not None:
        parts.append(ctx(3, seq(*extensions)))
    return seq(*parts)


def cert(signer=None, alg="rsa-sha256", raw_tbs=None, **kw):
    key = kw.get("key", RSA2048)
    body = raw_tbs if raw_tbs is not None else tbs(alg=alg, **kw)
    signature = ALGS[alg][1](signer or key, body)
    return seq(body, ALGS[alg][0], bits(signature))


def serial_of(size):
    """A positive serial whose INTEGER content has exactly `size` octets."""
    if size == 1:
        return 0x2A
    return int.from_bytes(bytes([0x40]) + bytes((i * 37 + 11) & 0xFF for i in range(size - 1)),
                          "big")


def fixtures():
    out = {}
    bc_false = ext("bc", basic_constraints(False), False)

    # Versions.
    out["v1_rsa"] = cert(version=None, serial=0x1001)
    out["v1_ec_p256"] = cert(version=None, key=P256, alg="ecdsa-sha256",
                             subject=dn(C="US", O="Qel EC", CN="p256 v1"))
    out["v1_unique_ids"] = cert(version=None, issuer_uid=(b"\x01\x02\x03", 0),
                                subject_uid=(b"\xa5\x5a\xf0", 4))
    out["v2_unique_ids"] = cert(version=1, issuer_uid=(bytes(range(16)), 0),
                                subject_uid=(b"\x80", 7))
    out["v2_issuer_uid_only"] = cert(version=1, issuer_uid=(b"\xff\xfe", 1))
    out["v2_subject_uid_only"] = cert(version=1, subject_uid=(b"", 0))
    out["v3_uids_and_extensions"] = cert(issuer_uid=(b"\x11\x22", 0),
                                         subject_uid=(b"\x33\x44\x55", 3),
                                         extensions=[bc_false])
    out["v3_no_extensions"] = cert()
    out["v3_empty_extensions"] = cert(raw_extensions=ctx(3, seq()))

    # Serial numbers of 1 to 20 octets, and a negative one.
    for size in (1, 2, 3, 4, 8, 9, 16, 19, 20):
        out[f"serial_{size:02d}"] = cert(serial=serial_of(size), key=P256, alg="ecdsa-sha256")
    out["serial_20_high_bit"] = cert(serial=unsigned_integer(b"\x00" + b"\xfe" * 19))
    out["serial_zero"] = cert(serial=0)
    out["serial_negative"] = cert(serial=-129)

    # Keys and signature algorithms.
    out["rsa1024_sha1"] = cert(key=RSA1024, alg="rsa-sha1", version=None)
    out["rsa3072_sha384"] = cert(key=RSA3072, alg="rsa-sha384")
    out["rsa2048_sha512"] = cert(alg="rsa-sha512")
    out["rsa_pss_params"] = cert(alg="rsa-pss", extensions=[bc_false])
    out["private_alg_seq_params"] = cert(alg="private-seq")
    out["rsa_absent_params"] = cert(alg="rsa-noparams")
    out["ec_p384"] = cert(key=P384, alg="ecdsa-sha384")
    out["ec_p521"] = cert(key=P521, alg="ecdsa-sha512")
    out["ed25519"] = cert(key=ED, alg="ed25519",
                          extensions=[ext("ku", key_usage(0), True)])
    out["rsa_key_signed_by_ec"] = cert(key=RSA2048, signer=P256, alg="ecdsa-sha256",
                                       subject=dn(CN="Leaf under EC"),
                                       issuer=dn(CN="EC Issuer"))

    # Times.
    out["utc_both"] = cert(not_before=dt.datetime(1999, 12, 31, 23, 59, 59),
                           not_after=dt.datetime(2049, 12, 31, 23, 59, 59))
    out["gen_not_after_2050"] = cert(not_after=dt.datetime(2050, 1, 1))
    out["gen_both"] = cert(not_before=dt.datetime(2050, 6, 1, 12, 0, 0),
                           not_after=dt.datetime(9999, 12, 31, 23, 59, 59))
    out["gen_before_1950"] = cert(not_before=dt.datetime(1949, 12, 31), version=None)
    out["utc_1950"] = cert(not_before=dt.datetime(1950, 1, 1), key=P256, alg="ecdsa-sha256")

    # Names.
    out["name_multivalued_rdn"] = cert(subject=name(
        [(C, printable("DE"))],
        [(O, utf8("Qel")), (OU, utf8("Tests")), (L, printable("Berlin"))],
        [(CN, printable("multi")), (UID, utf8("u1"))]))
    out["name_strings"] = cert(subject=name(
        [(C, printable("FR"))], [(ST, t61("Île-de-France"))], [(L, utf8("Zürich ✓"))],
        [(O, bmp("Ωmega Корп"))], [(OU, universal("unι"))],
        [(EMAIL, ia5("person@example.org"))], [(DC, ia5("example"))], [(CN, bmp("名前"))]))
    out["name_t61_issuer"] = cert(issuer=name([(C, printable("GB"))], [(O, t61("Teletex Ltd"))],
                                              [(CN, t61("T61 CA"))]),
                                  subject=name([(CN, ia5("ia5 subject"))]))
    out["name_32_rdns"] = cert(subject=name(*[[(OU, printable(f"unit {i}"))] for i in range(32)]))
    out["name_rdn_32_values"] = cert(subject=name(
        [(PRIVATE + f".9.{i}", utf8(f"v{i}")) for i in range(32)]))
    out["name_long_values"] = cert(subject=name(
        [(CN, utf8("x" * 127))], [(O, utf8("y" * 128))], [(OU, utf8("z" * 300))]))
    out["subject_empty_san_critical"] = cert(subject=EMPTY_NAME, extensions=[
        ext("san", seq(dns("empty.example.org")), True)])
    out["issuer_empty"] = cert(issuer=EMPTY_NAME, subject=dn(CN="has issuer none"))
    out["name_attribute_other_types"] = cert(subject=name(
        [(SERIAL, printable("12345"))], [(TITLE, tlv(0x12, b"0123 456"))],
        [(SURNAME, seq(utf8("a"), utf8("b")))], [(GIVEN, NULL)]))

    # Extensions.
    out["ext_one_bc_false"] = cert(extensions=[bc_false])
    out["ext_critical_true_false_absent"] = cert(extensions=[
        ext("bc", basic_constraints(True), True), ext("ku", key_usage(5, 6), False),
        ext("ski", octets(b"\x01" * 20))])
    out["ext_many_kinds"] = cert(extensions=many_kinds())
    out["ext_san_all_forms"] = cert(key=P256, alg="ecdsa-sha256", extensions=[
        ext("san", SAN_ALL, False), ext("ian", SAN_ALL)])
    out["ext_crldp"] = cert(extensions=[ext("crldp", CRLDP)])
    out["ext_ct_poison"] = cert(extensions=[ext("ct_poison", NULL, True), bc_false])
    out["ext_32"] = cert(extensions=many_kinds() + [
        ext(PRIVATE + f".8.{i}", bytes([i]) * i) for i in range(32 - len(many_kinds()))])
    out["ext_long_values"] = cert(extensions=[
        ext(PRIVATE + ".10.1", b"a" * 125), ext(PRIVATE + ".10.2", b"b" * 126),
        ext(PRIVATE + ".10.3", b"c" * 253), ext(PRIVATE + ".10.4", b"d" * 65533)])

    # Names of the forms that have a text, and distribution points by name.
    ipv6 = bytes.fromhex("20010db8000000000000000000000001")
    out["ext_san_text_forms"] = cert(key=P256, alg="ecdsa-sha256", extensions=[
        ext("san", seq(tlv(0x81, b"ann@example.org"), dns("host.example.org"), uri("file:x"),
                       tlv(0x87, bytes([10, 0, 0, 1])), tlv(0x87, ipv6))),
        ext("ian", seq(dns("ca.example.org")))])
    out["ext_crldp_dirname"] = cert(extensions=[ext("crldp", seq(
        seq(ctx(0, ctx(0, ctx(4, dn(C="DE", O="Qel Test", CN="CRL Signer"))))),
        seq(ctx(0, ctx(0, uri("http://second.example.org/x.crl"))))))])
    out["ext_san_dirname"] = cert(extensions=[
        ext("san", seq(dns("host.example.org"), ctx(4, dn(CN="Directory Entry")))),
        ext("ian", seq(uri("https://ca.example.org"), tlv(0x81, b"ca@example.org"))),
        ext("crldp", CRLDP)])
    out["ext_san_long"] = cert(extensions=[ext("san", seq(
        *[dns(f"host{i:02d}.a-rather-long-domain-name.example.org") for i in range(8)]))])
    return out


def bad_fixtures():
    """Certificates with one fault each; the tests name what each one shows."""
    out = {}
    exts33 = [ext(PRIVATE + f".8.{i}", bytes([i])) for i in range(33)]
    out["ext_33"] = cert(extensions=exts33)
    crit2 = seq(oid(EXT["bc"]), tlv(0x01, b"\x00\x00"), octets(basic_constraints(False)))
    out["critical_length_2"] = cert(extensions=[crit2])
    body = tbs()
    validity = seq(time(dt.datetime(2024, 1, 1)), time(dt.datetime(2034, 1, 1)))
    bad_validity = seq(octets(b"240101000000Z"), time(dt.datetime(2034, 1, 1)))
    out["validity_other_tag"] = cert(raw_tbs=body.replace(validity, bad_validity))
    # [0] of length 0: decodes with no version, and encodes back without it.
    out["version_wrapper_empty"] = cert(raw_version=b"\xa0\x00")
    out["version_wrapper_boolean"] = cert(raw_version=ctx(0, boolean(True)))
    # A3 00 decodes to no extensions, so it encodes back without the wrapper.
    out["extensions_wrapper_empty"] = cert(raw_extensions=b"\xa3\x00")
    out["name_33_rdns"] = cert(subject=name(*[[(OU, printable(f"u{i}"))] for i in range(33)]))
    out["rdn_33_values"] = cert(subject=name(
        [(PRIVATE + f".9.{i}", utf8(f"v{i}")) for i in range(33)]))
    out["rdn_unsorted"] = cert(subject=seq(
        tlv(0x31, seq(oid(C), printable("AA")) + seq(oid(O), utf8("b")))))
    return out


def write(directory, items):
    os.makedirs(directory, exist_ok=True)
    for label, der in items.items():
        with open(os.path.join(directory, label + ".der"), "wb") as f:
            f.write(der)


def main():
    good = fixtures()
    write(CERTS, good)
    write(BAD, bad_fixtures())
    print(f"{len(good)} certificates in {CERTS}", file=sys.stderr)


if __name__ == "__main__":
    main()

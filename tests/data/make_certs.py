#!/usr/bin/env python3
"""Writes the DER fixtures of the tests beside this script: certs/ (canonical
certificates), bad/ (certificates with one structural fault each), names/ (what
the name texts are checked on) and families/ (general names, revocation lists,
O/R addresses, PKCS#7). Certificates are assembled element by element, so they
can hold what builders never write. The keys (RSA ones in keys/, the others from
fixed scalars) sign for real and deterministically: a new run rewrites the same
bytes but for the messages the `openssl` command signs or encrypts.

Usage: python3 make_certs.py   (from any directory; needs `cryptography` and `openssl`)
"""
import ipaddress, pathlib, ssl, subprocess, sys, tempfile  # noqa: E401

from datetime import datetime as day, timedelta

from cryptography import x509
from cryptography.hazmat.primitives import hashes, serialization
from cryptography.hazmat.primitives.asymmetric import ec, ed25519, padding

HERE = pathlib.Path(__file__).resolve().parent
sys.path.insert(0, str(HERE))
from der import *  # noqa: E402,F401,F403

AT = dict(C="2.5.4.6", ST="2.5.4.8", L="2.5.4.7", O="2.5.4.10", OU="2.5.4.11", CN="2.5.4.3")
C, ST, L, O, OU, CN = AT.values()
PKCS9, SHA256, RSA_SHA256 = "1.2.840.113549.1.9.", "2.16.840.1.101.3.4.2.1", "1.2.840.113549.1.1.11"
EMAIL, GIVEN, UID, DC = PKCS9 + "1", "2.5.4.42", "0.9.2342.19200300.100.1.1", "0.9.2342.19200300.100.1.25"
PRIVATE = "1.3.6.1.4.1.55555"
EXT = {k: "2.5.29." + n for k, n in zip(
    "sda ski ku san ian bc nc crldp cp pm aki pc eku freshest inhibit".split(),
    "9 14 15 17 18 19 30 31 32 33 35 36 37 46 54".split())}
EXT.update(aia="1.3.6.1.5.5.7.1.1", sia="1.3.6.1.5.5.7.1.11", ns_comment="2.16.840.1.113730.1.13",
           ct_poison="1.3.6.1.4.1.11129.2.4.3", ocsp_nocheck="1.3.6.1.5.5.7.48.1.5",
           tls_feature="1.3.6.1.5.5.7.1.24")

# ---------------------------------------------------------------------------
# Keys and signing


RSA1024, RSA2048, RSA3072 = (serialization.load_pem_private_key(path.read_bytes(), None)
                              for path in (HERE / f"keys/rsa{n}.pem" for n in (1024, 2048, 3072)))
P256 = ec.derive_private_key(0x5EED1E55 * 7919, ec.SECP256R1())
P384 = ec.derive_private_key(0xC0FFEE * 104729, ec.SECP384R1())
P521 = ec.derive_private_key(0xBADC0DE * 15485863, ec.SECP521R1())
ED = ed25519.Ed25519PrivateKey.from_private_bytes(bytes(range(32)))


def spki(key):
    return key.public_key().public_bytes(serialization.Encoding.DER,
                                         serialization.PublicFormat.SubjectPublicKeyInfo)


def pkcs1(h):
    return lambda k, d: k.sign(d, padding.PKCS1v15(), h())


def ecdsa(h):
    return lambda k, d: k.sign(d, ec.ECDSA(h(), deterministic_signing=True))


H = (hashes.SHA1, hashes.SHA256, hashes.SHA384, hashes.SHA512)
# name -> (AlgorithmIdentifier, signer(key, data)), e.g. "rsa-sha256", "ecdsa-sha384"
ALGS = {f"rsa-{h.name}": (seq(oid(f"1.2.840.113549.1.1.{n}"), NULL), pkcs1(h))
        for n, h in zip((5, 11, 12, 13), H)}
ALGS.update({f"ecdsa-{h.name}": (seq(oid(f"1.2.840.10045.4.3.{n}")), ecdsa(h))
             for n, h in zip((2, 3, 4), H[1:])})
ALGS.update({
    # RSASSA-PSS with a salt of 0 octets keeps the signature deterministic.
    "rsa-pss": (seq(oid("1.2.840.113549.1.1.10"), seq(
        ctx(0, seq(oid(SHA256), NULL)),
        ctx(1, seq(oid("1.2.840.113549.1.1.8"), seq(oid(SHA256), NULL))), ctx(2, integer(0)))),
        lambda k, d: k.sign(d, padding.PSS(padding.MGF1(hashes.SHA256()), 0), hashes.SHA256())),
    # A made-up algorithm whose parameters are a SEQUENCE; signed as rsa-sha256.
    "private-seq": (seq(oid(PRIVATE + ".1.1"), seq(integer(7), ia5("corpus"))),
                    pkcs1(hashes.SHA256)),
    "rsa-noparams": (seq(oid(RSA_SHA256)), pkcs1(hashes.SHA256)),  # parameters absent
    "ed25519": (seq(oid("1.3.101.112")), lambda k, d: k.sign(d)),
})

# ---------------------------------------------------------------------------
# Names and extensions


def name(*rdns, text=utf8):
    """RDNs given as (oid, value) or, for several values, a list of them; a value
    given as text is encoded by `text`, a country's as a PrintableString."""
    def value(t, v):
        return v if isinstance(v, bytes) else printable(v) if t == C else text(v)
    return seq(*(set_of(*(seq(oid(t), value(t, v)) for t, v in (r if isinstance(r, list) else [r])))
                 for r in rdns))


def dn(**kw):
    """Single-valued RDNs of PrintableStrings in argument order."""
    return name(*[(AT[k], v) for k, v in kw.items()], text=printable)


ROOT = dn(C="DE", O="Qel Test", CN="Qel Test Root")


def ext(kind, value, critical=None):
    return seq(oid(EXT.get(kind, kind)), *([boolean(critical)] if critical is not None else []),
               octets(value))


IPV6 = bytes.fromhex("20010db8000000000000000000000001")
SAN_ALL = seq(
    ctx(0, oid(PRIVATE + ".2") + ctx(0, utf8("other"))),   # otherName
    rfc822("test@example.org"), dns("www.example.org"), dns("*.example.org"),
    ctx(4, dn(C="DE", CN="Directory Entry")),              # directoryName
    ctx(5, ctx(1, utf8("party"))),                         # ediPartyName
    uri("https://example.org/path?q=1"),
    tlv(0x87, bytes([192, 0, 2, 1])), tlv(0x87, IPV6),     # iPAddress v4 and v6
    tlv(0x88, oid(PRIVATE + ".3")[2:]),                    # registeredID
)
CRLDP = seq(seq(ctx(0, ctx(0, uri("http://crl.example.org/root.crl")))),
            seq(ctx(0, ctx(1, seq(oid(CN), printable("CRL1")))),
                tlv(0x81, b"\x05\xa0"), ctx(2, dns("issuer.example.org"))))
IAN = seq(uri("https://ca.example.org"), rfc822("ca@example.org"))
# One extension of each kind, with every form of `critical`. Key usages are given
# as their bits: 86/1 is digitalSignature, keyCertSign and cRLSign; 06/1 the last
# two; 80/7 digitalSignature alone.
MANY_KINDS = [
    ext("bc", seq(boolean(True), integer(3)), True), ext("ku", bits(b"\x86", 1), True),
    ext("eku", seq(oid("1.3.6.1.5.5.7.3.1"), oid("1.3.6.1.5.5.7.3.2"))),
    ext("ski", octets(bytes(range(20)))), ext("aki", seq(tlv(0x80, bytes(range(20, 40))))),
    ext("san", SAN_ALL), ext("ian", IAN), ext("crldp", CRLDP),
    ext("freshest", seq(seq(ctx(0, ctx(0, uri("http://crl.example.org/delta.crl")))))),
    ext("cp", seq(seq(oid("2.23.140.1.2.1")), seq(oid(PRIVATE + ".4"), seq(
        seq(oid("1.3.6.1.5.5.7.2.1"), ia5("https://example.org/cps")),
        seq(oid("1.3.6.1.5.5.7.2.2"), seq(utf8("Only for tests"))))))),
    ext("aia", seq(seq(oid("1.3.6.1.5.5.7.48.1"), uri("http://ocsp.example.org")),
                   seq(oid("1.3.6.1.5.5.7.48.2"), uri("http://example.org/ca.cer")))),
    ext("sia", seq(seq(oid("1.3.6.1.5.5.7.48.5"), uri("http://example.org/repo/")))),
    ext("nc", seq(ctx(0, seq(dns("example.org"))),
                  ctx(1, seq(ctx(7, bytes([10, 0, 0, 0, 255, 0, 0, 0]), False)))), True),
    ext("pc", seq(tlv(0x80, b"\x00"), tlv(0x81, b"\x02")), True),
    ext("pm", seq(seq(oid(PRIVATE + ".5"), oid(PRIVATE + ".6")))), ext("inhibit", integer(1), True),
    ext("sda", seq(seq(oid("1.3.6.1.5.5.7.9.1"), set_of(tlv(0x18, b"19700101000000Z"))))),
    ext("ns_comment", ia5("Made for tests")), ext("tls_feature", seq(integer(5))),
    ext("ocsp_nocheck", NULL, False), ext(PRIVATE + ".7", b"\x00\x01\x02opaque"),
]
BC_FALSE = ext("bc", seq(), False)

# ---------------------------------------------------------------------------
# Certificates


def tbs(version=2, serial=1, alg="rsa-sha256", issuer=ROOT, subject=ROOT, key=RSA2048,
        not_before=day(2024, 1, 1), not_after=day(2034, 1, 1),
        issuer_uid=None, subject_uid=None, extensions=None):
    """A version, serial or extensions given as bytes stands as it is; a unique
    identifier is (bits, unused bits)."""
    def field(value, make):
        return value if isinstance(value, bytes) else b"" if value is None else make(value)
    uids = [tlv(tag, bytes([u[1]]) + u[0]) for tag, u in ((0x81, issuer_uid), (0x82, subject_uid)) if u]
    return seq(field(version, lambda v: ctx(0, integer(v))), field(serial, integer), ALGS[alg][0],
               issuer, seq(time(not_before), time(not_after)), subject, spki(key), *uids,
               field(extensions, lambda e: ctx(3, seq(*e))))


def cert(signer=None, alg="rsa-sha256", raw_tbs=None, **kw):
    body = raw_tbs or tbs(alg=alg, **kw)
    return seq(body, ALGS[alg][0], bits(ALGS[alg][1](signer or kw.get("key", RSA2048), body)))


def ec_cert(**kw):
    return cert(key=P256, alg="ecdsa-sha256", **kw)


def serial_of(size):
    """A positive serial whose INTEGER content has exactly `size` octets."""
    return 0x2A if size == 1 else int.from_bytes(
        bytes([0x40]) + bytes((i * 37 + 11) & 0xFF for i in range(size - 1)), "big")


def fixtures():
    good = {
        # Versions.
        "v1_rsa": cert(version=None, serial=0x1001),
        "v1_ec_p256": ec_cert(version=None, subject=dn(C="US", O="Qel EC", CN="p256 v1")),
        "v1_unique_ids": cert(version=None, issuer_uid=(b"\1\2\3", 0), subject_uid=(b"\xa5\x5a\xf0", 4)),
        "v2_unique_ids": cert(version=1, issuer_uid=(bytes(range(16)), 0), subject_uid=(b"\x80", 7)),
        "v2_issuer_uid_only": cert(version=1, issuer_uid=(b"\xff\xfe", 1)),
        "v2_subject_uid_only": cert(version=1, subject_uid=(b"", 0)),
        "v3_uids_and_extensions": cert(issuer_uid=(b"\x11\x22", 0), subject_uid=(b"\x33\x44\x55", 3),
                                       extensions=[BC_FALSE]),
        "v3_no_extensions": cert(), "v3_empty_extensions": cert(extensions=ctx(3, seq())),
        # Serial numbers of 1 to 20 octets, and a negative one.
        **{f"serial_{n:02d}": ec_cert(serial=serial_of(n)) for n in (1, 2, 3, 4, 8, 9, 16, 19, 20)},
        "serial_20_high_bit": cert(serial=tlv(0x02, b"\x00" + b"\xfe" * 19)),
        "serial_zero": cert(serial=0), "serial_negative": cert(serial=-129),
        # Keys and signature algorithms.
        "rsa1024_sha1": cert(key=RSA1024, alg="rsa-sha1", version=None),
        "rsa3072_sha384": cert(key=RSA3072, alg="rsa-sha384"), "rsa2048_sha512": cert(alg="rsa-sha512"),
        "rsa_pss_params": cert(alg="rsa-pss", extensions=[BC_FALSE]),
        "private_alg_seq_params": cert(alg="private-seq"), "rsa_absent_params": cert(alg="rsa-noparams"),
        "ec_p384": cert(key=P384, alg="ecdsa-sha384"), "ec_p521": cert(key=P521, alg="ecdsa-sha512"),
        "ed25519": cert(key=ED, alg="ed25519", extensions=[ext("ku", bits(b"\x80", 7), True)]),
        "rsa_key_signed_by_ec": cert(signer=P256, alg="ecdsa-sha256", subject=dn(CN="Leaf under EC"),
                                     issuer=dn(CN="EC Issuer")),
        # Times.
        "utc_both": cert(not_before=day(1999, 12, 31, 23, 59, 59), not_after=day(2049, 12, 31, 23, 59, 59)),
        "gen_not_after_2050": cert(not_after=day(2050, 1, 1)),
        "gen_both": cert(not_before=day(2050, 6, 1, 12), not_after=day(9999, 12, 31, 23, 59, 59)),
        "gen_before_1950": cert(not_before=day(1949, 12, 31), version=None),
        "utc_1950": ec_cert(not_before=day(1950, 1, 1)),
        # Names.
        "name_multivalued_rdn": cert(subject=name(
            (C, "DE"), [(O, "Qel"), (OU, "Tests"), (L, printable("Berlin"))],
            [(CN, printable("multi")), (UID, "u1")])),
        "name_strings": cert(subject=name(
            (C, "FR"), (ST, t61("Île-de-France")), (L, "Zürich ✓"), (O, bmp("Ωmega Корп")),
            (OU, universal("unι")), (EMAIL, ia5("person@example.org")), (DC, ia5("example")),
            (CN, bmp("名前")))),
        "name_t61_issuer": cert(issuer=name((C, "GB"), (O, t61("Teletex Ltd")), (CN, t61("T61 CA"))),
                                subject=name((CN, ia5("ia5 subject")))),
        "name_32_rdns": cert(subject=name(*[(OU, f"unit {i}") for i in range(32)], text=printable)),
        "name_rdn_32_values": cert(subject=name([(PRIVATE + f".9.{i}", f"v{i}") for i in range(32)])),
        "name_long_values": cert(subject=name((CN, "x" * 127), (O, "y" * 128), (OU, "z" * 300))),
        "subject_empty_san_critical": cert(subject=seq(),
                                           extensions=[ext("san", seq(dns("empty.example.org")), True)]),
        "issuer_empty": cert(issuer=seq(), subject=dn(CN="has issuer none")),
        # serialNumber, title, surname with a SEQUENCE value, givenName with NULL.
        "name_attribute_other_types": cert(subject=name(
            ("2.5.4.5", printable("12345")), ("2.5.4.12", tlv(0x12, b"0123 456")),
            ("2.5.4.4", seq(utf8("a"), utf8("b"))), (GIVEN, NULL))),
        # Extensions.
        "ext_one_bc_false": cert(extensions=[BC_FALSE]),
        "ext_critical_true_false_absent": cert(extensions=[ext("bc", seq(boolean(True)), True),
                                                           ext("ku", bits(b"\x06", 1), False),
                                                           ext("ski", octets(b"\x01" * 20))]),
        "ext_many_kinds": cert(extensions=MANY_KINDS),
        "ext_san_all_forms": ec_cert(extensions=[ext("san", SAN_ALL, False), ext("ian", SAN_ALL)]),
        "ext_crldp": cert(extensions=[ext("crldp", CRLDP)]),
        "ext_ct_poison": cert(extensions=[ext("ct_poison", NULL, True), BC_FALSE]),
        "ext_32": cert(extensions=MANY_KINDS + [
            ext(PRIVATE + f".8.{i}", bytes([i]) * i) for i in range(32 - len(MANY_KINDS))]),
        "ext_long_values": cert(extensions=[ext(PRIVATE + f".10.{i + 1}", b"abcd"[i:i + 1] * n)
                                            for i, n in enumerate((125, 126, 253, 65533))]),
        # Names of the forms that have a text, and distribution points by name.
        "ext_san_text_forms": ec_cert(extensions=[
            ext("san", seq(rfc822("ann@example.org"), dns("host.example.org"), uri("file:x"),
                           tlv(0x87, bytes([10, 0, 0, 1])), tlv(0x87, IPV6))),
            ext("ian", seq(dns("ca.example.org")))]),
        "ext_crldp_dirname": cert(extensions=[ext("crldp", seq(
            seq(ctx(0, ctx(0, ctx(4, dn(C="DE", O="Qel Test", CN="CRL Signer"))))),
            seq(ctx(0, ctx(0, uri("http://second.example.org/x.crl"))))))]),
        "ext_san_dirname": cert(extensions=[
            ext("san", seq(dns("host.example.org"), ctx(4, dn(CN="Directory Entry")))),
            ext("ian", IAN), ext("crldp", CRLDP)]),
        "ext_san_long": cert(extensions=[ext("san", seq(
            *[dns(f"host{i:02d}.a-rather-long-domain-name.example.org") for i in range(8)]))]),
    }
    # Certificates with one fault each; the tests name what each one shows.
    validity = seq(time(day(2024, 1, 1)), time(day(2034, 1, 1)))
    bad = {
        "ext_33": cert(extensions=[ext(PRIVATE + f".8.{i}", bytes([i])) for i in range(33)]),
        "critical_length_2": cert(extensions=[seq(oid(EXT["bc"]), tlv(0x01, b"\x00\x00"), octets(seq()))]),
        "validity_other_tag": cert(raw_tbs=tbs().replace(
            validity, seq(octets(b"240101000000Z"), time(day(2034, 1, 1))))),
        # [0] of length 0: decodes with no version, and encodes back without it.
        "version_wrapper_empty": cert(version=b"\xa0\x00"),
        "version_wrapper_boolean": cert(version=ctx(0, boolean(True))),
        # A3 00 decodes to no extensions, so it encodes back without the wrapper.
        "extensions_wrapper_empty": cert(extensions=b"\xa3\x00"),
        "name_33_rdns": cert(subject=name(*[(OU, f"u{i}") for i in range(33)], text=printable)),
        "rdn_33_values": cert(subject=name([(PRIVATE + f".9.{i}", f"v{i}") for i in range(33)])),
        "rdn_unsorted": cert(subject=seq(tlv(0x31, seq(oid(C), printable("AA")) + seq(oid(O), utf8("b"))))),
    }
    return good, bad


# ---------------------------------------------------------------------------
# Name and request fixtures (names/): what the name texts are checked on

NAMES_KEY = ec.derive_private_key(0x1D2C3B4A, ec.SECP256R1())


def name_fixtures():
    root = name((C, "US"), (O, "Acme"), (CN, "Root"))
    pairs = {
        "plain": (root, root),  # self-signed, three plain RDNs
        "multivalued": (root, name((C, "US"), [(O, "Acme"), (OU, "Sales")], (CN, "Leaf"))),
        # Attributes without a row: the issuer has nothing else; the subject's
        # first RDN has no row, so its LDAP text ends in a separator.
        "norow": (name((DC, ia5("org")), (DC, ia5("example"))),
                  name((DC, ia5("com")), (O, "Acme"), [(CN, "Leaf"), (UID, "jdoe")], (GIVEN, "Jo"))),
        # Zero bytes inside and at the start of a value.
        "zerobyte": (root, name((CN, "ab\x00cd"), (O, "\x00lead"))),
        # BMPString and UniversalString values start with a zero byte.
        "bmp": (root, name((O, "Acme"), (CN, bmp("Root")), (L, universal("Here")))),
        "empty": (seq(), seq()),
        # Every row of the table, several string types, a value with a long-form length.
        "allrows": (root, name(
            (CN, "x" * 200), ("2.5.4.4", "Doe"), ("2.5.4.5", printable("1234")), (C, "DE"),
            (L, "Zürich"), (ST, t61("Bayern")), ("2.5.4.9", "Main St 1"), (O, printable("Acme")),
            (OU, "Dev"), ("2.5.4.12", "Boss"), ("2.5.4.16", "Box 7"), ("2.5.4.17", "80331"),
            ("2.5.4.18", "PO 9"), ("2.5.4.20", "+49 1"), ("2.5.4.23", "+49 2"),
            (EMAIL, ia5("a@b.example")), ("2.5.4.13", "no row"))),
        # Issuer and subject differ only in letter case.
        "case": (name((O, "Acme"), (CN, "Root")), name((O, "Acme"), (CN, "root"))),
        # Separators inside values: the slash text does not parse back.
        "separators": (root, name((O, "x,y=z"), (CN, "a/b"))),
    }
    out = {stem: cert(key=NAMES_KEY, alg="ecdsa-sha256", serial=7, issuer=issuer, subject=subject,
                      not_after=day(2024, 12, 31)) for stem, (issuer, subject) in pairs.items()}
    # Certification requests; all but req_attrs carry the signature of req_empty_attrs.
    alg, sign = ALGS["ecdsa-sha256"]
    head = integer(0) + name((C, "US"), (CN, "Requester")) + spki(NAMES_KEY)
    sig = bits(sign(NAMES_KEY, seq(head, ctx(0, b""))))
    attrs = seq(head, ctx(0, seq(oid(PKCS9 + "7"), set_of(utf8("secret"))) +
                        seq(oid(PKCS9 + "14"), set_of(seq(ext("bc", seq(), True))))))
    two = seq(oid(PKCS9 + "7"), set_of(printable("one"), printable("two")))
    many = b"".join(seq(oid(f"1.2.3.{i}"), set_of(printable("v"))) for i in range(33))
    out.update({
        "req_empty_attrs": seq(seq(head, ctx(0, b"")), alg, sig),
        "req_attrs": seq(attrs, alg, bits(sign(NAMES_KEY, attrs))),
        "req_no_attrs_element": seq(seq(head), alg, sig),
        # One attribute whose value set holds two values.
        "req_two_values": seq(seq(head, ctx(0, two)), alg, sig),
        "req_33_attrs": seq(seq(head, ctx(0, many)), alg, sig),  # one more than the list holds
    })
    return out


# ---------------------------------------------------------------------------
# The other families (families/): O/R addresses, general names, revocation
# lists, PKCS#7. X.sorted.der is what X.der must encode to where that differs.


def signed(body, signed_as=None):
    return seq(body, ALGS["rsa-sha256"][0], bits(ALGS["rsa-sha256"][1](RSA2048, signed_as or body)))


def personal(*parts):
    """PersonalName: surname, given name, initials, generation qualifier."""
    return seq(*(tlv(0x80 + i, p.encode()) for i, p in enumerate(parts)))


def ext_attribute(kind, value):
    return seq(tlv(0x80, bytes([kind])), ctx(1, value))


def or_address(persons, units, domain_attrs, ext_attrs, ordered=True):
    standard = seq(
        tlv(0x12, b"276"), printable("ADMD"),               # country (numeric), administration domain
        tlv(0x80, b"4930123"), tlv(0x81, b"TERM-1"),        # network address, terminal identifier
        ctx(2, printable("PRMD")), tlv(0x83, b"Qel Test"),  # private domain, organization
        tlv(0x84, b"0042"),                                 # numeric user identifier
        set_of(*persons, tag=0xA5, ordered=ordered),        # personal name
        tlv(0xA6, b"".join(printable(u) for u in units)))   # organizational units
    return seq(standard, seq(*(seq(printable(t), printable(v)) for t, v in domain_attrs)),
               set_of(*ext_attrs, ordered=ordered))


# Every extension attribute type of X.411 (1 to 23), with a value of its own.
EXT_ATTRS = [ext_attribute(k, printable(f"ext{k}") if k % 2 else seq(integer(k))) for k in range(1, 24)]
PERSONS = [personal("Doe", "Jane", "JQ", "III"), personal("Roe")]
EVERY_ATTRIBUTE = or_address(PERSONS, ["Unit A", "Unit B"], [("type", "value")], EXT_ATTRS)


def oraddress_fixtures():
    return {
        "every_attribute": EVERY_ATTRIBUTE,
        "unsorted": or_address(PERSONS[::-1], [], [("t", "v")], EXT_ATTRS[::-1], ordered=False),
        "unsorted.sorted": or_address(PERSONS[::-1], [], [("t", "v")], EXT_ATTRS[::-1]),
        "standard_only": seq(seq(printable("DE"))),
        "empty_standard": seq(seq()),
        "full": or_address([personal("P%02d" % i) for i in range(32)], ["Unit %02d" % i for i in range(32)],
                           [("t%02d" % i, "v") for i in range(32)],
                           [ext_attribute(1 + i % 23, integer(i)) for i in range(256)]),
    }


X_ROOT = x509.Name.from_rfc4514_string("CN=Qel Test Root,C=DE")


def gn_fixtures():
    san = x509.SubjectAlternativeName([
        x509.OtherName(x509.ObjectIdentifier("1.3.6.1.4.1.311.20.2.3"), utf8("upn@example.com")),
        x509.RFC822Name("a@example.com"), x509.DNSName("example.com"),
        x509.DirectoryName(X_ROOT), x509.UniformResourceIdentifier("https://example.com/"),
        x509.IPAddress(ipaddress.ip_address("10.0.0.1")), x509.IPAddress(ipaddress.ip_address("2001:db8::1")),
        x509.RegisteredID(x509.ObjectIdentifier(PRIVATE + ".1"))]).public_bytes()
    cdp = x509.CRLDistributionPoints([
        x509.DistributionPoint([x509.UniformResourceIdentifier("http://crl.example.com/a.crl")],
                               None, None, None),
        x509.DistributionPoint(None, x509.Name.from_rfc4514_string("CN=CRL1").rdns[0], frozenset(
            [x509.ReasonFlags.key_compromise, x509.ReasonFlags.ca_compromise]), [x509.DirectoryName(X_ROOT)]),
        x509.DistributionPoint([x509.DirectoryName(X_ROOT)], None, None, None)]).public_bytes()
    # What the library reads beyond those tools: X.400 addresses and EDI party names.
    hand = seq(ctx(0, oid(PRIVATE + ".2") + ctx(0, printable("raw"))), rfc822("a@example.com"),
               dns("example.com"), bytes([0xA3]) + EVERY_ATTRIBUTE[1:], ctx(4, ROOT),
               ctx(5, ctx(0, printable("Assigner")) + ctx(1, t61("Party"))),
               ctx(5, ctx(1, printable("Party only"))),
               uri("ldap://x"), tlv(0x87, bytes(4)), tlv(0x88, oid_content("1.2.3")))
    return {
        "san": san, "san_every_form": hand,
        "san_32": seq(*(dns("h%02d.example" % i) for i in range(32))),
        "cdp": cdp,
        "cdp_partial": seq(seq(), seq(tlv(0x81, b"\x07\x80")), seq(ctx(2, uri("http://issuer")))),
        "cdp_32": seq(*(seq(ctx(0, ctx(0, uri("http://c/%02d" % i)))) for i in range(32))),
    }


def x509_crl(entries, next_update=day(2034, 1, 1), extensions=True):
    builder = x509.CertificateRevocationListBuilder(X_ROOT, day(2024, 1, 1), next_update)
    for serial in range(1, entries + 1):
        entry = x509.RevokedCertificateBuilder(serial, day(2024, 1, 1) + timedelta(seconds=serial))
        if extensions and serial <= 2:
            entry = (entry.add_extension(x509.CRLReason(x509.ReasonFlags.key_compromise), False)
                     .add_extension(x509.InvalidityDate(day(2023, 12, 31)), False))
        builder = builder.add_revoked_certificate(entry.build())
    if extensions:
        builder = builder.add_extension(x509.CRLNumber(7), False).add_extension(
            x509.AuthorityKeyIdentifier.from_issuer_public_key(RSA2048.public_key()), False)
    return builder.sign(RSA2048, hashes.SHA256()).public_bytes(serialization.Encoding.DER)


def v1_tbs(*after_this_update):
    return seq(ALGS["rsa-sha256"][0], ROOT, time(day(2024, 1, 1)), *after_this_update)


ENTRY = seq(integer(5), time(day(2024, 1, 1)))


def crl_fixtures():
    # A0 00 for crlExtensions is read and not written again; the signature stays.
    with_a0 = v1_tbs(seq(ENTRY), ctx(0, b""))
    return {
        "v2_utc": x509_crl(3),
        "v2_generalized": x509_crl(1, next_update=day(2051, 1, 1)),
        "v2_0_entries": x509_crl(0),
        **{f"v2_{n}_entr{'y' if n == 1 else 'ies'}": x509_crl(n, extensions=False)
           for n in (1, 100, 2048, 2049)},
        "v1_minimal": signed(v1_tbs()),
        "v1_no_next_update": signed(v1_tbs(seq(ENTRY))),
        "empty_revoked": signed(v1_tbs(time(day(2034, 1, 1)), seq())),
        "empty_extensions": signed(with_a0),
        "empty_extensions.sorted": signed(v1_tbs(seq(ENTRY)), signed_as=with_a0),
    }


DATA, SAED = "1.2.840.113549.1.7.1", "1.2.840.113549.1.7.4"  # data, signedAndEnvelopedData
SHA256_ALG = seq(oid(SHA256), NULL)


def openssl_messages(signer):
    """Messages of the `openssl` command; signing times and content keys differ run to run."""
    other = cert(serial=0x52, subject=dn(CN="Qel Other"))
    key_ = str(HERE / "keys/rsa2048.pem")  # the PKCS#8 file RSA2048 was read from
    with tempfile.TemporaryDirectory() as tmp:
        files = {"cert.pem": ssl.DER_cert_to_PEM_cert(signer).encode(), "crl.der": x509_crl(1),
                 "other.pem": ssl.DER_cert_to_PEM_cert(other).encode(), "msg.txt": b"Hello, families.\n"}
        for n, data in files.items():
            pathlib.Path(tmp, n).write_bytes(data)
        cert_, crl, other_, msg = (str(pathlib.Path(tmp, n)) for n in files)
        io = ["-in", msg, "-outform", "DER"]
        commands = {
            "cms_signed": ["cms", "-sign", "-nodetach", "-md", "sha256", "-signer", cert_,
                           "-inkey", key_, "-certfile", other_] + io,
            "smime_signed": ["smime", "-sign", "-nodetach", "-signer", cert_, "-inkey", key_] + io,
            "crl2pkcs7": ["crl2pkcs7", "-inform", "DER", "-in", crl, "-certfile", cert_, "-outform", "DER"],
            "enveloped": ["smime", "-encrypt", "-aes128"] + io + [cert_],
            "digested": ["cms", "-digest_create", "-md", "sha256"] + io,
            "encrypted": ["cms", "-EncryptedData_encrypt", "-aes128", "-secretkey",
                          "00112233445566778899aabbccddeeff"] + io,
        }
        return {n: subprocess.run(["openssl"] + c, check=True, capture_output=True).stdout
                for n, c in commands.items()}


def signer_info(serial, unauthenticated=b"", attributes=b""):
    return seq(integer(1), seq(ROOT, integer(serial)), SHA256_ALG, attributes,
               seq(oid(RSA_SHA256), NULL), octets(bytes([serial]) * 8), unauthenticated)


def recipient_info(serial):
    return seq(integer(0), seq(ROOT, integer(serial)), seq(oid("1.2.840.113549.1.1.1"), NULL),
               octets(bytes([serial]) * 8))


def encrypted_content(*content):
    return seq(oid(DATA), seq(oid("2.16.840.1.101.3.4.1.2"), octets(bytes(16))), *content)


def attribute(kind, value):
    return seq(oid(kind), set_of(value))


def pkcs7_fixtures():
    signer = cert(serial=0x51, subject=dn(CN="Qel Signer"))
    out = openssl_messages(signer)
    # ContentInfo: the type, and its content under [0] unless absent.
    out["data"] = seq(oid(DATA), ctx(0, octets(b"Hello")))
    out["oid_only"] = seq(oid(DATA))
    # An extended certificate: the signer's certificate with attributes, signed.
    extended = signed(seq(integer(0), signer, set_of(attribute(EMAIL, ia5("e@example.com")))))
    extended = bytes([0xA0]) + extended[1:]
    crl = signed(v1_tbs())
    attrs = [attribute(PKCS9 + "3", oid(DATA)), attribute(PKCS9 + "4", octets(bytes(32)))]
    authenticated = set_of(*attrs, tag=0xA0)
    unauthenticated = set_of(attribute(PKCS9 + "6", seq()), tag=0xA1)
    out["signed_and_enveloped"] = seq(oid(SAED), ctx(0, seq(
        integer(1), set_of(recipient_info(1)), set_of(SHA256_ALG),
        encrypted_content(tlv(0x80, b"\x5a" * 16)),
        set_of(signer, extended, tag=0xA0), set_of(crl, tag=0xA1),
        set_of(signer_info(1, unauthenticated, authenticated)))))
    algs = [SHA256_ALG, seq(oid("1.3.14.3.2.26"), NULL)]
    for label, ordered in (("signed_unsorted", False), ("signed_unsorted.sorted", True)):
        infos = [signer_info(3, attributes=set_of(*attrs[::-1], tag=0xA0, ordered=ordered)),
                 signer_info(2, attributes=authenticated), signer_info(1)]
        out[label] = seq(integer(1), set_of(*algs, ordered=ordered), seq(oid(DATA)),
                         set_of(extended, signer, tag=0xA0, ordered=ordered),
                         set_of(signed(v1_tbs(time(day(2030, 1, 1)))), crl, tag=0xA1, ordered=ordered),
                         set_of(*infos, ordered=ordered))
    out["signed_full"] = seq(
        integer(1), set_of(*(seq(oid(PRIVATE + ".3.%d" % i)) for i in range(32))), seq(oid(DATA)),
        set_of(*(cert(serial=i + 1) for i in range(32)), tag=0xA0),
        set_of(*(signed(v1_tbs(seq(seq(integer(i), time(day(2024, 1, 1)))))) for i in range(32)), tag=0xA1),
        set_of(*(signer_info(i + 1) for i in range(32))))
    out["enveloped_full"] = seq(integer(0), set_of(*(recipient_info(i + 1) for i in range(32))),
                                encrypted_content())
    out["digest_info"] = seq(SHA256_ALG, octets(bytes(32)))
    return out


if __name__ == "__main__":
    good, bad = fixtures()
    for directory, items in (("certs", good), ("bad", bad), ("names", name_fixtures()),
                             ("families/oraddress", oraddress_fixtures()), ("families/gn", gn_fixtures()),
                             ("families/crl", crl_fixtures()), ("families/pkcs7", pkcs7_fixtures())):
        write(HERE / directory, items)
    write(HERE / "families", {"rsa_key": RSA2048.public_key().public_bytes(
        serialization.Encoding.DER, serialization.PublicFormat.PKCS1)})
    print(f"{len(good)} certificates in {HERE / 'certs'}", file=sys.stderr)

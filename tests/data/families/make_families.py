#!/usr/bin/env python3
"""Writes the fixtures of the general-name, revocation-list, O/R address and
PKCS#7 tests into gn/, crl/, oraddress/ and pkcs7/ beside this script, plus
rsa_key.der (an RSA public key in its PKCS#1 form).

Real DER comes from `cryptography` (general names, distribution points,
revocation lists) and the `openssl` command (signed, enveloped, digested and
encrypted messages); what those tools never write (O/R addresses, EDI party
names, version 1 lists, extended certificates, signed-and-enveloped data, sets
out of DER order, lists at full capacity) is assembled here with der.py.
X.sorted.der is what X.der must encode to where that differs from X.der.
Signing times and content keys differ from run to run.

Usage: python3 make_families.py   (needs `cryptography` and `openssl`)
"""
import datetime as dt
import ipaddress
import os
import subprocess
import sys
import tempfile

from cryptography import x509
from cryptography.hazmat.primitives import hashes, serialization
from cryptography.x509.oid import NameOID

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.dirname(HERE))
from der import *  # noqa: E402,F401,F403
import make_certs as mc  # noqa: E402

KEY = mc.RSA2048
SIGN = mc.ALGS["rsa-sha256"]


def signed(body):
    return seq(body, SIGN[0], bits(SIGN[1](KEY, body)))


def tagged_set(tag, *items):
    """A set-of in DER order under another tag."""
    return bytes([tag]) + set_of(*items)[1:]


def unsorted(tag, *items):
    return tlv(tag, b"".join(items))


# ---------------------------------------------------------------------------
# O/R addresses


def personal(surname, given=None, initials=None, qualifier=None):
    parts = [tlv(0x80, surname.encode())]
    for tag, text in ((0x81, given), (0x82, initials), (0x83, qualifier)):
        if text is not None:
            parts.append(tlv(tag, text.encode()))
    return seq(*parts)


def ext_attribute(kind, value):
    return seq(tlv(0x80, bytes([kind])), ctx(1, value))


def or_address(persons, units, domain_attrs, ext_attrs, sort=True):
    pack = tagged_set if sort else unsorted
    standard = seq(
        tlv(0x12, b"276"),                        # countryName, numeric
        printable("ADMD"),                        # administrationDomainName
        tlv(0x80, b"4930123"),                    # networkAddress
        tlv(0x81, b"TERM-1"),                     # terminalIdentifier
        ctx(2, printable("PRMD")),                # privateDomainName
        tlv(0x83, b"Qel Test"),                   # organizationName
        tlv(0x84, b"0042"),                       # numericUserIdentifier
        pack(0xA5, *persons),                     # personalName
        tlv(0xA6, b"".join(printable(u) for u in units)))
    return seq(standard,
               seq(*(seq(printable(t), printable(v)) for t, v in domain_attrs)),
               (set_of if sort else lambda *i: unsorted(0x31, *i))(*ext_attrs))


# Every extension attribute type of X.411 (1 to 23), with a value of its own.
EXT_ATTRS = [ext_attribute(k, printable("ext%d" % k) if k % 2 else seq(integer(k)))
             for k in range(1, 24)]
PERSONS = [personal("Doe", "Jane", "JQ", "III"), personal("Roe")]


def oraddress_fixtures():
    full = or_address([personal("P%02d" % i) for i in range(32)],
                      ["Unit %02d" % i for i in range(32)],
                      [("t%02d" % i, "v") for i in range(32)],
                      [ext_attribute(1 + i % 23, integer(i)) for i in range(256)])
    # The name parts alone under 0xA5 stand where a 0x30 element should be.
    return {
        "every_attribute": or_address(PERSONS, ["Unit A", "Unit B"], [("type", "value")], EXT_ATTRS),
        "unsorted": or_address(PERSONS[::-1], [], [("t", "v")], EXT_ATTRS[::-1], sort=False),
        "unsorted.sorted": or_address(PERSONS[::-1], [], [("t", "v")], EXT_ATTRS[::-1]),
        "standard_only": seq(seq(printable("DE"))),
        "empty_standard": seq(seq()),
        "full": full,
    }


# ---------------------------------------------------------------------------
# General names and distribution points

ROOT_NAME = mc.ROOT
X_ROOT = x509.Name([x509.NameAttribute(NameOID.COUNTRY_NAME, "DE"),
                    x509.NameAttribute(NameOID.COMMON_NAME, "Qel Test Root")])


def gn_fixtures():
    san = x509.SubjectAlternativeName([
        x509.OtherName(x509.ObjectIdentifier("1.3.6.1.4.1.311.20.2.3"), utf8("upn@example.com")),
        x509.RFC822Name("a@example.com"), x509.DNSName("example.com"),
        x509.DirectoryName(X_ROOT), x509.UniformResourceIdentifier("https://example.com/"),
        x509.IPAddress(ipaddress.ip_address("10.0.0.1")),
        x509.IPAddress(ipaddress.ip_address("2001:db8::1")),
        x509.RegisteredID(x509.ObjectIdentifier("1.3.6.1.4.1.55555.1"))]).public_bytes()
    cdp = x509.CRLDistributionPoints([
        x509.DistributionPoint([x509.UniformResourceIdentifier("http://crl.example.com/a.crl")],
                               None, None, None),
        x509.DistributionPoint(None, x509.RelativeDistinguishedName(
            [x509.NameAttribute(NameOID.COMMON_NAME, "CRL1")]),
            frozenset([x509.ReasonFlags.key_compromise, x509.ReasonFlags.ca_compromise]),
            [x509.DirectoryName(X_ROOT)]),
        x509.DistributionPoint([x509.DirectoryName(X_ROOT)], None, None, None)]).public_bytes()
    # What the library reads beyond those tools: X.400 addresses and EDI party names.
    ora = oraddress_fixtures()["every_attribute"]
    hand = seq(ctx(0, oid("1.3.6.1.4.1.55555.2") + ctx(0, printable("raw"))),
               tlv(0x81, b"a@example.com"), tlv(0x82, b"example.com"),
               bytes([0xA3]) + ora[1:],
               ctx(4, ROOT_NAME),
               ctx(5, ctx(0, printable("Assigner")) + ctx(1, t61("Party"))),
               ctx(5, ctx(1, printable("Party only"))),
               tlv(0x86, b"ldap://x"), tlv(0x87, bytes(4)), tlv(0x88, oid_content("1.2.3")))
    only_reasons = seq(tlv(0x81, b"\x07\x80"))
    only_issuer = seq(tlv(0xA2, tlv(0x86, b"http://issuer")))
    return {
        "san": san,
        "san_every_form": hand,
        "san_32": seq(*(tlv(0x82, b"h%02d.example" % i) for i in range(32))),
        "cdp": cdp,
        "cdp_partial": seq(seq(), only_reasons, only_issuer),
        "cdp_32": seq(*(seq(ctx(0, ctx(0, tlv(0x86, b"http://c/%02d" % i)))) for i in range(32))),
    }


# ---------------------------------------------------------------------------
# Revocation lists


def x509_crl(entries, next_update=dt.datetime(2034, 1, 1), extensions=True):
    builder = (x509.CertificateRevocationListBuilder().issuer_name(X_ROOT)
               .last_update(dt.datetime(2024, 1, 1)).next_update(next_update))
    for serial in range(1, entries + 1):
        entry = (x509.RevokedCertificateBuilder().serial_number(serial)
                 .revocation_date(dt.datetime(2024, 1, 1) + dt.timedelta(seconds=serial)))
        if extensions and serial <= 2:
            entry = entry.add_extension(x509.CRLReason(x509.ReasonFlags.key_compromise), False)
            entry = entry.add_extension(x509.InvalidityDate(dt.datetime(2023, 12, 31)), False)
        builder = builder.add_revoked_certificate(entry.build())
    if extensions:
        builder = builder.add_extension(x509.CRLNumber(7), False)
        builder = builder.add_extension(
            x509.AuthorityKeyIdentifier.from_issuer_public_key(KEY.public_key()), False)
    return builder.sign(KEY, hashes.SHA256()).public_bytes(serialization.Encoding.DER)


def v1_tbs(*after_this_update):
    return seq(SIGN[0], ROOT_NAME, time(dt.datetime(2024, 1, 1)), *after_this_update)


def v1_crl(*after_this_update):
    return signed(v1_tbs(*after_this_update))


ENTRY = seq(integer(5), time(dt.datetime(2024, 1, 1)))


def crl_fixtures():
    # A0 00 for crlExtensions is read and not written again; the signature stays.
    with_a0 = v1_tbs(seq(ENTRY), ctx(0, b""))
    signature = bits(SIGN[1](KEY, with_a0))
    return {
        "v2_utc": x509_crl(3),
        "v2_generalized": x509_crl(1, next_update=dt.datetime(2051, 1, 1)),
        "v2_0_entries": x509_crl(0),
        "v2_1_entry": x509_crl(1, extensions=False),
        "v2_100_entries": x509_crl(100, extensions=False),
        "v2_2048_entries": x509_crl(2048, extensions=False),
        "v2_2049_entries": x509_crl(2049, extensions=False),
        "v1_minimal": v1_crl(),
        "v1_no_next_update": v1_crl(seq(ENTRY)),
        "empty_revoked": v1_crl(time(dt.datetime(2034, 1, 1)), seq()),
        "empty_extensions": seq(with_a0, SIGN[0], signature),
        "empty_extensions.sorted": seq(v1_tbs(seq(ENTRY)), SIGN[0], signature),
    }


# ---------------------------------------------------------------------------
# PKCS#7


P7 = "1.2.840.113549.1.7."
DATA, SIGNED, ENVELOPED, SAED, DIGESTED, ENCRYPTED = (P7 + str(i) for i in range(1, 7))
SHA256_ALG = seq(oid(mc.SHA256), NULL)
AES128 = seq(oid("2.16.840.1.101.3.4.1.2"), octets(bytes(16)))


def content_info(kind, content=None):
    return seq(oid(kind), *([ctx(0, content)] if content is not None else []))


def openssl_messages():
    signer = mc.cert(serial=0x51, subject=mc.dn(CN="Qel Signer"))
    other = mc.cert(serial=0x52, subject=mc.dn(CN="Qel Other"))
    crl = x509_crl(1)
    pem = lambda kind, der: ("-----BEGIN %s-----\n%s-----END %s-----\n" % (
        kind, __import__("base64").encodebytes(der).decode(), kind)).encode()
    with tempfile.TemporaryDirectory() as tmp:
        path = lambda n: os.path.join(tmp, n)
        files = {"cert.pem": pem("CERTIFICATE", signer), "other.pem": pem("CERTIFICATE", other),
                 "crl.pem": pem("X509 CRL", crl), "msg.txt": b"Hello, families.\n",
                 "key.pem": KEY.private_bytes(serialization.Encoding.PEM,
                                              serialization.PrivateFormat.PKCS8,
                                              serialization.NoEncryption())}
        for n, data in files.items():
            with open(path(n), "wb") as f:
                f.write(data)
        common = ["-in", path("msg.txt"), "-outform", "DER"]
        commands = {
            "cms_signed": ["cms", "-sign", "-nodetach", "-md", "sha256", "-signer", path("cert.pem"),
                           "-inkey", path("key.pem"), "-certfile", path("other.pem")] + common,
            "smime_signed": ["smime", "-sign", "-nodetach", "-signer", path("cert.pem"),
                             "-inkey", path("key.pem")] + common,
            "crl2pkcs7": ["crl2pkcs7", "-in", path("crl.pem"), "-certfile", path("cert.pem"),
                          "-outform", "DER"],
            "enveloped": ["smime", "-encrypt", "-aes128"] + common + [path("cert.pem")],
            "digested": ["cms", "-digest_create", "-md", "sha256"] + common,
            "encrypted": ["cms", "-EncryptedData_encrypt", "-aes128", "-secretkey",
                          "00112233445566778899aabbccddeeff"] + common,
        }
        return {n: subprocess.run(["openssl"] + c, check=True, capture_output=True).stdout
                for n, c in commands.items()}, signer


def signer_info(serial, unauthenticated=None, attributes=None):
    parts = [integer(1), seq(ROOT_NAME, integer(serial)), SHA256_ALG]
    if attributes is not None:
        parts.append(attributes)
    parts += [seq(oid(mc.RSA_SHA256), NULL), octets(bytes([serial]) * 8)]
    if unauthenticated is not None:
        parts.append(unauthenticated)
    return seq(*parts)


def recipient_info(serial):
    return seq(integer(0), seq(ROOT_NAME, integer(serial)), seq(oid("1.2.840.113549.1.1.1"), NULL),
               octets(bytes([serial]) * 8))


def encrypted_content(with_content=True):
    return seq(oid(DATA), AES128, *([tlv(0x80, b"\x5a" * 16)] if with_content else []))


def attribute(kind, value):
    return seq(oid(kind), set_of(value))


def pkcs7_fixtures():
    out, signer = openssl_messages()
    out["data"] = content_info(DATA, octets(b"Hello"))
    out["oid_only"] = content_info(DATA)
    # An extended certificate: the signer's certificate with attributes, signed.
    ext_info = seq(integer(0), signer, set_of(attribute(mc.EMAIL, ia5("e@example.com"))))
    extended = bytes([0xA0]) + signed(ext_info)[1:]
    crl = v1_crl()
    attrs = [attribute("1.2.840.113549.1.9.3", oid(DATA)),
             attribute("1.2.840.113549.1.9.4", octets(bytes(32)))]
    authenticated = tagged_set(0xA0, *attrs)
    unauthenticated = tagged_set(0xA1, attribute("1.2.840.113549.1.9.6", seq()))
    out["signed_and_enveloped"] = content_info(SAED, seq(
        integer(1), set_of(recipient_info(1)), set_of(SHA256_ALG), encrypted_content(),
        tagged_set(0xA0, signer, extended), tagged_set(0xA1, crl),
        set_of(signer_info(1, unauthenticated, authenticated))))
    algs = [SHA256_ALG, seq(oid("1.3.14.3.2.26"), NULL)]
    signers = [signer_info(2, attributes=authenticated), signer_info(1)]
    certs = [signer, extended]

    def signed_data(pack, attrs_pack):
        infos = [signer_info(3, attributes=attrs_pack(0xA0, *attrs[::-1]))] + signers
        return seq(integer(1), pack(0x31, *algs), content_info(DATA), pack(0xA0, *certs[::-1]),
                   pack(0xA1, v1_crl(time(dt.datetime(2030, 1, 1))), crl), pack(0x31, *infos))
    out["signed_unsorted"] = signed_data(unsorted, unsorted)
    out["signed_unsorted.sorted"] = signed_data(tagged_set, tagged_set)
    out["signed_full"] = seq(
        integer(1), set_of(*(seq(oid("1.3.6.1.4.1.55555.3.%d" % i)) for i in range(32))),
        content_info(DATA),
        tagged_set(0xA0, *(mc.cert(serial=i + 1) for i in range(32))),
        tagged_set(0xA1, *(v1_crl(seq(seq(integer(i), time(dt.datetime(2024, 1, 1)))))
                           for i in range(32))),
        set_of(*(signer_info(i + 1) for i in range(32))))
    out["enveloped_full"] = seq(integer(0), set_of(*(recipient_info(i + 1) for i in range(32))),
                                encrypted_content(False))
    out["digest_info"] = seq(SHA256_ALG, octets(bytes(32)))
    return out


def main():
    write = mc.write
    write(os.path.join(HERE, "oraddress"), oraddress_fixtures())
    write(os.path.join(HERE, "gn"), gn_fixtures())
    write(os.path.join(HERE, "crl"), crl_fixtures())
    write(os.path.join(HERE, "pkcs7"), pkcs7_fixtures())
    rsa = KEY.public_key().public_bytes(serialization.Encoding.DER,
                                        serialization.PublicFormat.PKCS1)
    write(HERE, {"rsa_key": rsa})


if __name__ == "__main__":
    main()

#!/usr/bin/env python3
"""Writes the starting corpora of the DER fuzz targets.

fuzz/der_schema_corpus/: valid encodings of each type of the test schema
(tests/asn/test_schema.h), each preceded by the octet that picks the type.
fuzz/der_registry_corpus/: pieces of a few certificates (whole certificate,
TBS part, names, validity, key, extensions, primitives) and some hand-made
elements, each preceded by the octet that picks the type from the registry
(types/registry.cpp and types/catalogue.h, read here so the indices follow
the table).

Run from anywhere: python3 fuzz/make_corpus.py [certificate directory]
"""
import os
import re
import shutil
import sys

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.dirname(HERE)
CERT_DIR = os.path.join(ROOT, "..", "shared", "thirdparty", "zlint", "certs")
CERTS = [
    "ed25519_strict_cert_sign_ku.der",
    "ecc256_post_br_1_7_1.der",
    "serialNumberZero.der",
    "localityWithColon.der",
    "RSASHA1Good.der",
    "subCAWcrlDistCrit.der",
]


def tlv(tag, content=b""):
    n = len(content)
    if n < 0x80:
        length = bytes([n])
    elif n < 0x100:
        length = bytes([0x81, n])
    else:
        length = bytes([0x82, n >> 8, n & 0xFF])
    return bytes([tag]) + length + content


def elements(data):
    """Splits the content of a constructed element into its elements."""
    out, i = [], 0
    while i < len(data):
        start = i
        i += 1
        first = data[i]
        i += 1
        if first & 0x80:
            count = first & 0x7F
            length = int.from_bytes(data[i:i + count], "big")
            i += count
        else:
            length = first
        out.append(data[start:i + length])
        i += length
    return out


def content(element):
    return elements_header_split(element)[1]


def elements_header_split(element):
    first = element[1]
    header = 2 + (first & 0x7F if first & 0x80 else 0)
    return element[:header], element[header:]


# ---------------------------------------------------------------------------
# The test schema: Record, Items, Item, Strings, Opts, Pair (in that order).

SCHEMA = ["Record", "Items", "Item", "Strings", "Opts", "Pair"]

ITEMS = {
    "number": tlv(0x02, b"\x07"),
    "number_long": tlv(0x02, b"\x00\x80\x01"),
    "flag": tlv(0x01, b"\xff"),
    "none": tlv(0x05),
    "text": tlv(0x80, b"hi"),
    "bits": tlv(0x81, b"\x04\xf0"),
    "boxed": tlv(0xA2, tlv(0x04, b"A")),
    "pair": tlv(0xA3, tlv(0x02, b"\x01") + tlv(0xA0, tlv(0x02, b"\x02"))),
    "opts_empty": tlv(0xA4),
    "opts": tlv(0xA4, tlv(0xA0, tlv(0x02, b"\x05")) + tlv(0x01, b"\x00")),
    "kids": tlv(0xA5, tlv(0x04, b"\x01") + tlv(0x04, b"\x02\x03")),
}


def record(*fields):
    return tlv(0x30, b"".join(fields))


def schema_corpus():
    ident = tlv(0x02, b"\x05")
    no_items = tlv(0x30)
    some_items = tlv(0x30, ITEMS["number"] + ITEMS["none"] + ITEMS["flag"] + ITEMS["text"])
    out = {
        "Record-minimal": record(ident, no_items),
        "Record-label": record(ident, tlv(0xA0, tlv(0x13, b"Name")), no_items),
        "Record-body": record(ident, tlv(0xA1, tlv(0x0C, b"hi")), no_items),
        "Record-flag": record(ident, tlv(0x01, b"\xff"), no_items),
        "Record-items": record(ident, some_items),
        "Record-strings": record(ident, no_items, tlv(0xA2, tlv(0x04, b"a") + tlv(0x04, b"bc"))),
        "Record-extra": record(ident, no_items, tlv(0xA3, tlv(0x30, ITEMS["none"]))),
        "Record-raw": record(ident, no_items, tlv(0xA4, tlv(0x05))),
        "Record-long": record(ident, tlv(0xA1, tlv(0x04, b"x" * 200)), some_items),
        "Record-everything": record(
            ident, tlv(0xA0, tlv(0x13, b"A")), tlv(0xA1, tlv(0x05)), tlv(0x01, b"\x00"),
            ITEMS["text"], some_items, tlv(0xA2, tlv(0x04, b"\x01")),
            tlv(0xA3, tlv(0x30)), tlv(0xA4, tlv(0x05))),
        "Items-empty": tlv(0x30),
        "Items-all": tlv(0x30, b"".join(ITEMS.values())),
        "Items-full": tlv(0x30, ITEMS["none"] * 32),
        "Strings-sorted": tlv(0x31, tlv(0x04, b"\x01") + tlv(0x04, b"\x02") + tlv(0x04, b"\x00\x00")),
        "Strings-empty": tlv(0x31),
        "Opts-empty": tlv(0x30),
        "Opts-both": tlv(0x30, tlv(0xA0, tlv(0x02, b"\x05")) + tlv(0x01, b"\xff")),
        "Opts-b": tlv(0x30, tlv(0x01, b"\x00")),
        "Pair-both": tlv(0x30, tlv(0x02, b"\x01") + tlv(0xA0, tlv(0x02, b"\x02"))),
        "Pair-first": tlv(0x30, tlv(0x02, b"\x01")),
    }
    for name, element in ITEMS.items():
        record_name = "Record-pick-" + name
        if name != "flag":  # a leading BOOLEAN is taken as the record's flag
            out[record_name] = record(ident, element, no_items)
        out["Item-" + name] = element
    return {name: bytes([SCHEMA.index(name.split("-")[0])]) + der for name, der in out.items()}


# ---------------------------------------------------------------------------
# The registry: pieces of certificates.

def registry_names():
    with open(os.path.join(ROOT, "types", "registry.cpp")) as f:
        primitives = re.findall(r"&(\w+)_desc", f.read())
    with open(os.path.join(ROOT, "types", "catalogue.h")) as f:
        return primitives + re.findall(r"F\((\w+)\)", f.read())


def certificate_pieces(der):
    cert = elements(content(der))
    tbs = cert[0]
    fields = elements(content(tbs))
    if fields[0][0] == 0xA0:
        fields = fields[1:]
    serial, sig, issuer, validity, subject, spki = fields[:6]
    pieces = {
        "Certificate": der,
        "TBSCertificate": tbs,
        "AlgorithmIdentifier": sig,
        "INTEGER": serial,
        "Name": issuer,
        "RDNSequence": subject,
        "Validity": validity,
        "CertificateValidityDate": elements(content(validity))[0],
        "SubjectPublicKeyInfo": spki,
        "BIT_STRING": cert[2],
    }
    rdns = elements(content(issuer))
    if rdns:
        pieces["RelativeDistinguishedName"] = rdns[0]
        pieces["AttributeValueAssertion"] = elements(content(rdns[0]))[0]
    for extra in fields[6:]:
        if extra[0] == 0xA3:
            extensions = content(extra)
            pieces["Extensions"] = extensions
            for extension in elements(content(extensions))[:1]:
                pieces["Extension"] = extension
    key = elements(content(spki))[1]
    if elements(content(elements(content(spki))[0]))[0] == tlv(0x06, bytes.fromhex("2a864886f70d010101")):
        pieces["RSAKey"] = content(key)[1:]
    return pieces


def hand_made():
    attribute = tlv(0x30, tlv(0x06, bytes.fromhex("550403")) + tlv(0x31, tlv(0x13, b"Root")))
    return {
        "BOOLEAN": tlv(0x01, b"\xff"),
        "ASN_NULL": tlv(0x05),
        "OBJECT_ID": tlv(0x06, bytes.fromhex("2a864886f70d01010b")),
        "OCTET_STRING": tlv(0x04, b"\x30\x00"),
        "GeneralizedTime": tlv(0x18, b"20500101000000Z"),
        "UTCTime": tlv(0x17, b"491231235959Z"),
        "IA5String": tlv(0x16, b"a@example.com"),
        "NumericString": tlv(0x12, b"0123 456"),
        "PrintableString": tlv(0x13, b"Example (Root) CA"),
        "T61String": tlv(0x14, b"caf\xe9"),
        "UNDECODED_ASN_BLOCK": tlv(0x0C, b"utf8"),
        "DirectoryString": tlv(0x13, b"Directory"),
        "AttributeValues": tlv(0x31, tlv(0x13, b"Root")),
        "Attribute": attribute,
        "Attributes": tlv(0x31, attribute),
    }


def registry_corpus(cert_dir):
    names = registry_names()
    out = {}
    for i, cert in enumerate(CERTS):
        path = os.path.join(cert_dir, cert)
        if not os.path.exists(path):
            continue
        with open(path, "rb") as f:
            der = f.read()
        pieces = certificate_pieces(der) if i in (0, 2, 4) else {"Certificate": der}
        for name, piece in pieces.items():
            out["%s-%d" % (name, i)] = piece
    for name, piece in hand_made().items():
        out[name] = piece
    return {name: bytes([names.index(name.split("-")[0])]) + der for name, der in out.items()
            if name.split("-")[0] in names}


def write(directory, files):
    if os.path.isdir(directory):
        shutil.rmtree(directory)
    os.makedirs(directory)
    for name, data in sorted(files.items()):
        with open(os.path.join(directory, name), "wb") as f:
            f.write(data)
    print("%s: %d files" % (os.path.relpath(directory, ROOT), len(files)))


def main():
    cert_dir = sys.argv[1] if len(sys.argv) > 1 else CERT_DIR
    write(os.path.join(HERE, "der_schema_corpus"), schema_corpus())
    write(os.path.join(HERE, "der_registry_corpus"), registry_corpus(cert_dir))


if __name__ == "__main__":
    main()

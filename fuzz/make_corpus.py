#!/usr/bin/env python3
"""Writes the starting corpora of the DER fuzz targets.

fuzz/der_schema_corpus/: valid encodings of each type of the test schema
(tests/asn/test_schema.h), each preceded by the octet that picks the type.
fuzz/der_registry_corpus/: pieces of a few certificates (whole certificate,
TBS part, names, validity, key, extensions, primitives), some hand-made
elements and pieces of the other families' test fixtures, each preceded by
the octet that picks the type from the registry (the primitives in asn/engine.h and
the families' lists in types/, read here so the indices follow the table).
fuzz/certificate_list_corpus/, fuzz/pkcs7_corpus/, fuzz/general_names_corpus/:
fixtures of those families, whole.

Run from anywhere: python3 fuzz/make_corpus.py [certificate directory]
"""
import glob
import os
import re
import shutil
import sys

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.dirname(HERE)
sys.path.insert(0, os.path.join(ROOT, "tests", "data"))
import der  # noqa: E402  (the tests' DER building blocks)

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
    return der.tlv(tag, content)


def elements(data):
    """The whole elements one after the other in `data`."""
    return [whole for _, whole, _ in der.children(data)]


def content(element):
    return der.children(element)[0][2]


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
    with open(os.path.join(ROOT, "asn", "engine.h")) as f:
        primitive_list = re.search(r"#define QEL_PRIMITIVE_TYPES\(F\)((?:.*\\\n)*.*)", f.read())
    primitives = re.findall(r"F\((\w+)\)", primitive_list.group(1))
    # QEL_CATALOGUE joins the families' lists, each defined in its header.
    headers = ""
    for path in sorted(glob.glob(os.path.join(ROOT, "types", "*.h"))):
        with open(path) as f:
            headers += f.read()
    lists = {m.group(1): re.findall(r"F\((\w+)\)", m.group(2))
             for m in re.finditer(r"#define (QEL_\w+_TYPES)\(F\)((?:.*\\\n)*.*)", headers)}
    with open(os.path.join(ROOT, "types", "catalogue.h")) as f:
        catalogue = f.read().split("#define QEL_CATALOGUE(F)")[1]
    return primitives + [name for family in re.findall(r"(QEL_\w+_TYPES)\(F\)", catalogue)
                         for name in lists[family]]


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


# ---------------------------------------------------------------------------
# The other families: pieces of the fixtures in tests/data (families/ and
# names/), and the seeds of the targets that take one family's entry point.

DATA = os.path.join(ROOT, "tests", "data")


def fixture(name):
    with open(os.path.join(DATA, name + ".der"), "rb") as f:
        return f.read()


def family_pieces():
    crl = fixture("families/crl/v2_utc")
    tbs_list = elements(content(crl))[0]
    revoked = [e for e in elements(content(tbs_list)) if e[0] == 0x30][-1]
    names = fixture("families/gn/san_every_form")
    name_list = elements(content(names))
    points = fixture("families/gn/cdp")
    first_point = elements(content(points))[1]
    ora = fixture("families/oraddress/every_attribute")
    standard, domain_defined, extension_attributes = elements(content(ora))
    standard_fields = elements(content(standard))
    signed = content(elements(content(fixture("families/pkcs7/cms_signed")))[1])
    signed_fields = elements(content(signed))
    signer = elements(content(signed_fields[-1]))[0]
    saed = content(elements(content(fixture("families/pkcs7/signed_and_enveloped")))[1])
    saed_fields = elements(content(saed))
    certificates = elements(content(saed_fields[4]))
    extended_info = elements(content(certificates[-1]))[0]
    request = fixture("names/req_attrs")
    out = {
        "CertificateList": crl, "TBSCertList": tbs_list, "RevokedCertificates": revoked,
        "RevokedCertificate": elements(content(revoked))[0],
        "GeneralNames": names, "anotherName": b"\x30" + name_list[0][1:],
        "EDIPartyName": b"\x30" + name_list[5][1:],
        "CRLDistPointsSyntax": points, "DistributionPoint": first_point,
        "DistributionPointName": content(elements(content(elements(content(points))[0]))[0]),
        "ORAddress": ora, "BuiltInStandardAttributes": standard,
        "CountryName": standard_fields[0], "AdministrationDomainName": standard_fields[1],
        "PrivateDomainName": content(standard_fields[4]),
        "PersonalName": standard_fields[7], "PersonalNames": elements(content(standard_fields[7]))[0],
        "OrganizationalUnitNames": standard_fields[8],
        "BuiltInDomainDefinedAttributes": domain_defined,
        "BuiltInDomainDefinedAttribute": elements(content(domain_defined))[0],
        "ExtensionAttributes": extension_attributes,
        "EXTENSION_ATTRIBUTE": elements(content(extension_attributes))[0],
        "ContentInfo": fixture("families/pkcs7/cms_signed"), "SignedData": signed,
        "DigestAlgorithmIdentifiers": signed_fields[1],
        "ExtendedCertificatesAndCertificates": signed_fields[3], "SignerInfos": signed_fields[-1],
        "SignerInfo": signer, "IssuerAndSerialNumber": elements(content(signer))[1],
        "SignedAndEnvelopedData": saed, "RecipientInfos": saed_fields[1],
        "RecipientInfo": elements(content(saed_fields[1]))[0],
        "EncryptedContentInfo": saed_fields[3], "CertificateRevocationLists": saed_fields[5],
        "ExtendedCertificateOrCertificate": certificates[-1],
        "ExtendedCertificate": b"\x30" + certificates[-1][1:],
        "ExtendedCertificateInfo": extended_info,
        "DigestInfo": fixture("families/pkcs7/digest_info"),
        "RSAKey-families": fixture("families/rsa_key"),
        "CertificationRequest": request, "CertificationRequestInfo": elements(content(request))[0],
    }
    for kind in ("enveloped", "digested", "encrypted"):
        inner = content(elements(content(fixture("families/pkcs7/" + kind)))[1])
        out[{"enveloped": "EnvelopedData", "digested": "DigestedData",
             "encrypted": "EncryptedData"}[kind]] = inner
    for i, element in enumerate(name_list):
        out["GeneralName-%d" % i] = element
    return out


TARGET_SEEDS = {
    "certificate_list": ["crl/v2_utc", "crl/v2_generalized", "crl/v2_0_entries", "crl/v1_minimal",
                         "crl/v1_no_next_update", "crl/empty_revoked", "crl/empty_extensions"],
    "pkcs7": ["pkcs7/cms_signed", "pkcs7/smime_signed", "pkcs7/crl2pkcs7", "pkcs7/enveloped",
              "pkcs7/digested", "pkcs7/encrypted", "pkcs7/data", "pkcs7/oid_only",
              "pkcs7/signed_and_enveloped", "pkcs7/signed_unsorted"],
    "general_names": ["gn/san", "gn/san_every_form", "gn/cdp", "gn/cdp_partial",
                      "oraddress/every_attribute"],
}


def target_corpus(target):
    out = {name.replace("/", "_"): fixture("families/" + name) for name in TARGET_SEEDS[target]}
    if target == "general_names":  # a directoryName that ends behind its list
        out["dirname_behind_list"] = bytes.fromhex("3004a404300231 00".replace(" ", ""))
    return out


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
    for name, piece in list(hand_made().items()) + list(family_pieces().items()):
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
    for target in TARGET_SEEDS:
        write(os.path.join(HERE, target + "_corpus"), target_corpus(target))


if __name__ == "__main__":
    main()

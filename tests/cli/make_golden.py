#!/usr/bin/env python3
"""Writes golden/<name>.txt: the whole standard output qeldumpcert should give
for each certificate below under TZ=UTC, composed here from what the
`cryptography` package reads out of the certificate and from the report's
rules, not from the tool.

Raw bytes that `cryptography` doesn't hand out (the serial number's content,
the signature parameters element) come from a small DER walk below.

Usage: python3 make_golden.py   (from any directory; needs `cryptography`)
"""
import hashlib
import ipaddress
import os
import sys
import time
import warnings

from cryptography import x509
from cryptography.hazmat.primitives import serialization
from cryptography.hazmat.primitives.asymmetric import ec, ed25519, rsa
from cryptography.x509.oid import ExtensionOID

HERE = os.path.dirname(os.path.abspath(__file__))
DATA = os.path.join(HERE, "..", "data")
sys.path.insert(0, DATA)
sys.path.insert(0, os.path.join(DATA, "names"))
from der import children, oid_content  # noqa: E402
from make_names import texts  # noqa: E402  (the name texts of the name fixtures)
GOLDEN = os.path.join(HERE, "golden")

# name -> certificate file, relative to tests/data
CERTIFICATES = {
    "sample": "sample.der",
    "v1_rsa": "certs/v1_rsa.der",                      # no version, no extensions
    "rsa1024_sha1": "certs/rsa1024_sha1.der",          # known algorithm, NULL parameters
    "private_alg_seq_params": "certs/private_alg_seq_params.der",  # parameters shown whole
    "ec_p384": "certs/ec_p384.der",                    # EC key, absent parameters
    "serial_04": "certs/serial_04.der",                # 4 bytes: decimal
    "serial_negative": "certs/serial_negative.der",    # signed decimal
    "serial_20_high_bit": "certs/serial_20_high_bit.der",  # 20 bytes with a leading 00: hex
    "gen_not_after_2050": "certs/gen_not_after_2050.der",  # GeneralizedTime past 2038
    "gen_both": "certs/gen_both.der",                  # year 9999 wraps the 32-bit count
    "ext_san_text_forms": "certs/ext_san_text_forms.der",  # EA, DN, URI, IPv4, IPv6; issuerAltName
    "ext_san_dirname": "certs/ext_san_dirname.der",    # SAN with a directoryName: no SAN line
    "ext_crldp_dirname": "certs/ext_crldp_dirname.der",  # distribution point by directory name
    "ext_san_long": "certs/ext_san_long.der",          # SAN text over the 300-byte buffer
    "subject_empty_san_critical": "certs/subject_empty_san_critical.der",  # empty subject
}

ALGORITHMS = [  # tried in this order: (OID, name)
    ("1.2.840.113549.1.1.4", "MD5 Hash with RSA Encryption"),
    ("1.2.840.113549.1.1.5", "SHA-1 Hash with RSA Encryption"),
    ("1.2.840.113549.1.1.2", "MD2 Hash with RSA Encryption"),
    ("1.2.840.113549.1.1.1", "RSA Encryption"),
]

SAN_BUFFER = 300  # closing zero included


def slash_name(name):
    return texts(name)[0].decode("utf-8")


def general_name_text(general):
    if isinstance(general, x509.RFC822Name):
        return "EA=" + general.value
    if isinstance(general, x509.DNSName):
        return "DN=" + general.value
    if isinstance(general, x509.UniformResourceIdentifier):
        return "URI=" + general.value
    if isinstance(general, x509.IPAddress) and isinstance(general.value, (ipaddress.IPv4Address, ipaddress.IPv6Address)):
        return "IP=" + ".".join(str(b) for b in general.value.packed[:4])
    return None  # no text form: no text for the whole extension


def alt_names_text(names):
    parts = [general_name_text(g) for g in names]
    if any(p is None for p in parts):
        return None
    text = "/" + "".join(p + "/" for p in parts) if parts else "//"
    return text if len(text) < SAN_BUFFER else None


def distribution_point_text(points):
    point = points[0] if len(points) else None
    if point is None or point.full_name is None or not point.full_name:
        return None
    first = point.full_name[0]
    if isinstance(first, x509.UniformResourceIdentifier):
        return f"/URI={first.value}/"
    if isinstance(first, x509.DirectoryName):
        return slash_name(first.value)
    return None


def key_bytes(key):
    if isinstance(key, rsa.RSAPublicKey):
        return key.public_bytes(serialization.Encoding.DER, serialization.PublicFormat.PKCS1)
    if isinstance(key, ec.EllipticCurvePublicKey):
        return key.public_bytes(serialization.Encoding.X962, serialization.PublicFormat.UncompressedPoint)
    if isinstance(key, ed25519.Ed25519PublicKey):
        return key.public_bytes(serialization.Encoding.Raw, serialization.PublicFormat.Raw)
    raise ValueError("key type without a rule here")


def dump(data):
    out = ""
    for i, b in enumerate(data):
        out += f"  {b:02x}" + ("\n" if i % 8 == 7 or i == len(data) - 1 else "")
    return out + "\n"


def when(moment):
    # The tool counts seconds in 32 bits, modulo 2^32.
    seconds = int(moment.timestamp()) % (1 << 32)
    return time.strftime("%a %b %e %H:%M:%S %Y\n", time.gmtime(seconds))


def algorithm_name(dotted):
    return next((name for oid, name in ALGORITHMS if oid == dotted), "Unknown")


def report(der):
    cert = x509.load_der_x509_certificate(der)
    outer = children(children(der)[0][2])
    signature_alg = children(outer[1][2])
    serial = cert.serial_number
    serial_content = serial.to_bytes(max(1, (serial.bit_length() + 8) // 8), "big", signed=True)

    lines = [f"VERSION: {cert.version.value}\n"]
    if len(serial_content) <= 4:
        lines.append(f"SERIAL NUMBER: {serial}\n")
    else:
        lines.append("SERIAL NUMBER: " + serial_content.hex() + "\n")

    texts = {}
    for extension in cert.extensions:
        oid, value = extension.oid, extension.value
        if oid == ExtensionOID.SUBJECT_ALTERNATIVE_NAME:
            texts["san"] = alt_names_text(list(value))
        elif oid == ExtensionOID.ISSUER_ALTERNATIVE_NAME:
            texts["ian"] = alt_names_text(list(value))
        elif oid == ExtensionOID.CRL_DISTRIBUTION_POINTS:
            texts["cdp"] = distribution_point_text(list(value))

    lines.append(f"ISSUER: {slash_name(cert.issuer)}\n")
    if texts.get("ian"):
        lines.append(f"ISSUER-ALT NAME: {texts['ian']}\n")
    lines.append(f"SUBJECT: {slash_name(cert.subject)}\n")
    if texts.get("san"):
        lines.append(f"SUBJECT-ALT NAME: {texts['san']}\n")
    if texts.get("cdp"):
        lines.append(f"DISTRIBUTION POINT: {texts['cdp']}\n")
    lines.append(f"NOTBEFORE: {when(cert.not_valid_before_utc)}\n")
    lines.append(f"NOTAFTER: {when(cert.not_valid_after_utc)}\n")

    sig_oid = cert.signature_algorithm_oid.dotted_string
    lines.append(f"SIG ALG:  {algorithm_name(sig_oid)}\n" + dump(oid_content(sig_oid)))
    parameters = signature_alg[1][1] if len(signature_alg) > 1 else b""
    if parameters[:1] == b"\x05":
        parameters = b""
    lines.append(f"PARAM : len = {len(parameters)}\n" + dump(parameters))
    key = key_bytes(cert.public_key())
    lines.append(f"PUBKEY: len = {len(key)}\n" + dump(key))
    key_oid = cert.public_key_algorithm_oid.dotted_string
    lines.append(f"KEY ALG:  {algorithm_name(key_oid)}\n" + dump(oid_content(key_oid)))
    lines.append("\n")
    return "".join(lines)


def whole_output(der):
    digest = hashlib.md5(der).hexdigest()
    fingerprint = ":".join(digest[i:i + 2] for i in range(0, 32, 2))
    return ("-----BEGIN CERTIFICATE-----\n" + report(der) + f"FINGERPRINT: {fingerprint}\n"
            "-----END CERTIFICATE-----\n")


def main():
    warnings.simplefilter("ignore")  # serial numbers of zero or below are wanted here
    os.makedirs(GOLDEN, exist_ok=True)
    for name, path in CERTIFICATES.items():
        with open(os.path.join(DATA, path), "rb") as f:
            der = f.read()
        with open(os.path.join(GOLDEN, name + ".txt"), "w", newline="\n") as f:
            f.write(whole_output(der))


if __name__ == "__main__":
    main()

#!/usr/bin/env python3
"""Writes extension_values.txt: DER of extension values and key parameters,
as Python `cryptography` encodes them, one a line: type | hex. The lists hold
32 elements, the catalogue's capacity. Usage: python3 make_extension_values.py"""
import ipaddress, pathlib  # noqa: E401

from cryptography import x509
from cryptography.hazmat.primitives.asymmetric import ec
from cryptography.hazmat.primitives.serialization import Encoding, PublicFormat
from cryptography.x509.oid import AuthorityInformationAccessOID as AIA

oid = lambda n: x509.ObjectIdentifier(f"1.3.6.1.4.1.55555.{n}")  # noqa: E731
uri = lambda n: x509.UniformResourceIdentifier(f"http://ca.example/{n}")  # noqa: E731
ski = bytes(range(20))
values = {
    "BasicConstraints": [x509.BasicConstraints(True, 3), x509.BasicConstraints(True, None),
                         x509.BasicConstraints(False, None)],
    "ExtKeyUsageSyntax": [x509.ExtendedKeyUsage([oid(n) for n in range(32)])],
    "AuthorityKeyIdentifier": [
        x509.AuthorityKeyIdentifier(ski, [x509.DNSName("ca.example"),
                                          x509.IPAddress(ipaddress.ip_address("10.0.0.1"))], 4660),
        x509.AuthorityKeyIdentifier(ski, None, None),
        x509.AuthorityKeyIdentifier(None, [x509.DirectoryName(x509.Name.from_rfc4514_string("CN=CA"))], 1)],
    "AuthorityInfoAccessSyntax": [x509.AuthorityInformationAccess(
        [x509.AccessDescription(AIA.OCSP if n % 2 else AIA.CA_ISSUERS, uri(n)) for n in range(32)])],
    "CertificatePolicies": [x509.CertificatePolicies(
        [x509.PolicyInformation(oid(n), ["http://cps.example/", x509.UserNotice(None, "note")] if n % 3 == 0
                                else None) for n in range(32)])],
}
lines = ["# Extension values and key parameters, one a line: type | DER (from make_extension_values.py)"]
for name, exts in values.items():
    lines += [f"{name} | {ext.public_bytes().hex(' ')}" for ext in exts]
for curve in (ec.SECP256R1(), ec.SECP384R1()):
    spki = ec.generate_private_key(curve).public_key().public_bytes(Encoding.DER, PublicFormat.SubjectPublicKeyInfo)
    algorithm = spki[2:4 + spki[3]]  # SEQUENCE { id-ecPublicKey, namedCurve }
    lines.append(f"ECParameters | {algorithm[2 + 9:].hex(' ')}")
lines.append("ECParameters | 05 00")  # implicitCurve
lines += [f"CRLReason | {x509.CRLReason(flag).public_bytes().hex(' ')}"
          for flag in (x509.ReasonFlags.key_compromise, x509.ReasonFlags.remove_from_crl)]
pathlib.Path(__file__).with_name("extension_values.txt").write_text("\n".join(lines) + "\n")

#!/usr/bin/env python3
"""Prints certificates, PKCS#10 requests and CRLs as JSON lines, the same lines
`qelcert json` prints, with Python's `cryptography` package reading the objects.
It is the reference the program's output is compared with and its peer in the
speed comparison.

Usage: python3 bench/qelcert_json.py [--digest md5,sha1,sha256] FILE|DIR ...

Every value comes from `cryptography` where it has one; digests come from
hashlib. Where the output asks for more than `cryptography` offers, a few lines
of DER reading fill the gap, each saying why:
  - attribute values that are not strings (INTEGER, SEQUENCE, ...) make
    `cryptography` refuse the whole name, and it refuses a TeletexString with
    octets above 0x7F; such names are read from the DER here;
  - the RFC 4514 text of a value that is not a string is "#" and the hex of
    its whole DER element, where `cryptography` writes the hex of the content
    (BIT STRING) or the content as text (OCTET STRING, times);
  - a request's version, a CRL's version and the curve of an EC key whose curve
    `cryptography` does not know are not offered at all;
  - a request attribute with several values makes `cryptography` refuse the
    attribute list.
Where `cryptography` refuses an object (its own checks are stricter than the
program's: explicit DEFAULT values, v2 certificates, X.400 and EDI names,
unsorted sets, ...), the line is an error line.
"""
import argparse, base64, hashlib, json, os, re, sys, warnings  # noqa: E401

from cryptography import x509
from cryptography.exceptions import UnsupportedAlgorithm
from cryptography.hazmat.primitives.asymmetric import ec, ed448, ed25519, rsa
from cryptography.x509 import name as x509name
from cryptography.x509.oid import AuthorityInformationAccessOID, ExtensionOID

# ---------------------------------------------------------------------------
# DER reading for what `cryptography` does not offer. Only definite lengths and
# one-octet tags occur in the elements looked at.


def element(buf, pos):
    """(tag, start of the content, end) of the element at `pos`."""
    tag, n = buf[pos], buf[pos + 1]
    pos += 2
    if n & 0x80:
        k = n & 0x7F
        n = int.from_bytes(buf[pos:pos + k], "big")
        pos += k
    if pos + n > len(buf):
        raise ValueError("element runs past its parent")
    return tag, pos, pos + n


def children(buf, start=0, end=None):
    """(tag, start of the element, start of the content, end) of each element."""
    end = len(buf) if end is None else end
    out = []
    while start < end:
        tag, body, stop = element(buf, start)
        out.append((tag, start, body, stop))
        start = stop
    return out


def inside(buf):
    """The elements inside the outer element of `buf`."""
    _, body, stop = element(buf, 0)
    return children(buf, body, stop)


def dotted(content):
    arcs, arc = [], 0
    for octet in content:
        arc = arc << 7 | octet & 0x7F
        if not octet & 0x80:
            arcs.append(arc)
            arc = 0
    if not arcs:
        return ""
    first = min(arcs[0] // 40, 2)
    return ".".join(map(str, [first, arcs[0] - 40 * first] + arcs[1:]))


def tlv(tag, content):
    n = len(content)
    size = b"" if n < 0x80 else n.to_bytes((n.bit_length() + 7) // 8, "big")
    return bytes([tag]) + (bytes([0x80 | len(size)]) + size if size else bytes([n])) + content


# How string values become text; IA5String and its relatives are ASCII, so
# UTF-8 with a stand-in for stray octets reads them as well.
TEXT_TAGS = {0x0C: "utf-8", 0x12: "utf-8", 0x13: "utf-8", 0x14: "latin-1", 0x16: "utf-8",
             0x1A: "utf-8", 0x1C: "utf-32-be", 0x1E: "utf-16-be"}


def element_at(buf, position):
    """The whole element at `position(kids)` among the children `kids` of the DER `buf`."""
    kids = inside(buf)
    _, start, _, end = kids[position(kids)]
    return buf[start:end]


def raw_name(buf):
    """[[(oid, value, is_text)]] of the Name element `buf`."""
    rdns = []
    for _, _, rdn_body, rdn_end in inside(buf):
        rdn = []
        for _, _, atv_body, atv_end in children(buf, rdn_body, rdn_end):
            (_, _, oid_body, oid_end), (tag, value_start, value_body, value_end) = \
                children(buf, atv_body, atv_end)[:2]
            kind = dotted(buf[oid_body:oid_end])
            if tag in TEXT_TAGS:
                rdn.append((kind, buf[value_body:value_end].decode(TEXT_TAGS[tag], "replace"), True))
            else:
                rdn.append((kind, "#" + buf[value_start:value_end].hex(), False))
        rdns.append(rdn)
    return rdns


# ---------------------------------------------------------------------------
# Names

STRING_TYPES = {getattr(x509name._ASN1Type, t) for t in (
    "UTF8String", "NumericString", "PrintableString", "T61String", "IA5String",
    "VisibleString", "UniversalString", "BMPString")}


def attribute(a):
    """(oid, value, is_text) of a NameAttribute read by `cryptography`."""
    if a._type in STRING_TYPES:
        return a.oid.dotted_string, a.value, True
    content = a.value if isinstance(a.value, bytes) else a.value.encode()
    return a.oid.dotted_string, "#" + tlv(a._type.value, content).hex(), False


def name_json(rdns):
    def text(kind, value, is_text):
        short = x509name._NAMEOID_TO_NAME.get(x509.ObjectIdentifier(kind), kind)
        return f"{short}={x509name._escape_dn_value(value) if is_text else value}"
    return {"rfc4514": ",".join("+".join(text(*a) for a in rdn) for rdn in reversed(rdns)),
            "rdns": [[{"oid": k, "value": v} for k, v, _ in rdn] for rdn in rdns]}


def name_of(get, tbs, position):
    """The name `get()` answers, or, where `cryptography` refuses it, the name
    element at `position` among the children of the DER `tbs`."""
    try:
        return name_json([[attribute(a) for a in rdn] for rdn in get().rdns])
    except (ValueError, KeyError, TypeError):
        der = element_at(tbs, position)
        return name_json(raw_name(der))


# ---------------------------------------------------------------------------
# Values of certificates, requests and CRLs


def hex_int(n):
    """Hex of the content octets of the DER INTEGER `n` (two's complement, shortest)."""
    return n.to_bytes(n.bit_length() // 8 + 1 if n >= 0 else (~n).bit_length() // 8 + 1,
                      "big", signed=True).hex()


def when(t):
    return f"{t.year:04d}-{t.month:02d}-{t.day:02d}T{t.hour:02d}:{t.minute:02d}:{t.second:02d}Z"


CURVE_OIDS = {curve.name: oid.dotted_string for oid, curve in ec._OID_TO_CURVE.items()}
EC_KEY = "1.2.840.10045.2.1"


def public_key(obj, spki):
    """The public_key object; `spki()` gives the SubjectPublicKeyInfo's DER."""
    kind = obj.public_key_algorithm_oid.dotted_string
    out = {"algorithm": kind, "bits": None, "exponent": None, "curve": None}
    try:
        key = obj.public_key()
    except UnsupportedAlgorithm:
        if kind == EC_KEY:  # a curve `cryptography` does not know: only its OID
            der = spki()
            (_, _, alg_body, alg_end), = inside(der)[:1]
            params = children(der, alg_body, alg_end)
            if len(params) > 1 and params[1][0] == 0x06:
                out["curve"] = dotted(der[params[1][2]:params[1][3]])
        return out
    if isinstance(key, rsa.RSAPublicKey):
        out["bits"], out["exponent"] = key.key_size, key.public_numbers().e
    elif isinstance(key, ec.EllipticCurvePublicKey):
        out["bits"], out["curve"] = key.curve.key_size, CURVE_OIDS.get(key.curve.name)
    elif isinstance(key, ed25519.Ed25519PublicKey):
        out["bits"] = 256
    elif isinstance(key, ed448.Ed448PublicKey):
        out["bits"] = 456
    return out  # DSA, X25519, X448 and the rest: no size


def general_name(g):
    if isinstance(g, x509.DNSName):
        return {"type": "dns", "value": g.value}
    if isinstance(g, x509.RFC822Name):
        return {"type": "email", "value": g.value}
    if isinstance(g, x509.UniformResourceIdentifier):
        return {"type": "uri", "value": g.value}
    if isinstance(g, x509.IPAddress):
        v = g.value
        # Address and mask (8 or 32 octets) come as a network: its octets in hex.
        text = str(v) if not hasattr(v, "netmask") else (v.network_address.packed + v.netmask.packed).hex()
        return {"type": "ip", "value": text}
    if isinstance(g, x509.DirectoryName):
        return {"type": "directory", "value": name_json([[attribute(a) for a in r] for r in g.value.rdns])["rfc4514"]}
    if isinstance(g, x509.RegisteredID):
        return {"type": "registered_id", "value": g.value.dotted_string}
    if isinstance(g, x509.OtherName):
        return {"type": "other", "value": {"oid": g.type_id.dotted_string, "value": g.value.hex()}}
    raise ValueError(f"general name of a kind not handled: {type(g).__name__}")


KEY_USAGES = [("digitalSignature", "digital_signature"), ("nonRepudiation", "content_commitment"),
              ("keyEncipherment", "key_encipherment"), ("dataEncipherment", "data_encipherment"),
              ("keyAgreement", "key_agreement"), ("keyCertSign", "key_cert_sign"),
              ("cRLSign", "crl_sign"), ("encipherOnly", "_encipher_only"), ("decipherOnly", "_decipher_only")]
READ = {"2.5.29.17", "2.5.29.18", "2.5.29.19", "2.5.29.15", "2.5.29.37", "2.5.29.14", "2.5.29.35",
        "2.5.29.31", "1.3.6.1.5.5.7.1.1", "2.5.29.32", "2.5.29.20", "2.5.29.21"}
TYPED = ("subject_alt_names", "issuer_alt_names", "basic_constraints", "key_usage", "extended_key_usage",
         "subject_key_id", "authority_key_id", "crl_distribution_points", "ocsp", "ca_issuers", "policies")


def single_integer(der, tag):
    """True when `der` is exactly one INTEGER or ENUMERATED (by `tag`) of DER form."""
    try:
        t, body, end = element(der, 0)
    except (IndexError, ValueError):
        return False
    return (t == tag and end == len(der) and end > body
            and not (end - body > 1 and der[body] in (0, 0xFF) and (der[body] ^ der[body + 1]) & 0x80 == 0))


def extensions(exts):
    """The "extensions" list and the typed fields of an Extensions object."""
    listed, typed = [], dict.fromkeys(TYPED)
    for e in exts:
        oid, v = e.oid.dotted_string, e.value
        if isinstance(v, x509.UnrecognizedExtension):
            # cRLNumber and reasonCode are typed only where they belong (a CRL
            # and its entries); elsewhere their value is an INTEGER / ENUMERATED.
            decoded = (oid == "2.5.29.20" and single_integer(v.value, 0x02)
                       or oid == "2.5.29.21" and single_integer(v.value, 0x0A))
        else:
            decoded = oid in READ
        listed.append({"oid": oid, "critical": e.critical, "decoded": bool(decoded)})
        if e.oid == ExtensionOID.SUBJECT_ALTERNATIVE_NAME:
            typed["subject_alt_names"] = [general_name(g) for g in v]
        elif e.oid == ExtensionOID.ISSUER_ALTERNATIVE_NAME:
            typed["issuer_alt_names"] = [general_name(g) for g in v]
        elif e.oid == ExtensionOID.BASIC_CONSTRAINTS:
            typed["basic_constraints"] = {"ca": v.ca, "path_length": v.path_length}
        elif e.oid == ExtensionOID.KEY_USAGE:
            typed["key_usage"] = [n for n, attr in KEY_USAGES if getattr(v, attr)]
        elif e.oid == ExtensionOID.EXTENDED_KEY_USAGE:
            typed["extended_key_usage"] = [u.dotted_string for u in v]
        elif e.oid == ExtensionOID.SUBJECT_KEY_IDENTIFIER:
            typed["subject_key_id"] = v.digest.hex()
        elif e.oid == ExtensionOID.AUTHORITY_KEY_IDENTIFIER:
            typed["authority_key_id"] = None if v.key_identifier is None else v.key_identifier.hex()
        elif e.oid == ExtensionOID.CRL_DISTRIBUTION_POINTS:
            typed["crl_distribution_points"] = [
                g.value for dp in v for g in dp.full_name or () if isinstance(g, x509.UniformResourceIdentifier)]
        elif e.oid == ExtensionOID.AUTHORITY_INFORMATION_ACCESS:
            for key, method in (("ocsp", AuthorityInformationAccessOID.OCSP),
                                ("ca_issuers", AuthorityInformationAccessOID.CA_ISSUERS)):
                typed[key] = [d.access_location.value for d in v if d.access_method == method
                              and isinstance(d.access_location, x509.UniformResourceIdentifier)]
        elif e.oid == ExtensionOID.CERTIFICATE_POLICIES:
            typed["policies"] = [p.policy_identifier.dotted_string for p in v]
    return {"extensions": listed, **typed}


def one_by_one(der, tbs):
    """The Extensions of the certificate `der`, each read by `cryptography` on
    its own, for when it refuses the list as a whole: it checks every
    extension, also those the output only lists (name constraints, ...), and
    refuses repeated ones. Each extension is put alone into a copy of the
    certificate, which is then read (the signature is not checked)."""
    kids = inside(tbs)
    if kids[-1][0] != 0xA3:
        raise ValueError("extensions refused, and none found")
    head = tbs[kids[0][1]:kids[-1][1]]
    rest = der[inside(der)[1][1]:]
    exts, seen = [], set()
    (_, _, body, stop), = children(tbs, kids[-1][2], kids[-1][3])
    for _, start, _, end in children(tbs, body, stop):
        alone = tlv(0x30, tlv(0x30, head + tlv(0xA3, tlv(0x30, tbs[start:end]))) + rest)
        try:
            e, = x509.load_der_x509_certificate(alone).extensions
        except Exception:  # noqa: BLE001
            # Refused alone: fine for one the output only lists, whose OID and
            # critical flag are all it shows; otherwise the object is refused.
            parts = children(tbs, *element(tbs, start)[1:])
            oid = x509.ObjectIdentifier(dotted(tbs[parts[0][2]:parts[0][3]]))
            if oid.dotted_string in READ:
                raise
            critical = parts[1][0] == 0x01 and tbs[parts[1][2]:parts[1][3]] != b"\0"
            e = x509.Extension(oid, critical, x509.UnrecognizedExtension(oid, tbs[parts[-1][2]:parts[-1][3]]))
        if e.oid.dotted_string in READ and e.oid in seen:
            raise ValueError(f"extension {e.oid.dotted_string} twice")
        seen.add(e.oid)
        exts.append(e)
    return exts


def certificate(der):
    c = x509.load_der_x509_certificate(der)
    tbs = c.tbs_certificate_bytes
    # Children of the TBSCertificate: version (when there is one), serial,
    # signature, issuer, validity, subject, key.
    base = lambda kids: 1 if kids[0][0] == 0xA0 else 0  # noqa: E731
    try:
        exts = c.extensions
    except (ValueError, x509.DuplicateExtension, x509.UnsupportedGeneralNameType):
        exts = one_by_one(der, tbs)
    return {"type": "certificate", "version": c.version.value + 1, "serial": hex_int(c.serial_number),
            "signature_algorithm": c.signature_algorithm_oid.dotted_string,
            "issuer": name_of(lambda: c.issuer, tbs, lambda k: base(k) + 2),
            "subject": name_of(lambda: c.subject, tbs, lambda k: base(k) + 4),
            "not_before": when(c.not_valid_before_utc), "not_after": when(c.not_valid_after_utc),
            "public_key": public_key(c, lambda: element_at(tbs, lambda k: base(k) + 5)),
            **extensions(exts)}


def request(der):
    r = x509.load_der_x509_csr(der)
    tbs = r.tbs_certrequest_bytes
    kids = inside(tbs)  # version, subject, key, [0] attributes
    _, _, body, end = kids[0]
    try:
        attributes = [a.oid.dotted_string for a in r.attributes]
    except ValueError:  # an attribute of several values
        attributes = [dotted(tbs[b:e]) for _, _, body_, end_ in
                      (children(tbs, kids[3][2], kids[3][3]) if len(kids) > 3 else [])
                      for _, _, b, e in children(tbs, body_, end_)[:1]]
    return {"type": "request", "version": int.from_bytes(tbs[body:end], "big", signed=True) + 1,
            "subject": name_of(lambda: r.subject, tbs, lambda k: 1),
            "public_key": public_key(r, lambda: tbs[kids[2][1]:kids[2][3]]),
            "signature_algorithm": r.signature_algorithm_oid.dotted_string, "attributes": attributes,
            **extensions(r.extensions)}


def crl(der):
    lst = x509.load_der_x509_crl(der)
    tbs = lst.tbs_certlist_bytes
    kids = inside(tbs)  # version (when there is one), signature, issuer, ...
    has_version = kids[0][0] == 0x02
    version = int.from_bytes(tbs[kids[0][2]:kids[0][3]], "big", signed=True) + 1 if has_version else 1
    exts = extensions(lst.extensions)
    number = None
    for e in lst.extensions:
        if isinstance(e.value, x509.CRLNumber):
            number = hex_int(e.value.crl_number)
    revoked = []
    for entry in lst:
        reason = None
        for e in entry.extensions:
            if isinstance(e.value, x509.CRLReason):
                reason = e.value.reason.value
        revoked.append({"serial": hex_int(entry.serial_number), "date": when(entry.revocation_date_utc),
                        "reason": reason})
    next_update = lst.next_update_utc
    return {"type": "crl", "version": version,
            "issuer": name_of(lambda: lst.issuer, tbs, lambda k: 2 if has_version else 1),
            "signature_algorithm": lst.signature_algorithm_oid.dotted_string,
            "this_update": when(lst.last_update_utc),
            "next_update": None if next_update is None else when(next_update), "crl_number": number,
            "extensions": exts["extensions"], "revoked": revoked}


# ---------------------------------------------------------------------------
# Files, objects and lines

PEM_BEGIN = re.compile(rb"^-----BEGIN ([^\r\n]*?)-----[ \t\r]*$", re.M)
PEM_END = re.compile(rb"^-----END ([^\r\n]*?)-----[ \t\r]*$", re.M)
PEM_READERS = {b"CERTIFICATE": certificate, b"X509 CRL": crl, b"CERTIFICATE REQUEST": request,
               b"NEW CERTIFICATE REQUEST": request}


def kind_of(der):
    """The reader for DER by its structure: the TBS of a certificate starts with
    [0] or INTEGER, SEQUENCE (algorithm), SEQUENCE (name), SEQUENCE (validity);
    a CRL's with (INTEGER,) SEQUENCE, SEQUENCE, time; a request's with INTEGER,
    SEQUENCE (name), SEQUENCE (key), [0]."""
    try:
        tags = [k[0] for k in inside(der[slice(*inside(der)[0][1::2])])]
    except (IndexError, ValueError):
        return None
    if tags[:1] == [0x02]:
        tags = tags[1:]
        if tags[:3] == [0x30, 0x30, 0xA0]:
            return request
    if tags[:1] == [0xA0]:
        tags = tags[1:]
    if tags[:3] == [0x30, 0x30, 0x30]:
        return certificate
    if tags[:2] == [0x30, 0x30] and tags[2:3] in ([0x17], [0x18]):
        return crl
    return None


def decode(der):
    reader = kind_of(der)
    if reader is not None:
        return reader(der)
    first = None
    for reader in (certificate, crl, request):
        try:
            return reader(der)
        except Exception as e:  # noqa: BLE001 - every refusal becomes an error line
            first = first or e
    raise first


def is_der(data):
    try:
        return data[:1] == b"\x30" and element(data, 0)[2] == len(data)
    except (IndexError, ValueError):
        return False


def objects(data):
    """(format, der or None, error text or None, reader or None) of each object:
    the one object of a DER file, or every block of a PEM text."""
    if is_der(data) or not PEM_BEGIN.search(data):
        yield "der", data, None, None
        return
    pos = 0
    while (begin := PEM_BEGIN.search(data, pos)) is not None:
        end = PEM_END.search(data, begin.end())
        label = begin.group(1)
        if end is None:
            yield "pem", None, "no END line", None
            return
        pos = end.end()
        if end.group(1) != label:
            yield "pem", None, "END label differs", None
        elif label not in PEM_READERS:
            yield "pem", None, f"PEM label {label.decode('latin-1')} not read", None
        else:
            try:
                der = base64.b64decode(re.sub(rb"\s+", b"", data[begin.end():end.start()]), validate=True)
            except ValueError:
                yield "pem", None, "bad base64", None
            else:
                yield "pem", der, None, PEM_READERS[label]


def lines(path, data, digests):
    for index, (fmt, der, error, reader) in enumerate(objects(data)):
        head = {"file": path, "index": index}
        if der is not None:
            try:
                obj = (reader or decode)(der)
            except Exception as e:  # noqa: BLE001
                error = f"{type(e).__name__}: {e}"
            else:
                yield {**head, "format": fmt, "type": obj.pop("type"), **obj,
                       "fingerprints": {d: hashlib.new(d, der).hexdigest() for d in digests}}
                continue
        yield {**head, "error": error, "code": None, "offset": None}


def paths(args):
    for arg in args:
        if os.path.isdir(arg):
            yield from (os.path.join(arg, n) for n in sorted(os.listdir(arg))
                        if os.path.isfile(os.path.join(arg, n)))
        else:
            yield arg


SURROGATE = re.compile("[\ud800-\udfff]")


def main(argv):
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("--digest", default="sha256", help="digests of the DER, e.g. md5,sha1,sha256")
    parser.add_argument("files", nargs="+", metavar="FILE|DIR")
    args = parser.parse_args(argv)
    # Deprecation notes about what a future `cryptography` will refuse.
    warnings.simplefilter("ignore")
    digests = args.digest.split(",")
    out = sys.stdout.buffer
    for path in paths(args.files):
        try:
            with open(path, "rb") as f:
                data = f.read()
        except OSError as e:
            found = [{"file": path, "index": 0, "error": e.strerror or str(e), "code": None, "offset": None}]
        else:
            found = lines(path, data, digests)
        for obj in found:
            text = json.dumps(obj, separators=(",", ":"), ensure_ascii=False)
            try:
                raw = text.encode()
            except UnicodeEncodeError:  # a lone surrogate from a broken UTF-16 value
                raw = SURROGATE.sub("\ufffd", text).encode()
            out.write(raw + b"\n")
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))

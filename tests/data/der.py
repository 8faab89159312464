"""DER building blocks shared by the scripts that make test data: each function
returns the octets of one element; `write` stores a set of them as files."""
import os


def tlv(tag, content):
    n = len(content)
    size = b"" if n < 0x80 else n.to_bytes((n.bit_length() + 7) // 8, "big")
    return bytes([tag]) + (bytes([0x80 | len(size)]) + size if size else bytes([n])) + content


def seq(*items):
    return tlv(0x30, b"".join(items))


def set_of(*items, tag=0x31, ordered=True):
    """A set-of under `tag`, in DER order unless `ordered` is false: by encoding,
    the shorter one compared as if zero-padded."""
    width = max((len(i) for i in items), default=0)
    return tlv(tag, b"".join(sorted(items, key=lambda i: i.ljust(width, b"\0")) if ordered else items))


def integer(n):
    return tlv(0x02, n.to_bytes(max(1, (n + (n < 0)).bit_length() // 8 + 1), "big", signed=True))


def oid_content(dotted):
    """Content octets of the OBJECT IDENTIFIER written `dotted`."""
    arcs, out = [int(a) for a in dotted.split(".")], b""
    for arc in [arcs[0] * 40 + arcs[1]] + arcs[2:]:
        chunk = bytes([arc & 0x7F])
        while arc > 0x7F:
            arc >>= 7
            chunk = bytes([0x80 | (arc & 0x7F)]) + chunk
        out += chunk
    return out


def oid(dotted):
    return tlv(0x06, oid_content(dotted))


def boolean(value):
    return tlv(0x01, b"\xff" if value else b"\x00")


def octets(data):
    return tlv(0x04, data)


def bits(data, unused=0):
    return tlv(0x03, bytes([unused]) + data)


def ctx(n, content, constructed=True):
    return tlv((0xA0 if constructed else 0x80) | n, content)


NULL = b"\x05\x00"


# String types of attribute values: each takes a text and encodes it.
def _string(tag, codec):
    return lambda s: tlv(tag, s.encode(codec))


printable, utf8, t61 = _string(0x13, "ascii"), _string(0x0C, "utf-8"), _string(0x14, "latin-1")
ia5, bmp, universal = _string(0x16, "ascii"), _string(0x1E, "utf-16-be"), _string(0x1C, "utf-32-be")
# General names of the forms written as text.
rfc822, dns, uri = _string(0x81, "ascii"), _string(0x82, "ascii"), _string(0x86, "ascii")


def time(when):
    # Dates of 1950 to 2049 are UTCTime, all others GeneralizedTime.
    if 1950 <= when.year < 2050:
        return tlv(0x17, when.strftime("%y%m%d%H%M%SZ").encode())
    return tlv(0x18, when.strftime("%Y%m%d%H%M%SZ").encode())


def children(der):
    """(tag, whole element, content) of each element of `der`, in order."""
    out, pos = [], 0
    while pos < len(der):
        n, head = der[pos + 1], 2
        if n & 0x80:
            head += n & 0x7F
            n = int.from_bytes(der[pos + 2:pos + head], "big")
        out.append((der[pos], der[pos:pos + head + n], der[pos + head:pos + head + n]))
        pos += head + n
    return out


def write(directory, items):
    """Writes each element of `items` to <directory>/<label>.der."""
    os.makedirs(directory, exist_ok=True)
    for label, der in items.items():
        with open(os.path.join(directory, label + ".der"), "wb") as f:
            f.write(der)

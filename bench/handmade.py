#!/usr/bin/env python3
"""Containers that no free tool makes, byte by byte: headers, checksums, stored content.

usage: bench/handmade.py KIND FILE RESULT
"""

import binascii
import email.message
import email.policy
import pathlib
import struct
import sys
import zlib


def rar4(name, content, flags=0x8000):
    """RAR 4 with one stored member."""
    def block(kind, bits, rest):
        head = struct.pack("<BHH", kind, bits, 7 + len(rest)) + rest
        return struct.pack("<H", zlib.crc32(head) & 0xffff) + head

    member = struct.pack("<IIBIIBBHI", len(content), len(content), 3, zlib.crc32(content), 0x5a000000, 20, 0x30,
                         len(name), 0o100644) + name
    return (b"Rar!\x1a\x07\0" + block(0x73, 0, bytes(6)) + block(0x74, flags, member) + content +
            block(0x7b, 0x4000, b""))


def number(value):
    """As RAR 5 writes it: seven bits a byte, the lowest first."""
    out = b""
    while value > 0x7f:
        out += bytes([value & 0x7f | 0x80])
        value >>= 7
    return out + bytes([value])


def rar5(name, content, extra=b""):
    """RAR 5 with one stored member."""
    def block(*fields, tail=b""):
        head = b"".join(map(number, fields)) + tail
        head = number(len(head)) + head
        return struct.pack("<I", zlib.crc32(head)) + head

    about = b"".join(map(number, (4, len(content), 0o100644))) + struct.pack("<I", zlib.crc32(content))
    about += number(0) + number(1) + number(len(name)) + name + extra
    sizes = (2, 3, len(extra), len(content)) if extra else (2, 2, len(content))
    return b"Rar!\x1a\x07\x01\0" + block(1, 0, 0) + block(*sizes, tail=about) + content + block(5, 0, 0)


def rar5_locked(name, content):
    """Likewise, with a record that says that the member is encrypted."""
    record = number(1) + number(0) + number(0) + b"\x0f" + bytes(32)
    return rar5(name, content, number(len(record)) + record)


def lha(name, content):
    """LHA, a header of level 0, stored."""
    def crc16(data):
        crc = 0
        for byte in data:
            crc ^= byte
            for _ in range(8):
                crc = crc >> 1 ^ (0xa001 if crc & 1 else 0)
        return crc

    head = b"-lh0-" + struct.pack("<IIIBBB", len(content), len(content), 0, 0x20, 0, len(name)) + name
    head += struct.pack("<H", crc16(content))
    return bytes([len(head), sum(head) & 0xff]) + head + content + b"\0"


def tnef(name, content):
    """What one mail program attaches as winmail.dat."""
    def attribute(level, tag, data):
        return struct.pack("<BII", level, tag, len(data)) + data + struct.pack("<H", sum(data) & 0xffff)

    return (struct.pack("<IH", 0x223e9f78, 1) + attribute(1, 0x00089006, struct.pack("<I", 0x10000)) +
            attribute(2, 0x00069002, bytes([1, 0]) + bytes(12)) + attribute(2, 0x00018010, name + b"\0") +
            attribute(2, 0x0006800f, content))


def crx(_, archive):
    """A browser's extension: a header before a zip."""
    return b"Cr24" + struct.pack("<II", 3, 16) + bytes(16) + archive


def mail(name, content, encoding="base64"):
    """A mail with one attachment."""
    name = name.decode()
    message = email.message.EmailMessage(policy=email.policy.SMTP)
    message["From"], message["To"], message["Subject"] = "a@example.org", "b@example.org", "x"
    message["Message-ID"], message["Date"] = "<1@example.org>", "Sun, 22 Nov 2026 12:00:00 +0000"
    message.set_content("see there")
    message.add_attachment(content, maintype="application", subtype="octet-stream", filename=name, cte=encoding)
    return message.as_bytes()


def mail_in_mail(name, content):
    inner = email.message_from_bytes(mail(name, content), policy=email.policy.SMTP)
    outer = email.message_from_bytes(mail(b"none.txt", b"nothing"), policy=email.policy.SMTP)
    outer.add_attachment(inner)
    return outer.as_bytes()


def mbox(name, content):
    return b"".join(b"From a@example.org Sun Nov 22 12:00:00 2026\n" + one.replace(b"\r\n", b"\n") + b"\n"
                    for one in (mail(b"none.txt", b"nothing"), mail(name, content)))


def uuencoded(name, content):
    lines = b"".join(binascii.b2a_uu(content[i:i + 45]) for i in range(0, len(content), 45))
    return (b"From: a@example.org\r\nTo: b@example.org\r\nSubject: x\r\nMIME-Version: 1.0\r\n\r\n"
            b"begin 644 " + name + b"\n" + lines + b"`\nend\n").replace(b"\r\n", b"\n")


def many_ar(name, content):
    head = b"%-16s%-12d%-6d%-6d%-8s%-10d`\n"
    one = [head % (b"%d/" % n, 0, 0, 0, b"100644", 6) + b"%06d" % n for n in range(120000)]
    return b"!<arch>\n" + b"".join(one) + head % (name, 0, 0, 0, b"100644", len(content)) + content


KINDS = {
    "crx": crx, "lha": lha, "mail_in_mail": mail_in_mail, "mail": mail, "many_ar": many_ar, "mbox": mbox, "rar4": rar4,
    "rar5": rar5, "rar5_locked": rar5_locked, "tnef": tnef, "uuencoded": uuencoded,
    "mail_quoted": lambda name, content: mail(name, content, "quoted-printable"),
    "rar4_locked": lambda name, content: rar4(name, content, 0x8004),
}

if __name__ == "__main__":
    kind, source, target = sys.argv[1:]
    source = pathlib.Path(source)
    pathlib.Path(target).write_bytes(KINDS[kind](source.name.encode(), source.read_bytes()))

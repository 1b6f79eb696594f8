#!/usr/bin/env python3
"""Writes the small seed files of fuzz/corpus/<target> (run from the repository's root). The
JPEG seeds come from MakeJpegSeeds.c. Seeds of the targets that pick an effect end with the byte
that picks it (FuzzedDataProvider reads numbers from the end)."""
import os
import struct
import zlib


def png(width, height, depth, colour, rows, interlace=0, extra=b""):
    def chunk(kind, data):
        return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))
    header = struct.pack(">IIBBBBB", width, height, depth, colour, 0, 0, interlace)
    raw = b"".join(b"\0" + row for row in rows)
    return (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", header) + extra +
            chunk(b"IDAT", zlib.compress(raw)) + chunk(b"IEND", b""))


def write(target, name, data):
    os.makedirs(f"fuzz/corpus/{target}", exist_ok=True)
    with open(f"fuzz/corpus/{target}/{name}", "wb") as out:
        out.write(data)


def text(value):
    data = value.encode()
    return struct.pack("<I", len(data)) + data


def folder(name, values, folders):
    out = text(name) + struct.pack("<I", len(values))
    for kind, value_name, payload in values:
        out += bytes([kind]) + text(value_name) + payload
    out += struct.pack("<I", len(folders))
    return out + b"".join(folders)


def setting(name, ident, flags, value):
    binary = lambda data: struct.pack("<I", len(data)) + data
    return folder(name, [(1, "ID", binary(struct.pack("<i", ident))),
                         (1, "Flags", binary(struct.pack("<I", flags))),
                         (1, "Value", binary(value))], [])


write("picture", "rgb.png", png(3, 2, 8, 2, [bytes(range(9)), bytes(range(9, 18))]))
write("picture", "grey16.png", png(2, 2, 16, 0, [b"\x80\x80\x40\x40"] * 2))
write("picture", "rgba.png", png(2, 1, 8, 6, [b"\xff\xff\xff\x80\x00\x10\x20\x00"]))
write("picture", "palette.png", png(2, 2, 2, 3, [b"\x40", b"\x80"],
                                   extra=b"\0\0\0\x06PLTE\xff\0\0\0\0\xff" + struct.pack(">I", zlib.crc32(b"PLTE\xff\0\0\0\0\xff"))))
write("picture", "interlaced.png", png(5, 5, 8, 0, [bytes(range(5))] * 5, interlace=1))
write("picture", "gamma.png", png(2, 2, 16, 0, [b"\x10\x00\xf0\x00"] * 2,
                                 extra=b"\0\0\0\x04gAMA\0\x01\x86\xa0" + struct.pack(">I", zlib.crc32(b"gAMA\0\x01\x86\xa0"))))

# Effects by their place in the host's list: 3 CoverTransition, 4 CounterBandsTransition,
# 13 ShutterBandsTransition, 14 TwirlTransition, 5 DeformTransition.
xml = '<?xml version="1.0" encoding="UTF-8"?>\n<KeloData>\n  {}\n</KeloData>\n'
write("settings_xml", "cover.xml", xml.format("<Direction>3</Direction><Style>1</Style>").encode() + b"\x03")
write("settings_xml", "shutter.xml", xml.format("<Bands>7</Bands><Direction>1</Direction>").encode() + b"\x0d")
write("settings_xml", "twirl.xml", xml.format("<Revolutions>2.5</Revolutions>").encode() + b"\x0e")
write("settings_xml", "nested.xml", b"<KeloData><a><Direction>2</Direction></a>&amp;</KeloData>\x03")

root = folder("", [], [setting("Direction", 1, 0x1003, struct.pack("<i", 2)),
                       setting("Style", 2, 0x1003, struct.pack("<i", 1))])
write("folder_stream", "cover.kfs", b"KELOFOLD" + struct.pack("<I", 1) + root + b"\x03")
twirl = folder("", [(3, "Value", text("TwirlTransition") + folder("", [], []))],
               [setting("Revolutions", 1, 0x04, struct.pack("<d", 1.5))])
write("folder_stream", "twirl.kfs", b"KELOFOLD" + struct.pack("<I", 1) + twirl + b"\x0e")

for table in ("CoverTransition", "KeloTransitionTexts"):
    with open(f"host/data/{table}.strings", "rb") as source:
        write("string_table", f"{table}.strings", source.read())
write("string_table", "escapes.strings", b"\xef\xbb\xbf# comment\n1 = a\\nb\\tc\\\\\n2=|x|y|\r\n=none\n1 = again\n")

write("registry", "registry.ini",
      b"Mappings\\x; comment\n[Workspace]\nInstallPath = /opt/kelo\n[Mappings]\n"
      b"Pictures=\" /home/me \"\n#x\nbroken line\n[ Other ]\nk=v\n\x01")

# Timelines: the first byte picks JSON (0) or TOML (1).
write("timeline", "example.json", b"\x00" + b'{"defaults": {"hold": 1, "duration": 0.5, '
      b'"easing": "ease-in-out", "motion": "auto", "transition": "Dissolve"}, "slides": ['
      b'{"picture": "a.png", "transition": {"name": "PushTransition", "settings": '
      b'{"Direction": "Left", "Bands": 3, "Soft": true}, "settings_file": "p.xml"}}, '
      b'{"picture": "b.jpg", "hold": 1.5, "transition": {"easing": "cubic-bezier(0.4,0,0.2,1)", '
      b'"duration": 2e-1}}, "c.png", {"picture": "d.png", "motion": "zoom-in"}]}')
write("timeline", "example.toml", b"\x01" + b'[defaults]\nhold = 1\neasing = "ease-out"\n'
      b'motion = "pan-left"\ntransition = { name = "Cover", settings = { Direction = 2 } }\n\n'
      b'[[slides]]\npicture = "a.png"\n[slides.transition]\nname = "Push"\nduration = 0.25\n'
      b'easing = "linear"\nsettings = { Direction = "Left" }\n\n[[slides]]\npicture = "b.png"\n'
      b'hold = 2\nwhen = 1979-05-27T07:32:00Z\n')
write("timeline", "broken.json", b"\x00" + b'{"slides": [{"picture": "a.png",\n "hold": [1, {"x": null}]}, '
      b'"\\u00e9\\ud83d\\ude00"], "slides": 1}')

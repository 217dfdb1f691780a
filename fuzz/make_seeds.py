#!/usr/bin/env python3
"""Writes the seed corpora of the fuzz targets into fuzz/corpus/<target>/.

Seeds are small inputs that reach deep into a target: accepted components of
every editor, procedure files of both formats, a syntax test with modules,
interrupt procedures and pictures beside the procedure. Run it again after
changing a seed here; inputs that fuzzing found are added to the corpus
directories by hand (see docs/fuzzing.md) and are left alone by this script.

    fuzz/make_seeds.py
"""
import os
import struct

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
CORPUS = os.path.join(ROOT, "fuzz", "corpus")
PART = b"=QVPART="


def write(target, name, data):
    d = os.path.join(CORPUS, target)
    os.makedirs(d, exist_ok=True)
    with open(os.path.join(d, "seed-" + name), "wb") as f:
        f.write(data)


def example(*path):
    with open(os.path.join(ROOT, "examples", *path), "rb") as f:
        return f.read()


def records(data):
    return [data[i:i + 800] for i in range(0, len(data) - 799, 800)]


# --- procedure records -----------------------------------------------------

def record(type_code, payload=b"", entry=b"", branch=b"", target=0, comment=b"", number=1):
    r = bytearray(800)
    struct.pack_into("<HHHHH", r, 0, 0xFFFF, 35, 0, number, target)
    r[10:10 + len(entry)] = entry
    r[21:21 + len(branch)] = branch
    r[32:32 + len(comment)] = comment
    r[83] = ord(type_code)
    r[88:88 + len(payload)] = payload
    return bytes(r)


def old_record(type_code, payload=b"", entry=b"", branch=b"", target=0, comment=b"", number=1):
    r = bytearray(768)
    struct.pack_into("<H", r, 0, number)
    r[2:2 + len(entry)] = entry
    r[13:13 + len(branch)] = branch
    struct.pack_into("<H", r, 24, target)
    r[26:26 + len(comment)] = comment
    r[77] = ord(type_code)
    r[78:78 + len(payload)] = payload
    return bytes(r)


def procedure_file():
    sample = example("sample.PAD")
    write("procedure_file", "sample", sample)
    write("procedure_file", "current-two", example("check-clean", "CLEAN.PAD")[:1600])
    write("procedure_file", "current-partial", sample[:900])
    write("procedure_file", "current-short", b"\xff\xff\x23\x00")
    write("procedure_file", "empty", b"")
    write("procedure_file", "one-byte", b"\xff")
    # Old records with a DOS comment: umlauts, box characters, the guillemets
    # and the escape sequence the converter treats apart.
    dos = b"Pr\x81fung \x84\x94\x9a \xc4\xc4 \xae\xaf \x1b[1m end"
    old = (old_record("M", b"M\x00P\x01\x00", b"E1", b"B5", 3, dos, 1) +
           old_record("Z", b"Z\x00\x64\x00", comment=b"\xe1\xb3\xda\xbf", number=2) +
           old_record("x", b"\x01\x02\x03", comment=b"unknown type", number=3))
    write("procedure_file", "old-three", old)
    write("procedure_file", "old-partial", old[:1000])


# --- component readers -----------------------------------------------------

ROWS = {c: i for i, c in enumerate(
    ["M", "B", "A", "T", "N", "P", "PG", "Z", "d", "U", "u", "I", "G", "b", "i", "S", "p",
     "n", "D", "s", "g", "O", "R", "a", "c", "f", "C"])}


def settings(*pairs):
    """(control index, text) for a text, (control index, int) for a button or
    combo: the int is the length byte (low bit for buttons; index + 1 for a
    combo box)."""
    out = b""
    for idx, value in pairs:
        if isinstance(value, int):
            out += bytes([idx, value])
        else:
            out += bytes([idx, len(value)]) + value
    return out


def add(row, *pairs, fill=False, lang=0):
    return bytes([ROWS[row], (2 if fill else 0) | (lang << 2)]) + settings(*pairs)


def change(row, rec, *pairs, lang=0):
    return bytes([ROWS[row], 1 | (lang << 2)]) + rec + settings(*pairs)


def component_readers():
    w = lambda name, data: write("component_readers", name, data)
    # Measuring: indices 2 measure, 3 save, 4 transfer, 9 variables, 10 scan,
    # 11 count, 12-14 trigger, 15 link, 16-18 second trigger, 19 pretrigger.
    w("measuring-measure", add("M", (0, b"E3"), (1, b"Messung"), (2, 1), (5, 1), (9, b"P1P2T1"),
                               (12, b"E1"), (13, b">"), (14, b"2.5"), (20, b"B5"), (21, b"12")))
    w("measuring-save", add("M", (3, 1), (9, b"SA3P12"), (10, b"0.5"), (11, b"1000"),
                            (12, b"P1"), (13, b"\xab"), (14, b"10"), (15, 2), (16, b"P2"),
                            (17, b"<"), (18, b"5"), (19, 4), fill=True))
    w("measuring-indirect", add("M", (2, 1), (9, b"<S5>"), lang=1))
    w("measuring-transfer", add("M", (4, 1), (7, 1), lang=2))
    w("measuring-separators", add("M", (2, 1), (9, b"P1, P2")))
    # Time: 2 time wait, 3 key wait, 4 factor.
    w("time", add("Z", (2, 1), (4, b"150")))
    w("time-key", add("Z", (3, 1), fill=True))
    # Interrupt: per routine k (from 0) check 2+7k, on 3+7k, off 4+7k, own
    # 5+7k, external 6+7k, time 7+7k, base 8+7k.
    w("interrupt", add("I", (2, 1), (3, 1), (5, 1), (7, b"100"), (8, 1),
                       (9, 1), (11, 1), (16, 1), (17, 1), (20, 1), (21, b"2"), (22, 2)))
    w("break", add("u", (2, b"Z5"), (3, b"B7")))
    w("section-first", add("C", (2, 1), (5, b"Z1"), (6, b"Leak test"), (7, b"B3")))
    w("section-last", add("C", (4, 1), (6, b"End"), (7, b"B4"), lang=3))
    w("module", add("U", (2, b"LEAKAGE"), (3, b"E2"), (4, b"7")))
    w("command", add("D", (2, 1), (4, b"SAVE -m12 -Sabc"), (5, b"dir"), (7, b"x" * 50)))
    w("picture-screen", add("p", (2, b"C:\\pics\\logo.bmp"), (3, 1), (5, 1), (7, b"10"),
                            (8, b"10"), (9, b"50"), (10, b"50")))
    w("picture-printer", add("p", (2, b"logo.jpg"), (4, 1), (7, b"90"), (9, b"50"),
                             (10, b"5"), (11, 1), (12, 1)))
    for row in ["B", "A", "T", "N", "P", "PG", "d", "G", "b", "i", "S", "n", "s", "g", "O",
                "R", "a", "c", "f"]:
        w("generic-" + ("graphic-print" if row == "PG" else row),
          add(row, (0, b"E1"), (1, b"text"), (2, b"Z5>=Z6"), (3, b"4"), fill=True))
    # Long conditions run on into the next field.
    w("conditions-long", add("B", (0, b"S12=\"ABCDEFGHIJK\""), (2, b"A1<12,5"), (3, b"65535")))
    # Changes of stored records, one per type in the examples.
    for name, data in [("sample", example("sample.PAD")),
                       ("clean", example("check-clean", "CLEAN.PAD")),
                       ("findings", example("check-findings", "FINDINGS.PAD"))]:
        for i, r in enumerate(records(data)):
            code = chr(r[83])
            row = "PG" if code == "P" and r[88] == ord("G") else code
            if row in ROWS:
                w("change-%s-%d" % (name, i + 1), change(row, r))
    measuring = record("M", b"S\x00P\x01\x00T\x02\x00\x00", comment=b"stored")
    w("change-measuring-values", change("M", measuring, (10, b"1.5"), (11, b"20"),
                                        (12, b"P1"), (13, b"="), (14, b"0.25")))


def condition():
    for i, text in enumerate([
            b"E3", b"Z5>=Z6", b'S2="OK"', b"A1<12,5", b"!B5", b"WEITER", b"!MEMORY", b"1", b"",
            b"B5!=B6", b"z1=Z2", b"a96=1", b'S1<"x"', b"E1==2", b"A97", b"Z1=2.5", b"S3=T4",
            b"E1<", b"!E1", b"B1!=!B2", b"S12=\"ABCDEFGHIJK\"", b"W255>=1,0", b"Z0=1",
            b"E1 ", b"A1<12,5x", b"X12345678901234567890"]):
        write("condition", "%02d" % i, text)


def config():
    write("config", "english-extended", struct.pack("<II", 1, 1))
    write("config", "italian", struct.pack("<II", 3, 0))
    write("config", "short", b"\x02\x00\x00")
    write("config", "empty", b"")
    write("config", "damaged-language", struct.pack("<II", 7, 0xFFFFFFFF))
    write("config", "long", struct.pack("<III", 2, 1, 0xDEADBEEF))


def resource_lines(path, count):
    with open(os.path.join(ROOT, "resources", *path), "rb") as f:
        return b"".join(f.readlines()[:count])


def text_data():
    w = lambda name, kind, data: write("text_data", name, bytes([kind]) + data)
    w("texts-de", 0, resource_lines(["texts", "de.txt"], 40))
    w("texts-fr", 0, resource_lines(["texts", "fr.txt"], 40))
    w("texts-escapes", 0, b'# comment\r\n  12\t"a\\"b\\\\c\\n\\t\\r" # trailing\n'
      b'65535 "\xc3\xa4\xe2\x82\xac   "\n1 ""\n')
    titles = b"".join(b'%d.0 "TITLE (%d)\\n\\n"\n' % (n, n) for n in range(1, 115))
    w("errors-titles", 1, titles + resource_lines(["errors", "en.txt"], 30))
    w("errors-start", 1, resource_lines(["errors", "de.txt"], 30))
    w("used", 2, resource_lines(["texts", "used-ids.txt"], 40))
    w("used-bad", 2, b"12 de,xx\n")


def syntax_test():
    w = lambda name, mode, lang, pad, *parts: write(
        "syntax_test", name, bytes([mode, lang]) + pad +
        b"".join(PART + n + b"\n" + d for n, d in parts))
    w("clean", 0, 0, example("check-clean", "CLEAN.PAD"),
      (b"LEAKAGE.PAM", example("check-clean", "LEAKAGE.PAM")),
      (b"P.IR1", example("check-clean", "CLEAN.IR1")))
    w("clean-instrument", 2, 1, example("check-clean", "CLEAN.PAD"),
      (b"LEAKAGE.PAM", example("check-clean", "LEAKAGE.PAM")),
      (b"P.IR1", example("check-clean", "CLEAN.IR1")))
    w("findings", 3, 2, example("check-findings", "FINDINGS.PAD"),
      (b"VALVES.PAM", example("check-findings", "VALVES.PAM")),
      (b"P.IR1", example("check-findings", "FINDINGS.IR1")))
    w("findings-lumo", 1, 3, example("check-findings", "FINDINGS.PAD"),
      (b"P.IR1", example("check-findings", "FINDINGS.IR1")))
    w("sample", 0, 1, example("sample.PAD"))
    # Pictures beside the procedure: a 4-bit bitmap, an 8-bit one with the old
    # core header, a JPEG and a file that is neither.
    bmp4 = b"BM" + bytes(12) + struct.pack("<IiiHH", 40, 16, 16, 1, 4) + bytes(40)
    bmp8 = b"BM" + bytes(12) + struct.pack("<IHHHH", 12, 16, 16, 1, 8) + bytes(40)
    def picture(path, screen=True):
        payload = bytearray(300)
        payload[1] = 1
        payload[2] = ord("D" if screen else "P")
        payload[3] = ord("B" if path.endswith(b".bmp") else "J")
        struct.pack_into("<iiii", payload, 8, 10, 10, 50, 50)
        payload[24:24 + len(path)] = path
        return record("p", bytes(payload))
    pad = (picture(b"logo.bmp") + picture(b"old.bmp", False) + picture(b"photo.jpg") +
           picture(b"fake.bmp") + picture(b"missing.jpg") +
           record("U", b"MOD") + record("I", b"\x01B\x00\x00\x00\x00\x64\x00"))
    w("pictures", 2, 0, pad, (b"logo.bmp", bmp4), (b"old.bmp", bmp8),
      (b"photo.jpg", b"\xff\xd8\xff\xe0" + bytes(20)), (b"fake.bmp", b"GIF89a"),
      (b"MOD.PAM", record("M", b"M\x00P\x01\x00")), (b"P.IR1", record("B")))
    old = old_record("M", b"M\x00P\x01\x00", b"E1") + old_record("U", b"OLD")
    w("old-format", 0, 0, old, (b"OLD.PAM", old_record("B")))


def main():
    procedure_file()
    component_readers()
    condition()
    config()
    text_data()
    syntax_test()


if __name__ == "__main__":
    main()

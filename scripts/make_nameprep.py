#!/usr/bin/env python3
"""Writes the nameprep profile of the stringprep processor: resources/nameprep/mapping.txt,
prohibited.txt and unassigned.txt, in the layout of the appendix tables of RFC 3454.

The tables come from Python's standard stringprep module, which encodes RFC 3454 over Unicode 3.2:
  mapping.txt    = B.1 (mapped to nothing) and B.2 (case folding for NFKC)
  prohibited.txt = C.1.2, C.2.2, C.3, C.4, C.5, C.6, C.7, C.8, C.9
  unassigned.txt = A.1
The module computes B.2 with the running Python's case mappings, so a mapping that Unicode 3.2
did not have (a key or a result that 3.2 leaves unassigned) is left out, as the RFC's table has
it. Remake the files with:  python3 scripts/make_nameprep.py  (from anywhere) and commit them.
"""
import os
import stringprep
import unicodedata

UCD_3_2 = unicodedata.ucd_3_2_0
HERE = os.path.dirname(os.path.abspath(__file__))
OUT = os.path.join(HERE, "..", "resources", "nameprep")
ALL = [chr(c) for c in range(0x110000)]


def assigned_in_3_2(text):
    return all(UCD_3_2.category(ch) != "Cn" for ch in text)


def header(title, tables):
    return [
        f"# {title} of the nameprep profile (RFC 3491): tables {tables} of RFC 3454.",
        "# Made by scripts/make_nameprep.py from Python's stringprep module; do not edit.",
    ]


def ranges(test):
    """The codepoints passing the test as inclusive (first, last) runs."""
    runs, start = [], None
    for c in range(0x110000):
        if test(chr(c)):
            if start is None:
                start = c
        elif start is not None:
            runs.append((start, c - 1))
            start = None
    if start is not None:
        runs.append((start, 0x10FFFF))
    return runs


def range_lines(name, test):
    lines = ["", f"# {name}"]
    for first, last in ranges(test):
        lines.append(f"{first:04X}" if first == last else f"{first:04X}-{last:04X}")
    return lines


def mapping():
    lines = header("Mapping", "B.1 and B.2") + ["", "# B.1 Commonly mapped to nothing"]
    lines += [f"{ord(ch):04X}; ; Map to nothing" for ch in ALL if stringprep.in_table_b1(ch)]
    lines += ["", "# B.2 Mapping for case-folding used with NFKC"]
    for ch in ALL:
        if UCD_3_2.category(ch) == "Cn" or 0xD800 <= ord(ch) <= 0xDFFF:
            continue
        mapped = stringprep.map_table_b2(ch)
        if mapped != ch and assigned_in_3_2(mapped):
            values = " ".join(f"{ord(m):04X}" for m in mapped)
            lines.append(f"{ord(ch):04X}; {values}; Case map")
    return lines


def prohibited():
    tables = [
        ("C.1.2 Non-ASCII space characters", stringprep.in_table_c12),
        ("C.2.2 Non-ASCII control characters", stringprep.in_table_c22),
        ("C.3 Private use", stringprep.in_table_c3),
        ("C.4 Non-character code points", stringprep.in_table_c4),
        ("C.5 Surrogate codes", stringprep.in_table_c5),
        ("C.6 Inappropriate for plain text", stringprep.in_table_c6),
        ("C.7 Inappropriate for canonical representation", stringprep.in_table_c7),
        ("C.8 Change display properties or are deprecated", stringprep.in_table_c8),
        ("C.9 Tagging characters", stringprep.in_table_c9),
    ]
    lines = header("Prohibited output", "C.1.2, C.2.2, C.3, C.4, C.5, C.6, C.7, C.8 and C.9")
    for name, test in tables:
        lines += range_lines(name, test)
    return lines


def unassigned():
    return header("Unassigned code points", "A.1") + range_lines(
        "A.1 Unassigned code points in Unicode 3.2", stringprep.in_table_a1)


def main():
    os.makedirs(OUT, exist_ok=True)
    for name, lines in (("mapping.txt", mapping()), ("prohibited.txt", prohibited()),
                        ("unassigned.txt", unassigned())):
        with open(os.path.join(OUT, name), "w", encoding="utf-8", newline="\n") as f:
            f.write("\n".join(lines) + "\n")
        print(f"wrote {os.path.normpath(os.path.join(OUT, name))}: {len(lines)} lines")


if __name__ == "__main__":
    main()

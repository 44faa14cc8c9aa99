#!/usr/bin/env python3
"""Writes the seed corpora of fuzz/corpus/ from slices of the real data.

Usage: fuzz/make_corpus.py UCD_DIR ENTITY_DIR (the build tree's ucd/ and entities/ folders).
Each seed is the target's selector byte followed by the input, as the targets read them; the
seeds are kept in the repository, so this only needs running again to remake them.
"""
import os
import sys

ucd, entities = sys.argv[1], sys.argv[2]
root = os.path.join(os.path.dirname(os.path.abspath(__file__)), "corpus")


def lines(path, start, count, data_only=False):
    with open(path, "rb") as f:
        all_lines = f.read().split(b"\n")
    if data_only:
        # The header comment, then data lines from `start`.
        head = [l for l in all_lines[:40] if l.startswith(b"#")][:6]
        data = [l for l in all_lines if l and not l.startswith(b"#")]
        return b"\n".join(head + data[start:start + count]) + b"\n"
    return b"\n".join(all_lines[start:start + count]) + b"\n"


def seed(target, name, selector, payload):
    folder = os.path.join(root, target)
    os.makedirs(folder, exist_ok=True)
    with open(os.path.join(folder, name), "wb") as f:
        f.write(bytes([selector]) + payload)


def u16(text):
    return text.encode("utf-16-le", "surrogatepass")


U = lambda name: os.path.join(ucd, name)

# UnicodeData lines: byte forms, text forms.
for i, start in enumerate([0, 160, 4000, 13000, 34000]):
    chunk = lines(U("UnicodeData.txt"), start, 12)
    seed("ucd_lines", f"lines{i}-bytes", 0, chunk)
    seed("ucd_lines", f"lines{i}-arena", 1, chunk)
    seed("ucd_lines", f"lines{i}-utf8", 2, chunk)
    seed("ucd_lines", f"lines{i}-utf16", 3, u16(chunk.decode()))

# The data files, in the order of the target's table.
files = ["UnicodeData.txt", "Blocks.txt", "PropList.txt", "Scripts.txt",
         "DerivedCoreProperties.txt", "DerivedAge.txt", "HangulSyllableType.txt", "LineBreak.txt",
         "PropertyValueAliases.txt", None, "Jamo.txt", "CompositionExclusions.txt",
         "ArabicShaping.txt", "CaseFolding.txt", "SpecialCasing.txt", "NamesList.txt",
         "Index.txt", "Unihan/Unihan_Readings.txt", None, None, None, None, None]
for selector, name in enumerate(files):
    if name is None:
        continue
    base = os.path.basename(name).split(".")[0]
    for j, start in enumerate([0, 300]):
        if name == "NamesList.txt":
            payload = lines(U(name), 0 if j == 0 else 2000, 60)
        else:
            payload = lines(U(name), start, 30, data_only=True)
        seed("data_files", f"{base}-{j}", selector, payload)
here = os.path.dirname(os.path.abspath(__file__))
resources = os.path.join(here, "..", "resources")
with open(os.path.join(resources, "descriptions", "CompatMappingCategories.txt"), "rb") as f:
    seed("data_files", "CompatMappingCategories", 9, f.read())
with open(os.path.join(resources, "QNUnicodeInfo.plist"), "rb") as f:
    seed("data_files", "Info-plist", 18, f.read()[:6000])
for selector, table in [(19, "mapping.txt"), (20, "prohibited.txt"), (21, "unassigned.txt")]:
    seed("data_files", "nameprep-" + table.split(".")[0], selector,
         lines(os.path.join(resources, "nameprep", table), 0, 40))
for j, ent in enumerate(["xhtml-lat1.ent", "xhtml-special.ent", "xhtml-symbol.ent"]):
    seed("data_files", f"entities-{j}", 22, lines(os.path.join(entities, ent), 0, 60))

# Escapes: texts for each decoder and encoder.
texts = {
    0: "caf%C3%A9 %E2%82%AC %ZZ %", 1: r"\u00e9\U0001F600\u12\\u0041", 2: r"\uuu00e9\ud83d\ude00",
    3: r"\303\251\342\202\254\777\1", 4: r"\e9 \41\12345", 5: "\\1F600 x\\e9\r\n", 6: "\\e9\r\ny",
    14: "&amp;&eacute;&#233;&#xE9;&#x1F600;&nbsp&#;&#x110000;&bogus;",
}
for op, text in texts.items():
    seed("escapes", f"replace-{op}", op, text.encode())
samples = ["caf\u00e9 \u20ac \U0001F600", "Stra\u00dfe <a href=\"x\">", "\u0627\u0644\u0639"]
for op in range(7, 14):
    seed("escapes", f"add-{op}", op, samples[op % 3].encode())
seed("escapes", "xhtml-encode", 15, samples[1].encode())
seed("escapes", "xhtml-encode-units", 15 + 17, u16("\ud800<\u00e9>\U0001D11E"))
seed("escapes", "method", 16, b"CS21")

# Domains and Punycode.
domains = ["b\u00fccher.example", "xn--bcher-kva.example", "\u0645\u062b\u0627\u0644.\u0625\u062e\u062a\u0628\u0627\u0631",
           "xn--mgbh0fb.xn--kgbechtv", "\u4f8b\u5b50.\u6d4b\u8bd5", "Fa\u00df.de", "a..b\u3002c\uff0ed",
           "-abc-.xn--", "\u00ad\u200dx.com", "xn--ls8h.la"]
for i, domain in enumerate(domains):
    for op in (2, 3, 4, 5):
        seed("idna", f"domain{i}-{op}", op, domain.encode())
for i, code in enumerate(["bcher-kva", "egbpdaj6bu4bxfgehfvwxn", "ihqwcrb4cv8a8dqg056pqjye", "-", "a-"]):
    seed("idna", f"decode{i}", 0, bytes([64]) + code.encode())
for i, text in enumerate(["b\u00fccher", "\u4ed6\u4eec\u4e3a\u4ec0\u4e48\u4e0d\u8bf4\u4e2d\u6587", "\U0001F600x"]):
    seed("idna", f"encode{i}", 1, text.encode())

# Normalization: NormalizationTest strings, one seed per form.
with open(U("NormalizationTest.txt"), encoding="utf-8") as f:
    tests = [l for l in f if l[:1].isalnum() and ";" in l]
picked = tests[0:4] + tests[3000:3004] + tests[12000:12004] + tests[17000:17004]
for i, line in enumerate(picked):
    source = "".join(chr(int(c, 16)) for c in line.split(";")[0].split())
    seed("normalization", f"test{i}", i % 4, u16(source))
seed("normalization", "marks", 1, u16("a" + "\u0301\u0316\u0300\u0327" * 8))

# The codepoint walk.
for i, text in enumerate(["caf\u00e9", "\U0001F600a\U0001D11E", "\ud800a\udc00b\ud800", "  x\u3000"]):
    seed("codepoints", f"walk{i}", 0, bytes([1, 0, 0]) + u16(text))

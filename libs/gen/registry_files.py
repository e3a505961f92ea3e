"""The shipped registry files data/conv30/{encreg,aliasreg,javareg}.txt.

Each file is a hand-written head (its description, up to the first line that
starts with "// ---- ") followed by generated sections, one per group of
encodings, in the order the generator lists them. A section holds the
conversions of its encodings (both directions against the pivot), their
aliases, and their Java names: the java.nio names first and the java.io names
last, since a canonical name answers with the Java name of its last record.
"""
import os

PIVOT = "ISO-10646-UCS-2"
FILES = ("encreg.txt", "aliasreg.txt", "javareg.txt")
MARK = "// ---- "
NOTE = ("// The sections below are written by libs/gen/gen_tables.py from its description\n"
        "// of the encodings; change the description and run it again rather than\n"
        "// editing them.\n")


class Section:
    def __init__(self, title, end_title):
        self.title = title
        self.end_title = end_title
        self.conversions = []  # (group comment, source, destination, library, entry)
        self.aliases = []  # (alias, canonical)
        self.nio = []  # (Java name, canonical)
        self.io = []

    def conversion(self, group, name, library, to_entry, from_entry):
        self.conversions.append((group, name, PIVOT, library, to_entry))
        self.conversions.append((group, PIVOT, name, library, from_entry))

    def alias(self, alias, canonical):
        self.aliases.append((alias, canonical))

    def java(self, canonical, nio=None, io=None):
        if nio:
            self.nio.append((nio, canonical))
        if io:
            self.io.append((io, canonical))

    def empty(self, file):
        if file == "encreg.txt":
            return not self.conversions
        if file == "aliasreg.txt":
            return not self.aliases
        return not self.nio and not self.io

    def text(self, file):
        out = [f"{MARK}{self.title}\n"]
        if file == "encreg.txt":
            group = None
            for g, src, dst, library, entry in self.conversions:
                if g != group:
                    out.append(f"\n// {g}\n")
                    group = g
                out.append(f"{src} {dst} {library} {entry} #\n")
        elif file == "aliasreg.txt":
            out.append("\n" + columns(self.aliases))
        else:
            if self.nio:
                out.append("\n// java.nio names\n" + columns(self.nio))
            if self.io:
                out.append("\n// java.io names, also given for the canonical names\n" +
                           columns(self.io))
        out.append(f"{MARK}End of {self.end_title}\n")
        return "".join(out)


def columns(rows, width=24):
    return "".join(f"{a:<{width - 1}} {b}\n" for a, b in rows)


def check_consistent(sections):
    """An alias or Java name may not stand for two encodings, nor an alias
    shadow a canonical name of another encoding."""
    java = {}
    for s in sections:
        for name, canonical in s.nio + s.io:
            assert java.setdefault(name.lower(), canonical) == canonical, (name, canonical)
    canonical = {}
    for s in sections:
        for _, src, dst, _, _ in s.conversions:
            for n in (src, dst):
                canonical[n.lower()] = n
    seen = {}
    for s in sections:
        for alias, name in s.aliases:
            key = alias.lower()
            assert key not in canonical or canonical[key] == name, (alias, name)
            assert seen.setdefault(key, name) == name, (alias, name, seen[key])


def write(root, out_dir, sections):
    check_consistent(sections)
    data_dir = os.path.join(out_dir, "data", "conv30")
    os.makedirs(data_dir, exist_ok=True)
    for file in FILES:
        with open(os.path.join(root, "data", "conv30", file)) as f:
            text = f.read()
        head = text.split("\n" + MARK, 1)[0].replace(NOTE, "").rstrip("\n") + "\n\n" + NOTE
        body = "\n".join(s.text(file) for s in sections if not s.empty(file))
        with open(os.path.join(data_dir, file), "w") as f:
            f.write(head + "\n" + body)


def generated_files():
    return [f"data/conv30/{n}" for n in FILES]

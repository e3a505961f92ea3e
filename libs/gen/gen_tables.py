#!/usr/bin/env python3
"""Writes every generated file of the project from one description of the
encodings: the built-in encodings (builtin.py), the converter libraries
(table_libraries.py, cjk.py), and the sections of the shipped registry files
that name them (registry_files.py). It also writes, for the tests, what each
encoding is compared with (oracle.py).

    gen_tables.py            rewrite the generated files in the source tree
    gen_tables.py --out DIR  write them below DIR instead
    gen_tables.py --check    regenerate into a temporary directory and fail
                             when any committed file differs
    gen_tables.py --oracle F write the oracle rows of every encoding to F
"""
import argparse
import difflib
import json
import filecmp
import os
import sys
import tempfile

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))

import builtin  # noqa: E402
import cjk  # noqa: E402
import registry_files  # noqa: E402
import table_libraries  # noqa: E402
import transliteration  # noqa: E402

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))

# Every group of encodings, in the order of their registry-file sections.
GROUPS = [builtin, cjk, table_libraries]
# Generators of other tables.
TABLES = [transliteration]


def generate(out_dir):
    for group in GROUPS + TABLES:
        group.generate(out_dir)
    registry_files.write(ROOT, out_dir, [group.registry_section() for group in GROUPS])


def generated_files():
    files = registry_files.generated_files()
    for group in GROUPS + TABLES:
        files += group.generated_files()
    return files


def oracle_rows():
    rows = []
    for group in GROUPS:
        rows += [o.row() for o in group.oracle_rows()]
    return rows


def check():
    with tempfile.TemporaryDirectory() as tmp:
        generate(tmp)
        stale = []
        for rel in generated_files():
            ours, theirs = os.path.join(ROOT, rel), os.path.join(tmp, rel)
            if not os.path.exists(ours) or not filecmp.cmp(ours, theirs, shallow=False):
                stale.append(rel)
                if os.path.exists(ours):
                    with open(ours) as a, open(theirs) as b:
                        diff = difflib.unified_diff(a.readlines(), b.readlines(), rel, "regenerated")
                        sys.stdout.writelines(list(diff)[:40])
        if stale:
            print("out of date (run libs/gen/gen_tables.py):", " ".join(stale))
            return 1
    print("generated files are up to date")
    return 0


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--out", help="write below this directory instead of the source tree")
    parser.add_argument("--check", action="store_true", help="compare with the committed files")
    parser.add_argument("--oracle", metavar="FILE",
                        help="write the oracle rows of every encoding (JSON) for the tests")
    args = parser.parse_args()
    if args.oracle:
        with open(args.oracle, "w") as f:
            json.dump(oracle_rows(), f, indent=1)
        return 0
    if args.check:
        return check()
    generate(args.out or ROOT)
    return 0


if __name__ == "__main__":
    sys.exit(main())

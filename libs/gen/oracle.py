"""What the tests compare each encoding with.

Every group of encodings lists, through `oracle_rows()`, one Oracle per
encoding that has a strict codec: the Python codec, the glibc iconv name and
the ICU converter name that implement the same encoding (None where the peer
lacks it), and the documented places where this library differs from a peer
on purpose. The differential tests (tests/strict/) read these rows, so a new
encoding is tested by adding its row.
"""


class Oracle:
    def __init__(self, name, python=None, glibc=None, icu=None, stateful=False, bom=False,
                 differences=None, reference=None):
        self.name = name          # canonical name (what NLS_IconvOpen is given)
        self.python = python      # Python codec name, or None
        self.glibc = glibc        # glibc iconv name, or None
        self.icu = icu            # ICU converter name, or None
        self.stateful = stateful  # the encoder keeps state that a flush ends
        self.bom = bom            # the encoder writes a byte-order mark first
        # peer -> {"chars": [code points], "bytes": [byte strings], "ends": bool,
        # "why": text}: characters and byte sequences whose conversion differs
        # from that peer by a documented mapping choice (the tests leave them
        # out for that peer); "ends": where the input ends inside a sequence
        # that can never become valid, the peer reports it as cut (EINVAL)
        # and this library as invalid (EILSEQ) at the same place; "spelling":
        # the peer writes the same text with its shifts or escape sequences
        # elsewhere, so the tests read this library's output back rather
        # than compare it with the peer's.
        self.differences = differences or {}
        # "glibc": no Python codec; the reference data comes from glibc's
        # iconv (tests/oracle/strict_vectors.py).
        self.reference = reference

    def row(self):
        return {"name": self.name, "python": self.python, "glibc": self.glibc, "icu": self.icu,
                "stateful": self.stateful, "bom": self.bom, "reference": self.reference,
                "differences": {peer: {"chars": d.get("chars", []),
                                       "bytes": [b.hex() for b in d.get("bytes", [])],
                                       "ends": d.get("ends", False),
                                       "spelling": d.get("spelling", False),
                                       "why": d["why"]}
                                for peer, d in self.differences.items()}}

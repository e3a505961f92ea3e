#!/usr/bin/env bash
# Peak resident memory of nlsconv converting a large input, measured with GNU
# time (the "maximum resident set size" of /usr/bin/time -v), together with
# the elapsed time. The input is generated in a temporary directory.
#
#   bench/nlsconv_memory.sh [SIZE_MIB [BUILD_DIR]]
#
# SIZE_MIB defaults to 1024 (1 GiB), BUILD_DIR to build/release (build it
# first: cmake --preset release && cmake --build build/release).
set -euo pipefail
cd "$(dirname "$0")/.."
size_mib=${1:-1024}
build=${2:-build/release}
tool=$build/tools/nlsconv
[ -x "$tool" ] || { echo "no $tool: build the release preset first" >&2; exit 1; }
[ -x /usr/bin/time ] || { echo "GNU time is missing (apt-get install time)" >&2; exit 1; }
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# Mixed-script UTF-8 in lines of about 100 bytes, and the same amount of
# two-byte characters without a single line feed.
python3 - "$work" "$size_mib" <<'PY'
import sys
work, mib = sys.argv[1], int(sys.argv[2])
line = "Grüße, café, naïve — Ελληνικά, Кириллица, 日本語のテキスト, 中文. +-~\\ & end\n"
block = (line * (1 + (1 << 20) // len(line.encode()))).encode()[: 1 << 20]
block = block[: block.rindex(b"\n") + 1]
flat = ("é" * (1 << 19)).encode()
for name, chunk in (("lines.utf8", block), ("flat.utf8", flat)):
    with open(f"{work}/{name}", "wb") as f:
        written = 0
        while written < mib << 20:
            f.write(chunk)
            written += len(chunk)
PY

measure() {  # label, input, nlsconv arguments...
  local label=$1 input=$2
  shift 2
  /usr/bin/time -v -o "$work/time" "$tool" -j 1 "$@" -o /dev/null "$input" 2>"$work/stderr" ||
    { cat "$work/stderr" >&2; exit 1; }
  local rss elapsed
  rss=$(sed -n 's/.*Maximum resident set size (kbytes): //p' "$work/time")
  elapsed=$(sed -n 's/.*Elapsed (wall clock) time (h:mm:ss or m:ss): //p' "$work/time")
  printf '%-44s %8s KiB %10s\n' "$label" "$rss" "$elapsed"
}

input_mib=$(( $(stat -c %s "$work/lines.utf8") >> 20 ))
echo "nlsconv peak resident memory, ${input_mib} MiB input ($(uname -m), $build)"
printf '%-44s %12s %10s\n' "conversion" "max RSS" "elapsed"
measure "UTF-8 -> ISO-10646-UCS-2" "$work/lines.utf8" -f UTF-8 -t ISO-10646-UCS-2
measure "UTF-8 -> ISO_8859-1:1987 --replace" "$work/lines.utf8" -f UTF-8 -t latin1 --replace
measure "UTF-8 -> UNICODE-1-1-UTF-7" "$work/lines.utf8" -f UTF-8 -t UTF-7
measure "UTF-8 -> IMAP-MODIFIED-UTF-7" "$work/lines.utf8" -f UTF-8 -t IMAP-UTF-7
measure "UTF-8 -> ESCAPED_UNICODE" "$work/lines.utf8" -f UTF-8 -t ESCAPED_UNICODE
measure "UTF-8 -> ISO-10646-UCS-2, no line feed" "$work/flat.utf8" -f UTF-8 -t ISO-10646-UCS-2
measure "UTF-8 -> UNICODE-1-1-UTF-7, no line feed" "$work/flat.utf8" -f UTF-8 -t UTF-7
measure "auto -> ISO-10646-UCS-4 with --progress" "$work/lines.utf8" -f auto -t ISO-10646-UCS-4 --progress
measure "UTF-8 -> ISO-10646-UCS-2 on 2 threads" "$work/lines.utf8" -f UTF-8 -t ISO-10646-UCS-2 -j 2

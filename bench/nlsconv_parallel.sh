#!/usr/bin/env bash
# nlsconv -j 2 against -j 1, iconv(1) and ICU's uconv on the same large
# files: elapsed time (median of REPS runs) and input megabytes per second.
# Output goes to /dev/null (x86-64 only); the outputs of -j 1 and -j 2 are compared byte
# for byte once, and with iconv's where the two must agree.
#
#   bench/nlsconv_parallel.sh [SIZE_MIB [REPS [BUILD_DIR]]]
#
# SIZE_MIB defaults to 1024, REPS to 3, BUILD_DIR to build/release.
set -euo pipefail
cd "$(dirname "$0")/.."
size_mib=${1:-1024}
reps=${2:-3}
build=${3:-build/release}
tool=$build/tools/nlsconv
[ -x "$tool" ] || { echo "no $tool: build the release preset first" >&2; exit 1; }
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# Mixed-script UTF-8 in lines of about 100 bytes; Japanese prose in
# Shift_JIS when the library converts it, else Mac OS Roman text (a
# table-driven decoder, like Shift_JIS's).
if "$tool" -l | grep -q '^Shift_JIS '; then legacy=Shift_JIS; else legacy=x-mac-roman; fi
python3 - "$work" "$size_mib" "$legacy" <<'PY'
import sys
work, mib, legacy = sys.argv[1], int(sys.argv[2]), sys.argv[3]
def write(name, line, codec):
    block = (line * (1 + (1 << 20) // len(line.encode(codec)))).encode(codec)[: 1 << 20]
    block = block[: block.rindex(b"\n") + 1]
    with open(f"{work}/{name}", "wb") as f:
        for _ in range(mib):
            f.write(block)
write("mixed.utf8", "Grüße, café, naïve — Ελληνικά, Кириллица, 日本語のテキスト, 中文. +-~ & end\n",
      "utf-8")
if legacy == "Shift_JIS":
    write("legacy.txt", "日本語のテキストを変換します。漢字とかなとカタカナ、ABC 123。\n", "shift_jis")
else:
    write("legacy.txt", "Crème brûlée, œuvre, Ægir, “quotes” – dash… ﬁ ™ π ∑ √ ◊\n", "mac_roman")
PY

median() { sort -n | awk '{a[NR]=$1} END {print a[int((NR+1)/2)]}'; }
measure() {  # label, input, command...
  local label=$1 input=$2
  shift 2
  local times=()
  for _ in $(seq "$reps"); do
    local start end
    start=$(date +%s.%N)
    "$@" "$input" >/dev/null
    end=$(date +%s.%N)
    times+=("$(echo "$end - $start" | bc)")
  done
  local t mb
  t=$(printf '%s\n' "${times[@]}" | median)
  mb=$(echo "scale=0; $(stat -c %s "$input") / 1000000 / $t" | bc)
  printf '| %s | %.2f | %s |\n' "$label" "$t" "$mb"
}

# UTF-16LE when the library has it, else the pivot (UTF-16 in this machine's
# order, little-endian here).
if "$tool" -l | grep -q '^UTF-16LE '; then utf16=UTF-16LE; else utf16=ISO-10646-UCS-2; fi
pairs=("mixed.utf8 UTF-8 $utf16 UTF-16LE" "legacy.txt $legacy UTF-8 UTF-8")
if [ "$legacy" = Shift_JIS ]; then
  legacy_iconv=SHIFT_JIS legacy_icu=Shift_JIS
else
  legacy_iconv=MACINTOSH legacy_icu=macintosh
fi
echo "$(nproc) cores, $(uname -m), load $(cut -d' ' -f1-3 /proc/loadavg); ${size_mib} MiB inputs, median of $reps"
echo
echo "| conversion | seconds | MB/s |"
echo "|---|---:|---:|"
for pair in "${pairs[@]}"; do
  read -r file from to peer <<<"$pair"
  input=$work/$file
  "$tool" -f "$from" -t "$to" -j 1 <"$input" >"$work/one"
  "$tool" -f "$from" -t "$to" -j 2 -o "$work/two" "$input"
  cmp -s "$work/one" "$work/two" || { echo "-j 2 differs from -j 1" >&2; exit 1; }
  iconv_from=$from icu_from=$from
  [ "$from" = UTF-8 ] || { iconv_from=$legacy_iconv; icu_from=$legacy_icu; }
  # (UCS-2 is UTF-16LE on this little-endian machine.)
  iconv -f "$iconv_from" -t "$peer" "$input" | cmp -s - "$work/one" ||
    { echo "iconv differs on $from -> $to" >&2; exit 1; }
  rm -f "$work/one" "$work/two"
  measure "nlsconv -j 1 $from -> $to" "$input" "$tool" -f "$from" -t "$to" -j 1
  measure "nlsconv -j 2 $from -> $to" "$input" "$tool" -f "$from" -t "$to" -j 2
  measure "iconv $iconv_from -> $peer" "$input" iconv -f "$iconv_from" -t "$peer"
  measure "uconv $icu_from -> $peer" "$input" uconv -f "$icu_from" -t "$peer"
done

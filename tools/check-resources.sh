#!/usr/bin/env bash
# Checks that the style sheet, the resource list and the image files agree:
# a url() the sheet names but the .qrc lacks silently shows no picture at run
# time, so catch it here. Also checks every image's size and alpha channel.
# Needs ImageMagick's identify.
set -u
root=$(cd "$(dirname "$0")/.." && pwd)
dir="$root/src/diagramscene"
qss="$dir/screenstyle.qss"
qrc="$dir/diagramscene.qrc"
fail=0
checked=0

err() { echo "FAIL: $*"; fail=$((fail + 1)); }

command -v identify >/dev/null || { echo "identify (ImageMagick) not found"; exit 2; }
[[ -f $qss ]] || { echo "missing $qss"; exit 1; }
[[ -f $qrc ]] || { echo "missing $qrc"; exit 1; }

# Resource paths listed in the .qrc (prefix "/"), e.g. "images/red.png".
mapfile -t listed < <(sed -n 's|.*<file[^>]*>\(.*\)</file>.*|\1|p' "$qrc")
declare -A inqrc=()
for f in "${listed[@]}"; do
  [[ -n ${inqrc[$f]:-} ]] && err "listed twice in qrc: $f"
  inqrc[$f]=1
  [[ -f $dir/$f ]] || err "qrc lists $f but the file is missing"
done
grep -q 'prefix="/"' "$qrc" || err "qrc resource prefix is not \"/\""
[[ -n ${inqrc[screenstyle.qss]:-} ]] || err "screenstyle.qss not in qrc"

# Every url(:/...) in the sheet must resolve through the qrc to a real file.
mapfile -t urls < <(grep -o 'url(:/[^)]*)' "$qss" | sed 's|url(:/\(.*\))|\1|' | sort -u)
((${#urls[@]} > 0)) || err "no url(:/...) found in the style sheet"
for u in "${urls[@]}"; do
  checked=$((checked + 1))
  [[ -n ${inqrc[$u]:-} ]] || err "sheet uses :/$u but the qrc does not list it"
  [[ -f $dir/$u ]] || err "sheet uses :/$u but $dir/$u does not exist"
done

# Each named push button needs its four state rules, or a state falls back to
# the default look.
mapfile -t buttons < <(grep -o '^QPushButton#[A-Za-z_]*' "$qss" | sort -u)
for b in "${buttons[@]}"; do
  for state in "" ":hover" ":checked" ":unchecked"; do
    grep -qx "$b$state" "$qss" || err "no rule for $b$state"
  done
done

# Images: every png in the directory must be listed, be a PNG with alpha and
# have the size the widgets were laid out for.
expected_size() {
  case $1 in
    arrow_up.png) echo 36x16 ;;
    downarrow.png) echo 18x8 ;;
    *) echo 32x32 ;;
  esac
}
shopt -s nullglob
for png in "$dir"/images/*.png; do
  name=$(basename "$png")
  checked=$((checked + 1))
  [[ -n ${inqrc[images/$name]:-} ]] || err "images/$name is not listed in the qrc"
  info=$(identify -format '%m %wx%h %A' "$png" 2>/dev/null) || { err "$name is not a readable image"; continue; }
  read -r fmt size alpha <<<"$info"
  [[ $fmt == PNG ]] || err "$name is $fmt, not PNG"
  want=$(expected_size "$name")
  [[ $size == "$want" ]] || err "$name is $size, expected $want"
  [[ $alpha == True || $alpha == Blend ]] || err "$name has no alpha channel"
done
for f in "${listed[@]}"; do
  [[ $f == images/*.png || $f == screenstyle.qss ]] || err "unexpected qrc entry $f"
done

echo "checked $checked resources"
if ((fail)); then
  echo "$((checked > fail ? checked - fail : 0)) passed, $fail failed"
  exit 1
fi
echo "$checked passed, 0 failed"

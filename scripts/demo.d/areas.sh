# shellcheck shell=bash
# shellcheck disable=SC2154 # work is set by scripts/demo
# Areas: an area is indexed, checked, damaged in four ways, repaired, and the repair undone.

say "An area made from the template is indexed and checked"
area=$work/area
templates=$QXA_NODE_DIR/qx/template
os_root=$(cd "$templates" && find . -path ./kr -prune -o -name root -type d -print | sort | head -n 1)
os_root=${os_root#./}
mkdir -p "$area/root"
(cd "$templates/$os_root" && find . -mindepth 1 -type d -printf '%P\0' | sort -z |
    while IFS= read -r -d '' directory; do mkdir -p "$area/root/$directory"; done)
(cd "$templates/$os_root" && find . -type f -printf '%P\0' | sort -z |
    while IFS= read -r -d '' file; do
        printf '////%s/%s' "$os_root" "$file" >"$area/root/$file"
        chmod --reference="$templates/$os_root/$file" "$area/root/$file"
        chmod +t "$area/root/$file"
    done)
fsutil() { qxfsutil --template-root "$templates" "$@"; }
show fsutil -q index "$area"
show fsutil check -n "$area"

say "Four kinds of damage: a flipped bit, a lost mark, a stray file, a lost template file"
indexed=$(find "$area/root" -name ._qxlnk_. | sort)
first=$(head -n 1 <<<"$indexed")
last=$(tail -n 1 <<<"$indexed")
printf '\377' | dd of="$first" bs=1 seek=16 conv=notrunc status=none
chmod u-s "$(dirname "$last")"
echo stray >"$area/root/stray"
victim=$(qxfsutil --template-root "$templates" used "$area" | head -n 1)
mv "$victim" "$work/victim"
show fsutil check -n "$area" || echo "(exit status $?)"

say "Repaired, clean, and undone again"
show fsutil check -y --undo "$work/undo" "$area" || echo "(exit status $?)"
show fsutil check -n "$area"
show fsutil undo "$work/undo"
mv "$work/victim" "$victim"

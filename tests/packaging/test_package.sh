#!/usr/bin/env bash
# The .deb of a native build tree: it holds installscript on PATH and the Windows programs
# where installscript looks for them, declares Wine, and runs from the unpacked tree.
# Usage: test_package.sh BUILD-DIR WINE-PREFIX
set -euo pipefail

build=$1
prefix=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

(cd "$build" && cpack -G DEB -B "$work/out") >"$work/cpack.log" 2>&1 || { cat "$work/cpack.log"; exit 1; }
deb=$(echo "$work"/out/installscript_*.deb)
contents=$(dpkg-deb --contents "$deb" | awk '{ print $6 }')
for file in ./usr/bin/installscript ./usr/lib/installscript/installscriptevaluator.exe \
    ./usr/lib/installscript/legacycompat/KorvexService.exe; do
    grep -qxF "$file" <<<"$contents" || { echo "the package lacks $file"; echo "$contents"; exit 1; }
done
depends=$(dpkg-deb --field "$deb" Depends)
grep -q wine <<<"$depends" || { echo "the package does not depend on Wine: $depends"; exit 1; }

dpkg-deb -x "$deb" "$work/root"
"$work/root/usr/bin/installscript" --version | grep -q '^installscript ' || { echo "--version says nothing"; exit 1; }
mkdir -p "$work/game"
printf '"InstallScript" { "Create Folders" { "Saves" { "Folder" "%%INSTALLDIR%%\\\\saves" } } }\n' >"$work/game/script.vdf"
# An app id of this run's own: the prefix outlives the run, and with it the run-once records.
"$work/root/usr/bin/installscript" run --prefix "$prefix" --appid $((980000 + $$ % 10000)) --quiet "$work/game/script.vdf"
[ -d "$work/game/saves" ] || { echo "the unpacked installscript ran, but the script's folder is missing"; exit 1; }
echo "package ok: $(basename "$deb")"

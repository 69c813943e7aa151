#!/usr/bin/env bash
# SPDX-FileCopyrightText: brixcore developers
# SPDX-License-Identifier: Apache-2.0

# Makes nested.zip in this folder, from texts written here, with independent tools: zip, 7zz and python3.
# The same versions of the tools give the same bytes.
set -euo pipefail
export TZ=UTC LC_ALL=C
target=$(cd "$(dirname "$0")" && pwd)/nested.zip
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"

date_all() { find . -exec touch -h -d '2024-02-29 12:00:00' {} +; }

# Level 4: stored and deflated, by python3.
python3 - <<'PY'
import zipfile
with zipfile.ZipFile("treasure.zip", "w") as z:
    for name, text, method in (("map.txt", "X marks the spot.\n", zipfile.ZIP_STORED),
                               ("coins.csv", "coin,year\n" + "".join(f"{i},{1600 + i}\n" for i in range(120)),
                                zipfile.ZIP_DEFLATED)):
        info = zipfile.ZipInfo(name, (2024, 2, 29, 12, 0, 0))
        info.compress_type = method
        info.external_attr = 0o644 << 16
        z.writestr(info, text)
PY

# Level 3: stored, by zip.
printf 'A chest, and in it another archive.\n' >chest.txt
date_all
zip -q -X -0 chest.zip chest.txt treasure.zip

# Level 2: Deflate64, by 7zz.
mkdir cabin
seq 1 1500 | sed 's/$/ fathoms/' >cabin/log.txt
printf 'The chest is below.\n' >cabin/note.txt
mv chest.zip cabin/
date_all
(cd cabin && 7zz a -bso0 -tzip -mm=Deflate64 -mx=9 -mtm=off -mtc=off -mta=off ../cabin.zip log.txt note.txt chest.zip)

# Level 1: deflated, by zip.
printf 'A small archive with archives inside, four levels deep.\n' >readme.txt
date_all
rm -f "$target"
zip -q -X -9 "$target" readme.txt cabin.zip

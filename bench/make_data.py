#!/usr/bin/env python3
"""Makes the inputs of the benchmarks in a folder, for BRIX_BENCH_DIR.

corpus.dat      up to 48 MB of headers, documentation, scripts and programs of this machine's installed packages
many-small.zip  20,000 members of about 2 KB, deflated at level 6
nested.zip      four levels, 187 containers, about 2,000 leaves
corpus.gz       corpus.dat, gzip level 6
corpus.tar      corpus.dat cut into 16 members
corpus.tar.gz   that, gzip level 6

The content depends on the installed packages: compare figures within one run only.
"""
import gzip
import io
import os
import sys
import tarfile
import zipfile

LIMIT = 48_000_000
STAMP = (2020, 1, 1, 0, 0, 0)


def files_below(folders, largest_first=False):
    for folder in folders:
        for root, dirs, names in os.walk(folder):
            dirs.sort()
            for name in sorted(names):
                path = os.path.join(root, name)
                if os.path.isfile(path) and not os.path.islink(path):
                    yield path


def corpus():
    """Half text, half programs."""
    out = bytearray()
    for folders, limit in ((["/usr/include", "/usr/share/doc", "/usr/share/perl"], LIMIT // 2), (["/usr/bin"], LIMIT)):
        for path in files_below(folders):
            if len(out) >= limit:
                break
            try:
                with open(path, "rb") as f:
                    out += f.read(2_000_000)
            except OSError:
                continue
        del out[limit:]
    return bytes(out)


def add(archive, name, data, method=zipfile.ZIP_DEFLATED):
    info = zipfile.ZipInfo(name, STAMP)
    info.compress_type = method
    archive.writestr(info, data, compresslevel=6)


def pieces(data, count, size):
    step = max(1, (len(data) - size) // count)
    return [data[i * step : i * step + size] for i in range(count)]


def many_small(path, data):
    with zipfile.ZipFile(path, "w") as archive:
        for i, piece in enumerate(pieces(data, 20_000, 2_160)):
            add(archive, f"dir{i % 100:02d}/member{i:05d}.txt", piece)


def nested(path, data):
    """1 + 6 + 36 + 144 containers; leaves in the innermost and a few on the way."""
    leaves = iter(pieces(data, 2_016, 4_200))

    def level(depth):
        buffer = io.BytesIO()
        with zipfile.ZipFile(buffer, "w") as archive:
            for i in range((6, 6, 4, 0)[depth]):
                add(archive, f"inner{i}.zip", level(depth + 1), zipfile.ZIP_STORED if i % 2 else zipfile.ZIP_DEFLATED)
            for i in range((0, 0, 0, 14)[depth]):
                add(archive, f"leaf{i}.txt", next(leaves))
        return buffer.getvalue()

    with open(path, "wb") as f:
        f.write(level(0))


def tar(data):
    buffer = io.BytesIO()
    with tarfile.open(fileobj=buffer, mode="w", format=tarfile.GNU_FORMAT) as archive:
        size = -(-len(data) // 16)
        for i in range(16):
            info = tarfile.TarInfo(f"dir/member{i:02d}")
            info.size = len(data[i * size : (i + 1) * size])
            archive.addfile(info, io.BytesIO(data[i * size : (i + 1) * size]))
    return buffer.getvalue()


def main():
    folder = sys.argv[1]
    os.makedirs(folder, exist_ok=True)
    data = corpus()
    archive = tar(data)
    for name, content in (
        ("corpus.dat", data),
        ("corpus.gz", gzip.compress(data, 6, mtime=0)),
        ("corpus.tar", archive),
        ("corpus.tar.gz", gzip.compress(archive, 6, mtime=0)),
    ):
        with open(os.path.join(folder, name), "wb") as f:
            f.write(content)
    many_small(os.path.join(folder, "many-small.zip"), data)
    nested(os.path.join(folder, "nested.zip"), data)


if __name__ == "__main__":
    main()

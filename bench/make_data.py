#!/usr/bin/env python3
# SPDX-FileCopyrightText: brixcore developers
# SPDX-License-Identifier: Apache-2.0

"""Makes the inputs of the benchmarks in a folder.

usage: make_data.py FOLDER [PROGRAMS]

corpus-6.zip        16 members of 3 MB: headers, documentation and scripts of installed packages, then programs; and the
                    same 48 MB as stored.zip, corpus.tar, corpus.tar.gz, corpus.gz, corpus.lzma, corpus.bz2,
                    corpus-mszip.cab (gcab), deflate.zip and deflate64.zip (7zz)
many-small.zip      20,000 members of about 2 KB, deflated at level 6; and the same as many-small.tar
nested.zip          four levels, 187 containers, 2,016 leaves
tiny.zip            one member of a few bytes
lzx.cab             cab/gocab__lzx.cab of the sample archives whose folder BRIX_CORPUS names, since nothing packaged makes
                    LZX; what is in it by cabextract
quantum.cab         10 MB from the middle of the 48, half text and half programs, by pack_quantum in the folder PROGRAMS, where
                    run.py builds it
corpus-lz.rar       the 16 members of corpus-6.zip by pack_rar from there, and 12 MB from their middle in 4 as
                    corpus-ppmd.rar
help.chm            500 pages of 42,000 bytes of text (chmcmd)
streams.msi         4 streams of 3.7 MB (msibuild)
mail-base64.eml     five attachments of 8 MiB
mail-qp.eml         four quoted-printable texts of 4 MB, CRLF at the line ends
mail-uu.eml         four uuencoded blocks of 4.2 MB
mail-digest.eml     2,000 enclosed messages, each with boundaries of its own, a text and an attachment
nsis-zlib.exe       the 48 MB in an installer, file by file, and solid as nsis-lzma.exe (makensis)
small-files/        5,000 files of at most some KB, half of them containers of seven kinds
manifest.tsv        for each archive its members, their bytes and the sum of their Adler-32, by which outputs are
                    checked; written last

The content depends on the installed packages: compare figures within one run only.
"""
import binascii
import bz2
import email.message
import gzip
import io
import lzma
import os
import random
import re
import shutil
import subprocess
import sys
import tarfile
import tempfile
import zipfile
import zlib

LIMIT = 48_000_000
STAMP = (2020, 1, 1, 0, 0, 0)
STAMP_SECONDS = 1577836800


def files_below(folders):
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


def pieces(data, count, size):
    """Cut from all over the data. None is mail with parts, which we alone would look into."""
    step = max(1, (len(data) - size) // count)
    return [re.sub(rb"(?i)content-", b"content_", data[i * step : i * step + size]) for i in range(count)]


# --- Writers: bytes from a list of (name, content) ---


def zip_of(members, method=zipfile.ZIP_DEFLATED):
    buffer = io.BytesIO()
    with zipfile.ZipFile(buffer, "w") as archive:
        for name, data in members:
            info = zipfile.ZipInfo(name, STAMP)
            info.compress_type = method if not name.endswith(".stored.zip") else zipfile.ZIP_STORED
            archive.writestr(info, data, compresslevel=6)
    return buffer.getvalue()


def tar_of(members):
    buffer = io.BytesIO()
    with tarfile.open(fileobj=buffer, mode="w", format=tarfile.USTAR_FORMAT) as archive:
        for name, data in members:
            info = tarfile.TarInfo(name)
            info.size, info.mtime = len(data), STAMP_SECONDS
            archive.addfile(info, io.BytesIO(data))
    return buffer.getvalue()


def gzip_of(data):
    return gzip.compress(data, 6, mtime=0)  # a header of ten bytes


def mail_of(name, data):
    mail = email.message.EmailMessage()
    mail["From"], mail["To"], mail["Subject"] = "a@example.org", "b@example.org", name
    mail.set_content("See the attachment.\n")
    mail.add_attachment(data, maintype="application", subtype="octet-stream", filename=name)
    mail.set_boundary("=-" + name.replace(".", "-"))
    return mail.as_bytes()


def made_by(command, members, output, others=()):
    """What a tool makes of the members, or None when it is not installed. {} in the command is the output; the others
    are there too, but the command does not end with their names."""
    if shutil.which(command[0]) is None:
        print(f"skipped: {output}, because {command[0]} is not installed", file=sys.stderr)
        return None
    with tempfile.TemporaryDirectory() as folder:
        for name, data in [*members, *others]:
            path = os.path.join(folder, name)
            with open(path, "wb") as f:
                f.write(data)
            os.utime(path, (STAMP_SECONDS, STAMP_SECONDS))
        words = [word.replace("{}", output) for word in command] + [name for name, _ in members]
        subprocess.run(words, cwd=folder, check=True, stdout=subprocess.DEVNULL)
        with open(os.path.join(folder, output), "rb") as f:
            return f.read()


# --- The inputs ---


def nested(leaves):
    """1 + 6 + 36 + 144 containers, every other one stored; leaves in the innermost."""
    leaves = iter(leaves)

    def level(depth):
        inner = [(f"inner{i}{'.stored' if i % 2 else ''}.zip", level(depth + 1)) for i in range((6, 6, 4, 0)[depth])]
        return zip_of(inner + [(f"leaf{i}.txt", next(leaves)) for i in range((0, 0, 0, 14)[depth])])

    return level(0)


def small_files(folder, data):
    os.makedirs(folder)
    count = 0

    def write(extension, content):
        nonlocal count
        with open(os.path.join(folder, f"{count:04d}.{extension}"), "wb") as f:
            f.write(content)
        count += 1

    plain = (path for path in files_below(["/usr/include", "/usr/share/perl", "/usr/bin"]))
    while count < 2500:
        path = next(plain)
        with open(path, "rb") as f:
            write("bin" if path.startswith("/usr/bin") else "txt", f.read(500 + count % 7500))
    contents = iter(pieces(data, 2 * 2500, 1500))
    kinds = (
        (800, "zip", zip_of),
        (500, "gz", lambda members: gzip_of(members[0][1])),
        (400, "tar", tar_of),
        (300, "tgz", lambda members: gzip_of(tar_of(members))),
        (250, "cab", lambda members: made_by(["gcab", "-czn", "{}"], members, "small.cab") or zip_of(members)),
        (150, "bz2", lambda members: bz2.compress(members[0][1])),
        (100, "eml", lambda members: mail_of(*members[0])),
    )
    for number, extension, make in kinds:
        for i in range(number):
            write(extension, make([(f"a{i}.txt", next(contents)), (f"b{i}.txt", next(contents))]))


def sample_cabinet():
    """The sample and its members, as another program sees them; None when there is no such thing."""
    path = os.path.join(os.environ.get("BRIX_CORPUS", ""), "cab", "gocab__lzx.cab")
    if not os.path.exists(path) or shutil.which("cabextract") is None:
        print("skipped: lzx.cab, because BRIX_CORPUS names no folder of samples", file=sys.stderr)
        return None, []
    with tempfile.TemporaryDirectory() as folder, open(path, "rb") as f:
        subprocess.run(["cabextract", "-q", "-d", folder, path], check=True)
        members = []
        for name in files_below([folder]):
            with open(name, "rb") as member:
                members.append(member.read())
        return f.read(), members


def help_file(pages):
    """Mended where chmcmd errs: the number of the first listing chunk, the second class id; and its own read-me,
    which is not compressed, gets a name that lists it among the format's own parts."""
    project = "[OPTIONS]\nCompiled file=help.chm\n[FILES]\n" + "".join(name + "\n" for name, _ in pages)
    made = made_by(["chmcmd", "--no-html-scan"], [("help.hhp", project.encode())], "help.chm", pages)
    if made is None:
        return None
    content = bytearray(made.replace(b"/_#_README_#_", b"::_#README_#_", 1))
    content[152:156] = bytes(4)
    content[40] = 0x11
    return bytes(content)


def installer(streams):
    query = "CREATE TABLE `Binary` (`Name` CHAR(72) NOT NULL, `Data` OBJECT NOT NULL PRIMARY KEY `Name`)"
    words = [word for name, _ in streams for word in ("-a", name, name)]
    return made_by(["msibuild", "{}", "-q", query, *words], [], "streams.msi", streams)


def mails(data):
    """Names, contents, and the members as they come out. Boundaries look like those that Python's own writer makes."""
    numbers = random.Random(1)

    def multipart(kind, parts, newline=b"\n"):
        boundary = b"=" * 15 + b"%019d" % numbers.randrange(10**19) + b"=="
        lines = [b"Subject: of some parts", b"From: a@example.org", b"To: b@example.org", b"MIME-Version: 1.0",
                 b'Content-Type: multipart/%s; boundary="%s"' % (kind, boundary), b""]
        for fields, body in parts:
            lines += [b"--" + boundary, *fields, b"", body]
        return newline.join(lines + [b"--" + boundary + b"--", b""])

    def attachment(name, encoding, body):
        return [b'Content-Type: application/octet-stream; name="%s"' % name, b"Content-Transfer-Encoding: " + encoding,
                b'Content-Disposition: attachment; filename="%s"' % name], body

    def base64_of(name, content):
        return attachment(name, b"base64", binascii_lines(binascii.b2a_base64, content, 57).rstrip(b"\n"))

    def binascii_lines(encode, content, size):
        return b"".join(encode(content[i : i + size]) for i in range(0, len(content), size))

    def text(start, size):
        """Lines without control characters and with one of another alphabet."""
        table = bytes(c if 32 <= c < 127 or c in b"\t\n" else 0xE9 for c in range(256))
        return data[start : start + size].replace(b"\r", b"").translate(table).rstrip(b"\n") + b"\n"

    big = [data[i << 23 : (i + 1) << 23] for i in range(5)]
    yield ("mail-base64.eml", multipart(b"mixed", [base64_of(b"part%d.bin" % i, c) for i, c in enumerate(big)]), big)
    texts = [text(i * 4_000_000, 4_000_000).replace(b"\n", b"\r\n") for i in range(4)]
    parts = [attachment(b"text%d.txt" % i, b"quoted-printable", binascii.b2a_qp(c)[:-2]) for i, c in enumerate(texts)]
    yield "mail-qp.eml", multipart(b"mixed", parts, b"\r\n"), texts
    blocks = [data[i * 10_000_000 :][:4_200_000] for i in range(4)]
    body = [b"begin 644 block%d.bin\n%s`\nend\n" %
            (i, binascii_lines(lambda c: binascii.b2a_uu(c, backtick=True), c, 45)) for i, c in enumerate(blocks)]
    yield "mail-uu.eml", b"From: a@example.org\nSubject: blocks\n\n" + b"\n".join(body), blocks
    enclosed, members = [], []
    for i in range(2000):
        note, piece = text(i * 9_000, 1_500).replace(b"\xe9", b"e")[:-1], data[24_000_000 + i * 9_000 :][:2_200]
        members += [note, piece]
        parts = [([b"Content-Type: text/plain", b"Content-Transfer-Encoding: 7bit"], note),
                 base64_of(b"piece%04d.bin" % i, piece)]
        enclosed.append(([b"Content-Type: message/rfc822"], multipart(b"mixed", parts)[:-1]))
    yield "mail-digest.eml", multipart(b"digest", enclosed), members


def script_installer(members, output, compressor):
    lines = [f"SetCompressor {compressor}", "Name bench", f"OutFile {output}", "Section", "SetOutPath $INSTDIR"]
    script = "".join(line + "\n" for line in [*lines, *(f"File {name}" for name, _ in members), "SectionEnd"])
    return made_by(["makensis", "-V1", "bench.nsi"], [], output, [("bench.nsi", script.encode()), *members])


def cabinet_of_quantum(programs, content):
    if programs is None:
        print("skipped: quantum.cab, because no PROGRAMS are named", file=sys.stderr)
        return None
    program = os.path.join(programs, "pack_quantum")
    return subprocess.run([program], input=content, stdout=subprocess.PIPE, check=True).stdout


def main():
    folder = sys.argv[1]
    programs = os.path.abspath(sys.argv[2]) if len(sys.argv) > 2 else None
    shutil.rmtree(folder, ignore_errors=True)
    os.makedirs(folder)
    data = corpus()
    step = -(-len(data) // 16)
    big = [(f"corpus{i:02d}.dat", data[i * step : (i + 1) * step]) for i in range(16)]
    small = [(f"dir{i % 100:02d}/member{i:05d}.txt", piece) for i, piece in enumerate(pieces(data, 20_000, 2_160))]
    leaves = pieces(data, 2_016, 4_200)
    tiny = [("hello.txt", b"hello\n")]
    tar = tar_of(big)
    manifest = []

    def write(name, content, members):
        if content is None:
            return
        with open(os.path.join(folder, name), "wb") as f:
            f.write(content)
        total = sum(zlib.adler32(m) for m in members)
        manifest.append(f"{name}\t{len(members)}\t{sum(map(len, members))}\t{total}\n")

    big_members = [content for _, content in big]
    write("corpus-6.zip", zip_of(big), big_members)
    write("stored.zip", zip_of(big, zipfile.ZIP_STORED), big_members)
    write("corpus.tar", tar, big_members)
    write("corpus.tar.gz", gzip_of(tar), big_members)
    write("corpus.gz", gzip_of(data), [data])
    write("corpus.lzma", lzma.compress(data, lzma.FORMAT_ALONE, preset=6), [data])
    write("corpus.bz2", bz2.compress(data), [data])
    for method in ("Deflate", "Deflate64"):
        name = f"{method.lower()}.zip"
        write(name, made_by(["7zz", "a", "-tzip", f"-mm={method}", "{}"], big, name), big_members)
    write("corpus-mszip.cab", made_by(["gcab", "-czn", "{}"], big, "corpus-mszip.cab"), big_members)
    write("lzx.cab", *sample_cabinet())
    middle = data[LIMIT // 2 - 5_000_000 : LIMIT // 2 + 5_000_000]
    write("quantum.cab", cabinet_of_quantum(programs, middle), [middle])
    rar = os.path.join(programs or "", "pack_rar")
    write("corpus-lz.rar", made_by([rar, "lz", "{}"], big, "corpus-lz.rar"), big_members)
    text_and_programs = [(f"mixed{i}.dat", data[LIMIT // 2 + (i - 2) * 3_000_000 :][:3_000_000]) for i in range(4)]
    write("corpus-ppmd.rar", made_by([rar, "ppmd", "{}"], text_and_programs, "corpus-ppmd.rar"),
          [content for _, content in text_and_programs])
    pages = [(f"page{i:03d}.html", data[i * 42_000 : (i + 1) * 42_000]) for i in range(500)]
    write("help.chm", help_file(pages), [content for _, content in pages])
    streams = [(f"Stream{i}", data[i * 10_000_000 :][:3_700_000]) for i in range(4)]
    write("streams.msi", installer(streams), [content for _, content in streams])
    for mail in mails(data):
        write(*mail)
    for name, compressor in (("nsis-zlib.exe", "zlib"), ("nsis-lzma.exe", "/SOLID lzma")):
        write(name, script_installer(big, name, compressor), big_members)
    small_members = [content for _, content in small]
    write("many-small.zip", zip_of(small), small_members)
    write("many-small.tar", tar_of(small), small_members)
    write("nested.zip", nested(leaves), leaves)
    write("tiny.zip", zip_of(tiny), [tiny[0][1]])
    small_files(os.path.join(folder, "small-files"), data)
    with open(os.path.join(folder, "manifest.tsv"), "w", encoding="ascii") as f:
        f.writelines(manifest)


if __name__ == "__main__":
    main()

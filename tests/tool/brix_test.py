#!/usr/bin/env python3
# SPDX-FileCopyrightText: brixcore developers
# SPDX-License-Identifier: Apache-2.0

"""Runs the program brix as a user would: exit codes, listings, what it writes and where.

usage: brix_test.py [EMULATOR] PROGRAM
"""
import gzip
import io
import json
import os
import pathlib
import signal
import struct
import subprocess
import sys
import tempfile
import unittest
import zipfile
import zlib

ROOT = pathlib.Path(__file__).resolve().parents[2]
EXAMPLE = ROOT / "examples" / "nested.zip"
RAR = ROOT / "tests" / "fixtures" / "rar"
COMMAND = []
UNDER_EMULATOR = False


class RawInfo(zipfile.ZipInfo):
    """A member whose name is stored as the bytes given; zipfile itself tidies names."""

    def _encodeFilenameFlags(self):
        return self.raw_name, self.flag_bits & ~0x800

def make_zip(members, method=zipfile.ZIP_DEFLATED):
    """A ZIP of (name, content) pairs; names are bytes or text."""
    out = io.BytesIO()
    with zipfile.ZipFile(out, "w", method) as z:
        for i, (name, content) in enumerate(members):
            info = RawInfo(str(i))
            info.raw_name = name if isinstance(name, bytes) else name.encode()
            info.compress_type = method
            z.writestr(info, content)
    return out.getvalue()


def patch_headers(data, local_at, central_at, value):
    """Stores a 16-bit value in every local and central header."""
    data = bytearray(data)
    for signature, at in ((b"PK\x03\x04", local_at), (b"PK\x01\x02", central_at)):
        start = data.find(signature)
        while start >= 0:
            struct.pack_into("<H", data, start + at, value)
            start = data.find(signature, start + 4)
    return bytes(data)


def truncated_inner():
    """A nested archive whose list of members breaks off after the first."""
    inner = bytearray(make_zip([("a.txt", b"aaaa"), ("b.txt", b"bbbb")]))
    second = inner.find(b"PK\x01\x02", inner.find(b"PK\x01\x02") + 4)
    inner[second:second + 4] = b"????"
    return bytes(inner)


PLAIN = make_zip([("one.txt", b"1" * 100), ("two.txt", b"22")])
NESTED = make_zip([("inner.zip", make_zip([("a.txt", b"alpha"), ("deep.zip", PLAIN)])), ("z.txt", b"zulu")])
BOMB = make_zip([("zeros", bytes(300000)), ("x.txt", b"tail")])
QXZIP = b"QXZIP\x04" + bytes(60)


class ToolTest(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)
        self.root = pathlib.Path(self.folder.name)

    def brix(self, *arguments, stdin=b""):
        """Runs the program in the test's folder: exit code, standard output, lines of standard error."""
        done = subprocess.run(COMMAND + list(arguments), cwd=self.root, input=stdin, capture_output=True, timeout=120)
        return done.returncode, done.stdout, done.stderr.decode().replace("\r\n", "\n").splitlines()

    def file(self, name, content):
        (self.root / name).write_bytes(content)
        return name

    def json(self, *arguments):
        return [json.loads(line) for line in self.brix("ls", "--json", *arguments)[1].decode().splitlines()]

    def run_into(self, stdout, *arguments, **options):
        """Runs the program with another standard output: exit code, lines of standard error."""
        done = subprocess.run(COMMAND + list(arguments), cwd=self.root, stdout=stdout, stderr=subprocess.PIPE, timeout=120,
                              **options)
        return done.returncode, done.stderr.decode().splitlines()

    def tree(self, below):
        """Every file below a folder of the test's, with its content."""
        base = self.root / below
        return {p.relative_to(base).as_posix(): p.read_bytes() for p in base.rglob("*") if p.is_file()}


class Loading(ToolTest):
    @unittest.skipIf(os.name == "nt", "Windows names the folders itself")
    def test_libraries_are_not_taken_from_the_current_folder(self):
        for name in ("libc.so.6", "libstdc++.so.6", "libbrixcore.so.0"):
            self.file(name, b"hostile")
        self.assertEqual(self.brix("id", self.file("a.zip", PLAIN)), (0, b"a.zip: ZIP archive\n", []))


class Output(ToolTest):
    def test_messages_of_the_library_stay_out(self):
        self.file("f.rar", (RAR / "custom-filter.rar").read_bytes())
        message = "error: custom filter (53 d38fd8c6) not yet supported"
        for command, out in ((("cat", "f.rar", "note.txt"), b"a note\n"), (("cat", "f.rar", "filtered.txt"), b""),
                             (("x", "-v", "f.rar", "-o", "out"), b"note.txt\n"), (("ls", "--json", "f.rar"), None)):
            found = self.brix(*command)
            self.assertEqual(message in found[2], command[2] != "note.txt", found)
            if out is not None:
                self.assertEqual(found[1], out, command)
        self.assertEqual([r["status"] for r in self.json("f.rar")], ["damaged", "ok"])

    @unittest.skipUnless(os.path.exists("/dev/full"), "needs a device that is full")
    def test_full_device(self):
        self.file("f.zip", make_zip([(f"{i}.txt", b"x" * 10000) for i in range(2000)]))
        self.file("one.zip", make_zip([("large", bytes(100000))]))
        for arguments in (("--help",), ("x", "--help"), ("--version",), ("id", "f.zip"), ("ls", "f.zip"),
                          ("ls", "--json", "f.zip"), ("cat", "f.zip", "5.txt"), ("cat", "one.zip", "large")):
            with open("/dev/full", "wb") as full:
                code, errors = self.run_into(full, *arguments)
            self.assertEqual((code, len(errors)), (4, 1), (arguments, errors))
            self.assertRegex(errors[0], "^brix: cannot write standard output: .")

    @unittest.skipIf(os.name == "nt", "needs POSIX pipes")
    def test_closed_pipe(self):
        if UNDER_EMULATOR:
            self.skipTest("needs POSIX signals")
        self.file("f.zip", make_zip([("large", os.urandom(100000))]))
        for arguments in (("ls", "f.zip"), ("cat", "f.zip", "large")):
            for is_ignored in (False, True):  # subprocess gives the signal its default meaning back, or leaves it ignored
                reader, writer = os.pipe()
                os.close(reader)
                with os.fdopen(writer, "wb") as pipe:
                    code, errors = self.run_into(pipe, *arguments, restore_signals=not is_ignored)
                self.assertEqual(code, 4 if is_ignored else -signal.SIGPIPE, arguments)
                self.assertEqual(errors, ["brix: cannot write standard output: Broken pipe"] if is_ignored else [])


class ExitCodes(ToolTest):
    def test_usage(self):
        for arguments in ((), ("ls",), ("frobnicate",), ("x", "a.zip"), ("ls", "--no-such", "a"),
                          ("ls", "--max-size", "4G", "a"), ("ls", "--max-depth", "0", "a"), ("cat", "a.zip"),
                          ("ls", "--max-depth", "\x1b[2J", "a")):
            code, _, err = self.brix(*arguments)
            self.assertEqual((code, "\x1b" in "".join(err)), (64, False), arguments)
        for arguments in (("--help",), ("ls", "--help"), ("--version",)):
            code, out, _ = self.brix(*arguments)
            self.assertEqual((code, out != b""), (0, True), arguments)

    def test_word_in_place_of_a_command(self):
        for word, answer in (("lst", "; did you mean 'ls'?"), ("act", "; did you mean 'cat'?"), ("i", "; did you mean 'id'?"),
                             ("extract", "; did you mean 'x'?"), ("q", ", and no file has that name"),
                             ("none.zip", ", and no file has that name")):
            self.assertEqual(self.brix(word, "f.zip"), (64, b"", [f"brix: unknown command '{word}'{answer}"]))
        self.file("f.zip", PLAIN)
        self.assertEqual(self.brix("f.zip", "--json"), self.brix("ls", "f.zip", "--json"))
        self.assertEqual(self.brix("-", stdin=PLAIN), self.brix("ls", "-", stdin=PLAIN))

    def test_each_reason(self):
        stored = make_zip([("a.txt", b"x" * 50)], zipfile.ZIP_STORED)
        damaged = bytearray(make_zip([("a.txt", bytes(range(256)))]))
        damaged[35:45] = b"\xff" * 10  # where the deflated data begin
        rows = (
            ("complete", PLAIN, (), 0, None),
            ("damaged member", bytes(damaged), (), 1, "a.txt: damaged"),
            ("encrypted", patch_headers(stored, 6, 8, 1), (), 1, "a.txt: encrypted"),
            ("unsupported method", patch_headers(stored, 8, 10, 98), (), 1, "a.txt: compression method"),
            ("broken inner list", make_zip([("in.zip", truncated_inner()), ("z", b"z")]), (), 1, "in.zip: the list"),
            ("broken list", truncated_inner(), (), 1, "f.zip: the list"),
            ("size limit", PLAIN, ("--max-size", "99"), 2, "one.txt: cut"),
            ("ratio limit", BOMB, ("--max-ratio", "100"), 2, "zeros: dropped"),
            ("depth limit", NESTED, ("--max-depth", "2"), 2, "inner.zip/deep.zip: a container at"),
            ("depth just enough", NESTED, ("--max-depth", "3"), 0, None),
            ("not an archive", b"plain words", (), 3, "f.zip: not an archive"),
            ("cut in half", PLAIN[:len(PLAIN) // 2], (), 3, "f.zip: not an archive"),
            ("empty", b"", (), 3, "empty file"),
            ("member goes on elsewhere", (RAR / "lz.rar").read_bytes(), (), 1, "f.zip: members that begin or go on"),
            ("mail with nothing", b"From: a@b.example\nSubject: s\n\nwords\n", (), 1, "f.zip: a mail with nothing"),
            ("data after the end", gzip.compress(b"x") + b"more", (), 1, "f.zip: data that belong to no member"),
            ("not read", b"\x1f\x9d\x90abc", (), 3, "f.zip: recognised as unixz, not read"),
            ("not described", QXZIP, (), 3, "f.zip: recognised as qxzip, layout not described, not read"),
        )
        for label, content, options, code, message in rows:
            self.file("f.zip", content)
            for command in (("ls",), ("ls", "--json"), ("x", "-o", "out")):
                found, _, errors = self.brix(*command, "f.zip", *options)
                self.assertEqual(found, code, (label, command, errors))
                self.assertEqual(len(errors), 0 if message is None else 1, (label, errors))
                if message is not None:
                    self.assertIn(message, errors[0], label)

    def test_unreadable_and_precedence(self):
        self.file("limit.zip", PLAIN)
        self.file("words", b"plain words")
        self.assertEqual(self.brix("ls", "limit.zip", "words", "--max-size", "9")[0], 3)
        self.file("both.zip", make_zip([("long", b"x" * 999), ("in.zip", truncated_inner())]))
        self.assertEqual(self.brix("ls", "both.zip", "--max-size", "500")[0], 2)  # though damage comes later
        code, out, errors = self.brix("ls", "missing.zip", "limit.zip", "words")
        self.assertEqual((code, len(errors)), (4, 2))
        self.assertIn(b"two.txt", out)  # one bad file does not stop the others
        self.assertEqual(errors[0], "brix: missing.zip: not found")
        code, _, errors = self.brix("ls", ".")
        self.assertEqual((code, errors), (4, ["brix: .: is a directory"]))

    @unittest.skipIf(os.name == "nt", "needs POSIX permissions")
    def test_permission(self):
        locked = self.file("locked", PLAIN)
        (self.root / locked).chmod(0)
        if os.geteuid() == 0:  # for whom few files are locked
            locked = "/proc/sys/vm/drop_caches"
        if UNDER_EMULATOR or not os.path.exists(locked):
            self.skipTest("no file that may not be read")
        self.assertEqual(self.brix("ls", locked)[::2], (4, [f"brix: {locked}: permission denied"]))


class Listing(ToolTest):
    def test_example(self):
        code, out, errors = self.brix("ls", str(EXAMPLE) if not UNDER_EMULATOR else "-", stdin=EXAMPLE.read_bytes())
        self.assertEqual((code, errors), (0, []))
        lines = out.decode().splitlines()
        self.assertTrue(lines[0].endswith("  [zip]"))
        self.assertEqual([line[14:] for line in lines[1:]], [
            "readme.txt", "cabin.zip  [zip]", "  chest.zip  [zip]", "    chest.txt", "    treasure.zip  [zip]",
            "      map.txt", "      coins.csv", "  log.txt", "  note.txt"])
        self.assertEqual(lines[6], "          18        map.txt")

    def test_json(self):
        self.file("n.zip", NESTED)
        rows = self.json("n.zip", "missing")
        self.assertEqual([(r["depth"], r["container"], r["path"], r["size"], r.get("type")) for r in rows[:-1]], [
            (0, "zip", "inner.zip", len(make_zip([("a.txt", b"alpha"), ("deep.zip", PLAIN)])), "zip"),
            (1, "zip", "inner.zip/a.txt", 5, None), (1, "zip", "inner.zip/deep.zip", len(PLAIN), "zip"),
            (2, "zip", "inner.zip/deep.zip/one.txt", 100, None), (2, "zip", "inner.zip/deep.zip/two.txt", 2, None),
            (0, "zip", "z.txt", 4, None)])
        self.assertEqual({r["status"] for r in rows[:-1]}, {"ok"})
        self.assertEqual(rows[-1], {"file": "missing", "status": "unreadable"})
        self.file("q", QXZIP)
        self.file("g.gz", gzip.compress(b"x") + b"more")
        self.assertEqual([r for r in self.json("q", "g.gz") if "path" not in r], [
            {"file": "q", "status": "not-read", "type": "qxzip"}, {"file": "g.gz", "status": "data-outside"}])

    def test_names_cannot_steer_the_terminal(self):
        hidden = "\u00ad\u034f\u115f\u180e\u200b\u200d\u2028\u2060\u3164\ufdd0\ufe0f\ufeff\uffa0\uffff\U000e0041\U0010fffe"
        names = [b"\x1b]0;owned\x07", "abc\u202efdp.exe".encode(), b"caf\xe9", "caf\u00e9".encode(), b"back\\slash",
                 b'quo"te', b"new\nline", *(f"a{c}b".encode() for c in hidden)]
        self.file("f.zip", make_zip([(n, b"data") for n in names]))
        text = self.brix("ls", "f.zip")[1]
        for spelling in (b"\\x1b]0;owned\\x07", b"abc\\xe2\\x80\\xaefdp.exe", b"caf\\xe9", "caf\u00e9".encode(),
                         b"back\\\\slash", b'quo"te', b"new\\x0aline"):
            self.assertIn(b" " + spelling + b"\n", text)
        self.assertFalse(any(c < 32 and c != 10 for c in text))
        for output in (text, self.brix("ls", "--json", "f.zip")[1]):
            self.assertEqual(set(hidden) & set(output.decode()), set())
        self.assertIn(b" a\\xf3\\xa0\\x81\\x81b\n", text)
        found = [bytes.fromhex(r["name_hex"]) if "name_hex" in r else r["name"].encode() for r in self.json("f.zip")]
        self.assertEqual(found, names)

    def test_standard_input_and_threads(self):
        self.assertIn(b"two.txt", self.brix("ls", "-", stdin=PLAIN)[1])
        self.assertEqual(self.brix("id", "-", stdin=PLAIN)[1], b"-: ZIP archive\n")
        files = [self.file(f"{i}.zip", (PLAIN, NESTED, b"words")[i % 3]) for i in range(40)]
        one = self.brix("ls", *files)
        self.assertEqual(self.brix("ls", "-j", "4", *files), one)
        self.assertEqual(one[0], 3)

    def test_id(self):
        self.file("a.zip", PLAIN)
        self.file("b", b"SZDD\x88\xf0\x27\x33A\x00\x02\x00\x00\x00\x03ab")
        self.file("c", b"words")
        code, out, errors = self.brix("id", "a.zip", "b", "c")
        self.assertEqual((code, errors), (3, []))
        self.assertEqual(out, b"a.zip: ZIP archive\nb: Microsoft compressed file\nc: not an archive\n")
        self.file("q", QXZIP)
        code, out, errors = self.brix("id", "--json", "a.zip", "none", "c", "q")
        self.assertEqual((code, errors), (4, ["brix: none: not found"]))
        self.assertEqual([json.loads(line) for line in out.splitlines()], [
            {"file": "a.zip", "type": "zip", "status": "ok"}, {"file": "none", "status": "unreadable"},
            {"file": "c", "type": "none", "status": "not-an-archive"}, {"file": "q", "type": "qxzip", "status": "not-read"}])
        for content, answer in ((QXZIP, b"QX Zip archive (qxzip, layout not described, not read)"),
                                (b"\x1f\x9d\x90abc", b"Unix compress file (unixz, not read)")):
            self.assertEqual(self.brix("id", "-", stdin=content), (3, b"-: " + answer + b"\n", []))

    def test_wildcards(self):
        if not UNDER_EMULATOR and os.name != "nt":  # the shell does it, and names may hold such characters
            self.file("a.zip", b"words")
            self.assertEqual(self.brix("id", self.file("?.zip", PLAIN)), (0, b"?.zip: ZIP archive\n", []))
            return
        for name in ("a1.zip", "a2.zip", "b.zip"):
            self.file(name, PLAIN)
        (self.root / "a0.zip").mkdir()
        three = b"a1.zip: ZIP archive\na2.zip: ZIP archive\nb.zip: ZIP archive\n"
        for arguments, code, out in ((("id", "a*.zip", "b.zip"), 0, three), (("id", ".\\B*"), 0, b".\\\\b.zip: ZIP archive\n"),
                                     (("id", "c*.zip"), 4, b""), (("cat", "b?zip", "two.txt"), 0, b"22"),
                                     (("cat", "a*.zip", "two.txt"), 64, b"")):
            self.assertEqual(self.brix(*arguments)[:2], (code, out), arguments)


class Extracting(ToolTest):
    def test_nested_members_have_folders(self):
        self.file("n.zip", NESTED)
        self.assertEqual(self.brix("x", "n.zip", "-o", "new/out"), (0, b"", []))
        tree = self.tree("new/out")
        self.assertEqual(sorted(tree), ["inner.zip", "inner.zip.d/a.txt", "inner.zip.d/deep.zip",
                                        "inner.zip.d/deep.zip.d/one.txt", "inner.zip.d/deep.zip.d/two.txt", "z.txt"])
        self.assertEqual(tree["inner.zip.d/deep.zip"], PLAIN)
        self.assertEqual(tree["inner.zip.d/deep.zip.d/one.txt"], b"1" * 100)

    def test_hostile_names_stay_inside(self):
        rows = (
            ("../../up.txt", "__/__/up.txt"), ("/etc/passwd", "etc/passwd"), ("C:\\boot.ini", "C_/boot.ini"),
            ("..\\..\\back.txt", "__/__/back.txt"), ("NUL", "_NUL"), ("com1.txt", "_com1.txt"),
            ("trail. . ", "trail____"), ("file.txt:stream", "file.txt_stream"), (b"ctl\x01\x1f.txt", "ctl__.txt"),
            (b"raw\xff\xfe.txt", "raw__.txt"), ("a/./b//c.txt", "a/b/c.txt"), ("....", "____"),
            ("L" * 400, "L" * 200), ("..", "__~2"), ("dup.txt", "dup.txt"), ("./dup.txt", "dup~2.txt"),
            ("dup.txt/below", "dup~3.txt/below"), ("aux .tar.gz", "_aux .tar.gz"), ("//host/share", "host/share"),
        )
        self.file("f.zip", make_zip([(name, f"member {i}".encode()) for i, (name, _) in enumerate(rows)]))
        (self.root / "box").mkdir()
        code, _, errors = self.brix("x", "f.zip", "-o", "box/out")
        self.assertEqual((code, errors), (0, []))
        tree = self.tree("box")
        for i, (name, path) in enumerate(rows):
            self.assertEqual(tree.pop("out/" + path, None), f"member {i}".encode(), name)
        self.assertEqual(tree, {})
        self.assertEqual(sorted(os.listdir(self.root)), ["box", "f.zip"])

    @unittest.skipIf(os.name == "nt", "needs POSIX links")
    def test_standing_links_are_not_followed(self):
        (self.root / "outside").mkdir()
        self.file("victim", b"untouched")
        out = self.root / "out"
        out.mkdir()
        (out / "dir").symlink_to(self.root / "outside")
        (out / "file").symlink_to(self.root / "victim")
        (out / "dangling").symlink_to(self.root / "created")
        (out / "mine.txt").write_bytes(b"mine")
        self.file("f.zip", make_zip([(n, b"evil") for n in ("dir/a.txt", "file", "dangling", "mine.txt")]))
        self.assertEqual(self.brix("x", "f.zip", "-o", "out")[0], 0)
        self.assertEqual(os.listdir(self.root / "outside"), [])
        self.assertEqual((self.root / "victim").read_bytes(), b"untouched")
        self.assertFalse((self.root / "created").exists())
        self.assertEqual((out / "mine.txt").read_bytes(), b"mine")
        for name in ("dir~2/a.txt", "file~2", "dangling~2", "mine~2.txt"):
            self.assertEqual((out / name).read_bytes(), b"evil", name)

    def test_several_files_have_folders_of_their_own(self):
        for folder in ("p", "q"):
            (self.root / folder).mkdir()
            (self.root / folder / "same.zip").write_bytes(PLAIN)
        self.assertEqual(self.brix("x", "-j", "2", "p/same.zip", "q/same.zip", "-o", "out")[0], 0)
        self.assertEqual(sorted(self.tree("out")), ["same.zip.d/one.txt", "same.zip.d/two.txt", "same~2.zip.d/one.txt",
                                                    "same~2.zip.d/two.txt"])

    def test_cut_member_keeps_its_beginning(self):
        self.file("f.zip", PLAIN)
        self.assertEqual(self.brix("x", "f.zip", "-o", "out", "--max-size", "10")[0], 2)
        self.assertEqual(self.tree("out"), {"one.txt": b"1" * 10, "two.txt": b"22"})

    def test_damaged_member_keeps_what_came(self):
        content = os.urandom(50000)
        deflater = zlib.compressobj(wbits=-15)
        packed = deflater.compress(content) + deflater.flush(zlib.Z_FULL_FLUSH) + b"\xff" * 20  # no such type of block
        inner = patch_headers(make_zip([("a.bin", packed), ("in/b.bin", packed)], zipfile.ZIP_STORED), 8, 10, 8)
        self.file("f.zip", make_zip([("one.zip", PLAIN), ("two.zip", inner), ("three.zip", inner)]))
        code, _, errors = self.brix("x", "f.zip", "-o", "out")
        tree = self.tree("out")
        self.assertEqual((code, len(errors), len(tree)), (1, 4, 9))
        for error, path in zip(errors, (f"{c}.zip/{m}" for c in ("two", "three") for m in ("a.bin", "in/b.bin"))):
            found = tree[path.replace("/", ".d/", 1)]
            self.assertEqual(error, f"brix: f.zip: {path}: damaged, only its first {len(found)} bytes extracted")
            self.assertGreater(len(found), 40000)
            self.assertEqual(found, content[:len(found)])
            self.assertEqual(self.brix("cat", "f.zip", path), (1, found, [error]))

    def test_directory_that_cannot_be_made(self):
        self.file("f.zip", PLAIN)
        code, _, errors = self.brix("x", "f.zip", "-o", "f.zip/out")
        self.assertEqual((code, len(errors)), (4, 1))


class Cat(ToolTest):
    def test_members(self):
        binary = bytes(range(256)) * 3
        self.file("f.zip", make_zip([("bin.dat", binary), ("bin.dat", b"second"), ("n.zip", NESTED), (b"o\x1bdd", b"odd")]))
        rows = (("bin.dat", binary), ("n.zip/inner.zip/a.txt", b"alpha"), ("n.zip/inner.zip/deep.zip", PLAIN),
                ("n.zip/inner.zip/deep.zip/one.txt", b"1" * 100), ("o\\x1bdd", b"odd"))
        for path, content in rows:
            self.assertEqual(self.brix("cat", "f.zip", path), (0, content, []), path)
        self.assertEqual(self.brix("cat", "-", "two.txt", stdin=PLAIN), (0, b"22", []))

    def test_repeated_paths(self):
        inner = [make_zip([("a.txt", b"%d" % i), ("a.txt", b"%d again" % i)]) for i in range(2)]
        self.file("f.zip", make_zip([("in.zip", inner[0]), ("in.zip/a.txt", b"flat"), ("in.zip", inner[1])]))
        for n, content in enumerate((b"0", b"0 again", b"flat", b"1", b"1 again"), 1):
            self.assertEqual(self.brix("cat", "f.zip", "in.zip/a.txt", "--nth", str(n)), (0, content, []))
        self.assertEqual(self.brix("cat", "f.zip", "in.zip/a.txt", "--nth", "6"),
                         (4, b"", ["brix: f.zip: in.zip/a.txt: only 5 with this path"]))
        self.assertEqual(self.brix("cat", "f.zip", "in.zip", "--nth", "2")[:2], (0, inner[1]))
        self.assertEqual(self.brix("cat", "f.zip", "in.zip", "--nth", "0")[0], 64)
        odd = make_zip([(b"o\x1bd", b"escape"), (b"o\\x1bd", b"backslash")])
        for path, content in (("o\\x1bd", b"backslash"), ("o\\\\x1bd", b"backslash"), ("o\x1bd", b"escape")):
            self.assertEqual(self.brix("cat", "-", path, stdin=odd), (0, content, []), path)

    def test_failures(self):
        self.file("f.zip", PLAIN)
        self.assertEqual(self.brix("cat", "f.zip", "three.txt"), (4, b"", ["brix: f.zip: three.txt: no such member"]))
        self.assertEqual(self.brix("cat", "f.zip", "one.txt", "--max-size", "7")[:2], (2, b"1" * 7))
        self.file("e.zip", patch_headers(PLAIN, 6, 8, 1))
        self.assertEqual(self.brix("cat", "e.zip", "one.txt")[:2], (1, b""))


def main():
    global UNDER_EMULATOR
    COMMAND.extend(str(pathlib.Path(a).resolve()) if os.path.exists(a) else a for a in sys.argv[1:])
    UNDER_EMULATOR = len(COMMAND) > 1
    if not COMMAND:
        sys.exit(__doc__)
    result = unittest.main(argv=sys.argv[:1], exit=False).result
    failed = len(result.failures) + len(result.errors)
    print(f"{result.testsRun - failed - len(result.skipped)} passed, {failed} failed, {len(result.skipped)} skipped")
    sys.exit(1 if failed or result.testsRun == 0 else 0)


if __name__ == "__main__":
    main()

#!/usr/bin/env python3
"""Compares how the aligner reads generated gzip data with how Python's zlib and gzip modules read them. The data are
sound, damaged, truncated or followed by other bytes. The aligner must find the same reads and the same fault as the
modules.

    gzip_judge.py [N [SEED]]     generates N files [300]; the same seed gives the same files
"""

import collections
import contextlib
import gzip
import os
import random
import struct
import sys
import tempfile
import threading
import zlib
from pathlib import Path

from aligner_run import PROGRAM, REFERENCE, Run, ids

MAGIC = b"\x1f\x8b\x08"


def make_text(rng):
    count, length = (400, 1500) if rng.random() < 0.2 else (rng.randint(2, 30), 200)
    reads = ((f"r{i} x", "".join(rng.choices("ACGT", k=rng.randint(20, length)))) for i in range(count))
    if rng.random() < 0.3:
        return "".join(f">{title}\n{bases[:50]}\n{bases[50:] or 'A'}\n" for title, bases in reads).encode()
    qualities = "".join(rng.choices("#+5?I", k=length))
    return "".join(f"@{title}\n{bases}\n+\n{qualities[:len(bases)]}\n" for title, bases in reads).encode()


def make_member(rng, text, extra=None):
    """Returns a gzip member with random optional header fields. If `extra` is given, it is the only one, as in BGZF."""
    flags = rng.choice((0, 0, rng.randrange(32))) if extra is None else 4
    header = MAGIC + struct.pack("<BIBB", flags, rng.getrandbits(32), rng.choice((0, 2, 4)), rng.choice((3, 255)))
    if flags & 4:
        field = extra if extra is not None else rng.randbytes(rng.choice((0, 0, 5, 300)))
        header += struct.pack("<H", len(field)) + field
    for bit in (8, 16):
        if flags & bit:
            header += b"n" * rng.choice((0, 9, 400)) + b"\0"
    if flags & 2:
        header += struct.pack("<H", zlib.crc32(header) & 0xFFFF)
    packer = zlib.compressobj(rng.randint(0, 9), zlib.DEFLATED, -15, rng.randint(1, 9), rng.randint(0, 4))
    body = packer.compress(text) + packer.flush()
    return header + body + struct.pack("<II", zlib.crc32(text), len(text) & 0xFFFFFFFF)


def make_members(rng, text):
    if rng.random() < 0.2:
        block = rng.randint(100, 3000) if len(text) < 20000 else 60000
        return [make_member(rng, text[i:i + block], b"BC\2\0\0\0") for i in range(0, len(text), block)] + \
            [make_member(rng, b"", b"BC\2\0\0\0")]
    cuts = sorted(rng.randrange(len(text)) for _ in range(rng.randint(0, 4)))
    return [make_member(rng, text[a:b]) for a, b in zip([0, *cuts], [*cuts, len(text)])]


def make_file(rng):
    """Returns a file's bytes, the kind of fault in it, and its text without the fault."""
    text = make_text(rng)
    members = make_members(rng, text)
    hit = rng.randrange(len(members))
    start = sum(map(len, members[:hit]))
    end = start + len(members[hit])
    data = bytearray().join(members)
    # `place` is anywhere in the file, or in one member: near its start (in the header or code table) or in its trailer.
    place = rng.choice((rng.randrange(len(data)), start + rng.randrange(min(100, end - start)), end - rng.randint(1, 8)))
    fault = rng.choice(("none", "flip", "flip", "cut", "cut", "overwritten", "deleted", "padding", "trailing", "trailing",
                        "magic"))
    if fault == "flip":
        data[place] ^= 1 << rng.randrange(8)
    elif fault == "cut":
        del data[place:]
    elif fault == "overwritten":
        data[place:place + 64] = rng.choice((bytes(64), b"\xff" * 64, rng.randbytes(64)))
    elif fault == "deleted":
        del data[place:place + rng.randint(1, 9)]
    elif fault == "padding":
        data[start:start] = bytes(rng.choice((1, 600, 70000))) if hit else b""
        data += bytes(rng.choice((1, 513, 66000)))
    elif fault == "trailing":
        data += bytes(rng.choice((0, 3))) + rng.randbytes(rng.choice((1, 2, 20, 512, 514, 530, 2000)))
        data += rng.choice((b"", b"", bytes(700), MAGIC, make_member(rng, b"@late\nA\n+\nI\n")))
    elif fault == "magic":
        data[start + rng.randrange(2)] ^= 1 << rng.randrange(8)
    return bytes(data), fault, text


def unpack(data):
    """Returns the text up to any corruption, and the verdict: "whole", the fault, or the number of ignored bytes."""
    text, position = b"", 0
    while True:
        first = position == 0
        position = len(data) - len(data[position:].lstrip(b"" if first else b"\0"))
        rest = data[position:]
        if not first and not rest:
            return text, "whole"
        if not rest or not MAGIC[:2].startswith(rest[:2]):
            ignored = len(rest) - rest.count(0)
            return text, "not in gzip format" if first else "broken" if ignored > 512 or MAGIC in rest else ignored
        member = zlib.decompressobj(31)
        while not member.eof:
            if position == len(data):
                return text, "the file ends too early"
            piece, before = data[position:position + 512], member.copy()
            position += len(piece)
            try:
                text += member.decompress(piece)
            except zlib.error:
                for byte in piece:  # Byte by byte, because a failing call returns nothing.
                    try:
                        text += before.decompress(bytes([byte]))
                    except zlib.error as error:
                        return text, "the data are corrupt" + str(error).partition("decompressing data")[2]
        position -= len(member.unused_data)


class Stop(Exception):
    """Ends the reading. The reason is "end" after sound text, "invalid" at a rejected record, or the corruption."""


def read(text, damage):
    """Returns the reads of a text and what ended the reading:
    - None: the end of the text;
    - "abort": a FASTQ or empty text without a complete record, so that the process must end;
    - "invalid" or `damage`, as in Stop.
    `damage` is the corruption at the end of the text, or empty. An empty text with damage does not end the process."""
    position, records, reads = 0, 0, []

    def peek():
        if position == len(text) and damage:
            raise Stop(damage)
        return text[position:position + 1]

    def line():
        nonlocal position
        stop = text.find(b"\n", position)
        if stop < 0 and (damage or position > len(text)):
            raise Stop(damage or "end")
        start, position = position, len(text) + 1 if stop < 0 else stop + 1
        return text[start:position].removesuffix(b"\n").removesuffix(b"\r")

    try:
        fasta = peek() == b">"
        while True:
            if fasta:
                if not peek():
                    raise Stop("end")
                title, bases = line(), b""
                while peek() and peek() in b"ACGTU":
                    bases += line()
                valid = title.startswith(b">")
            else:
                title, bases, _, qualities = (line() for _ in range(4))
                valid = len(bases) == len(qualities) and all(33 <= quality <= 126 for quality in qualities)
            if not valid or bases.strip(b"ACGTU"):
                raise Stop("invalid")
            records += 1
            if len(title) > 1:
                reads.append(title[1:].split(b" ")[0].split(b"\t")[0])
    except Stop as stop:
        end = str(stop)
    if text[:1] != b">" and records == 0 and end != "invalid" and (text or not damage):
        return reads, "abort"
    return reads, None if end == "end" else end


def expected(path, data):
    """Returns the expected reads, whether the process must end, and the starts of the log records about the file."""
    text, verdict = unpack(data)
    with contextlib.suppress(EOFError, zlib.error, gzip.BadGzipFile, struct.error):
        same = gzip.decompress(data) == text and verdict == "whole"
        # gzip.decompress skips the header's checksum.
        assert same or "header" in str(verdict) or data == b"", (path, verdict)
    in_gzip = f"gzip error in {path}: "
    reads, end = read(text, verdict if isinstance(verdict, str) and verdict not in ("whole", "broken") else "")
    file_error = ("error", f"Error while processing input file {path}: ")
    ignored = [("warning", f"Ignored {verdict} bytes after the end of the gzip data in {path}")]
    messages = ignored if isinstance(verdict, int) and verdict > 0 else []
    if end == "invalid":
        messages = [*messages, file_error]
    elif end and text and not text.startswith(b">"):
        messages = [("warning", f"Caught exception, so setting END flag. {in_gzip}{end}")]
    elif end or verdict == "broken":
        messages = [(file_error[0], file_error[1] + in_gzip + (end or "a member is followed by more than 512 bytes"))]
    return sorted(set(reads)), end == "abort", messages


def judge(folder, files, threads):
    """Runs the aligner on `files`, {path: (bytes, fault, text)}. Every third file is a pipe. Only the first five of the
    files that must end the process are tried, each in a run of its own and never as a pipe. With eight or more
    `threads`, the aligner inflates regular files of 64 KiB or more ahead. Returns four counts:
    - files read wrongly;
    - files that must end the process;
    - of these, files not tried;
    - files read to the end although zlib rejects a code table. This is allowed if checksum and length are correct."""
    def feed():
        for path, (data, *_) in files.items():
            if path.is_fifo():
                with contextlib.suppress(BrokenPipeError), open(path, "wb", buffering=0) as pipe:
                    for start in range(0, len(data), 3001):
                        pipe.write(data[start:start + 3001])

    wanted = {path: expected(path, data) for path, (data, *_) in files.items()}
    aborting = [path for path in files if wanted[path][1]]
    for i, (path, (data, *_)) in enumerate(files.items()):
        if i % 3 == 0 and path not in aborting:
            os.mkfifo(path)
        else:
            path.write_bytes(data)
    command = ["-z", "-t", threads, "-i", "", "-s", folder / "out", "-a", REFERENCE]
    wrong = proved = 0
    tried = aborting[:5]
    for path in tried:
        run = Run(PROGRAM, command, f"{path}\n", folder)
        if run.status != "SIGABRT" or f"There is no complete read in {path}:" not in run.stderr:
            print(f"{path}: did not end the process as expected: status {run.status}\n{run.stderr}")
            wrong += 1
    threading.Thread(target=feed, daemon=True).start()
    run = Run(PROGRAM, command, "".join(f"{path}\n" for path in files if path not in aborting), folder)
    said = collections.defaultdict(list)
    for level, message in run.records():
        for path in files:
            if f"{path}: " in message or message.endswith(str(path)):
                said[path].append((level, message))
    for path in files:
        reads, aborts, messages = wanted[path]
        sam = folder / "out" / f"{path.stem}.sam"
        if aborts:
            continue
        found = ids([row.decode("latin-1") for row in sam.read_bytes().split(b"\n")[:-1] if row[:3] != b"@SQ"])
        found = sorted(name.encode("latin-1") for name in set(found))
        if not said[path] and "corrupt: invalid" in str(messages) and found == sorted(read(files[path][2], "")[0]):
            proved += 1
            continue
        same = len(said[path]) == len(messages) and all(
            level == want_level and message.startswith(want) for (level, message), (want_level, want) in zip(said[path], messages))
        if run.status != 0 or not same or found != reads:
            print(f"{path}: status {run.status}, {len(found)} reads of {len(reads)}, messages {said[path]}, not {messages}")
            wrong += 1
    return wrong, len(aborting), len(aborting) - len(tried), proved


def main(count=300, seed=1):
    rng = random.Random(seed)
    with tempfile.TemporaryDirectory(prefix="tavik_gzip_judge_") as folder:
        folder = Path(folder)
        made = [make_file(rng) for _ in range(count)]
        wrong, aborting, untried, proved = (sum(results) for results in zip(*(
            judge(folder, {folder / f"f{i}.gz": file for i, file in enumerate(made) if i % 2 == half}, threads)
            for half, threads in enumerate(("2", "32")))))
    print(f"seed {seed}: {count} files, {dict(collections.Counter(fault for _, fault, _ in made))}; {aborting} without a "
          f"complete read, {untried} of them not tried; {proved} read although zlib rejects their code table; {wrong} wrong")
    return wrong != 0


sys.exit(main(*map(int, sys.argv[1:])))

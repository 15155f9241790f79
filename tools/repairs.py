"""Repairs of long files: recordings that ended anywhere, and 6 GB in one RIFF list.

usage: repairs.py [--cuts N] [--seconds N] [--seed N] [--frames N] PROGRAM

A film of --seconds, which ffmpeg makes, is cut at random places, its index and sizes are lost: the mended copy has all
whole chunks in its index, and ffmpeg reads each of them as it does in the film. A sparse file of --frames of 1 MB in one
RIFF list becomes OpenDML in 1.2 times the time in which cp writes all its bytes, in 64 MiB of memory.
Findings are printed; then the exit status is 1.
"""

import argparse
import os
import pathlib
import random
import struct
import subprocess
import sys
import tempfile
import time
from collections import defaultdict

PATIENCE = 1800  # seconds
LONGEST = 1.2  # times what cp takes
MOST_MEMORY = 64 << 10  # KiB
LONG_AGO = 1_500_000_000
ENTRY = struct.Struct("<4sIII")


def chunk(name, data):
    return name + struct.pack("<I", len(data)) + data + b"\0" * (len(data) % 2)


def list_of(form, *chunks):
    return chunk(b"LIST", form + b"".join(chunks))


def run(*command, **options):
    return subprocess.run([os.fspath(word) for word in command], capture_output=True, timeout=PATIENCE, check=False,
                          **options)


# Recordings that ended anywhere


def make_film(path, seconds):
    """A film with a frame in each video chunk; None where there is no ffmpeg."""
    try:
        result = run("ffmpeg", "-v", "error", "-f", "lavfi", "-i", f"testsrc2=size=96x64:rate=25:duration={seconds}",
                     "-f", "lavfi", "-i", f"sine=frequency=440:sample_rate=8000:duration={seconds}", "-c:v", "mpeg4",
                     "-bf", "0", "-c:a", "pcm_s16le", "-bitexact", path)
    except FileNotFoundError:
        return None
    if result.returncode != 0:
        raise RuntimeError(result.stderr.decode())
    return path.read_bytes()


def packets(path):
    """Sizes and checksums of the packets of each stream, as ffmpeg reads them."""
    result = run("ffmpeg", "-v", "error", "-i", path, "-map", "0", "-c", "copy", "-f", "framecrc", "-")
    found = defaultdict(list)
    for line in result.stdout.decode().splitlines():
        if not line.startswith("#"):
            stream, *_, size, checksum = (word.strip() for word in line.split(",")[:6])
            found[stream].append((size, checksum))
    return found


def entries(data, at):
    size, = struct.unpack_from("<I", data, at + 4)
    return [ENTRY.unpack_from(data, place) for place in range(at + 8, at + 8 + size, ENTRY.size)]


class Recording:
    def __init__(self, program, directory, data):
        self.program = program
        self.directory = directory
        self.data = data
        self.movi = data.index(b"movi")
        self.index = self.movi - 4 + struct.unpack_from("<I", data, self.movi - 4)[0] + 4
        self.entries = entries(data, self.index)
        film = directory / "film.avi"
        film.write_bytes(data)
        self.packets = packets(film)

    def findings(self, cut):
        """What is wrong with the mended recording that ended at byte `cut`."""
        path, copy = self.directory / "cut.avi", self.directory / "new.avi"
        data = bytearray(self.data[:cut])
        data[4:8] = data[self.movi - 4:self.movi] = bytes(4)
        path.write_bytes(data)
        os.utime(path, (LONG_AGO, LONG_AGO))
        result = run(self.program, "repair", "-q", "--force", path, "-o", copy)
        if result.returncode != 0:
            yield f"exit status {result.returncode}: {result.stderr.decode()}"
            return
        new = copy.read_bytes()
        if b"idx1" not in new:
            yield "no index"
            return
        found = entries(new, new.rindex(b"idx1"))
        whole = [entry for entry in self.entries if self.movi + entry[2] + 8 + entry[3] <= cut]
        if found[:len(whole)] != whole or len(found) > len(whole) + 1:
            yield f"{len(found)} entries for {len(whole)} whole chunks"
        read = packets(copy)
        for stream in self.packets:
            count = sum(1 for entry in whole if entry[0].startswith(b"%02d" % int(stream)) and entry[3] > 0)
            if read[stream][:count] != self.packets[stream][:count]:
                yield f"ffmpeg reads {len(read[stream])} packets of stream {stream}; {count} are whole"


def cut_recordings(program, directory, seconds, cuts, seed):
    data = make_film(directory / "made.avi", seconds)
    if data is None:
        print("repairs: no ffmpeg, so that no recording is cut")
        return 0
    recording = Recording(program, directory, data)
    places = random.Random(seed)
    found = 0
    for _ in range(cuts):
        cut = places.randrange(recording.movi + 1000, recording.index)
        for finding in recording.findings(cut):
            print(f"cut at {cut}: {finding}")
            found += 1
    print(f"repairs: {cuts} cuts of {seconds} s with {len(recording.entries)} chunks, {found} findings")
    return found


# One long RIFF list


def make_long(path, frames):
    """Motion JPEG and sound; sizes of lists have 32 bits and wrap. All data but a few bytes a frame is a hole."""
    frame_size, sound_size = 1_000_000, 4000
    main = struct.pack("<14I", 40000, 0, 0, 0x10, frames, 0, 2, 0, 640, 480, 0, 0, 0, 0)
    video = struct.pack("<4s4sIHH8I4h", b"vids", b"MJPG", 0, 0, 0, 0, 1, 25, 0, frames, frame_size, 0, 0, 0, 0, 640, 480)
    picture = struct.pack("<IiiHH4sIiiII", 40, 640, 480, 1, 24, b"MJPG", 640 * 480 * 3, 0, 0, 0, 0)
    audio = struct.pack("<4s4sIHH8I4h", b"auds", b"", 0, 0, 0, 0, 1, 25000, 0, frames * 1000, sound_size, 0, 4, 0, 0, 0,
                        0)
    wave = struct.pack("<HHIIHHH", 1, 2, 25000, 100000, 4, 16, 0)
    headers = list_of(b"hdrl", chunk(b"avih", main),
                      list_of(b"strl", chunk(b"strh", video), chunk(b"strf", picture)),
                      list_of(b"strl", chunk(b"strh", audio), chunk(b"strf", wave)))
    data_size = 4 + frames * (8 + frame_size + 8 + sound_size)
    with open(path, "wb") as file:
        file.write(b"RIFF" + struct.pack("<I", (4 + len(headers) + 8 + data_size) & 0xFFFFFFFF) + b"AVI " + headers)
        file.write(b"LIST" + struct.pack("<I", data_size & 0xFFFFFFFF) + b"movi")
        at = file.tell()
        for _ in range(frames):
            file.seek(at)
            file.write(b"00dc" + struct.pack("<I", frame_size) + b"\xff\xd8\xff\xe0\0\x10JFIF\0\1\1\0\0\1\0\1\0\0")
            file.seek(at + 8 + frame_size - 2)
            file.write(b"\xff\xd901wb" + struct.pack("<I", sound_size))
            at += 8 + frame_size + 8 + sound_size
        file.truncate(at)
    os.utime(path, (LONG_AGO, LONG_AGO))


def measured(*command):
    """Seconds, KiB of memory, and the exit status."""
    begin = time.monotonic()
    with subprocess.Popen([os.fspath(word) for word in command], stdout=subprocess.DEVNULL) as process:
        _, status, usage = os.wait4(process.pid, 0)
        process.returncode = os.waitstatus_to_exitcode(status)
    return time.monotonic() - begin, usage.ru_maxrss, process.returncode


def split_long(program, directory, frames):
    film, copy, new = directory / "long.avi", directory / "copy.avi", directory / "long-new.avi"
    make_long(film, frames)
    copying, _, _ = min(measured("cp", "--sparse=never", "--reflink=never", film, copy) for _ in range(2))
    copy.unlink()
    # The better of two, as of cp: others use the machine too.
    seconds, memory, status = min(measured(program, "repair", "-q", "--force", film, "-o", new) for _ in range(2))
    check = run(program, "check", "--level", "default", "-q", new)
    found = 0
    for is_wrong, finding in [(status != 0, f"repair ends with {status}"),
                              (check.returncode != 0, f"check ends with {check.returncode}"),
                              (seconds > LONGEST * copying, "it takes longer than it should"),
                              (memory > MOST_MEMORY, "it takes more memory than it should")]:
        if is_wrong:
            print(f"{film.stat().st_size} bytes in one RIFF list: {finding}")
            found += 1
    print(f"repairs: {film.stat().st_size} bytes in one RIFF list: {seconds:.1f} s and {memory / 1024:.0f} MiB; "
          f"cp takes {copying:.1f} s")
    return found


def main(arguments):
    parser = argparse.ArgumentParser(usage=__doc__.split("\n\n")[1].removeprefix("usage: "))
    parser.add_argument("--cuts", type=int, default=100)
    parser.add_argument("--seconds", type=int, default=7200)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--frames", type=int, default=6000)
    parser.add_argument("program", type=pathlib.Path)
    options = parser.parse_args(arguments)
    with tempfile.TemporaryDirectory(prefix="quenlofar-repairs-", dir="/var/tmp") as directory:
        found = cut_recordings(options.program, pathlib.Path(directory), options.seconds, options.cuts, options.seed)
        if options.frames > 0:
            found += split_long(options.program, pathlib.Path(directory), options.frames)
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))

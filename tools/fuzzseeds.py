#!/usr/bin/env python3
"""Makes inputs for the fuzz targets.

fuzzseeds.py corpus             writes the telling small inputs that are kept with the sources, */fuzz/corpus/TARGET:
                                one file per input, named after what it tries
fuzzseeds.py samples DIRECTORY  cuts inputs out of the AVI files of samples/golden: DIRECTORY/TARGET

How bytes become calls is said in the sources of the targets and, for sinks, in container-abstract/fuzz/callscript.h.
"""

import struct
import sys
from pathlib import Path


def u16(number):
    return struct.pack("<H", number & 0xFFFF)


def u32(number):
    return struct.pack("<I", number & 0xFFFFFFFF)


def u64(number):
    return struct.pack("<Q", number & 0xFFFFFFFFFFFFFFFF)


def chunk(name, data, size=None):
    return name + u32(len(data) if size is None else size) + data + b"\0" * (len(data) % 2)


def list_of(form, *parts, name=b"LIST", size=None):
    return chunk(name, form + b"".join(parts), size)


def avi(*parts, size=None, form=b"AVI "):
    """A file: below 156 bytes none is looked at, so it is filled up to that."""
    data = b"".join(parts)
    if len(data) < 160:
        data += chunk(b"JUNK", b"\0" * (160 - len(data)))
    return list_of(form, data, name=b"RIFF", size=size)


def mode(flags=0, place=0, length=0, call=0, bound=0):
    return struct.pack("<BHHHB", flags, place, length, call, bound)


PLAIN = mode()
WINDOWED, DAMAGED, SHRUNKEN, FAILING, CANCELLED, FEW_ITEMS, FEW_LEVELS, LITTLE_WORK = (1 << bit for bit in range(8))


def stream_header(kind, scale=1, rate=25, handler=b"MJPG"):
    fields = kind + handler + u32(0) + u16(0) + u16(0) + u32(0) + u32(scale) + u32(rate) + u32(0) + u32(100)
    return chunk(b"strh", fields + u32(0) + u32(0xFFFFFFFF) + u32(0) + u16(0) * 4)


def video_format(compression=b"MJPG"):
    return chunk(b"strf", u32(40) + u32(32) + u32(0xFFFFFFF0) + u16(1) + u16(24) + compression + u32(0) * 5)


def audio_format(tag, extra, extra_size=None):
    size = len(extra) if extra_size is None else extra_size
    return chunk(b"strf", u16(tag) + u16(2) + u32(44100) + u32(176400) + u16(4) + u16(16) + u16(size) + extra)


def index_header(longs, kind, entries, base=0):
    return u16(longs) + bytes([0, kind]) + u32(entries) + b"00dc" + u64(base) + u32(0)


def nested(depth, room):
    """Lists in lists; each claims `room` bytes, so that they end far behind the file."""
    return b"".join(b"LIST" + u32(room) + b"movi" for _ in range(depth))


def run_inputs():
    video = list_of(b"strl", stream_header(b"vids"), video_format())
    audio = list_of(b"strl", stream_header(b"auds"), audio_format(0x55, b"\1" * 12))
    header = list_of(b"hdrl", chunk(b"avih", u32(40000) + b"\0" * 52), video, audio)
    movi = list_of(b"movi", chunk(b"00dc", b"frame"), chunk(b"01wb", b"sound"), chunk(b"ix00", b"\0" * 24))
    index = chunk(b"idx1", b"".join(b"00dc" + u32(0x10) + u32(4) + u32(5) for _ in range(3)))
    small = avi(header, movi, index)
    properties = b"\0" * 32

    yield "small-file", small + PLAIN
    yield "small-file-read-in-pieces-of-7", small + mode(WINDOWED, length=6)
    yield "small-file-damaged-in-the-middle", small + mode(DAMAGED, place=200, length=40)
    yield "small-file-damaged-header", small + mode(DAMAGED, place=4, length=4)
    yield "small-file-shrunken", small + mode(SHRUNKEN, place=300, length=100)
    yield "sink-fails", small + mode(FAILING, call=20)
    yield "sink-fails-at-first-call", small + mode(FAILING)
    yield "cancelled", small + mode(CANCELLED, call=30)
    yield "item-limit", small + mode(FEW_ITEMS, bound=30)
    yield "depth-limit", small + mode(FEW_LEVELS, bound=2)
    yield "work-limit", small + mode(LITTLE_WORK, bound=5)
    yield "work-limit-read-in-pieces", small + mode(LITTLE_WORK | WINDOWED, length=10, bound=5)
    yield "nested-lists", b"RIFF" + u32(12 * 400) + b"AVI " + nested(400, 12 * 400) + PLAIN
    yield "overlapping-lists", b"RIFF" + u32(512) + b"AVI " + nested(20, 0x7FFFFFF0) + chunk(b"JUNK", b"\0" * 80) + PLAIN
    yield "overlapping-lists-short", avi(*(b"LIST" + u32(60) + b"rec " for _ in range(30))) + PLAIN
    yield "idx1-of-4-gigabytes", avi(header, b"idx1" + u32(0xFFFFFFF0) + b"00dc" + b"\0" * 12) + PLAIN
    yield "idx1-of-unknown-stream", avi(header, chunk(b"idx1", b"07dc" + u32(16) + u32(4) + u32(5))) + PLAIN
    yield "idx1-short-ids", avi(header, chunk(b"idx1", b"dc\0\0" + u32(16) + u32(4) + u32(5) + b" 0db" + u32(16) * 3)) + PLAIN
    yield "fields-per-frame-0xFFFFFFFF", avi(chunk(b"vprp", properties + u32(0xFFFFFFFF))) + PLAIN
    yield "super-index-stride-0", avi(chunk(b"indx", index_header(0, 0, 0xFFFFFFFF) + b"\0" * 16)) + PLAIN
    yield "super-index-without-rate", avi(
        list_of(b"strl", stream_header(b"vids", scale=0, rate=0), chunk(b"indx", index_header(4, 0, 2) + b"\xff" * 32))) + PLAIN
    yield "standard-index-base-wraps", avi(chunk(b"indx", index_header(2, 1, 3, base=2**64 - 1) + b"\xff" * 24)) + PLAIN
    yield "other-index", avi(chunk(b"indx", index_header(4, 9, 2) + b"\1" * 32)) + PLAIN
    yield "chunk-of-4-gigabytes", avi(b"00dc" + u32(0xFFFFFFFF) + b"x" * 20) + PLAIN
    yield "list-of-4-gigabytes", avi(b"LIST" + u32(0xFFFFFFFF) + b"movi" + b"x" * 20) + PLAIN
    yield "riff-of-4-gigabytes", avi(header, size=0xFFFFFFFF) + PLAIN
    yield "riff-of-0-bytes", avi(header, size=0) + PLAIN
    yield "garbage-between-chunks", avi(b"\1\2\3", header, b"\xff" * 37, movi, b"abcd" + u32(8) + b"LISTmovi", b"\0" * 11) + PLAIN
    yield "known-id-inside-unknown-chunk", avi(b"abcd" + u32(60) + b"x" * 21 + movi) + PLAIN
    yield "known-id-next-to-known-id", avi(b"abcd" + u32(40) + b"idx1LISTRIFF" + b"x" * 40) + PLAIN
    yield "unknown-chunk-behind-the-end", avi(header) + b"abcd" + u32(100) + b"x" * 50 + PLAIN
    yield "unknown-chunk-of-2-bytes", avi(b"abcd" + u32(2) + b"xx" + b"efgh" + u32(3) + b"yyy" + movi) + PLAIN
    yield "dmlh-of-0-bytes", avi(list_of(b"odml", chunk(b"dmlh", b""), chunk(b"dmlh", u32(5) + b"\0" * 244))) + PLAIN
    yield "audio-formats", avi(audio_format(1, b""), audio_format(0x50, b"\2" * 22), audio_format(0xFFFE, b"\3" * 22),
                               audio_format(0x161, b"\4" * 10, extra_size=0xFFFF),
                               stream_header(b"auds"), audio_format(1, b""), audio_format(0x50, b"\2" * 22),
                               audio_format(0xFFFE, b"\3" * 22), audio_format(0x55, b"\4" * 4),
                               audio_format(0x161, b"\4" * 10, extra_size=0xFFFF)) + PLAIN
    yield "sub-format-in-words", avi(stream_header(b"auds"),
                                     audio_format(0xFFFE, b"\0" * 6 + b"{00000001-0000-0010-8000-00aa00389b71}")) + PLAIN
    yield "info-texts", avi(list_of(b"INFO", chunk(b"ISFT", b"Lavf\0\0"), chunk(b"INAM", "na\u00efve \u65e5".encode()),
                                    chunk(b"IART", b"caf\xe9"), chunk(b"ICMT", b""), chunk(b"ICRD", b"\x1b[31m"),
                                    chunk(b"IGNR", ("\u00e9" * 70).encode()), chunk(b"IARL", b"not shown"))) + PLAIN
    yield "avix-part", avi(header, movi) + avi(movi, form=b"AVIX") + PLAIN
    yield "cut-in-a-header", small[:250] + PLAIN
    yield "lower-case-riff", b"riff" + small[4:8] + b"avi " + small[12:] + PLAIN
    yield "no-avi-file", b"RIFF" + u32(200) + b"WAVE" + b"\0" * 200 + PLAIN
    yield "eleven-bytes", b"RIFF\0\0\0\0AVI" + PLAIN
    yield "empty", b""


HANDLERS = ["avih", "dmlh", "vprp", "strh", "strf", "strf video", "strf audio", "idx1", "indx", "INFO", "unknown",
            "walker", "look-up"]
OFFSET_INSIDE, SIZE_INSIDE, HANDLER_FEW_ITEMS = 2, 4, 8


def handler_input(handler, data, size=None, offset=0, modes=OFFSET_INSIDE, streams=1, numbers=1, stream_type=1,
                  time_base=25.0, movi_offset=0, count=1):
    case = bytes([HANDLERS.index(handler), modes, streams, numbers]) + u32(len(data) if size is None else size)
    case += u64(offset) + u32(stream_type) + struct.pack("<d", time_base) + u64(movi_offset) + u32(count)
    return case + bytes(range(numbers)) + u64(0) * streams + data


def handler_inputs():
    entries = b"".join(b"00dc" + u32(0x10) + u32(4 + 16 * i) + u32(8) for i in range(4))
    yield "avih-short", handler_input("avih", u32(0) + b"\xff" * 20)
    yield "dmlh-of-2-bytes", handler_input("dmlh", b"\1\2\3\4\5\6", size=2)
    yield "dmlh-future", handler_input("dmlh", b"\1" * 300)
    yield "vprp-fields-0xFFFFFFFF", handler_input("vprp", b"\0" * 32 + u32(0xFFFFFFFF))
    yield "strh-video", handler_input("strh", stream_header(b"vids")[8:])
    yield "strh-scale-0", handler_input("strh", stream_header(b"vids", scale=0)[8:])
    yield "strh-without-records", handler_input("strh", stream_header(b"vids")[8:], streams=0, numbers=0)
    yield "strf-top-down", handler_input("strf", video_format()[8:])
    yield "strf-audio-extra-behind-the-end", handler_input("strf audio", audio_format(0x50, b"\1" * 5, extra_size=22)[8:])
    yield "strf-audio-of-14-bytes", handler_input("strf audio", b"\1" * 14)
    yield "strf-audio-at-the-end-of-all-offsets", handler_input("strf audio", b"\1" * 40, offset=2**64 - 8, modes=0)
    yield "idx1-entries", handler_input("idx1", entries)
    yield "idx1-far-movi", handler_input("idx1", entries, movi_offset=2**64 - 1)
    yield "idx1-without-counters", handler_input("idx1", entries, streams=0)
    yield "idx1-read-in-pieces", handler_input("idx1", entries, modes=OFFSET_INSIDE | 1 | 0x30)
    yield "indx-rate-nan", handler_input("indx", index_header(4, 0, 1) + b"\xff" * 16, time_base=float("nan"))
    yield "indx-rate-tiny", handler_input("indx", index_header(4, 0, 1) + b"\xff" * 16, time_base=5e-324)
    yield "indx-rate-negative", handler_input("indx", index_header(4, 0, 1) + b"\xff" * 16, time_base=-1e-300)
    yield "indx-standard", handler_input("indx", index_header(2, 1, 2) + b"\x80" * 16)
    yield "indx-header-alone", handler_input("indx", index_header(0, 1, 0xFFFFFFFF), size=0xFFFFFFFF)
    yield "info-text", handler_input("INFO", b"text\0\0")
    yield "walker-list", handler_input("walker", list_of(b"hdrl", stream_header(b"auds")), movi_offset=4 * 100)
    yield "walker-before-the-beginning", handler_input("walker", b"LIST\xff\xff\xff\xff", offset=0, movi_offset=0)
    yield "look-up-ids", handler_input("look-up", b"RIFF00dcix0000ix-1wb 1db+1dcix 9ix9 ITCH0xdb1 pc")


def text_inputs():
    yield "utf8-cut-off", "caf\u00e9 \u65e5".encode()[:-1]
    yield "utf8-bom", b"\xef\xbb\xbfx\xef\xbb\xbf"
    yield "utf8-replacement", "a\ufffdb".encode()
    yield "utf8-overlong", b"\xc0\xaf\xe0\x80\xaf\xf0\x80\x80\xaf"
    yield "utf8-surrogates", b"\xed\xa0\x80\xed\xb0\x80"
    yield "utf8-beyond-unicode", b"\xf4\x90\x80\x80\xf5\x80\x80\x80"
    yield "latin1", b"\xe9t\xe9 \x80\x9f\xa0"
    yield "controls", bytes(range(0x20)) + b"\x7f\xc2\x80\xc2\x9f\xc2\xa0"
    yield "zeros", b"a\0b\0\0"
    yield "units", struct.pack("<6H", 0xD800, 0x41, 0xDC80, 0xD83D, 0xDE00, 0xDCFF)


def check_mode(flags=0, place=0, length=0, call=0):
    """How fuzz_check reads the bytes before it."""
    return struct.pack("<BHHB", flags, place, length, call)


CHECK_PLAIN = check_mode()
CHECK_DAMAGED, CHECK_SHRUNKEN, CHECK_CANCELLED, CHECK_QUICK, CHECK_DEFAULT = (1 << bit for bit in range(5))


def index_entry(name, offset, size, flags=0x10):
    return name + u32(flags) + u32(offset) + u32(size)


def check_inputs():
    video = list_of(b"strl", stream_header(b"vids"), video_format())
    audio = list_of(b"strl", stream_header(b"auds"), audio_format(1, b""))
    header = list_of(b"hdrl", chunk(b"avih", u32(40000) + b"\0" * 52), video, audio)
    data = chunk(b"00dc", b"\x80frame") + chunk(b"01wb", b"\x80sound!") + chunk(b"00dc", b"\xfflong frame")
    entries = index_entry(b"00dc", 4, 6) + index_entry(b"01wb", 18, 7) + index_entry(b"00dc", 34, 11)
    movi, index = list_of(b"movi", data), chunk(b"idx1", entries)
    film = avi(header, movi, index)

    yield "film", film + CHECK_PLAIN
    yield "film-level-default", film + check_mode(CHECK_DEFAULT)
    yield "film-level-quick", film + check_mode(CHECK_QUICK)
    yield "film-damaged-headers", film + check_mode(CHECK_DAMAGED, place=100, length=60)
    yield "film-damaged-data", film + check_mode(CHECK_DAMAGED, place=len(film) - 90, length=16)
    yield "film-shrunken", film + check_mode(CHECK_SHRUNKEN, place=len(film) - 80, length=20)
    yield "film-cancelled", film + check_mode(CHECK_CANCELLED, call=0)
    yield "film-cancelled-later", film + check_mode(CHECK_CANCELLED | CHECK_DAMAGED, place=0xFFFF, length=16, call=20)
    yield "film-cut-in-the-data", film[:-70] + CHECK_PLAIN
    yield "film-cut-in-a-header", film[:-len(index) - 35] + CHECK_PLAIN
    yield "open-sizes", b"RIFF" + u32(0) + b"AVI " + header + b"LIST" + u32(0) + b"movi" + data + CHECK_PLAIN
    yield "sizes-of-4-gigabytes", b"RIFF" + u32(0xFFFFFFFF) + b"AVI " + header + b"LIST" + u32(0xFFFFFFFF) + b"movi" + data + CHECK_PLAIN
    yield "garbage-between-chunks", avi(header, list_of(b"movi", data, b"\1\2\3\4\5", data), index) + CHECK_PLAIN
    yield "zeros-between-chunks", avi(header, list_of(b"movi", data, b"\0" * 600, data), index) + CHECK_PLAIN
    yield "chunk-swallows-the-others", avi(header, list_of(b"movi", chunk(b"00dc", data * 4, size=200), data), index) + CHECK_PLAIN
    yield "padding-missing", avi(header, list_of(b"movi", (b"00dc" + u32(3) + b"\x80\x81\x82") * 6)) + CHECK_PLAIN
    yield "two-lists-of-data", avi(header, movi, movi, index) + CHECK_PLAIN
    yield "second-file-behind", film + film + CHECK_PLAIN
    yield "bytes-before-and-behind", b"\1\2\3\4" * 3 + film + b"\0" * 700 + b"end" + CHECK_PLAIN
    yield "no-headers", avi(movi, index) + CHECK_PLAIN
    yield "undeclared-streams", avi(header, list_of(b"movi", b"".join(chunk(b"%02ddc" % number, b"") for number in range(100)))) + CHECK_PLAIN
    yield "index-of-fillers", avi(header, movi, chunk(b"idx1", index_entry(b"7Fxx", 0, 0) * 3)) + CHECK_PLAIN
    yield "index-with-a-rest", avi(header, movi, chunk(b"idx1", entries + b"\0" * 8)) + CHECK_PLAIN
    yield "index-backwards", avi(header, movi, chunk(b"idx1", entries[32:] + entries[16:32] + entries[:16])) + CHECK_PLAIN
    yield "index-of-one-chunk", avi(header, movi, chunk(b"idx1", entries[:16] * 20)) + CHECK_PLAIN
    yield "index-far-off", avi(header, movi, chunk(b"idx1", index_entry(b"00dc", 0xFFFFFFFF, 0xFFFFFFFF) * 4)) + CHECK_PLAIN
    yield "two-indexes", avi(header, movi, index, index) + CHECK_PLAIN
    yield "super-index-to-itself", avi(
        list_of(b"hdrl", chunk(b"avih", u32(40000) + b"\0" * 52),
                list_of(b"strl", stream_header(b"vids"), video_format(),
                        chunk(b"indx", index_header(4, 0, 2) + (u64(240) + u32(32) + u32(1)) * 2))), movi) + CHECK_PLAIN
    yield "standard-index-far-base", avi(header, list_of(
        b"movi", data, chunk(b"ix00", index_header(2, 1, 2, base=2**63) + u32(8) + u32(6) + u32(0xFFFFFFFF) * 2))) + CHECK_PLAIN
    yield "field-index", avi(header, list_of(
        b"movi", data, chunk(b"ix00", index_header(3, 1, 1)[:2] + b"\1" + index_header(3, 1, 1)[3:] + u32(8) + u32(6) + u32(90)))) + CHECK_PLAIN
    yield "rec-lists", avi(header, list_of(b"movi", list_of(b"rec ", data), list_of(b"rec ", data)),
                           chunk(b"idx1", index_entry(b"rec ", 4, len(data) + 4, 1))) + CHECK_PLAIN
    yield "nested-lists", b"RIFF" + u32(12 * 400) + b"AVI " + nested(400, 12 * 400) + CHECK_PLAIN
    yield "parts-of-a-film", avi(header, movi, index) + avi(movi, form=b"AVIX") + CHECK_PLAIN
    yield "film-later", b"\0" * 512 + film + CHECK_PLAIN
    yield "jpeg-cut", avi(header, list_of(b"movi", chunk(b"00dc", b"\xff\xd8\xff\xc0\0\x11\x08\0\x10\0\x20"))) + CHECK_PLAIN
    yield "coded-frames", b"".join(
        avi(list_of(b"hdrl", list_of(b"strl", stream_header(b"vids", handler=codec), video_format(codec))),
            list_of(b"movi", chunk(b"00dc", payload), chunk(b"00dc", payload[:5])))
        for codec, payload in ((b"XVID", b"\0\0\1\x20\x00\xc8\x88\x80\0\0\1\xb6\x10"), (b"H264", b"\0\0\0\1\x67\x42\0\x0a\xf8\x41\xa2\0\0\1\x65\x88"),
                               (b"dvsd", b"\x1f\x07\0\xbf" + b"\0" * 76))) + CHECK_PLAIN
    yield "sound-of-mp3", avi(
        list_of(b"hdrl", list_of(b"strl", stream_header(b"auds"), audio_format(0x55, b"\1" * 12))),
        list_of(b"movi", chunk(b"00wb", b"\xff\xfb\x90\x64" + b"\0" * 413), chunk(b"00wb", b"\xff\xfb\xa0\x64" * 3))) + CHECK_PLAIN
    yield "eleven-bytes", b"RIFF\0\0\0\0AVI" + CHECK_PLAIN
    yield "no-avi-file", b"RIFF" + u32(200) + b"WAVE" + b"\0" * 200 + CHECK_PLAIN
    yield "empty", b""


def sample_inputs(path):
    data = path.read_bytes()
    yield "fuzz_check", path.stem, data + CHECK_PLAIN
    yield "fuzz_repair", path.stem, data + b"\0"
    yield "fuzz_repair", path.stem + "-moved", data + b"\xe0"
    yield "fuzz_run", path.stem, data + PLAIN
    yield "fuzz_run", path.stem + "-windowed", data + mode(WINDOWED, length=100)
    handlers = {b"avih": "avih", b"dmlh": "dmlh", b"vprp": "vprp", b"strh": "strh", b"idx1": "idx1", b"indx": "indx"}
    stream_type = 0
    for name in (*handlers, b"strf", b"ISFT", b"INAM", b"JUNK"):
        at = data.find(name)
        while at >= 0:
            size = min(struct.unpack_from("<I", data.ljust(at + 8, b"\0"), at + 4)[0], 2048)
            payload = data[at + 8:at + 8 + size]
            title = f"{path.stem}-{name.decode()}-{at}"
            if name in handlers:
                yield "fuzz_handler", title, handler_input(handlers[name], payload)
            elif name == b"strf":
                stream_type = 2 if data[max(0, at - 64):at - 60] == b"auds" else 1
                yield "fuzz_handler", title, handler_input("strf", payload, stream_type=stream_type)
            else:
                yield "fuzz_text", title, payload[:127]
            at = data.find(name, at + 1)


def number(value):
    return b"\3" + u64(value)


def text(value):
    units = value.encode("utf-16-le", "surrogatepass")
    return bytes([len(units) // 2 << 1 | 1]) + units


LONG_TEXT = bytes([126 << 1 | 1])  # 33 units that follow, 1100 times
BEGIN, LEAF, UNPARSED, FRAME, END, REPEAT = 0, 2, 4, 5, 6, 7
# What changes from one repeated call to the next.
INDEX, VALUE, MEANING, NAME, AND_END = 0x08, 0x10, 0x20, 0x40, 0x80


def begin(title, offset=0, size=8, index=None):
    ordinal = b"\0" if index is None else b"\1" + number(index)
    return bytes([BEGIN]) + number(offset) + number(size) + text(title) + ordinal


def leaf(name, value, offset=0, size=4, meaning=None):
    head = bytes([LEAF | (0 if meaning is None else 0x10)]) + number(offset) + number(size) + text(name)
    return head + b"\1" + text(value) + (b"" if meaning is None else text(meaning))


def frame(number_in_stream, offset, size, stream=0):
    return bytes([FRAME | 0x10, 1]) + u32(stream) + number(number_in_stream) + number(offset) + number(size)


def repeat(times, what=0):
    return bytes([REPEAT | what]) + u16(times)


def script(*calls, container=True, ends_all=True):
    return bytes([container | 4 * ends_all]) + text("a.avi") + (text("AVI") if container else b"") + b"\0" + b"".join(calls)


def sink_inputs():
    yield "empty-document", script(container=False)
    yield "no-input", b""
    yield "one-of-each", script(begin("LIST(hdrl)"), leaf("dwRate", "25", meaning="fps"), bytes([UNPARSED]) + number(8) * 2
                                + text(""), bytes([END]), frame(0, 100, 200))
    yield "lone-surrogates", script(begin("\ud800"), leaf("a\udc00", "\udfff\ud800", meaning="\U0001f600\ud83d"))
    yield "control-characters", script(leaf("\0\1\n\r\t\x1f\x7f", '"\\/\b\f', meaning="\u2028\ufeff\uffff"))
    yield "text-longer-than-any-buffer", script(begin("x"), bytes([LEAF]) + number(0) * 2 + LONG_TEXT
                                                + "abcdefghijklmnopqrstuvwxyz\u00e9\u20ac\ud83d\ude00\udc00\0\"".encode("utf-16-le", "surrogatepass"))
    yield "numbers-at-their-ends", script(begin("x", 2**64 - 1, 2**64 - 1, 2**63 - 1), begin("y", 2**63, 2**32, 2**64 - 2),
                                          leaf("z", "4294967295", 2**46 - 1, 2**32 - 1), leaf("z", "4294967296", 2**46, 2**32))
    yield "values-that-look-like-numbers", script(*(leaf("v", value) for value in (
        "", "0", "00", "01", "-1", "+1", "4294967296", "99999999999", "1 ", "\0", "a\0b", "abcd", "abcde", "\u00ff", "\u0100")))
    yield "nodes-left-open", script(begin("a"), repeat(300), leaf("b", "c"), ends_all=False)
    yield "many-leaves", script(begin("a"), leaf("b", "c"), repeat(9000, VALUE), bytes([END]), leaf("d", "e"))
    yield "more-labels-than-are-kept", script(begin("a"), leaf("bbbb", "c"), repeat(20000, NAME | MEANING))
    yield "series-of-nodes", script(begin("a", index=0), repeat(6000, INDEX | AND_END), bytes([END]), leaf("b", "c"))
    yield "series-with-a-gap", script(begin("a"), begin("b", index=5), bytes([END]), begin("b", index=6), bytes([END]),
                                      begin("b", index=9), bytes([END]))
    yield "many-frames", script(frame(0, 0, 100), repeat(700), frame(5, 2**47, 2**32, 1), repeat(3), frame(1, 2, 3, 2**32 - 1))


def corpus_inputs():
    for name, data in run_inputs():
        yield "container-avi", "fuzz_run", name, data
    for name, data in handler_inputs():
        yield "container-avi", "fuzz_handler", name, data
    for name, data in check_inputs():
        yield "container-avi", "fuzz_check", name, data
        yield "container-avi", "fuzz_repair", name, data[:-len(CHECK_PLAIN)] + b"\0"
    for name, data in text_inputs():
        yield "container-abstract", "fuzz_text", name, data
    for name, data in sink_inputs():
        yield "container-abstract", "fuzz_json", name, u32(len(data) * 3) + data
        yield "container-abstract", "fuzz_tree", name, u16(4096 if "many" in name or "more" in name or "series" in name else 5000) + data


def write(folder, name, data):
    folder.mkdir(parents=True, exist_ok=True)
    (folder / name).write_bytes(data)


def main(arguments):
    root = Path(__file__).resolve().parent.parent
    if arguments == ["corpus"]:
        for library, target, name, data in corpus_inputs():
            write(root / library / "fuzz" / "corpus" / target, name, data)
        return 0
    if len(arguments) == 2 and arguments[0] == "samples":
        for path in sorted((root / "samples" / "golden").glob("*.avi")):
            for target, name, data in sample_inputs(path):
                write(Path(arguments[1]) / target, name, data)
        return 0
    print(__doc__, file=sys.stderr)
    return 2


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))

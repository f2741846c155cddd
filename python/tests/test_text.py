"""Text against str.encode."""

import random

import pytest

import zemt

LAYOUTS = ("Char", "Varchar", "VarcharSz", "WChar", "WVarchar", "WVarcharSz")
NARROWING = {("WChar", "VarcharSz"), ("WVarchar", "VarcharSz")}  # one byte a character
TEXTS = ["", "a", "Zürich", "日本語", "😀", "  blanks ", "\x01\x7f\x80\xff\u0100\ud7ff\ue000\uffff\U0010ffff", "x" * 8191]


def stored(text, layout, encoding="utf-8"):
    raw = text.encode("utf-32-le" if layout.startswith("W") else encoding)
    if layout.endswith("Sz"):
        return raw + b"\0" * (4 if layout.startswith("W") else 1)
    return raw if layout.endswith("Char") else len(raw).to_bytes(2, "little") + raw


@pytest.mark.parametrize("source", [None, *LAYOUTS])
@pytest.mark.parametrize("target", [None, *LAYOUTS])
def test_every_pair(source, target):
    generator = random.Random(1)
    alphabets = ["ab", "aé", "aéЖ日", "日😀\U0010ffff"]
    random_texts = [
        "".join(generator.choices(alphabet, k=generator.randrange(300))) for alphabet in alphabets for _ in range(10)
    ]
    narrows = (source, target) in NARROWING
    for text in TEXTS + random_texts:
        value = text if source is None else stored(text, source)
        if narrows and text and max(text) > "\xff":
            with pytest.raises(zemt.ZemtError, match="status -1"):
                zemt.text(value, source, target)
            continue
        wanted = text if target is None else stored(text, target, "latin-1" if narrows else "utf-8")
        assert zemt.text(value, source, target) == wanted
        if source and source.endswith("Sz"):
            assert zemt.text(value + b"behind", source, target) == wanted
            assert zemt.text(value[: -4 if source == "WVarcharSz" else -1], source, target) == wanted


@pytest.mark.parametrize("source", LAYOUTS)
@pytest.mark.parametrize("target", LAYOUTS)
@pytest.mark.parametrize("room", [0, 4, 8, 12, 15, 16, 17])
def test_room_counts_characters_alone(source, target, room):
    value, size = stored("abcd", source), 16 if target.startswith("W") else 4
    if room >= size:
        assert zemt.text(value, source, target, room=room) == stored("abcd", target)
    elif source.startswith("W") == target.startswith("W") or (source, target) in NARROWING:
        assert zemt.text(value, source, target, room=room) == stored("abcd"[: room // (size // 4)], target)
    else:
        with pytest.raises(zemt.ZemtError, match="status 28"):
            zemt.text(value, source, target, room=room)


@pytest.mark.parametrize(
    "value, source, target, status",
    [
        (b"\xff\xffab", "Varchar", None, -1),
        (b"\x03\x00ab", "Varchar", None, -1),
        (b"\x01", "Varchar", None, -1),
        (b"\x05\x00a\0\0\0b", "WVarchar", None, -1),
        (b"abc", "WChar", None, -1),
        (b"a\xc3", "Char", None, 28),
        (b"a\xc3", "VarcharSz", "WVarchar", 28),
        ("\ud800", None, "Char", 22),
        (b"\0\xd8\0\0", "WChar", None, 22),
        (b"\0\0\x11\0", "WChar", None, 22),
        (b"\0\0\0\x80", "WChar", "Varchar", 22),
        ("x" * 8192, None, "WVarchar", 28),
        ("x" * 32768, None, "Varchar", 28),
        (b"x" * 32768, "VarcharSz", "Varchar", 28),
        (b"x" * 32767, "VarcharSz", "Varchar", None),
        (b"x" * 8192, "Varchar", "WVarchar", -1),
        (b"a\0\0\0" * 8192, "WVarcharSz", "WVarchar", 28),
    ],
)
def test_statuses(value, source, target, status):
    if status is None:
        assert zemt.text(value, source, target)
        return
    with pytest.raises(zemt.ZemtError) as caught:
        zemt.text(value, source, target)
    assert caught.value.status == status


@pytest.mark.parametrize(
    "arguments, error",
    [
        ((b"a",), TypeError),
        (("a", "Char"), TypeError),
        ((b"a", "char"), ValueError),
        (("a", None, "Sz"), ValueError),
        ((7, "Char"), TypeError),
    ],
)
def test_arguments(arguments, error):
    with pytest.raises(error):
        zemt.text(*arguments)
    with pytest.raises(ValueError, match="room"):
        zemt.text("a", target="Char", room=-1)


def test_utf8():
    for text in TEXTS:
        raw = {"UTF-8": text.encode(), "UTF-16": text.encode("utf-16-le"), "UTF-32": text.encode("utf-32-le")}
        for other in ("UTF-16", "UTF-32"):
            assert zemt.utf8(raw["UTF-8"], "UTF-8", other) == raw[other]
            assert zemt.utf8(raw[other], other, "UTF-8") == raw["UTF-8"]
    for value, source, status in ((b"a\xe2\x82", "UTF-8", 28), (b"\0\xd8a\0", "UTF-16", 22), (b"a\0b", "UTF-16", -1)):
        with pytest.raises(zemt.ZemtError) as caught:
            zemt.utf8(value, source, "UTF-16" if source == "UTF-8" else "UTF-8")
        assert caught.value.status == status
    with pytest.raises(ValueError):
        zemt.utf8(b"", "UTF-16", "UTF-32")


@pytest.mark.parametrize("text", ["", " ", "   ", "a", " a ", "  a b\t ", "ä ", "\u00a0 日 "])
def test_trim(text):
    assert zemt.trim(text) == text.strip(" ")
    assert zemt.trim(text, trailing=False) == text.lstrip(" ")
    assert zemt.trim(text, leading=False) == text.rstrip(" ")

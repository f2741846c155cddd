"""Text between the six layouts, UTF-8, and blanks around text."""

from __future__ import annotations

import ctypes
from ctypes import byref, c_int32
from typing import Literal, Optional, Union, overload

from ._convert import Bytes
from ._library import TERMINATOR, WIDE, Function, library, wide
from ._status import Status, ZemtError, require, shown

TextLayout = Literal["Char", "Varchar", "VarcharSz", "WChar", "WVarchar", "WVarcharSz"]
Encoding = Literal["UTF-8", "UTF-16", "UTF-32"]

PREFIX = 2
LONGEST_BEHIND_PREFIX = 32767
LONGEST_UTF8 = 6  # bytes of a character, up to 0x7FFFFFFF

_FUNCTIONS: dict[tuple[str, str], Function] = {
    ("Char", "VarcharSz"): library.ZEMTCnvCharToVarcharSz,
    ("Char", "WVarcharSz"): library.ZEMTCnvCharToWVarcharSz,
    ("WChar", "VarcharSz"): library.ZEMTCnvWCharToVarcharSz,
    ("WChar", "WVarcharSz"): library.ZEMTCnvWCharToWVarcharSz,
    ("Varchar", "VarcharSz"): library.ZEMTCnvVarcharToVarcharSz,
    ("Varchar", "WVarcharSz"): library.ZEMTCnvVarcharToWVarcharSz,
    ("WVarchar", "VarcharSz"): library.ZEMTCnvWVarcharToVarcharSz,
    ("WVarchar", "WVarcharSz"): library.ZEMTCnvWVarcharToWVarcharSz,
    ("VarcharSz", "Char"): library.ZEMTCnvVarcharSzToChar,
    ("VarcharSz", "Varchar"): library.ZEMTCnvVarcharSzToVarchar,
    ("VarcharSz", "VarcharSz"): library.ZEMTCnvVarcharSzToVarcharSz,
    ("VarcharSz", "WChar"): library.ZEMTCnvVarcharSzToWChar,
    ("VarcharSz", "WVarchar"): library.ZEMTCnvVarcharSzToWVarchar,
    ("VarcharSz", "WVarcharSz"): library.ZEMTCnvVarcharSzToWVarcharSz,
    ("WVarcharSz", "Char"): library.ZEMTCnvWVarcharSzToChar,
    ("WVarcharSz", "Varchar"): library.ZEMTCnvWVarcharSzToVarchar,
    ("WVarcharSz", "VarcharSz"): library.ZEMTCnvWVarcharSzToVarcharSz,
    ("WVarcharSz", "WChar"): library.ZEMTCnvWVarcharSzToWChar,
    ("WVarcharSz", "WVarchar"): library.ZEMTCnvWVarcharSzToWVarchar,
    ("WVarcharSz", "WVarcharSz"): library.ZEMTCnvWVarcharSzToWVarcharSz,
}
LAYOUTS = ("Char", "Varchar", "VarcharSz", "WChar", "WVarchar", "WVarcharSz")
# The transcodings whose room counts the prefix; the copies into the same layouts do not.
_COUNTS_PREFIX = {("WVarcharSz", "Varchar"), ("VarcharSz", "WVarchar")}


def is_wide(layout: str) -> bool:
    return layout.startswith("W")


def unit(layout: str) -> int:
    return WIDE if is_wide(layout) else 1


def is_prefixed(layout: str) -> bool:
    return layout in ("Varchar", "WVarchar")


def is_terminated(layout: str) -> bool:
    return layout.endswith("Sz")


def characters(value: bytes, layout: str) -> bytes:
    """The characters of a value, without prefix, terminator and what stands behind it: the library trusts a prefix."""
    size = unit(layout)
    if is_prefixed(layout):
        if len(value) < PREFIX:
            raise ZemtError(Status.ZEMT_RC_ERROR, f"no length prefix in {len(value)} bytes")
        length = int.from_bytes(value[:PREFIX], "little", signed=True)
        if not 0 <= length <= len(value) - PREFIX:
            raise ZemtError(Status.ZEMT_RC_ERROR, f"length prefix {length} outside 0..{len(value) - PREFIX}")
        value = value[PREFIX : PREFIX + length]
    elif is_terminated(layout):
        end = value.find(TERMINATOR[:size])
        while end >= 0 and end % size != 0:  # a wide terminator stands where a character does
            end = value.find(TERMINATOR, end + 1)
        value = value if end < 0 else value[:end]
    if len(value) % size != 0:
        raise ZemtError(Status.ZEMT_RC_ERROR, f"{len(value)} bytes end inside a character")
    return value


def framed(text: bytes, layout: str) -> bytes:
    """Characters in a layout; the other way round."""
    if is_prefixed(layout):
        return len(text).to_bytes(PREFIX, "little") + text
    return text + TERMINATOR[: unit(layout)] if is_terminated(layout) else text


def _step(text: bytes, source: str, target: str, room: Optional[int]) -> bytes:
    """One conversion of the library: characters in, characters out."""
    if not text:
        return b""
    if room is None:
        growth = WIDE if unit(source) < unit(target) else LONGEST_UTF8 / WIDE if unit(source) > unit(target) else 1
        room = int(len(text) * growth)
        if is_prefixed(target):
            limit = LONGEST_BEHIND_PREFIX // unit(target) * unit(target)
            if unit(source) == unit(target) and room > limit:  # where a copy would be cut without a word
                raise ZemtError(Status.ZEMT_RC_NO_SPACE, f"{len(text)} bytes of text")
            room = min(room, limit)
    told = room + PREFIX if (source, target) in _COUNTS_PREFIX else room
    buffer = ctypes.create_string_buffer(room + PREFIX + WIDE)
    # A counted text has its length in its prefix or here, a terminated one behind it.
    counts = not (is_terminated(source) or is_prefixed(source))
    source_length, length = c_int32(len(text) if counts else 0), c_int32()
    value = framed(text, source) + TERMINATOR
    status = _FUNCTIONS[source, target](value, byref(source_length), buffer, told, byref(length), None)
    require(status, text)
    size = length.value * WIDE if target == "WVarcharSz" else length.value
    return buffer.raw[PREFIX:size] if is_prefixed(target) else buffer.raw[:size]


def _stations(source: str, target: str) -> list[str]:
    """The layouts on the way. The library converts from and to terminated text."""
    if (source, target) in _FUNCTIONS:
        return [source, target]
    return [source, "WVarcharSz" if is_wide(source) or is_wide(target) else "VarcharSz", target]


def _wide(text: str) -> bytes:
    try:
        return wide(text)
    except UnicodeEncodeError:
        raise ZemtError(Status.ZEMT_RC_INVALID_CHAR, shown(text)) from None


def unwide(text: bytes) -> str:
    try:
        return text.decode("utf-32-le")
    except UnicodeDecodeError:
        raise ZemtError(Status.ZEMT_RC_INVALID_CHAR, shown(text)) from None


@overload
def text(value: Union[Bytes, str], source: Optional[TextLayout] = ..., target: None = ..., *, room: Optional[int] = ...) -> str:
    ...


@overload
def text(
    value: Union[Bytes, str], source: Optional[TextLayout] = ..., *, target: TextLayout, room: Optional[int] = ...
) -> bytes:
    ...


@overload
def text(value: Union[Bytes, str], source: Optional[TextLayout], target: TextLayout, *, room: Optional[int] = ...) -> bytes:
    ...


def text(
    value: Union[Bytes, str],
    source: Optional[TextLayout] = None,
    target: Optional[TextLayout] = None,
    *,
    room: Optional[int] = None,
) -> Union[str, bytes]:
    """Converts a text from one layout to another.

    source  the layout of the bytes, with prefix or terminator (which may be missing); None for a str
    target  the layout of the bytes that come back, with prefix or terminator; None for a str
    room    bytes for its characters, prefix and terminator not counted; None: as many as it takes. As the library has it,
            a longer text is cut where it is copied or made one byte a character, and refused (28) where it is UTF-8 or
            becomes UTF-8

    A pair of layouts for which the library has a conversion is converted by it. So WChar and WVarchar become VarcharSz one
    byte a character, up to 0xFF; every other way from wide to 8-bit text gives UTF-8. Pairs without one go through
    WVarcharSz, and 8-bit ones through VarcharSz. A character 0 and, on the way to wide text, malformed UTF-8 end the text; the
    library says no more about that. An empty text is empty in every layout (where the library says status 30).
    """
    for layout in (source, target):
        if layout is not None and layout not in LAYOUTS:
            raise ValueError(f"{layout!r} is no layout of text: {', '.join(LAYOUTS)}")
    if isinstance(value, str) != (source is None):
        raise TypeError("bytes need a source, the layout they have; a str has none")
    if room is not None and not 0 <= room < 1 << 31:
        raise ValueError(f"a room of {room} bytes")
    begin: str = source or "WVarcharSz"
    result = characters(_wide(value), begin) if isinstance(value, str) else characters(bytes(memoryview(value)), begin)
    end: str = target or "WVarcharSz"
    stations = _stations(begin, end)
    for index, station in enumerate(stations[1:]):
        result = _step(result, stations[index], station, room if unit(station) == unit(end) else None)
    return unwide(result) if target is None else framed(result, target)


_CODECS: dict[tuple[str, str], tuple[Function, int]] = {
    ("UTF-8", "UTF-16"): (library.Convert8To16, 2),
    ("UTF-8", "UTF-32"): (library.Convert8To32, 4),
    ("UTF-16", "UTF-8"): (library.Convert16To8, 1),
    ("UTF-32", "UTF-8"): (library.Convert32To8, 1),
}


def utf8(value: Bytes, source: Encoding, target: Encoding) -> bytes:
    """Converts between UTF-8 and native UTF-16 or UTF-32 without a byte order mark.

    A character 0 and malformed UTF-8 end the text; UTF-8 cut off inside a character is status 28.
    """
    if (source, target) not in _CODECS:
        raise ValueError(f"no conversion from {source!r} to {target!r}")
    function, size = _CODECS[source, target]
    given, source_unit = bytes(memoryview(value)), {"UTF-8": 1, "UTF-16": 2, "UTF-32": 4}[source]
    if len(given) % source_unit != 0:
        raise ZemtError(Status.ZEMT_RC_ERROR, f"{len(given)} bytes end inside a character")
    count = c_int32()
    require(function(None, 0, given, len(given) // source_unit, byref(count)), given)
    buffer = ctypes.create_string_buffer(count.value * size + 1)
    require(function(buffer, count.value, given, len(given) // source_unit, byref(count)), given)
    return buffer.raw[: count.value * size]


def trim(text: str, *, leading: bool = True, trailing: bool = True) -> str:
    """A text without the blanks (U+0020, nothing else) in front of it and behind it."""
    given = _wide(text)
    buffer, length = ctypes.create_string_buffer(given + TERMINATOR), c_int32(len(text))
    library.TrimSpacesW(buffer, byref(length), leading, trailing)
    return unwide(buffer.raw[: length.value * WIDE])

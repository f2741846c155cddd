"""Columns of records, and how their slots become Python values."""

from __future__ import annotations

import codecs
import ctypes
import errno
import functools
from ctypes import byref, c_int32, c_size_t, c_void_p
from dataclasses import dataclass
from typing import Any, Optional

from ._convert import Codec
from ._datetime import Format, Moment
from ._decimal import Packed, Varnum
from ._library import TERMINATOR, WIDE, wide
from ._number import number_codec
from ._status import Status, ZemtError, require, shown
from ._text import (
    _COUNTS_PREFIX,
    _FUNCTIONS,
    LAYOUTS,
    PREFIX,
    characters,
    framed,
    is_prefixed,
    is_terminated,
    is_wide,
    trim,
    unit,
)


@dataclass(frozen=True)
class Column:
    """One column of a layout. length is the number behind the type's name, and 0 without one."""

    name: str
    type: str
    length: int = 0
    scale: int = 0
    trim: bool = False
    encoding: Optional[str] = None
    format: Optional[Format] = None
    offset: int = 0
    size: int = 0


class SingleByteEncoding:
    """An encoding by the platform's name of it, which knows more of them than Python."""

    def __init__(self, name: str) -> None:
        self._decoding = _characters(name)
        self._encoding = {character: byte for byte, character in self._decoding.items()}
        if ord(" ") not in self._encoding:
            raise ValueError(f"encoding {name} is none of single bytes")
        self.blank = bytes([self._encoding[ord(" ")]])

    def decode(self, text: bytes) -> str:
        return codecs.charmap_decode(text, "strict", self._decoding)[0]

    def encode(self, text: str) -> bytes:
        return codecs.charmap_encode(text, "strict", self._encoding)[0]


@functools.lru_cache(maxsize=64)
def single_byte_encoding(name: str) -> SingleByteEncoding:
    return SingleByteEncoding(name)


def _characters(name: str) -> dict[int, int]:
    """The characters of bytes that are one by themselves, as the C library's iconv has them."""
    libc = ctypes.CDLL(None, use_errno=True)
    libc.iconv_open.restype = c_void_p
    libc.iconv.argtypes = (c_void_p, *(ctypes.POINTER(c_void_p), ctypes.POINTER(c_size_t)) * 2)
    libc.iconv.restype = c_size_t
    libc.iconv_close.argtypes = (c_void_p,)
    conversion = libc.iconv_open(b"UTF-32LE", name.encode("utf-8", "surrogateescape"))
    if conversion == c_void_p(-1).value:
        raise ValueError(f"unknown encoding {name}")
    result = {}
    try:
        for byte in range(256):
            given, buffer = ctypes.create_string_buffer(bytes([byte]), 1), ctypes.create_string_buffer(4 * WIDE)
            source, target = c_void_p(ctypes.addressof(given)), c_void_p(ctypes.addressof(buffer))
            left, room = c_size_t(1), c_size_t(len(buffer))
            status = libc.iconv(conversion, byref(source), byref(left), byref(target), byref(room))
            if status != 0 and ctypes.get_errno() == errno.EINVAL:  # the first byte of several
                raise ValueError(f"encoding {name} is none of single bytes")
            libc.iconv(conversion, None, None, byref(target), byref(room))
            if status == 0 and room.value == len(buffer) - WIDE:
                result[byte] = int.from_bytes(buffer.raw[:WIDE], "little")
    finally:
        libc.iconv_close(conversion)
    return result


class Text:
    value_type = str

    def __init__(self, column: Column) -> None:
        self._type, self.size, self._trim = column.type, column.size, column.trim
        self._unit = unit(column.type)
        self._encoding = single_byte_encoding(column.encoding) if column.encoding else None
        of = "characters" if is_wide(column.type) else f"bytes of {column.encoding or 'UTF-8'}"
        self.expected = f"text of up to {column.length} {of}"
        self._room = column.length * self._unit
        pair = ("WVarcharSz", column.type)
        self._told = self._room + PREFIX if pair in _COUNTS_PREFIX else self._room
        self._to_text, self._from_text = _FUNCTIONS[column.type, "WVarcharSz"], _FUNCTIONS[pair]
        self._is_padded = column.type in ("Char", "WChar")
        self._blank = self._encoding.blank if self._encoding else wide(" ")[: self._unit]
        self._empty = self._blank * column.length if self._is_padded else bytes(column.size)
        self._wide = ctypes.create_unicode_buffer(column.length + 1)
        self._slot = ctypes.create_string_buffer(column.size)
        self._length, self._source_length = c_int32(), c_int32()
        self._length_cell, self._source_cell = byref(self._length), byref(self._source_length)

    def _value(self, slot: bytes) -> bytes:
        if not self._is_padded:
            value = characters(slot, self._type)
            if is_terminated(self._type) and len(value) == self.size:
                raise ZemtError(Status.ZEMT_RC_ERROR, f"no terminator within {self.size} bytes")
            return value
        # Blanks of wide text are removed when it is a str.
        return slot if self._unit == WIDE else slot.rstrip(self._blank)

    def text(self, slot: bytes) -> str:
        """The text before it is trimmed: all of what the slot holds, or nothing. The library passes over characters 0 and what
        is not UTF-8."""
        value = self._value(slot)
        if not value:
            return ""
        try:
            text, again = self._encoded_text(value) if self._encoding else self._plain_text(slot, value)
        except ZemtError:
            raise
        except ValueError:  # of a codec or, beyond U+10FFFF, of ctypes
            raise ZemtError(Status.ZEMT_RC_INVALID_CHAR, shown(value)) from None
        if again != value or "\0" in text:
            raise ZemtError(Status.ZEMT_RC_ERROR, f"not all of {shown(value)} is text, only {shown(text)}")
        return text.rstrip(" ") if self._is_padded else text

    def _plain_text(self, slot: bytes, value: bytes) -> tuple[str, bytes]:
        self._source_length.value = len(value) if self._is_padded else 0
        room = ctypes.sizeof(self._wide) - WIDE
        require(self._to_text(slot, self._source_cell, self._wide, room, self._length_cell, None), value)
        text = str(self._wide[: self._length.value])
        return text, text.encode("utf-8") if self._unit == 1 else wide(text)

    def _encoded_text(self, value: bytes) -> tuple[str, bytes]:
        assert self._encoding
        text = self._encoding.decode(value)
        return text, self._encoding.encode(text)

    def unpack(self, slot: bytes) -> str:
        text = self.text(slot)
        return trim(text) if self._trim else text

    def pack(self, value: Any) -> bytes:
        if not isinstance(value, str):
            raise ZemtError(Status.ZEMT_RC_ERROR, f"{shown(value)} is not {self.expected}")
        text = value
        try:
            given = wide(text)
            if self._trim:
                text = trim(text)
                given = wide(text)
            slot = self._pack_encoded(text) if self._encoding else self._pack_plain(given, value)
        except UnicodeEncodeError:
            raise ZemtError(Status.ZEMT_RC_INVALID_CHAR, shown(value)) from None
        stored = self.text(slot)
        if stored != (text.rstrip(" ") if self._is_padded else text):
            raise ZemtError(Status.ZEMT_RC_ERROR, f"{shown(value)} would be stored as {shown(stored)}")
        return slot

    def _pack_plain(self, given: bytes, value: str) -> bytes:
        if self._unit == WIDE and len(given) > self._room:  # where the library cuts it
            raise ZemtError(Status.ZEMT_RC_NO_SPACE, shown(value))
        if not given:
            return self._empty
        ctypes.memmove(self._slot, self._empty, self.size)
        self._source_length.value = 0
        given += TERMINATOR
        require(self._from_text(given, self._source_cell, self._slot, self._told, self._length_cell, None), value)
        return self._slot.raw

    def _pack_encoded(self, text: str) -> bytes:
        assert self._encoding
        value = framed(self._encoding.encode(text), self._type)
        if len(value) > self.size:
            raise ZemtError(Status.ZEMT_RC_NO_SPACE, shown(text))
        return value + self._empty[len(value) :]


class VarnumSlot:
    """A VARNUM in all of its 22 bytes."""

    value_type = Varnum.value_type
    size = Varnum.size
    expected = Varnum.expected

    def __init__(self) -> None:
        self._varnum = Varnum()
        self.text = self._varnum.text

    def unpack(self, slot: bytes) -> Any:
        value = self._varnum.unpack(slot)
        if self._varnum.pack(value) != slot[: 1 + slot[0]]:
            raise ZemtError(Status.ZEMT_RC_ERROR, f"{shown(slot)} is not how {value} is stored")
        return value

    def pack(self, value: Any) -> bytes:
        return self._varnum.pack(value).ljust(self.size, b"\0")


class MomentSlot(Moment):
    """A record of which the column's format carries everything."""

    def unpack(self, slot: bytes) -> Any:
        value = super().unpack(slot)
        self.require_carried(slot)
        return value

    def pack(self, value: Any) -> bytes:
        slot = super().pack(value)
        self.require_carried(slot)
        return slot


def slot_codec(column: Column) -> Codec:
    if column.type in LAYOUTS:
        return Text(column)
    if column.type == "DecKest":
        return Packed(column.length, column.scale)
    if column.type == "OraVarnum":
        return VarnumSlot()
    return MomentSlot(column.type, column.format) if column.format else number_codec(column.type)


def slot_size(type: str, length: int) -> int:
    if type == "DecKest":
        return length // 2 + 1
    framing = PREFIX if is_prefixed(type) else unit(type) if is_terminated(type) else 0
    return framing + length * unit(type)


def can_be_unset(column: Column) -> bool:
    """Whether a slot of zero bytes holds no value. A time of zero bytes is midnight."""
    return column.type in ("OraVarnum", "ZEMTTS", "ZEMTDate")

"""Integers and floating-point numbers."""

from __future__ import annotations

import ctypes
import locale
import math
import operator
from ctypes import byref, c_int32
from typing import Any, Literal, Optional, Type, TypeVar, Union, overload

from ._convert import Bytes, Codec, convert
from ._library import TERMINATOR, Function, library, wide
from ._status import Status, ZemtError, require, shown

IntegerType = Literal["TinyInt", "SmallInt", "Int", "LongLong", "TinyUInt", "SmallUInt", "UInt", "ULONGLONG"]
FloatType = Literal["Dbl", "Flt"]
T = TypeVar("T")

# name: size, signed, to text, from text
_INTEGERS: dict[str, tuple[int, bool, Function, Function]] = {
    "TinyInt": (1, True, library.ZEMTCnvTinyIntToWVarcharSz, library.ZEMTCnvWVarcharSzToTinyInt),
    "SmallInt": (2, True, library.ZEMTCnvSmallIntToWVarcharSz, library.ZEMTCnvWVarcharSzToSmallInt),
    "Int": (4, True, library.ZEMTCnvIntToWVarcharSz1, library.ZEMTCnvWVarcharSzToInt1),
    "LongLong": (8, True, library.ZEMTCnvLongLongToWVarcharSz, library.ZEMTCnvWVarcharSzToLongLong),
    "TinyUInt": (1, False, library.ZEMTCnvTinyUIntToWVarcharSz, library.ZEMTCnvWVarcharSzToTinyUInt),
    "SmallUInt": (2, False, library.ZEMTCnvSmallUIntToWVarcharSz, library.ZEMTCnvWVarcharSzToSmallUInt),
    "UInt": (4, False, library.ZEMTCnvUIntToWVarcharSz, library.ZEMTCnvWVarcharSzToUInt),
    "ULONGLONG": (8, False, library.ZEMTCnvULONGLONGToWVarcharSz, library.ZEMTCnvWVarcharSzToULONGLONG),
}
_FLOATS: dict[str, tuple[int, Function, Function]] = {
    "Dbl": (8, library.ZEMTCnvDblToWVarcharSz, library.ZEMTCnvWVarcharSzToDbl),
    "Flt": (4, library.ZEMTCnvFltToWVarcharSz, library.ZEMTCnvWVarcharSzToFlt),
}
_ROOM = 32  # characters: more than any number takes


def terminated(text: str) -> bytes:
    """A number's text for the library, to which a character 0 would be its end."""
    if "\0" in text or not text.isascii():
        raise ZemtError(Status.ZEMT_RC_ERROR, shown(text))
    return wide(text) + TERMINATOR


def require_size(slot: bytes, size: int) -> None:
    if len(slot) != size:
        raise ZemtError(Status.ZEMT_RC_ERROR, f"{len(slot)} bytes in place of {size}")


class Integer:
    value_type = int

    def __init__(self, name: str) -> None:
        self.size, signed, self._to_text, self._from_text = _INTEGERS[name]
        bits = 8 * self.size
        self.range = range(-1 << bits - 1, 1 << bits - 1) if signed else range(1 << bits)
        self.expected = f"an integer of {self.range.start}..{self.range.stop - 1}"
        self._wide = ctypes.create_unicode_buffer(_ROOM)
        self._slot = ctypes.create_string_buffer(self.size)
        self._length = c_int32()
        self._length_cell = byref(self._length)

    def text(self, slot: bytes) -> str:
        return str(self.unpack(slot))

    def unpack(self, slot: bytes) -> int:
        require_size(slot, self.size)
        self._to_text(slot, None, self._wide, _ROOM, self._length_cell, None)
        return int(self._wide.value or "0")  # zero is the empty text

    def pack(self, value: Any) -> bytes:
        if isinstance(value, str):
            given = value
        else:
            try:
                number = operator.index(value)
            except TypeError:
                raise ZemtError(Status.ZEMT_RC_ERROR, f"{shown(value)} is not {self.expected}") from None
            if number not in self.range:
                raise ZemtError(Status.ZEMT_RC_ERROR, f"{shown(value)} is not {self.expected}")
            given = str(number)
        status = self._from_text(terminated(given), None, self._slot, self.size, self._length_cell, None)
        require(status, value)
        slot = self._slot.raw
        if isinstance(value, str):
            self._require_same(value, slot)
        return slot

    def _require_same(self, text: str, slot: bytes) -> None:
        """The library reads integers modulo 2^N and "-" as 0."""
        stored = self.unpack(slot)
        digits = text.lstrip("-").lstrip("0")
        if text == "-" or digits != str(abs(stored) or "") or (stored < 0) != (text.startswith("-") and stored != 0):
            raise ZemtError(Status.ZEMT_RC_ERROR, f"{shown(text)} is not {self.expected}")


class Float:
    value_type = float

    def __init__(self, name: str) -> None:
        self.size, self._to_text, self._from_text = _FLOATS[name]
        self.expected = "a number that the type can hold"
        self._wide = ctypes.create_unicode_buffer(_ROOM)
        self._slot = ctypes.create_string_buffer(self.size)
        self._length = c_int32()
        self._length_cell = byref(self._length)

    def _number(self, slot: bytes) -> float:
        return (ctypes.c_double if self.size == 8 else ctypes.c_float).from_buffer_copy(slot).value

    def text(self, slot: bytes) -> str:
        require_size(slot, self.size)
        require(self._to_text(slot, None, self._wide, 4 * _ROOM, self._length_cell, None), slot)
        number = self._number(slot)
        # 8 digits do not tell every Flt from its neighbours, 9 do.
        if self.size == 4 and ctypes.c_float(float(self._wide.value)).value != number:
            require(library.FloatToString(number, self._wide, 8), slot)
        return self._wide.value

    def unpack(self, slot: bytes) -> float:
        require_size(slot, self.size)
        require(library.FloatToString(self._number(slot), self._wide, 16), slot)
        return float(self._wide.value)

    def pack(self, value: Any) -> bytes:
        if isinstance(value, str):
            return self._pack_text(value)
        try:
            number = float(value)
            exact = number == value
        except (TypeError, ValueError, ArithmeticError):
            exact = False
        if not exact:
            raise ZemtError(Status.ZEMT_RC_ERROR, f"{shown(value)} is not {self.expected}")
        if number == 0:  # which the library does not read
            return b"\0" * (self.size - 1) + (b"\x80" if math.copysign(1, number) < 0 else b"\0")
        if math.isinf(number):
            require(Status.ZEMT_RC_ERROR, value)
        # A hexadecimal integer and an exponent say it exactly, and alike in every locale.
        mantissa, exponent = math.frexp(number)
        return self._read(f"{int(math.ldexp(mantissa, 53)):#x}p{exponent - 53}", value)

    def _pack_text(self, text: str) -> bytes:
        """The library does not say that it stopped at the 'a' of "12abc"."""
        point = locale.localeconv()["decimal_point"]
        try:
            number = math.nan if "_" in text else float(text.replace(str(point), "."))
        except ValueError:
            number = math.nan
        if number == 0 and not any(digit in text.lower().partition("e")[0] for digit in "123456789"):
            return self.pack(number)
        slot = self._read(text, text)
        stored = self._number(slot)
        if stored != (number if self.size == 8 else ctypes.c_float(number).value):
            raise ZemtError(Status.ZEMT_RC_ERROR, f"{shown(text)} would be stored as {stored!r}")
        return slot

    def _read(self, text: str, value: object) -> bytes:
        require(self._from_text(terminated(text), None, self._slot, self.size, None, None), value)
        return self._slot.raw


def number_codec(type: str) -> Codec:
    if type in _INTEGERS:
        return Integer(type)
    if type in _FLOATS:
        return Float(type)
    raise ValueError(f"{type!r} is no type of numbers: {', '.join([*_INTEGERS, *_FLOATS])}")


@overload
def number(value: Bytes, type: IntegerType, target: None = ...) -> int:
    ...


@overload
def number(value: Bytes, type: FloatType, target: None = ...) -> float:
    ...


@overload
def number(value: Union[int, float, str], type: Union[IntegerType, FloatType], target: None = ...) -> bytes:
    ...


@overload
def number(value: Union[Bytes, int, float, str], type: Union[IntegerType, FloatType], target: Type[T]) -> T:
    ...


def number(value: Any, type: str, target: Optional[type] = None) -> Any:
    """Converts a binary integer or floating-point number: bytes to int or float, a number or its text to bytes.

    target  bytes, str, int or float (that of the type) asks for that in place of what the value becomes by itself

    A number outside the range of its type is refused, infinities and NaN are, too. A Flt takes the nearest number it can hold,
    and comes back as exactly the float that it is. Text of floating-point numbers is in scientific notation, and its decimal
    separator on the way in is that of the locale.
    """
    return convert(number_codec(type), value, target)

"""Packed decimal and Oracle VARNUM."""

from __future__ import annotations

import ctypes
import decimal as decimals
from ctypes import byref, c_int32
from decimal import Decimal
from typing import Any, Optional, Type, TypeVar, Union, overload

from ._convert import Bytes, convert
from ._library import ZEMTCnvParms, library
from ._number import require_size
from ._status import Status, ZemtError, require, shown

T = TypeVar("T")

LARGEST_PRECISION = 1 << 20
_SIGNS = {0xC: "", 0xD: "-", 0xF: ""}
_VARNUM_SIZE = 22
_VARNUM_ROOM = 170
_VARNUM_EXPONENTS = range(-130, 126)  # 100^-65 is the smallest digit, 100^62 that of the greatest number


def _parts(value: Any) -> tuple[str, str, int]:
    """Sign, digits and exponent to the base 10 of a number, without zeros around its digits."""
    try:
        number = Decimal(value) if isinstance(value, (int, str)) else value
        finite = isinstance(number, Decimal) and number.is_finite()
    except (decimals.InvalidOperation, ValueError):
        finite = False
    if not finite:
        raise ZemtError(Status.ZEMT_RC_ERROR, f"{shown(value)} is not a decimal number")
    negative, digits, exponent = number.as_tuple()
    significant = "".join(map(str, digits)).lstrip("0")
    stripped = significant.rstrip("0")
    return "-" if negative else "", stripped, exponent + len(significant) - len(stripped) if stripped else 0


class Packed:
    value_type = Decimal

    def __init__(self, precision: int, scale: int) -> None:
        if not 0 <= precision <= LARGEST_PRECISION:
            raise ValueError(f"a precision of {precision} is outside 0..{LARGEST_PRECISION}")
        if not 0 <= scale <= precision:
            raise ValueError(f"a scale of {scale} is outside 0..{precision}")
        self.precision, self.scale = precision, scale
        self.size = precision // 2 + 1
        self.expected = f"a number of up to {precision} digits" + (f", {scale} of them behind the point" if scale else "")
        self._parms = byref(ZEMTCnvParms(precision=precision))
        self._digits = ctypes.create_string_buffer(2 * self.size)
        self._slot = ctypes.create_string_buffer(self.size)
        self._length = c_int32()
        self._length_cell = byref(self._length)

    def unpack(self, slot: bytes) -> Decimal:
        return Decimal(self.text(slot))

    def text(self, slot: bytes) -> str:
        require_size(slot, self.size)
        status = library.ZEMTCnvDecKestToVarcharSz(slot, None, self._digits, len(self._digits), self._length_cell, self._parms)
        require(status, slot)
        digits = self._digits.value.decode("ascii")
        sign = _SIGNS.get(slot[-1] & 0xF)  # which the library leaves to its callers
        if sign is None:
            raise ZemtError(Status.ZEMT_RC_ERROR, f"{shown(slot)}: the sign {slot[-1] & 0xF:X}")
        if len(digits) > self.precision:  # an even precision leaves room for one more
            raise ZemtError(Status.ZEMT_RC_ERROR, f"{shown(slot)}: more than {self.precision} digits")
        padded = digits.zfill(self.scale + 1)
        return f"{sign}{padded[:-self.scale]}.{padded[-self.scale:]}" if self.scale else sign + padded

    def pack(self, value: Any) -> bytes:
        sign, digits, exponent = _parts(value)
        zeros = exponent + self.scale if digits else 0
        if zeros < 0 or len(digits) + zeros > self.precision:
            raise ZemtError(Status.ZEMT_RC_ERROR, f"{shown(value)} is not {self.expected}")
        text = (digits + "0" * zeros).encode("ascii")
        status = library.ZEMTCnvVarcharSzToDecKest(text, None, self._slot, self.size, self._length_cell, self._parms)
        require(status, value)
        slot = self._slot.raw
        return slot[:-1] + bytes([slot[-1] + 1]) if sign else slot  # C becomes D


class Varnum:
    value_type = Decimal
    size = _VARNUM_SIZE
    expected = "a decimal number of 1e-130 to below 1e126 and up to 40 digits"

    def __init__(self) -> None:
        self._text = ctypes.create_string_buffer(_VARNUM_ROOM)
        self._slot = ctypes.create_string_buffer(_VARNUM_SIZE)
        self._length, self._source_length = c_int32(), c_int32()
        self._cells = byref(self._source_length), byref(self._length)

    def unpack(self, slot: bytes) -> Decimal:
        return Decimal(self.text(slot))

    def text(self, slot: bytes) -> str:
        if len(slot) > _VARNUM_SIZE:
            raise ZemtError(Status.ZEMT_RC_ERROR, f"{len(slot)} bytes in place of up to {_VARNUM_SIZE}")
        padded = slot.ljust(_VARNUM_SIZE, b"\0")  # where a cut value has digits that are none
        negative = padded[1] < 0x80 and 2 <= padded[0] < _VARNUM_SIZE
        given = _mirrored(padded) if negative else padded
        source_cell, cell = self._cells
        status = library.ZEMTCnvOraVarnumToVarcharSz_Unsigned(given, source_cell, self._text, _VARNUM_ROOM, cell, None)
        require(status, slot)
        return ("-" if negative else "") + self._text.value.decode("ascii")

    def pack(self, value: Any) -> bytes:
        sign, digits, exponent = _parts(value)
        if digits and not (exponent >= _VARNUM_EXPONENTS.start and exponent + len(digits) <= _VARNUM_EXPONENTS.stop):
            raise ZemtError(Status.ZEMT_RC_ERROR, f"{shown(value)} is not {self.expected}")
        if sign:
            size = self._pack_negative(digits, exponent, value)
        else:
            size = self._pack_unsigned(digits, exponent, value)
        slot = self._slot.raw[:size]
        # Digits behind the 20th to the base 100 are dropped without a word.
        if _parts(self.unpack(slot))[1:] != (digits, exponent):
            raise ZemtError(Status.ZEMT_RC_ERROR, f"{shown(value)} is not {self.expected}")
        return slot

    def _pack_unsigned(self, digits: str, exponent: int, value: object) -> int:
        point = len(digits) + exponent
        whole = digits[: max(point, 0)].ljust(max(point, 0), "0")
        fraction = digits[max(point, 0) :].rjust(max(-exponent, 0), "0")
        text = f"{whole}.{fraction}".encode("ascii")
        source_cell, cell = self._cells
        status = library.ZEMTCnvVarcharSz_UnsignedToOraVarnum(text, source_cell, self._slot, _VARNUM_SIZE, cell, None)
        require(status, value)
        return self._length.value

    def _pack_negative(self, digits: str, exponent: int, value: object) -> int:
        even = digits.zfill(len(digits) + len(digits) % 2)
        pairs = [int(even[at : at + 2]) for at in range(0, len(even), 2)]
        given = (ctypes.c_uint8 * max(len(pairs), 1))(*pairs)
        require(library.ConvertBCDToOraVarNum(self._slot, given, len(pairs), -exponent, b"-"), value)
        return 1 + self._slot.raw[0]


def _mirrored(slot: bytes) -> bytes:
    """The positive VARNUM with the digits of a negative one, which the library does not read: all bytes are complements, and a
    negative number of fewer than 20 digits ends with 102."""
    count = slot[0]
    if slot[count] == 102:
        count -= 1
    mirrored = bytes([count, 0xFF - slot[1]]) + bytes((102 - byte) & 0xFF for byte in slot[2 : count + 1])
    return mirrored.ljust(_VARNUM_SIZE, b"\0")


@overload
def decimal(value: Bytes, precision: int, scale: int = ..., target: None = ...) -> Decimal:
    ...


@overload
def decimal(value: Union[Decimal, int, str], precision: int, scale: int = ..., target: None = ...) -> bytes:
    ...


@overload
def decimal(value: Union[Bytes, Decimal, int, str], precision: int, scale: int = ..., *, target: Type[T]) -> T:
    ...


@overload
def decimal(value: Union[Bytes, Decimal, int, str], precision: int, scale: int, target: Type[T]) -> T:
    ...


def decimal(value: Any, precision: int, scale: int = 0, target: Optional[type] = None) -> Any:
    """Converts packed decimal (COMP-3) of precision digits, scale of them behind an implied point: bytes to Decimal, a Decimal,
    int or text to bytes.

    target  bytes, str or Decimal asks for that in place of what the value becomes by itself

    The signs are C, D (negative) and, on the way in, F. What does not fit is refused and nothing is ever rounded.
    """
    return convert(Packed(precision, scale), value, target)


@overload
def varnum(value: Bytes, target: None = ...) -> Decimal:
    ...


@overload
def varnum(value: Union[Decimal, int, str], target: None = ...) -> bytes:
    ...


@overload
def varnum(value: Union[Bytes, Decimal, int, str], target: Type[T]) -> T:
    ...


def varnum(value: Any, target: Optional[type] = None) -> Any:
    """Converts Oracle VARNUM: bytes to Decimal, a Decimal, int or text to bytes, as many as the number takes (up to 22).

    target  bytes, str or Decimal asks for that in place of what the value becomes by itself

    What does not fit is refused and nothing is ever rounded. The library reads no negative VARNUM: it is given its positive
    mirror image, and the sign is added.
    """
    return convert(Varnum(), value, target)

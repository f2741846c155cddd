"""Dates, times and timestamps."""

from __future__ import annotations

import ctypes
import datetime as dt
import enum
from ctypes import byref, c_int32
from typing import Any, Literal, Optional, Type, TypeVar, Union, overload

from ._convert import Bytes, convert
from ._library import TERMINATOR, WIDE, ZEMTTS, Function, ZEMTCnvParms, ZEMTDateFormat, ZEMTFmtItem, library, wide
from ._number import require_size
from ._status import Status, ZemtError, require, shown

MomentType = Literal["ZEMTTS", "ZEMTDate", "ZEMTTime"]
T = TypeVar("T")

_FRACTIONS = {13: 6, 14: 5, 15: 4, 16: 3, 17: 2, 18: 1}  # ZEMT_FMT_FFFFFF ... ZEMT_FMT_F and their digits
_END = 21
_CELLS = 16  # characters that a format's keyword grows to at most


class Kind(enum.IntEnum):
    """Which components a format holds. NONE: literals and codes that say neither."""

    NONE = 0
    DATE = 1
    TIME = 2
    TIMESTAMP = 3


class Format:
    """A format such as "%YYYY-%MM-%DD %HH24:%MI:%SS.%FFFFFF", prepared once. Threads may share it."""

    def __init__(self, text: str) -> None:
        try:
            given = wide(text)
        except UnicodeEncodeError:
            raise ZemtError(Status.ZEMT_RC_INVALID_CHAR, f"format {shown(text)}") from None
        if "\0" in text:
            raise ZemtError(Status.ZEMT_RC_ERROR, f"format {shown(text)}")
        items = (ZEMTFmtItem * (len(text) + 1))()
        kind = c_int32(0)
        status = library.ZEMTGetFormatCodes(given + TERMINATOR, items, byref(kind))
        if status != 0:
            raise ZemtError(status, f"format {shown(text)}")
        self.text = text
        self.kind = Kind(kind.value)
        codes = [item.code for item in items]
        codes = codes[: codes.index(_END)]
        # Digits of the fraction, 0 without one. Where there are several, the last is the one that is read.
        self.fraction_digits = next((_FRACTIONS[code] for code in reversed(codes) if code in _FRACTIONS), 0)
        self._prepared = ZEMTDateFormat(formatCodes=items, formatLength=len(text))  # keeps the list
        self._parms = ZEMTCnvParms(dateFormat=ctypes.pointer(self._prepared))

    def __repr__(self) -> str:
        return f"Format({self.text!r})"

    def __eq__(self, other: object) -> bool:
        return isinstance(other, Format) and other.text == self.text

    def __hash__(self) -> int:
        return hash(self.text)

    def __reduce__(self) -> tuple[Type[Format], tuple[str]]:
        return Format, (self.text,)


# name: value, size, meaningful bytes, kind, to text, from text
_TYPES: dict[str, tuple[type, int, int, Kind, Function, Function]] = {
    "ZEMTTS": (dt.datetime, 24, 16, Kind.TIMESTAMP, library.ZEMTCnvZEMTTSToWVarcharSz, library.ZEMTCnvDateTimeWSzToZEMTTS),
    "ZEMTDate": (dt.date, 16, 6, Kind.DATE, library.ZEMTCnvZEMTDateToWVarcharSz, library.ZEMTCnvDateTimeWSzToZEMTDate),
    "ZEMTTime": (dt.time, 16, 6, Kind.TIME, library.ZEMTCnvZEMTTimeToWVarcharSz, library.ZEMTCnvDateTimeWSzToZEMTTime),
}


class Moment:
    def __init__(self, name: str, format: Optional[Format]) -> None:
        if name not in _TYPES:
            raise ValueError(f"{name!r} is no type of dates and times: {', '.join(_TYPES)}")
        self.value_type, self.size, self.meaningful, self._kind, self._to_text, self._from_text = _TYPES[name]
        self.name, self._format = name, format
        value = {Kind.TIMESTAMP: "datetime", Kind.DATE: "date", Kind.TIME: "time"}[self._kind]
        self.expected = f"a valid {value}" + (f" as in {format.text!r}" if format else "")
        self._length = c_int32()
        self._length_cell = byref(self._length)
        if format is None:
            self._microseconds = 1
            return
        self._microseconds = 10 ** (6 - format.fraction_digits)
        # The library reads a time only together with a valid date.
        with_date = self._kind is Kind.TIME and format.kind is Kind.TIME
        self._date = wide("2000-01-01 ") if with_date else b""
        self._read_format = Format("%YYYY-%MM-%DD " + format.text) if with_date else format
        self._wide = ctypes.create_unicode_buffer(_CELLS * len(format.text) + 1)
        self._slot = ctypes.create_string_buffer(self.size)

    def _needs_format(self) -> Format:
        if self._format is None:
            raise TypeError(f"text of a {self.name} needs a format")
        return self._format

    def text(self, slot: bytes) -> str:
        parms = byref(self._needs_format()._parms)
        require_size(slot, self.size)
        room = ctypes.sizeof(self._wide)
        require(self._to_text(slot, None, self._wide, room, self._length_cell, parms), slot)
        return self._wide.value

    def _read(self, text: str) -> bytes:
        self._needs_format()
        try:
            given = self._date + wide(text) + TERMINATOR
        except UnicodeEncodeError:
            raise ZemtError(Status.ZEMT_RC_INVALID_CHAR, shown(text)) from None
        if not text or "\0" in text:
            raise ZemtError(Status.ZEMT_RC_ERROR if text else Status.ZEMT_RC_EMPTY_SOURCE, shown(text))
        source_length = c_int32(len(given) // WIDE - 1)
        parms = byref(self._read_format._parms)
        status = self._from_text(given, byref(source_length), self._slot, self.size, self._length_cell, parms)
        require(status, text)
        return self._slot.raw

    def unpack(self, slot: bytes) -> Union[dt.datetime, dt.date, dt.time]:
        require_size(slot, self.size)
        components = slot[: self.meaningful]
        if self._kind is Kind.TIME:
            components = b"\0" * 6 + components
        ts = ZEMTTS.from_buffer_copy(components.ljust(24, b"\0"))
        require(library.ZEMTValidateDateTime(byref(ts), self._kind), slot)
        if self._kind is Kind.DATE:
            return dt.date(ts.year, ts.month, ts.day)
        if self._kind is Kind.TIME:
            return dt.time(ts.hour, ts.minute, ts.second)
        microsecond = ts.fraction * self._microseconds
        if not 0 <= microsecond < 1000000:
            raise ZemtError(Status.ZEMT_RC_ERROR, f"{shown(slot)}: a fraction of {ts.fraction}")
        return dt.datetime(ts.year, ts.month, ts.day, ts.hour, ts.minute, ts.second, microsecond)

    def pack(self, value: Any) -> bytes:
        if isinstance(value, str):
            return self._read(value)
        fits = isinstance(value, self.value_type) and isinstance(value, dt.datetime) == (self._kind is Kind.TIMESTAMP)
        if not fits or getattr(value, "tzinfo", None) is not None:
            raise ZemtError(Status.ZEMT_RC_ERROR, f"{shown(value)} is not {self.expected} without a zone")
        ts = ZEMTTS()
        if self._kind is not Kind.TIME:
            ts.year, ts.month, ts.day = value.year, value.month, value.day
        if self._kind is not Kind.DATE:
            ts.hour, ts.minute, ts.second = value.hour, value.minute, value.second
            unit = self._microseconds if self._kind is Kind.TIMESTAMP else 1000000
            ts.fraction, rest = divmod(value.microsecond, unit)
            if rest != 0:
                raise ZemtError(Status.ZEMT_RC_ERROR, f"{shown(value)}: a fraction that the type and format cannot hold")
        require(library.ZEMTValidateDateTime(byref(ts), self._kind), value)
        start = 6 if self._kind is Kind.TIME else 0
        return bytes(ts)[start : start + self.meaningful].ljust(self.size, b"\0")

    def require_carried(self, slot: bytes) -> None:
        """Raises unless text under the format would bring all of the record back."""
        text = self.text(slot)
        if self._read(text)[: self.meaningful] != slot[: self.meaningful]:
            raise ZemtError(Status.ZEMT_RC_ERROR, f"{shown(slot)}: the format carries only {text!r}")


@overload
def datetime(value: Bytes, type: Literal["ZEMTTS"], target: None = ..., *, format: Optional[Format] = ...) -> dt.datetime:
    ...


@overload
def datetime(value: Bytes, type: Literal["ZEMTDate"], target: None = ..., *, format: Optional[Format] = ...) -> dt.date:
    ...


@overload
def datetime(value: Bytes, type: Literal["ZEMTTime"], target: None = ..., *, format: Optional[Format] = ...) -> dt.time:
    ...


@overload
def datetime(
    value: Union[dt.date, dt.time, str], type: MomentType, target: None = ..., *, format: Optional[Format] = ...
) -> bytes:
    ...


@overload
def datetime(
    value: Union[Bytes, dt.date, dt.time, str], type: MomentType, target: Type[T], *, format: Optional[Format] = ...
) -> T:
    ...


def datetime(value: Any, type: str, target: Optional[type] = None, *, format: Optional[Format] = None) -> Any:
    """Converts a record of a timestamp, date or time: bytes to the value of Python's datetime, a value or text to bytes.

    target  bytes, str, or datetime.datetime, date or time (that of the type) asks for that in place of what the value becomes
            by itself
    format  of the text; needed from and to str

    The library's fraction is an integer that is never scaled. It counts microseconds under %FFFFFF and without a format,
    milliseconds under %FFF, and so on, as the digits of the last %F... have it; without one it has to be 0, and what does not
    fit is refused. Values with a time zone are refused. Text is read as the library reads it: it may end early, and what
    stands behind the last component is ignored.
    """
    return convert(Moment(type, format), value, target)

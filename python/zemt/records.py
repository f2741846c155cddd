"""Files of fixed-layout binary records, described by the layout files of recordcsv, as tuples of Python values.

    layout = records.Layout.load("cities.layout")
    for row in records.read("cities.bin", layout): ...
    records.write("copy.bin", layout, records.read("cities.bin", layout))

Integers are int, Dbl and Flt float, DecKest and OraVarnum decimal.Decimal, texts str, ZEMTTS, ZEMTDate and ZEMTTime values of
datetime. A slot of zero bytes is None in columns OraVarnum, ZEMTTS and ZEMTDate. What recordcsv refuses to write as CSV is
refused here: bytes that are not all text, packed signs other than C, D and F, dates that their format does not carry.
"""

from __future__ import annotations

import os
import re
import secrets
import stat
from typing import Any, BinaryIO, Iterable, Iterator, NamedTuple, Optional, Sequence, Union

from ._columns import Column, can_be_unset, single_byte_encoding, slot_codec, slot_size
from ._convert import Codec
from ._datetime import Format, Kind
from ._decimal import LARGEST_PRECISION
from ._status import Status, ZemtError, shown
from ._text import LAYOUTS

__all__ = ["Column", "Layout", "LayoutError", "RecordError", "read", "write"]

_BLANKS = " \t\r"
_LARGEST_RECORD = 1 << 30
_BLOCK = 1 << 18

_LENGTHS = {"Char": 1 << 20, "Varchar": 32767, "VarcharSz": 1 << 20, "WChar": 1 << 20, "WVarchar": 8191, "WVarcharSz": 1 << 20}
_LENGTHS["Skip"] = 1 << 20
_FIXED = {"TinyInt": 1, "SmallInt": 2, "Int": 4, "LongLong": 8, "TinyUInt": 1, "SmallUInt": 2, "UInt": 4, "ULONGLONG": 8}
_FIXED.update(Dbl=8, Flt=4, OraVarnum=22)
_MOMENTS = {"ZEMTTS": (24, None), "ZEMTDate": (16, Kind.DATE), "ZEMTTime": (16, Kind.TIME)}


class LayoutError(ValueError):
    """A layout that cannot be used."""


class RecordError(ZemtError):
    """A record that failed. row counts from 1; column is a name, or None where all of the record is meant; value is what was
    to be converted."""

    def __init__(self, status: int, about: str, row: int, column: Optional[str], value: object) -> None:
        super().__init__(status, about)
        self.args = (int(status), about, row, column, value)
        self.row, self.column, self.value = row, column, value

    def __str__(self) -> str:
        return f"row {self.row}" + (f", column {self.column}" if self.column is not None else "") + f": {super().__str__()}"


class _Word(NamedTuple):
    text: str
    in_quotes: bool


def _words(line: str) -> Iterator[_Word]:
    """The words before a comment. One in quotes may hold blanks and '#'."""
    line = line.lstrip(_BLANKS)
    while line and not line.startswith("#"):
        if line.startswith('"'):
            text, quote, line = line[1:].partition('"')
            if not quote:
                raise LayoutError("a closing quote is missing")
            yield _Word(text, True)
        else:
            text = re.split(f"[{_BLANKS}]", line, maxsplit=1)[0]
            line = line[len(text) :]
            yield _Word(text, False)
        line = line.lstrip(_BLANKS)


def _number(type: str, measure: str, text: str, least: int, largest: int) -> int:
    if not re.fullmatch("-?[0-9]{1,12}", text) or not least <= int(text) <= largest:
        raise LayoutError(f"{type} takes a {measure} of {least}..{largest}")
    return int(text)


def _type(text: str) -> tuple[str, int, int]:
    """Name, length or precision, and scale of "Varchar(60)", "Int", "DecKest(9,2)"."""
    type, parenthesis, rest = text.partition("(")
    if type not in _LENGTHS and type not in _FIXED and type not in _MOMENTS and type != "DecKest":
        raise LayoutError(f"unknown type {shown(text)}")
    measure, example = ("precision", "DecKest(15)") if type == "DecKest" else ("length", "Varchar(60)")
    if type != "DecKest" and type not in _LENGTHS:
        if parenthesis:
            raise LayoutError(f"{type} takes no length")
        return type, 0, 0
    if not rest.endswith(")"):
        raise LayoutError(f"{shown(text)} has no {measure}, as in {example}")
    if type != "DecKest":
        return type, _number(type, measure, rest[:-1], 1, _LENGTHS[type]), 0
    precision, comma, scale = rest[:-1].partition(",")
    length = _number(type, measure, precision, 0, LARGEST_PRECISION)
    return type, length, _number(type, "scale", scale, 0, length) if comma else 0


def _format(type: str, word: Optional[_Word]) -> Format:
    if word is None or not word.in_quotes:
        raise LayoutError(f"{type} needs a format in quotes")
    try:
        format = Format(word.text)
    except ZemtError as error:
        raise LayoutError(str(error)) from error
    kind = _MOMENTS[type][1]
    if format.kind is Kind.NONE or (kind is not None and format.kind is not kind):
        raise LayoutError(f"format {shown(word.text)} does not suit {type}")
    return format


def _column(line: str, offset: int) -> Optional[Column]:
    """The column of a line; one of the type Skip has no name."""
    words = _words(line)
    first: Optional[_Word] = next(words, None)
    if first is None:
        return None
    skips = not first.in_quotes and first.text.startswith("Skip(")
    if not skips and (not first.text or re.search("[\ud800-\udfff]", first.text)):
        raise LayoutError("a column's name has to be text in UTF-8")
    type_word: Optional[_Word] = first
    if not skips:
        type_word = next(words, None)
    if type_word is None:
        raise LayoutError(f"column {shown(first.text)} has no type")
    type, length, scale = _type(type_word.text)
    if type == "Skip" and not skips:
        raise LayoutError("Skip(n) takes no name")
    format, encoding, trims = None, None, False
    word: Optional[_Word] = next(words, None)
    if type in _MOMENTS:
        format = _format(type, word)
        word = next(words, None)
    if type in LAYOUTS and not type.startswith("W") and word == _Word("Encoding", False):
        word = next(words, None)
        if word is None:
            raise LayoutError("Encoding has no name, as in Encoding ISO-8859-1")
        encoding = word.text
        try:
            single_byte_encoding(encoding)
        except ValueError as error:
            raise LayoutError(str(error)) from None
        word = next(words, None)
    if type in LAYOUTS and word == _Word("Trim", False):
        trims = True
        word = next(words, None)
    if word is not None:
        raise LayoutError(f"unexpected {shown(word.text)}")
    size = _FIXED[type] if type in _FIXED else _MOMENTS[type][0] if type in _MOMENTS else slot_size(type, length)
    return Column("" if skips else first.text, type, length, scale, trims, encoding, format, offset, size)


class Layout:
    """The columns of a record, in their order, and its size in bytes. Threads may share it."""

    def __init__(self, columns: Sequence[Column], record_size: int) -> None:
        self.columns = tuple(columns)
        self.record_size = record_size

    @property
    def names(self) -> tuple[str, ...]:
        return tuple(column.name for column in self.columns)

    @classmethod
    def parse(cls, text: str, source: str = "layout") -> Layout:
        """Reads the text of a layout file. source is its name in messages."""
        columns: list[Column] = []
        size = 0
        names: set[str] = set()
        for number, line in enumerate(text.removeprefix("\ufeff").split("\n"), 1):
            try:
                column = _column(line, size)
                if column is None:
                    continue
                if column.name in names:
                    raise LayoutError(f"a second column {shown(column.name)}")
                size += column.size
                if size > _LARGEST_RECORD:
                    raise LayoutError(f"a record of more than {_LARGEST_RECORD} bytes")
            except LayoutError as error:
                raise LayoutError(f"{source}:{number}: {error}") from error.__cause__
            if column.type != "Skip":
                names.add(column.name)
                columns.append(column)
        if not columns:
            raise LayoutError(f"{source}: no columns")
        return cls(columns, size)

    @classmethod
    def load(cls, path: Union[str, os.PathLike[str]]) -> Layout:
        """Reads a layout file. Comments may be in any encoding."""
        with open(path, encoding="utf-8", errors="surrogateescape", newline="\n") as file:
            return cls.parse(file.read(), os.fspath(path))


class _Slot:
    """One column of a reader's or writer's plan, with buffers of its own."""

    def __init__(self, column: Column) -> None:
        self.name, self.start, self.end = column.name, column.offset, column.offset + column.size
        self.codec: Codec = slot_codec(column)
        self.unset = bytes(column.size) if can_be_unset(column) else None
        self.takes_text = column.type in LAYOUTS

    def pack(self, value: object) -> bytes:
        if value is None and self.unset is not None:
            return self.unset
        if value is None or (isinstance(value, str) and not self.takes_text):
            raise ZemtError(Status.ZEMT_RC_ERROR, f"{shown(value)} is no value of the column")
        return self.codec.pack(value)


Path = Union[str, "os.PathLike[str]"]


def read(source: Union[Path, BinaryIO], layout: Layout) -> Iterator[tuple[Any, ...]]:
    """The records of a file, or of a binary file that is open, as tuples with a value for each column. The file is opened when
    the first record is asked for. A record that fails raises RecordError and ends the iteration."""
    if isinstance(source, (str, os.PathLike)):
        with open(source, "rb", buffering=0) as file:
            yield from _read(file, layout)
    else:
        yield from _read(source, layout)


def _read(file: BinaryIO, layout: Layout) -> Iterator[tuple[Any, ...]]:
    slots = [_Slot(column) for column in layout.columns]
    size = layout.record_size
    row = 0
    for block in _blocks(file, max(_BLOCK // size, 1) * size):
        for at in range(0, len(block), size):
            row += 1
            record = block[at : at + size]
            if len(record) < size:
                about = f"incomplete record, {len(record)} of {size} bytes"
                raise RecordError(Status.ZEMT_RC_ERROR, about, row, None, record)
            yield _unpack(slots, record, row)


def _blocks(file: BinaryIO, size: int) -> Iterator[bytes]:
    """The bytes of a file in blocks that are full, but for the last one; a pipe gives less than it is asked for."""
    while True:
        block = file.read(size)
        while block and len(block) < size:
            more = file.read(size - len(block))
            if not more:
                break
            block += more
        if not block:
            return
        yield block


def _unpack(slots: Sequence[_Slot], record: bytes, row: int) -> tuple[Any, ...]:
    values = []
    for slot in slots:
        given = record[slot.start : slot.end]
        try:
            values.append(None if given == slot.unset else slot.codec.unpack(given))
        except ZemtError as error:
            raise RecordError(error.status, error.about, row, slot.name, given) from None
    return tuple(values)


def write(target: Union[Path, BinaryIO], layout: Layout, rows: Iterable[Sequence[Any]]) -> int:
    """Writes rows as records to a file, or to a binary file that is open, and returns how many there were. A file appears under
    its name when it is complete, and not before: if anything fails the one that was there stays. A row that fails raises
    RecordError."""
    if not isinstance(target, (str, os.PathLike)):
        return _write(target, layout, rows)
    path = os.path.realpath(target)  # a link stays one: what it leads to is replaced
    try:
        mode = os.stat(path).st_mode
    except FileNotFoundError:
        mode = None
    if mode is not None and not stat.S_ISREG(mode):
        with open(path, "wb") as file:
            return _write(file, layout, rows)
    temporary = os.path.join(os.path.dirname(path), f".records-{secrets.token_hex(8)}")
    try:
        with open(temporary, "xb") as file:
            if mode is not None:
                os.fchmod(file.fileno(), stat.S_IMODE(mode))
            count = _write(file, layout, rows)
        os.replace(temporary, path)
    except BaseException as error:
        if isinstance(error, OSError) and error.filename == temporary:
            error.filename = path
        try:
            os.unlink(temporary)
        except FileNotFoundError:
            pass
        raise
    return count


def _write(file: BinaryIO, layout: Layout, rows: Iterable[Sequence[Any]]) -> int:
    slots = [_Slot(column) for column in layout.columns]
    row, block = 0, bytearray()
    for row, values in enumerate(rows, 1):
        block += _pack(slots, layout.record_size, values, row)
        if len(block) >= _BLOCK:
            _write_all(file, block)
            block.clear()
    _write_all(file, block)
    return row


def _write_all(file: BinaryIO, block: bytearray) -> None:
    """Files without a buffer may take less than they are given."""
    rest = bytes(block)
    while rest:
        rest = rest[file.write(rest) :]


def _pack(slots: Sequence[_Slot], size: int, values: Sequence[object], row: int) -> bytes:
    if isinstance(values, (str, bytes)) or len(values) != len(slots):
        raise RecordError(Status.ZEMT_RC_ERROR, f"{len(values)} values for {len(slots)} columns", row, None, values)
    record = bytearray(size)
    for slot, value in zip(slots, values):
        try:
            record[slot.start : slot.end] = slot.pack(value)
        except ZemtError as error:
            raise RecordError(error.status, error.about, row, slot.name, value) from None
    return bytes(record)

"""Files of records against values of Python's own making and against recordcsv."""

import csv
import datetime as dt
import io
import os
import random
import stat
import struct
import threading
from decimal import Decimal

import pytest

from conftest import SAMPLE
from zemt import ZemtError, records
from zemt.records import Layout, LayoutError, RecordError


def date(pattern):
    return lambda field: dt.datetime.strptime(field, pattern).date() if field else None


def narrow(number):
    return struct.unpack("<f", struct.pack("<f", float(number)))[0]


CITIES = Layout.load(SAMPLE / "cities.layout")
CITY_VALUES = dict.fromkeys(CITIES.names, int) | dict.fromkeys(["zone", "name", "latin", "country", "iso", "script"], str)
CITY_VALUES |= {
    "latitude": float,
    "longitude": narrow,
    "counted": date("%Y-%m-%d"),
    "un_member": date("%d %b %Y"),
    "left_lmt": lambda field: dt.datetime.strptime(field, "%Y-%m-%d %H:%M:%S"),
    "lmt_at_noon": lambda field: dt.datetime.strptime(field, "%H:%M:%S").time(),
    "country_area": Decimal,
    "country_gdp": Decimal,
}


def city_rows():
    with open(SAMPLE / "cities.csv", encoding="utf-8", newline="") as file:
        return [tuple(CITY_VALUES[name](field) for name, field in row.items()) for row in csv.DictReader(file)]


def types(row):
    return [type(value) for value in row]


def test_sample_there_and_back(tmp_path, recordcsv):
    rows, path = city_rows(), tmp_path / "cities.bin"
    assert records.write(path, CITIES, rows) == len(rows) == 99 and path.stat().st_size == 99 * CITIES.record_size
    if recordcsv:
        assert recordcsv("from-csv", SAMPLE / "cities.layout", SAMPLE / "cities.csv", tmp_path / "other.bin").returncode == 0
        assert path.read_bytes() == (tmp_path / "other.bin").read_bytes()
    back = list(records.read(path, CITIES))
    assert back == rows and list(map(types, back)) == list(map(types, rows))
    buffer = io.BytesIO()
    records.write(buffer, CITIES, back)
    assert buffer.getvalue() == path.read_bytes()


def framed(type, length, raw):
    unit = 4 if type.startswith("W") else 1
    if type.endswith("Varchar"):
        return (struct.pack("<h", len(raw)) + raw).ljust(2 + length * unit, b"\0")
    return (
        raw.ljust((length + 1) * unit, b"\0")
        if type.endswith("Sz")
        else raw + (b" \0\0\0" if unit == 4 else b" ") * (length - len(raw) // unit)
    )


def columns_of_every_type(generator):
    """Layout line, and a pair of value and slot."""

    def text(alphabet, length):
        return "".join(generator.choices(alphabet, k=generator.randrange(length + 1))).rstrip(" ")

    def moment():
        return dt.datetime(
            generator.randint(1, 9999),
            generator.randint(1, 12),
            generator.randint(1, 28),
            *map(generator.randrange, (24, 60, 60)),
        )

    for type, code in zip("TinyInt SmallInt Int LongLong TinyUInt SmallUInt UInt ULONGLONG Dbl Flt".split(), "bhiqBHIQdf"):
        if code in "df":
            number = narrow(generator.uniform(-1e9, 1e9))
        else:
            bits = 8 * struct.calcsize(code)
            number = generator.getrandbits(bits) - (1 << bits - 1 if code.islower() else 0)
        yield type, number, struct.pack("<" + code, number)
    for type in ("Char", "Varchar", "VarcharSz", "WChar", "WVarchar", "WVarcharSz"):
        value = text("aé日😀 \t", 20)
        yield f"{type}(80)", value, framed(type, 80, value.encode("utf-32-le" if type.startswith("W") else "utf-8"))
    for type, encoding, codec in (
        ("Char", "ISO-8859-15", "iso8859-15"),
        ("Varchar", "IBM037", "cp037"),
        ("VarcharSz", "KOI8-R", "koi8-r"),
    ):
        value = text("ab" + ("Ж" if encoding == "KOI8-R" else "é"), 9)
        raw = value.encode(codec)
        yield f"{type}(9) Encoding {encoding} Trim", value, framed(type, 9, raw)
    digits = f"{generator.randrange(10**9):09}"
    sign = generator.choice("cd")
    yield "DecKest(9,2)", Decimal(f"{'-' if sign == 'd' else ''}{digits[:7]}.{digits[7:]}"), bytes.fromhex(digits + sign)
    pair = generator.randrange(1, 100)
    yield "OraVarnum", Decimal(pair), bytes([2, 193, pair + 1]).ljust(22, b"\0")
    yield "OraVarnum", Decimal(-pair), bytes([3, 62, 101 - pair, 102]).ljust(22, b"\0")
    yield "OraVarnum", None, bytes(22)
    value = moment()
    raw = struct.pack("<h5H", *value.timetuple()[:6])
    milliseconds = generator.randrange(1000)
    yield 'ZEMTTS "%YYYY-%MM-%DD %HH24:%MI:%SS"', value, raw.ljust(24, b"\0")
    yield 'ZEMTTS "%YYYY-%MM-%DD %HH %PM %MI:%SS.%FFF"', value.replace(microsecond=milliseconds * 1000), raw + struct.pack(
        "<i8x", milliseconds
    )
    yield 'ZEMTTS "%YYYY"', None, bytes(24)
    yield 'ZEMTDate "%DD %MONTH %YYYY."', value.date(), raw[:6].ljust(16, b"\0")
    yield 'ZEMTDate "%YYYY-%MM-%DD"', None, bytes(16)
    yield 'ZEMTTime "%HH24:%MI:%SS"', value.time(), raw[6:12].ljust(16, b"\0")


def random_records(seed, count):
    generator = random.Random(seed)
    made = [list(columns_of_every_type(generator)) for _ in range(count)]
    layout = "Skip(3)\n" + "".join(f'"column {at}" {line} # {at}\n' for at, (line, _, _) in enumerate(made[0]))
    return (
        layout,
        [tuple(value for _, value, _ in row) for row in made],
        b"".join(b"\0\0\0" + b"".join(slot for *_, slot in row) for row in made),
    )


class Trickle(io.RawIOBase):
    """A file that gives and takes a few bytes at a time, as a pipe may."""

    def __init__(self, data=b""):
        self.data = data

    def read(self, size=-1):
        piece, self.data = self.data[: min(size, 1000)], self.data[min(size, 1000) :]
        return piece

    def write(self, data):
        self.data += data[:1000]
        return min(len(data), 1000)


def test_every_type_in_blocks():
    text, rows, data = random_records(7, 1000)
    layout = Layout.parse(text)
    assert len(data) == 1000 * layout.record_size and len(data) > 3 * records._BLOCK
    assert [repr(row) for row in records.read(Trickle(data), layout)] == [repr(row) for row in rows]
    out = Trickle()
    assert records.write(out, layout, iter(rows)) == 1000 and out.data == data
    assert list(records.read(io.BytesIO(), layout)) == [] and records.write(io.BytesIO(), layout, []) == 0


def test_recordcsv_refuses_the_same_records(tmp_path, recordcsv):
    """Records of which bytes have been changed: what becomes CSV becomes a tuple with the same values, nothing else does."""
    if not recordcsv:
        pytest.skip("the environment variable RECORDCSV names no program to compare with")
    generator = random.Random(8)
    text, _, data = random_records(8, 3000)
    layout, size = Layout.parse(text), Layout.parse(text).record_size
    changed = bytearray(data)
    for start in range(0, len(data), size):
        column = generator.choice(layout.columns)
        for _ in range(generator.randrange(1, 3)):
            at = start + column.offset + generator.randrange(min(column.size, 24))
            changed[at] = generator.choice((0, 1, 2, 0x0C, 0x20, 0x3F, 0x66, 0x80, 0xFF, generator.randrange(256)))
    (tmp_path / "every.layout").write_text(text, encoding="utf-8")
    (tmp_path / "in.bin").write_bytes(changed)
    run = recordcsv(
        "to-csv",
        tmp_path / "every.layout",
        tmp_path / "in.bin",
        tmp_path / "out.csv",
        "--rejects",
        tmp_path / "rejects.bin",
        "--reject-reasons",
        tmp_path / "why.csv",
    )
    assert run.returncode == 1
    with open(tmp_path / "why.csv", encoding="utf-8", newline="") as file:
        reasons = {}
        for row in csv.DictReader(file):
            reasons.setdefault(int(row["row"]), (row["column"], int(row["status"])))
    taken, mine = [], {}
    for row, start in enumerate(range(0, len(changed), size), 1):
        try:
            taken += records.read(io.BytesIO(changed[start : start + size]), layout)
        except RecordError as error:
            mine[row] = error.column, error.status
    assert 500 < len(reasons) < 2500 and mine == reasons
    back = io.BytesIO()
    records.write(back, layout, taken)
    recordcsv("from-csv", tmp_path / "every.layout", tmp_path / "out.csv", tmp_path / "back.bin")
    assert back.getvalue() == (tmp_path / "back.bin").read_bytes()


REST = bytes(19)


@pytest.mark.parametrize(
    "type, slot, status, message",
    [
        ("Varchar(2)", b"\xff\xffab", -1, "length prefix -1 outside 0..2"),
        ("Varchar(2)", b"\x03\0ab", -1, "length prefix 3 outside 0..2"),
        ("WVarchar(1)", b"\x03\0a\0\0\0", -1, "end inside a character"),
        ("VarcharSz(2)", b"abc", -1, "no terminator within 3 bytes"),
        ("WVarcharSz(1)", b"a\0\0\0b\0\0\0", -1, "no terminator within 8 bytes"),
        ("WVarcharSz(1)", b"\0\xd8\0\0\0\0\0\0", 22, "a character"),
        ("WVarcharSz(1)", b"\0\0\0\x80\0\0\0\0", 22, "a character"),
        ("Varchar(4)", b"\x04\0\xf4\x90\x80\x80", 22, "a character"),
        ("Varchar(3)", b"\x03\0\xed\xa0\x80", 22, "a character"),
        ("Varchar(3)", b"\x03\0\xef\xbf\xbd", -1, "is text, only '?'"),
        ("Char(3)", b"a\0b", -1, "is text, only 'a'"),
        ("Char(3)", b"\0\0\0", -1, "is text, only ''"),
        ("WChar(2)", b"a\0\0\0\0\0\0\0", -1, "is text, only 'a\\x00'"),
        ("Varchar(3)", b"\x02\0a\xffb", -1, "is text, only 'aÿ'"),
        ("Varchar(9) Trim", b"\x04\0 a\0 \0\0\0\0\0", -1, "is text, only ' a'"),
        ("Char(1) Encoding ISO-8859-6", b"\xff", 22, "a character"),
        ("Dbl", b"\0\0\0\0\0\0\xf8\xff", -1, "status -1"),
        ("DecKest(3)", b"\x12\x3e", -1, "the sign E"),
        ("OraVarnum", b"\x02\xc1\x01" + REST, -1, "is not how 0 is stored"),
        ("OraVarnum", b"\x03\xc1\x02\x01" + REST[1:], -1, "is not how 1.00 is stored"),
        ('ZEMTTS "%YY-%MM-%DD"', struct.pack("<h5H12x", 2024, 1, 2, 0, 0, 0), -1, "the format carries only '24-01-02'"),
        ('ZEMTTS "%YYYY-%MM-%DD"', struct.pack("<h5H12x", 2024, 1, 2, 3, 0, 0), -1, "the format carries only '2024-01-02'"),
        ('ZEMTDate "%D.%M.%YYYY"', struct.pack("<hHH10x", 2024, 1, 2), -1, "status -1"),
        ('ZEMTDate "%YYYY-%MM-%DD"', struct.pack("<hHH10x", 2024, 13, 2), 56, "month outside 1..12"),
    ],
)
def test_slots_that_are_refused(type, slot, status, message):
    layout = Layout.parse(f"n Int\nv {type}")
    with pytest.raises(RecordError) as caught:
        list(records.read(io.BytesIO(b"\0\0\0\0" + slot), layout))
    error = caught.value
    assert (error.row, error.column, error.value, error.status) == (1, "v", slot, status)
    assert str(error).startswith("row 1, column v: ") and message in str(error)


@pytest.mark.parametrize(
    "type, slot, value",
    [
        ("DecKest(3)", b"\x12\x3f", Decimal(123)),
        ("DecKest(2)", b"\x00\x0f", Decimal(0)),
        ("Char(4) Trim", b"  a ", "a"),
        ("Char(4)", b"    ", ""),
        ("Varchar(4) Trim", b"\x03\0    ", ""),
        ("WVarcharSz(2) Trim", b"\xe4\0\0\0 \0\0\0\0\0\0\0", "ä"),
        ("WChar(1)", b"\xfd\xff\0\0", "\ufffd"),
        ("OraVarnum", b"\x02\xc1\x02" + REST[:-1] + b"\xff", Decimal(1)),
        ("OraVarnum", bytes(22), None),
        ('ZEMTTime "%HH24"', bytes(16), dt.time()),
        ('ZEMTDate "%YYYY%MM%DD"', struct.pack("<hHH10s", 2024, 2, 29, b"whatever.."), dt.date(2024, 2, 29)),
    ],
)
def test_slots_that_say_the_same_as_others(type, slot, value):
    assert list(records.read(io.BytesIO(slot), Layout.parse(f"v {type}"))) == [(value,)]


@pytest.mark.parametrize(
    "type, value, status, message",
    [
        ("Int", 2**31, -1, "is not an integer of -2147483648..2147483647"),
        ("Int", 1.5, -1, "not an integer"),
        ("Int", "7", -1, "'7' is no value of the column"),
        ("Int", None, -1, "None is no value"),
        ('ZEMTTime "%HH24"', None, -1, "None is no value"),
        ("Char(3)", None, -1, "None is no value"),
        ("TinyUInt", -1, -1, "0..255"),
        ("Dbl", float("nan"), -1, "nan"),
        ("Flt", 1e39, -1, "1e+39"),
        ("Dbl", Decimal("0.1"), -1, "can hold"),
        ("DecKest(3)", 1234, -1, "a number of up to 3 digits"),
        ("DecKest(9,2)", Decimal("1.255"), -1, "2 of them behind the point"),
        ("DecKest(3)", 1.0, -1, "1.0"),
        ("OraVarnum", 10**126, -1, "up to 40 digits"),
        ("OraVarnum", 0.5, -1, "0.5 is not a decimal number"),
        ("Char(3)", "abcd", 28, "'abcd'"),
        ("Varchar(3)", "😀", 28, "no room"),
        ("WVarchar(1)", "ab", 28, "'ab'"),
        ("WVarcharSz(1) Trim", " ab ", 28, "' ab '"),
        ("VarcharSz(3)", "a\0b", -1, "would be stored as 'a'"),
        ("WVarchar(3)", "a\0b", -1, "a"),
        ("Varchar(3)", "\ufffd", -1, "is text, only '?'"),
        ("Varchar(9)", "\ud800", 22, "a character"),
        ("Char(2) Encoding ISO-8859-1", "€", 22, "'€'"),
        ("Char(2) Encoding ISO-8859-1", "abc", 28, "'abc'"),
        ("Char(3)", b"abc", -1, "616263 is not text of up to 3 bytes of UTF-8"),
        ('ZEMTDate "%YYYY"', dt.date(2024, 2, 1), 56, "month"),
        ('ZEMTDate "%YYYY-%MM-%DD"', dt.datetime(2024, 2, 1), -1, "is not a valid date as in"),
        ('ZEMTTS "%YYYY-%MM-%DD"', dt.datetime(2024, 2, 1, 3), -1, "the format carries only"),
        ('ZEMTTime "%HH24:%MI"', dt.time(1, 2, 3), -1, "carries only '01:02'"),
    ],
)
def test_values_that_are_refused(tmp_path, type, value, status, message):
    layout, path = Layout.parse(f"n Int\nv {type}"), tmp_path / "out.bin"
    path.write_bytes(b"kept")
    with pytest.raises(RecordError) as caught:
        records.write(path, layout, [(1, value)])
    error = caught.value
    assert (error.row, error.column, error.status) == (1, "v", status) and error.value is value
    assert str(error).startswith("row 1, column v: ") and message in str(error)
    assert path.read_bytes() == b"kept" and os.listdir(tmp_path) == ["out.bin"]


def test_rows_and_records_that_have_another_size():
    layout = Layout.parse("a Int\nb Int")
    for row, message in (((1,), "row 2: 1 values for 2 columns"), ((1, 2, 3), "row 2: 3 values"), ("ab", "row 2: 2 values")):
        with pytest.raises(RecordError, match=message):
            records.write(io.BytesIO(), layout, [(1, 2), row])
    rows = records.read(io.BytesIO(bytes(15)), layout)
    assert next(rows) == (0, 0)
    with pytest.raises(RecordError, match="^row 2: incomplete record, 7 of 8 bytes: status -1"):
        next(rows)


def test_files(tmp_path):
    layout, path, link = Layout.parse("n Int"), tmp_path / "n.bin", tmp_path / "link"
    records.write(str(path), layout, [(1,)])
    assert stat.S_IMODE(path.stat().st_mode) == 0o666 & ~os.umask(os.umask(0o022))
    path.chmod(0o640)
    link.symlink_to(path)
    records.write(link, layout, ((n + 1,) for (n,) in records.read(path, layout)))  # read while it is written
    assert list(records.read(path, layout)) == [(2,)] and link.is_symlink() and stat.S_IMODE(path.stat().st_mode) == 0o640

    def interrupted():
        yield (3,)
        raise KeyboardInterrupt

    with pytest.raises(KeyboardInterrupt):
        records.write(path, layout, interrupted())
    assert list(records.read(path, layout)) == [(2,)] and sorted(os.listdir(tmp_path)) == ["link", "n.bin"]
    for call in (
        lambda: records.write(tmp_path / "absent" / "n.bin", layout, []),
        lambda: list(records.read(tmp_path / "absent/n.bin", layout)),
    ):
        with pytest.raises(FileNotFoundError, match="absent/n.bin"):
            call()
    with pytest.raises(OSError, match="No space left"):
        records.write("/dev/full", layout, [(1,)])
    assert stat.S_ISCHR(os.stat("/dev/full").st_mode)


def test_readers_side_by_side():
    """Readers of one layout have buffers of their own, in one thread and in several."""
    text, rows, data = random_records(9, 200)
    layout = Layout.parse(text)
    pairs = zip(records.read(io.BytesIO(data), layout), records.read(io.BytesIO(data), layout), rows)
    assert all(repr(one) == repr(other) == repr(row) for one, other, row in pairs)
    results = []
    threads = [
        threading.Thread(target=lambda: results.append(list(records.read(io.BytesIO(data), layout)) == rows)) for _ in range(4)
    ]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert results == [True] * 4


LAYOUTS = """\
v|column 'v' has no type
v Varchr(5)|unknown type 'Varchr(5)'
v Varchar|'Varchar' has no length, as in Varchar(60)
v Varchar(0)|Varchar takes a length of 1..32767
v WVarchar(8192)|WVarchar takes a length of 1..8191
v Char(5x)|Char takes a length
v Char(+5)|Char takes a length
v Char(٣)|Char takes a length
v Char(99999999999999999999)|Char takes a length
v Char(5|'Char(5' has no length
v Int(4)|Int takes no length
v Int "%YYYY"|unexpected '%YYYY'
v ZEMTTS(3) "%YYYY"|ZEMTTS takes no length
v DecKest|'DecKest' has no precision, as in DecKest(15)
v DecKest(-1)|DecKest takes a precision of 0..1048576
v DecKest()|DecKest takes a precision of 0..1048576
v DecKest(3,4)|DecKest takes a scale of 0..3
v DecKest(3,)|DecKest takes a scale of 0..3
v Int Trim|unexpected 'Trim'
v Char(5) trim|unexpected 'trim'
v Char(5) "Trim"|unexpected 'Trim'
v Char(5) Trim Trim|unexpected 'Trim'
v Char(5) Trim Encoding IBM037|unexpected 'Encoding'
v WChar(5) Encoding IBM037|unexpected 'Encoding'
v Char(5) Encoding|Encoding has no name, as in Encoding ISO-8859-1
v Char(5) Encoding nonsense|unknown encoding nonsense
v Char(5) Encoding UTF-16|encoding UTF-16 is none of single bytes
n Int|a second column 'n'
"" Int|a column's name has to be text
x\udce4( Int|a column's name has to be text
x Skip(3)|Skip(n) takes no name
Skip(3) Trim|unexpected 'Trim'
Skip(0)|Skip takes a length of 1..1048576
v ZEMTDate|ZEMTDate needs a format in quotes
v ZEMTDate %YYYY|ZEMTDate needs a format in quotes
v ZEMTDate "%YYYY|a closing quote is missing
v ZEMTDate "%QQ"|format '%QQ': status 67
v ZEMTDate "%HH24"|format '%HH24' does not suit ZEMTDate
v ZEMTTime "%SS.%FF"|format '%SS.%FF' does not suit ZEMTTime
v ZEMTTS "now"|format 'now' does not suit ZEMTTS
a DecKest(3)x|'DecKest(3)x' has no precision
 "a b"Int#3|unknown type 'Int#3'"""


@pytest.mark.parametrize("line, message", [line.split("|") for line in LAYOUTS.split("\n")])
def test_layouts_that_cannot_be_used(tmp_path, recordcsv, line, message):
    path = tmp_path / "wrong.layout"
    path.write_text(f"# comment\n\nn Int\n{line}\n", encoding="utf-8", errors="surrogateescape")
    with pytest.raises(LayoutError) as caught:
        Layout.load(path)
    assert str(caught.value).startswith(f"{path}:4: {message}")
    if recordcsv:  # which has other quotes around what it shows
        run = recordcsv("check", path)
        assert run.returncode == 2 and run.stderr.replace('"', "'").startswith(
            f"recordcsv: {path}:4: {message}"[: 60 + len(str(path))]
        )


@pytest.mark.parametrize(
    "text, columns",
    [
        ("\ufeffv Int\r\n", [("v", "Int", 0, 4)]),
        ('  "a b"Char(3) # comment\n#x Int\n\tb#\tInt', [("a b", "Char", 0, 3), ("b#", "Int", 3, 4)]),
        (
            'Skip(2)\n"Skip(2)" Char(2)\nSkip(1)\nw WVarcharSz(2)\nSkip(9)',
            [("Skip(2)", "Char", 2, 2), ("w", "WVarcharSz", 5, 12)],
        ),
        (
            '"x" "DecKest(4,1)"\ny DecKest(5)\nz OraVarnum\nt ZEMTTS "#%YYYY" # c',
            [("x", "DecKest", 0, 3), ("y", "DecKest", 3, 3), ("z", "OraVarnum", 6, 22), ("t", "ZEMTTS", 28, 24)],
        ),
        (
            "a Varchar(2) Encoding IBM-1047 Trim\nb WVarchar(2)\nc VarcharSz(2)\nd WChar(2)",
            [("a", "Varchar", 0, 4), ("b", "WVarchar", 4, 10), ("c", "VarcharSz", 14, 3), ("d", "WChar", 17, 8)],
        ),
    ],
)
def test_layouts(tmp_path, recordcsv, text, columns):
    layout = Layout.parse(text)
    assert [(column.name, column.type, column.offset, column.size) for column in layout.columns] == columns
    if recordcsv:
        (tmp_path / "good.layout").write_bytes(text.encode())
        lines = recordcsv("check", tmp_path / "good.layout").stdout.splitlines()[1:]
        assert [tuple(map(int, line.split()[:2])) for line in lines[:-1]] == [column[2:] for column in columns]
        assert int(lines[-1].split()[0]) == layout.record_size


def test_layouts_by_themselves(tmp_path):
    with pytest.raises(LayoutError, match="^layout: no columns$"):
        Layout.parse("# nothing\nSkip(3)")
    with pytest.raises(LayoutError, match="^layout:1025: a record of more than 1073741824 bytes"):
        Layout.parse("".join(f"c{at} Char(1048576)\n" for at in range(1025)))
    with pytest.raises(LayoutError) as caught:
        Layout.parse('v ZEMTDate "%QQ"')
    assert isinstance(caught.value.__cause__, ZemtError) and caught.value.__cause__.status == 67
    with pytest.raises(FileNotFoundError):
        Layout.load(tmp_path / "absent.layout")
    (tmp_path / "latin1.layout").write_bytes(b"v Int # \xe4\n")
    assert Layout.load(tmp_path / "latin1.layout").names == ("v",)

"""Numbers against struct, printf's notation and decimal."""

import locale
import math
import random
import struct
import subprocess
from decimal import Decimal, localcontext

import pytest

import zemt

INTEGERS = {
    "TinyInt": "b",
    "SmallInt": "h",
    "Int": "i",
    "LongLong": "q",
    "TinyUInt": "B",
    "SmallUInt": "H",
    "UInt": "I",
    "ULONGLONG": "Q",
}


def refused(function, *arguments, status=-1):
    with pytest.raises(zemt.ZemtError) as caught:
        function(*arguments)
    return caught.value.status == status


@pytest.mark.parametrize("type, code", INTEGERS.items())
def test_integers(type, code):
    generator, size = random.Random(2), struct.calcsize(code)
    low, high = (0, 256**size - 1) if code.isupper() else (-(256**size) // 2, 256**size // 2 - 1)
    for number in {
        low,
        low + 1,
        -1 if low else 1,
        0,
        1,
        9,
        10,
        high - 1,
        high,
        *(generator.randint(low, high) for _ in range(300)),
    }:
        raw = struct.pack("<" + code, number)
        assert zemt.number(number, type) == zemt.number(str(number), type) == raw
        assert zemt.number(raw, type) == zemt.number(bytearray(raw), type) == number and zemt.number(raw, type, str) == str(
            number
        )
    for wrong in (
        low - 1,
        high + 1,
        1.5,
        None,
        str(low - 1),
        str(high + 1),
        "-",
        "1x",
        " 1",
        "1\0",
        "٣",
        "--1",
        10**5000,
        "9" * 5000,
    ):
        assert refused(zemt.number, wrong, type), wrong
    assert zemt.number("007", type, int) == 7 and zemt.number("", type, int) == 0
    assert refused(zemt.number, b"\0" * (size + 1), type) and refused(zemt.number, b"", type)


@pytest.mark.parametrize("type, code, digits", [("Dbl", "d", 16), ("Flt", "f", 7)])
def test_floats(type, code, digits):
    generator, size = random.Random(3), struct.calcsize(code)
    bits = [0, 1 << 8 * size - 1, 1, 2, 3] + [generator.getrandbits(8 * size) for _ in range(3000)]
    for raw in (pattern.to_bytes(size, "little") for pattern in bits):
        (number,) = struct.unpack("<" + code, raw)
        if not math.isfinite(number):
            assert refused(zemt.number, raw, type) and refused(zemt.number, number, type)
            continue
        assert struct.pack("<d", zemt.number(raw, type)) == struct.pack("<d", number)
        assert zemt.number(number, type) == raw
        text = zemt.number(raw, type, str)
        if type == "Flt" and struct.pack("<f", float(f"{number:.7e}")) != raw:
            digits, kept = 8, digits
            assert text == f"{number:.8e}".upper()
            digits = kept
        else:
            assert text == f"{number:.{digits}e}".upper()
        assert zemt.number(text, type) == raw
    for number in (generator.uniform(-1e6, 1e6) for _ in range(1000)):
        assert zemt.number(number, type) == zemt.number(repr(number), type) == struct.pack("<" + code, number)
    assert zemt.number(7, type, float) == 7 and zemt.number("00", type, float) == 0
    for wrong in (
        math.inf,
        math.nan,
        2**53 + 1,
        10**400,
        Decimal("0.1"),
        None,
        1j,
        "",
        "12abc",
        "0x10",
        "1_0",
        "0_0",
        "1e-400",
        "1e400",
        "inf",
        "nan",
        "5\0",
    ):
        assert refused(zemt.number, wrong, type), wrong
    assert refused(zemt.number, b"\0" * 7, type)


def test_floats_in_another_locale(tmp_path, monkeypatch):
    """Needs localedef and the sources of Debian's package locales."""
    subprocess.run(["localedef", "-c", "-i", "de_DE", "-f", "UTF-8", tmp_path / "de_DE.UTF-8"], capture_output=True)
    monkeypatch.setenv("LOCPATH", str(tmp_path))
    saved = locale.setlocale(locale.LC_NUMERIC)
    try:
        locale.setlocale(locale.LC_NUMERIC, "de_DE.UTF-8")
        assert zemt.number(1.5, "Dbl") == zemt.number("1,5", "Dbl") == struct.pack("<d", 1.5)
        assert zemt.number(struct.pack("<d", 1.5), "Dbl") == 1.5
        assert refused(zemt.number, "1.5", "Dbl")
    finally:
        locale.setlocale(locale.LC_NUMERIC, saved)


def packed(number, precision, scale):
    digits = str(abs(int(number.scaleb(scale))))
    return bytes.fromhex(digits.zfill(precision // 2 * 2 + 1) + ("d" if number.is_signed() else "c"))


@pytest.mark.parametrize("precision, scale", [(1, 0), (2, 1), (5, 0), (9, 2), (18, 18), (38, 4), (301, 100), (0, 0)])
def test_packed_decimal(precision, scale):
    generator = random.Random(4)
    with localcontext() as context:
        context.prec = 400
        for _ in range(200):
            number = Decimal(generator.randrange(10**precision)).scaleb(-scale).copy_sign(generator.choice((1, -1)))
            raw = packed(number, precision, scale)
            assert zemt.decimal(number, precision, scale) == zemt.decimal(str(number), precision, scale) == raw
            back = zemt.decimal(raw, precision, scale)
            assert back == number and str(back) == f"{number:.{scale}f}" == zemt.decimal(raw, precision, scale, str)
    assert zemt.decimal(0, precision, scale, Decimal).is_zero()
    for wrong in (
        10 ** (precision - scale),
        Decimal(1).scaleb(-scale - 1),
        Decimal("nan"),
        Decimal("sNaN"),
        Decimal("inf"),
        1.5,
        None,
        "x",
        "",
        "1E+999999",
    ):
        assert refused(zemt.decimal, wrong, precision, scale), wrong


def test_packed_decimal_by_itself():
    exact = Decimal("1" * 60)  # beyond the precision of the context
    assert zemt.decimal(zemt.decimal(exact, 60), 60) == exact
    assert zemt.decimal(Decimal("1E+3"), 4) == zemt.decimal("1000.000", 4) == b"\x01\x00\x0c"
    assert str(zemt.decimal(b"\x0d", 0)) == str(zemt.decimal("-0", 1, target=Decimal)) == "-0"
    assert zemt.decimal(b"\x12\x3f", 3) == 123
    for raw, precision in ((b"\x12\x3e", 3), (b"\0\0", 3), (b"\x1a\x3c", 3), (b"\x12\x3c", 2), (b"\x12\x3c", 5), (b"", 0)):
        assert refused(zemt.decimal, raw, precision), raw
    for precision, scale in ((-1, 0), (3, 4), (3, -1), (1 << 21, 0)):
        with pytest.raises(ValueError, match="a (scale|precision) of"):
            zemt.decimal(1, precision, scale)


def varnum(number):
    sign, digits, exponent = number.as_tuple()
    text = "".join(map(str, digits)).lstrip("0")
    if not text:
        return b"\x01\x80"
    if exponent % 2:
        text, exponent = text + "0", exponent - 1
    text = text.zfill(len(text) + len(text) % 2)
    pairs = [int(text[at : at + 2]) for at in range(0, len(text), 2)]
    first = exponent // 2 + len(pairs) - 1
    while pairs[-1] == 0:
        pairs.pop()
    body = (
        [62 - first, *(101 - pair for pair in pairs), *([102] if len(pairs) < 20 else [])]
        if sign
        else [193 + first, *(pair + 1 for pair in pairs)]
    )
    return bytes([len(body), *body])


def test_varnum():
    generator = random.Random(5)
    for number in [
        "0",
        "1",
        "-1",
        "1.5",
        "100",
        "-100",
        "1E-130",
        "-1E-130",
        "9.9E+125",
        "-9.9E+125",
        "-12.5",
        "0.01",
        "-0",
    ] + [
        f"{generator.choice('+-')}{generator.randrange(1, 10 ** generator.randrange(1, 39))}E{generator.randrange(-90, 80)}"
        for _ in range(2000)
    ]:
        number = Decimal(number)
        raw = varnum(number)
        assert zemt.varnum(number) == zemt.varnum(str(number)) == raw, number
        assert zemt.varnum(raw) == zemt.varnum(raw.ljust(22, b"\xff")) == number
    assert [zemt.varnum(Decimal(text), str) for text in ("1.5", "-0.5", "0", "-100")] == ["1.50", "-.50", "0", "-100"]
    digits40 = "1234567890" * 4
    assert str(zemt.varnum(zemt.varnum("-" + digits40))) == "-" + digits40
    for wrong in (
        digits40 + "1",
        "-" + digits40 + "1",
        "1E+126",
        "-1E+126",
        "1E-131",
        "-1E-131",
        "1E+999999",
        "1E-999999",
        Decimal("nan"),
        0.5,
        None,
        "",
        ".",
    ):
        assert refused(zemt.varnum, wrong), wrong


@pytest.mark.parametrize(
    "raw",
    [
        b"",
        b"\0",
        b"\x03\xc1\x02",
        b"\x01\x81",
        b"\x02\xc1\x65",
        b"\x16\xc1\x02",
        b"\xff\x3e\x64",
        b"\x03\x3e\x64",
        b"\x02\x3e\x66",
        b"\x03\x3e\0\x66",
        bytes(22),
        b"\xff" * 22,
        bytes(23),
    ],
)
def test_varnum_that_is_none(raw):
    assert refused(zemt.varnum, raw)


@pytest.mark.parametrize(
    "function, arguments",
    [
        (zemt.number, (1, "Int", float)),
        (zemt.number, (1.5, "Dbl", int)),
        (zemt.decimal, (1, 3, 0, int)),
        (zemt.varnum, (1, float)),
        (zemt.datetime, ("x", "ZEMTDate", int)),
    ],
)
def test_target(function, arguments):
    with pytest.raises(TypeError, match="target is bytes, str or"):
        function(*arguments)
    with pytest.raises(ValueError, match="no type of numbers: TinyInt"):
        zemt.number(1, "int")

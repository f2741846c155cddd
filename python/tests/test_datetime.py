"""Dates and times against Python's datetime and struct."""

import datetime as dt
import random
import struct

import pytest

import zemt
from zemt import Format, Kind

FULL = Format("%YYYY-%MM-%DD %HH24:%MI:%SS.%FFFFFF")


def random_datetime(generator):
    year = generator.randint(1, 9999)
    return dt.datetime(
        year, generator.randint(1, 12), generator.randint(1, 28), *(generator.randrange(n) for n in (24, 60, 60, 1000000))
    )


def stored(value):
    if isinstance(value, dt.datetime):
        return struct.pack("<h5Hi8x", *value.timetuple()[:6], value.microsecond)
    return (
        struct.pack("<hHH10x", *value.timetuple()[:3])
        if isinstance(value, dt.date)
        else struct.pack("<3H10x", value.hour, value.minute, value.second)
    )


@pytest.mark.parametrize(
    "type, of, format, pattern",
    [
        ("ZEMTTS", lambda v: v, "%YYYY-%MM-%DD %HH24:%MI:%SS.%FFFFFF", "{0:%m-%d %H:%M:%S.%f}"),
        (
            "ZEMTTS",
            lambda v: v.replace(microsecond=v.microsecond // 1000 * 1000),
            "%YYYY %DD/%MMM %SS:%MI:%HH24,%FFF",
            "{0:%d/%b %S:%M:%H},{1:03}",
        ),
        ("ZEMTTS", lambda v: v.replace(microsecond=0), "%YYYY: %MONTH %DD, %HH24h%MIm%SS", "{0:%B %d, %Hh%Mm%S}"),
        ("ZEMTDate", dt.datetime.date, "%YYYY, %DD. %MONTH", "{0:%d. %B}"),
        ("ZEMTTime", lambda v: v.time().replace(microsecond=0), "%HH24.%MI.%SS", "{0:%H.%M.%S}"),
    ],
)
def test_values_and_text(type, of, format, pattern):
    generator, prepared = random.Random(6), Format(format)
    for _ in range(300):
        value = of(random_datetime(generator))
        text = pattern.format(value, getattr(value, "microsecond", 0) // 1000)
        if format.startswith("%YYYY"):
            text = f"{value.year:04}" + format[5 : format.index("%", 1)] + text
        raw = stored(value)
        if "%FFF" in format and "%FFFF" not in format:
            raw = raw[:12] + struct.pack("<i", value.microsecond // 1000) + raw[16:]
        assert zemt.datetime(value, type, format=prepared) == zemt.datetime(text, type, format=prepared) == raw
        assert (
            zemt.datetime(raw, type, format=prepared) == zemt.datetime(text, type, zemt_value(type), format=prepared) == value
        )
        assert zemt.datetime(raw, type, str, format=prepared) == zemt.datetime(value, type, str, format=prepared) == text
        assert zemt.datetime(stored(value), type) == value and zemt.datetime(value, type) == stored(value)


def zemt_value(type):
    return {"ZEMTTS": dt.datetime, "ZEMTDate": dt.date, "ZEMTTime": dt.time}[type]


@pytest.mark.parametrize("digits", range(7))
def test_fractions(digits):
    """The fraction is an integer of as many digits as the format has, and never scaled."""
    prepared = Format("%YYYY-%MM-%DD" + (".%" + "F" * digits if digits else ""))
    assert prepared.fraction_digits == digits
    for fraction in range(-1, 1200000, 997):
        raw = struct.pack("<h5Hi8x", 2024, 2, 29, 0, 0, 0, fraction)
        if 0 <= fraction < 10**digits:
            value = dt.datetime(2024, 2, 29, microsecond=fraction * 10 ** (6 - digits))
            assert (
                zemt.datetime(raw, "ZEMTTS", format=prepared) == value
                and zemt.datetime(value, "ZEMTTS", format=prepared) == raw
            )
        else:
            with pytest.raises(zemt.ZemtError, match="fraction of"):
                zemt.datetime(raw, "ZEMTTS", format=prepared)
    if digits < 6:
        with pytest.raises(zemt.ZemtError, match="a fraction that the type and format cannot hold"):
            zemt.datetime(dt.datetime(2024, 2, 29, microsecond=10 ** (5 - digits)), "ZEMTTS", format=prepared)


UTC = dt.timezone.utc


@pytest.mark.parametrize(
    "value, type, status",
    [
        ("2024-13-01", "ZEMTTS", 56),
        ("2023-02-29", "ZEMTTS", 55),
        ("0000-01-01", "ZEMTTS", 54),
        ("2024-01-01 24:00:00", "ZEMTTS", 57),
        ("2024-01-01 00:60:00", "ZEMTTS", 58),
        ("2024-01-01 00:00:60", "ZEMTTS", 59),
        ("", "ZEMTTS", 30),
        ("today", "ZEMTTS", -1),
        ("2024-01-01\0", "ZEMTTS", -1),
        ("\0", "ZEMTDate", -1),
        ("\ud800", "ZEMTDate", 22),
        (bytes(24), "ZEMTTS", 54),
        (bytes(16), "ZEMTDate", 54),
        (b"\xff" * 24, "ZEMTTS", 54),
        (bytes(16), "ZEMTTS", -1),
        (bytes(24), "ZEMTDate", -1),
        (struct.pack("<hHH10x", 1900, 2, 29), "ZEMTDate", 55),
        (struct.pack("<3H10x", 24, 0, 0), "ZEMTTime", 57),
        (b"", "ZEMTTime", -1),
        (dt.date(2024, 1, 1), "ZEMTTS", -1),
        (dt.datetime(2024, 1, 1), "ZEMTDate", -1),
        (dt.datetime(2024, 1, 1), "ZEMTTime", -1),
        (dt.datetime(2024, 1, 1, tzinfo=UTC), "ZEMTTS", -1),
        (dt.time(1, tzinfo=UTC), "ZEMTTime", -1),
        (dt.time(1, 2, 3, 4), "ZEMTTime", -1),
        (20240101, "ZEMTDate", -1),
        (None, "ZEMTTS", -1),
    ],
)
def test_refused(value, type, status):
    with pytest.raises(zemt.ZemtError) as caught:
        zemt.datetime(value, type, format=FULL)
    assert caught.value.status == status


@pytest.mark.parametrize(
    "text, kind", [("", 0), ("now", 0), ("%D %M %PM", 0), ("%YY", 1), ("%hh", 2), ("%DD %HH", 3), ("%F", 3), ("日%YY😀", 1)]
)
def test_formats(text, kind):
    format = Format(text)
    assert (
        format.kind is Kind(kind)
        and repr(format) == f"Format({text!r})"
        and {format: 1}[Format(text)] == 1
        and format != Format(text + "x")
    )


@pytest.mark.parametrize(
    "text, status", [("%QQ", 67), ("100%", 67), ("%YYYY %", 67), ("%YYYY\0", -1), ("x" * 32768, -1), ("\ud800", 22)]
)
def test_formats_that_are_none(text, status):
    with pytest.raises(zemt.ZemtError) as caught:
        Format(text)
    assert caught.value.status == status and str(caught.value).startswith(f"format {text!r}"[:20])


def test_a_format_keeps_its_list_and_long_texts_fit():
    values = [zemt.datetime("2024-02-29", "ZEMTDate", dt.date, format=Format("%YYYY-%MM-%DD")) for _ in range(1000)]
    assert set(values) == {dt.date(2024, 2, 29)}
    long = Format("%MONTH" * 5000)
    assert zemt.datetime(dt.date(2024, 9, 1), "ZEMTDate", str, format=long) == "September" * 5000
    with pytest.raises(TypeError, match="text of a ZEMTDate needs a format"):
        zemt.datetime("2024-02-29", "ZEMTDate")
    with pytest.raises(TypeError, match="needs a format"):
        zemt.datetime(dt.date(2024, 2, 29), "ZEMTDate", str)
    with pytest.raises(ValueError, match="no type of dates and times: ZEMTTS"):
        zemt.datetime("2024-02-29", "Date")

"""The package and the header say the same; errors; how the library is found."""

import ctypes
import os
import pickle
import re
import subprocess
import sys
import threading

import pytest

import zemt
from conftest import ROOT
from zemt import _library
from zemt.records import RecordError


def test_version(header):
    assert zemt.__version__ == ".".join(
        re.search(rf"define ZEMT_VERSION_{part} (\d+)", header)[1] for part in ("MAJOR", "MINOR", "PATCH")
    )


def test_statuses(header):
    defined = {name: int(number) for name, number in re.findall(r"define (ZEMT_RC_\w+) \(?(-?\d+)\)?", header)}
    assert len(defined) > 10 and {status.name: status.value for status in zemt.Status} == defined
    texts = dict(re.findall(r'case (ZEMT_RC_\w+): return "(.*?)";', header))
    assert {status.name: zemt.status_text(status) for status in zemt.Status} == texts
    assert zemt.status_text(99) == re.search(r'default: return "(.*?)"', header)[1]
    assert (zemt.ZemtError(99).name, zemt.ZemtError(56).name) == ("unknown", "ZEMT_RC_INVALID_MONTH")


SIMPLE = {
    "int32_t": "c_int",
    "uint32_t": "c_uint",
    "int16_t": "c_short",
    "uint8_t": "c_ubyte",
    "double": "c_double",
    "char": "c_char",
}


def is_pointer(type):
    return type is ctypes.c_void_p or issubclass(type, ctypes._Pointer)


def test_every_function_is_declared_as_in_the_header(header):
    header = re.sub(r"/\*.*?\*/", " ", header, flags=re.S)
    forms = {
        name: (result, arguments)
        for result, name, arguments in re.findall(r"ZEMT_API (\w+) (\w+)\(([^;]*?)\) ZEMT_NOEXCEPT", header)
    }
    common = re.search(r"typedef (\w+) ZEMTConversion\((.*?)\)", header, re.S)
    forms.update((name, common.groups()) for name in re.findall(r"ZEMT_API ZEMTConversion (\w+)", header))
    assert len(forms) == len(re.findall("^ZEMT_API", header, re.M)) and set(forms) == set(_library.SIGNATURES)
    for name, (result, arguments) in forms.items():
        function = getattr(zemt.library, name)
        assert function.restype.__name__ == SIMPLE[result], name
        wanted = ["*" if "*" in argument else SIMPLE[argument.split()[-2]] for argument in arguments.split(",")]
        assert ["*" if is_pointer(type) else type.__name__ for type in function.argtypes] == wanted, name


def test_structures(header):
    for structure, size in (
        (_library.ZEMTTS, 24),
        (_library.ZEMTFmtItem, 16),
        (_library.ZEMTDateFormat, 48),
        (_library.ZEMTCnvParms, 40),
    ):
        body = re.search(rf"typedef struct {structure.__name__} {{(.*?)\n}}", header, re.S)[1]
        fields = re.findall(r"(\w+)(?:\[\d+\])?; */\* +(\d+)", body)
        assert fields == [(name, str(getattr(structure, name).offset)) for name, *_ in structure._fields_]
        assert ctypes.sizeof(structure) == size


@pytest.mark.parametrize(
    "library, message",
    [
        ("/nowhere/libzemt.so", "set the environment variable ZEMT_LIBRARY to the path of libzemt.so"),
        ("libm.so.6", "libm.so.6 is not the library that zemt needs: it has no ConvertTo8"),
    ],
)
def test_library_that_is_none(library, message):
    run = subprocess.run(
        [sys.executable, "-c", "import zemt"], env={**os.environ, "ZEMT_LIBRARY": library}, capture_output=True, text=True
    )
    assert run.returncode == 1 and "ImportError: " in run.stderr and message in run.stderr


def test_library_of_the_loader():
    directory, name = os.path.split(os.path.realpath(os.environ["ZEMT_LIBRARY"]))
    env = {**os.environ, "LD_LIBRARY_PATH": directory}
    del env["ZEMT_LIBRARY"]
    run = subprocess.run(
        [sys.executable, "-c", "import zemt; print(zemt.library._name)"], env=env, capture_output=True, text=True
    )
    assert (run.stdout, run.stderr) == ("libzemt.so.2\n", "")


def test_readme():
    """Every line of the first calls gives what stands behind it."""
    first_calls = re.search("```python\n(.*?)```", (ROOT / "python" / "README.md").read_text(), re.S)[1]
    names = {}
    for code, expected in re.findall(r"^(\S.*?)(?: +# (.*))?$", first_calls, re.M):
        if code.startswith("zemt."):
            assert expected.startswith(repr(eval(code, names))), code
        else:
            exec(code, names)
    assert zemt.datetime(names["record"], "ZEMTDate").year == 2024


def test_errors_travel():
    error = zemt.ZemtError(56, "'2024-13'")
    assert isinstance(error, ValueError) and str(error) == "'2024-13': status 56, month outside 1..12"
    record = RecordError(28, "'abc'", 7, "name", "abc")
    assert str(record) == "row 7, column name: 'abc': status 28, no room for the text, or UTF-8 cut off inside a character"
    for given in (error, record):
        again = pickle.loads(pickle.dumps(given))
        assert (type(again), str(again), vars(again)) == (type(given), str(given), vars(given))
    format = zemt.Format("%YYYY")
    assert pickle.loads(pickle.dumps(format)) == format


def test_threads():
    """Each has its own values; a buffer that two share mixes them up."""
    format, wrong = zemt.Format("%YYYY-%MM-%DD %HH24:%MI:%SS.%FFFFFF"), []

    def work(seed):
        for number in range(seed, 4000, 8):
            text = f"{number + 1:04}-01-01 00:00:00.{number:06}"
            record = zemt.datetime(text, "ZEMTTS", format=format)
            results = (
                zemt.datetime(record, "ZEMTTS", str, format=format) == text,
                zemt.number(zemt.number(number, "Int"), "Int") == number,
                zemt.decimal(zemt.decimal(-number, 9), 9) == -number,
                zemt.varnum(zemt.varnum(-number)) == -number,
                zemt.text(zemt.text(text, target="WVarchar"), "WVarchar") == text,
            )
            if not all(results):
                wrong.append((number, results))

    interval = sys.getswitchinterval()
    sys.setswitchinterval(1e-5)
    threads = [threading.Thread(target=work, args=(seed,)) for seed in range(8)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    sys.setswitchinterval(interval)
    assert wrong == []

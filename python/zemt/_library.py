"""libzemt.so and the types of what it exports."""

from __future__ import annotations

import ctypes
import ctypes.util
import os
from ctypes import c_char, c_double, c_int16, c_int32, c_uint8, c_uint16, c_uint32, c_void_p
from typing import Any, Callable, Optional, Sequence

WIDE = 4  # bytes of a character
TERMINATOR = b"\0\0\0\0"

# A conversion or another function of the library. ctypes itself knows no more of its arguments than argtypes says.
Function = Callable[..., int]


class ZEMTTS(ctypes.Structure):
    _fields_ = [
        ("year", c_int16),
        ("month", c_uint16),
        ("day", c_uint16),
        ("hour", c_uint16),
        ("minute", c_uint16),
        ("second", c_uint16),
        ("fraction", c_int32),
        ("reserved", c_uint8 * 8),
    ]


class ZEMTFmtItem(ctypes.Structure):
    _fields_ = [("ch", c_uint32), ("code", c_uint32), ("length", c_int32), ("position", c_int32)]


class ZEMTDateFormat(ctypes.Structure):
    _fields_ = [
        ("callerData", c_uint8 * 32),
        ("formatCodes", ctypes.POINTER(ZEMTFmtItem)),
        ("formatLength", c_int32),
        ("callerWord", c_int32),
    ]


class ZEMTCnvParms(ctypes.Structure):
    _fields_ = [
        ("callerData", c_uint8 * 16),
        ("precision", c_int32),
        ("callerWord", c_int32),
        ("skipTranscode", c_int32),
        ("callerWord2", c_int32),
        ("dateFormat", ctypes.POINTER(ZEMTDateFormat)),
    ]


# Text goes through c_void_p in both widths: bytes with a terminator, or buffers.
_int32_cell = ctypes.POINTER(c_int32)
_pointer_cell = ctypes.POINTER(c_void_p)
_conversion = (c_void_p, _int32_cell, c_void_p, c_int32, _int32_cell, ctypes.POINTER(ZEMTCnvParms))
_block = (c_void_p, c_int32, c_void_p, c_int32, _int32_cell)
_trim = (c_void_p, _int32_cell, c_uint8, c_uint8)
_short_read = (c_void_p, _int32_cell, c_int32, c_int32)
_short_write = (c_int32, c_void_p, _int32_cell)
_stamp = (ctypes.POINTER(ZEMTTS), c_void_p, c_int32, _int32_cell)

SIGNATURES: dict[str, Sequence[Any]] = {
    "ConvertTo8": (_pointer_cell, c_int32, c_uint32, _int32_cell, _int32_cell),
    "ConvertFrom8": (ctypes.POINTER(c_uint32), _pointer_cell, c_int32, _int32_cell, _int32_cell),
    "Convert32To8": _block,
    "Convert16To8": _block,
    "Convert8To32": _block,
    "Convert8To16": _block,
    "TrimSpaces": _trim,
    "TrimSpacesW": _trim,
    "TrimAllSpacesTabsW": (c_void_p, _int32_cell),
    "ZEMTCnvIntToVarcharSz": _short_write,
    "ZEMTCnvIntToWVarcharSz": _short_write,
    "ZEMTCnvVarcharSzToInt": _short_read,
    "ZEMTCnvWVarcharSzToInt": _short_read,
    "FloatToString": (c_double, c_void_p, c_int16),
    "ConvertBCDToOraVarNum": (c_void_p, c_void_p, c_int16, c_int16, c_char),
    "ZEMTValidateDateTime": (ctypes.POINTER(ZEMTTS), c_int32),
    "ZEMTGetFormatCodes": (c_void_p, ctypes.POINTER(ZEMTFmtItem), _int32_cell),
    "ZEMTTSToWVarcharSz": (c_void_p, c_int32, ctypes.POINTER(ZEMTFmtItem), ctypes.POINTER(ZEMTTS), c_int32),
    "ZEMTGetStringFromTS": _stamp,
    "ZEMTGetStringAFromTS": _stamp,
    "ZEMTGetNextCodePosInSourceW": (ctypes.POINTER(ctypes.POINTER(ZEMTFmtItem)), _pointer_cell, c_void_p),
    "ZEMTWVarcharSzToTS": (c_void_p, c_int32, ctypes.POINTER(ZEMTFmtItem), c_int32, ctypes.POINTER(ZEMTTS), c_int32),
    "ZEMTDateCharToDate": (c_void_p, c_void_p),
}

CONVERSIONS = """
    ZEMTCnvCharToVarcharSz ZEMTCnvCharToWVarcharSz ZEMTCnvWCharToVarcharSz ZEMTCnvWCharToWVarcharSz
    ZEMTCnvVarcharToVarcharSz ZEMTCnvVarcharToWVarcharSz ZEMTCnvWVarcharToVarcharSz ZEMTCnvWVarcharToWVarcharSz
    ZEMTCnvVarcharSzToVarcharSz ZEMTCnvVarcharSzToWVarcharSz ZEMTCnvWVarcharSzToWVarcharSz
    ZEMTCnvWVarcharSzToWVarcharSzOut ZEMTCnvVarcharSzToChar ZEMTCnvWVarcharSzToChar ZEMTCnvVarcharSzToWChar
    ZEMTCnvWVarcharSzToWChar ZEMTCnvVarcharSzToVarchar ZEMTCnvWVarcharSzToVarchar ZEMTCnvVarcharSzToWVarchar
    ZEMTCnvWVarcharSzToWVarchar ZEMTCnvWVarcharSzToVarcharSz
    ZEMTCnvTinyIntToWVarcharSz ZEMTCnvSmallIntToWVarcharSz ZEMTCnvIntToWVarcharSz1 ZEMTCnvLongLongToWVarcharSz
    ZEMTCnvTinyUIntToWVarcharSz ZEMTCnvSmallUIntToWVarcharSz ZEMTCnvUIntToWVarcharSz ZEMTCnvULONGLONGToWVarcharSz
    ZEMTCnvUIntToVarcharSz ZEMTCnvULONGLONGToVarcharSz
    ZEMTCnvWVarcharSzToTinyInt ZEMTCnvWVarcharSzToSmallInt ZEMTCnvWVarcharSzToInt1 ZEMTCnvWVarcharSzToLongLong
    ZEMTCnvWVarcharSzToTinyUInt ZEMTCnvWVarcharSzToSmallUInt ZEMTCnvWVarcharSzToUInt ZEMTCnvWVarcharSzToULONGLONG
    ZEMTCnvVarcharSzToUInt ZEMTCnvVarcharSzToULONGLONG
    ZEMTCnvDblToWVarcharSz ZEMTCnvFltToWVarcharSz ZEMTCnvWVarcharSzToDbl ZEMTCnvWVarcharSzToFlt
    ZEMTCnvDecKestToVarcharSz ZEMTCnvDecKestToWVarcharSz ZEMTCnvVarcharSzToDecKest ZEMTCnvWVarcharSzToDecKest
    ZEMTCnvOraVarnumToVarcharSz_Unsigned ZEMTCnvOraVarnumToWVarcharSz_Unsigned
    ZEMTCnvVarcharSz_UnsignedToOraVarnum ZEMTCnvWVarcharSz_UnsignedToOraVarnum
    ZEMTCnvZEMTDateToWVarcharSz ZEMTCnvZEMTTimeToWVarcharSz ZEMTCnvZEMTTSToWVarcharSz ZEMTCnvZEMTTSToWchar
    ZEMTCnvZEMTTSToWVarchar ZEMTCnvZEMTTSToChar ZEMTCnvZEMTTSToVarchar ZEMTCnvZEMTTSToVarcharSz
    ZEMTCnvDateTimeCharToZEMTTS ZEMTCnvDateTimeVarcharToZEMTTS ZEMTCnvDateTimeSzToZEMTTS ZEMTCnvDateTimeWcharToZEMTTS
    ZEMTCnvDateTimeWVarcharToZEMTTS ZEMTCnvDateTimeWSzToZEMTTS ZEMTCnvDateTimeWSzToZEMTDate ZEMTCnvDateTimeWSzToZEMTTime
"""
SIGNATURES.update((name, _conversion) for name in CONVERSIONS.split())


def _load() -> ctypes.CDLL:
    advice = "set the environment variable ZEMT_LIBRARY to the path of libzemt.so, or install the library and run ldconfig"
    chosen = os.environ.get("ZEMT_LIBRARY")
    try:
        return ctypes.CDLL(chosen or "libzemt.so.2")
    except OSError as error:
        found: Optional[str] = None if chosen else ctypes.util.find_library("zemt")
        if found is None:
            raise ImportError(f"zemt needs its library, which cannot be loaded ({error}): {advice}") from None
    return ctypes.CDLL(found)


def _declare(loaded: ctypes.CDLL) -> ctypes.CDLL:
    for name, argument_types in SIGNATURES.items():
        try:
            function = getattr(loaded, name)
        except AttributeError:
            raise ImportError(f"{loaded._name} is not the library that zemt needs: it has no {name}") from None
        function.argtypes = argument_types
        function.restype = c_int16 if name == "ConvertBCDToOraVarNum" else c_int32
    return loaded


library = _declare(_load())


def wide(text: str) -> bytes:
    """A text as the library takes it, without terminator. A surrogate is no character: UnicodeEncodeError."""
    return text.encode("utf-32-le")

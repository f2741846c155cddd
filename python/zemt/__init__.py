"""Conversion of database column values: text, numbers, packed decimal, Oracle VARNUM, dates and times, and files of records.

In text, number, decimal, varnum and datetime, bytes become a Python value and a Python value becomes bytes, through the
library libzemt.so. It is looked for where the environment variable ZEMT_LIBRARY says, else where the loader finds it.
A status other than 0 raises ZemtError. `library` is the library itself, with the types of all of its functions.
"""

from . import records
from ._datetime import Format, Kind, datetime
from ._decimal import decimal, varnum
from ._library import library
from ._number import number
from ._status import Status, ZemtError, status_text
from ._text import text, trim, utf8
from ._version import __version__

__all__ = [
    "Format",
    "Kind",
    "Status",
    "ZemtError",
    "__version__",
    "datetime",
    "decimal",
    "library",
    "number",
    "records",
    "status_text",
    "text",
    "trim",
    "utf8",
    "varnum",
]

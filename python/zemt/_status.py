"""The statuses of the library, as zemt.h has them, and the exception that carries one."""

from __future__ import annotations

import enum


class Status(enum.IntEnum):
    ZEMT_RC_OK = 0
    ZEMT_RC_ERROR = -1
    ZEMT_RC_INVALID_CHAR = 22
    ZEMT_RC_NOT_POSITIVE = 27
    ZEMT_RC_NO_SPACE = 28
    ZEMT_RC_EMPTY_SOURCE = 30
    ZEMT_RC_INVALID_YEAR = 54
    ZEMT_RC_INVALID_DAY = 55
    ZEMT_RC_INVALID_MONTH = 56
    ZEMT_RC_INVALID_HOUR = 57
    ZEMT_RC_INVALID_MINUTE = 58
    ZEMT_RC_INVALID_SECOND = 59
    ZEMT_RC_UNKNOWN_FORMAT_CODE = 67
    ZEMT_RC_END_OF_FORMAT = 6444


# The library exports no texts: ZEMTStatusText is inline in the header.
_TEXTS = {
    Status.ZEMT_RC_OK: "success",
    Status.ZEMT_RC_ERROR: "not a value of this type and format",
    Status.ZEMT_RC_INVALID_CHAR: "a character that UTF-8 or UTF-16 cannot carry",
    Status.ZEMT_RC_NOT_POSITIVE: "0 or less",
    Status.ZEMT_RC_NO_SPACE: "no room for the text, or UTF-8 cut off inside a character",
    Status.ZEMT_RC_EMPTY_SOURCE: "empty",
    Status.ZEMT_RC_INVALID_YEAR: "year outside 1..9999",
    Status.ZEMT_RC_INVALID_DAY: "day outside its month",
    Status.ZEMT_RC_INVALID_MONTH: "month outside 1..12",
    Status.ZEMT_RC_INVALID_HOUR: "hour above 23",
    Status.ZEMT_RC_INVALID_MINUTE: "minute above 59",
    Status.ZEMT_RC_INVALID_SECOND: "second above 59",
    Status.ZEMT_RC_UNKNOWN_FORMAT_CODE: "a '%' in the format that no keyword follows",
    Status.ZEMT_RC_END_OF_FORMAT: "the format-code list has reached its end entry",
}


def status_text(status: int) -> str:
    """What a status says; "unknown status" for a number that is none."""
    try:
        return _TEXTS[Status(status)]
    except ValueError:
        return "unknown status"


def shown(value: object) -> str:
    """A value in a message: cut where it is long, and whatever its repr does."""
    try:
        text = value.hex() if isinstance(value, bytes) else repr(value)
    except Exception:
        text = f"<{type(value).__name__}>"
    return text if len(text) <= 60 else text[:57] + "..."


class ZemtError(ValueError):
    """A conversion that failed: status, its name in zemt.h ("ZEMT_RC_INVALID_MONTH") and, in the message, what it was about."""

    def __init__(self, status: int, about: str = "") -> None:
        super().__init__(int(status), about)  # so that it can be pickled
        self.status = int(status)
        self.about = about

    @property
    def name(self) -> str:
        try:
            return Status(self.status).name
        except ValueError:
            return "unknown"

    def __str__(self) -> str:
        text = f"status {self.status}, {status_text(self.status)}"
        return f"{self.about}: {text}" if self.about else text


def require(status: int, value: object) -> None:
    """Raises unless a conversion of the value succeeded."""
    if status != 0:
        raise ZemtError(status, shown(value))

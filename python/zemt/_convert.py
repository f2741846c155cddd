"""What the families have in common: bytes become a Python value, a value or text becomes bytes."""

from __future__ import annotations

from typing import Any, Protocol, Type, Union

Bytes = Union[bytes, bytearray, memoryview]


class Codec(Protocol):
    """Conversions between a slot and Python values. A codec keeps buffers from one call to the next: threads share none."""

    @property
    def value_type(self) -> Type[Any]:
        ...

    def unpack(self, slot: bytes) -> Any:
        ...

    def text(self, slot: bytes) -> str:
        ...

    def pack(self, value: Any) -> bytes:
        ...


def convert(codec: Codec, value: object, target: object) -> Any:
    if target not in (None, bytes, str, codec.value_type):
        raise TypeError(f"target is bytes, str or {codec.value_type.__name__}, not {target!r}")
    if isinstance(value, (bytes, bytearray, memoryview)):
        slot, becomes = bytes(value), codec.value_type
    else:
        slot, becomes = codec.pack(value), bytes
    target = target or becomes
    if target is bytes:
        return slot
    return codec.text(slot) if target is str else codec.unpack(slot)

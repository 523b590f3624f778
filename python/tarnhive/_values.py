"""Typed values: one class per type of the registry, in the tool's words.

Reading gives every value as the class of its type, each a subclass of the
Python type it behaves as (``Int16`` of ``int``, ``Float32`` of ``float``,
``String`` of ``str``, ``Narrow`` of ``bytes``, ``Array`` of ``list``), so a
value read and written back keeps its type exactly; booleans read as plain
``bool``. Writing takes these classes where Python's own type leaves the
registry's open.
"""

from __future__ import annotations

import math
import operator
import struct
from typing import Any, ClassVar, Iterable, SupportsIndex

__all__ = [
    "Int8", "UInt8", "Int16", "UInt16", "Int32", "UInt32", "Int64", "UInt64",
    "Float32", "Float64", "Bool", "String", "Narrow", "Binary", "Digest", "Array",
]


class _Integer(int):
    type: ClassVar[str]
    _bits: ClassVar[int]
    _signed: ClassVar[bool]
    __slots__ = ()

    def __new__(cls, value: SupportsIndex = 0) -> Any:
        number = operator.index(value)
        low = -(1 << (cls._bits - 1)) if cls._signed else 0
        high = (1 << (cls._bits - 1)) - 1 if cls._signed else (1 << cls._bits) - 1
        if not low <= number <= high:
            raise ValueError(f"{number} is out of range for {cls.type} ({low} to {high})")
        return super().__new__(cls, number)

    def __repr__(self) -> str:
        return f"{type(self).__name__}({int(self)})"

    # Printed and formatted as the plain number.
    __str__ = int.__repr__


class Int8(_Integer):
    type, _bits, _signed = "int8", 8, True
    __slots__ = ()


class UInt8(_Integer):
    type, _bits, _signed = "uint8", 8, False
    __slots__ = ()


class Int16(_Integer):
    type, _bits, _signed = "int16", 16, True
    __slots__ = ()


class UInt16(_Integer):
    type, _bits, _signed = "uint16", 16, False
    __slots__ = ()


class Int32(_Integer):
    type, _bits, _signed = "int32", 32, True
    __slots__ = ()


class UInt32(_Integer):
    type, _bits, _signed = "uint32", 32, False
    __slots__ = ()


class Int64(_Integer):
    type, _bits, _signed = "int64", 64, True
    __slots__ = ()


class UInt64(_Integer):
    type, _bits, _signed = "uint64", 64, False
    __slots__ = ()


class Float32(float):
    """A 32-bit float. It keeps its bit pattern, so that NaNs keep theirs."""

    type: ClassVar[str] = "float32"
    __slots__ = ("bits",)
    bits: int

    def __new__(cls, value: float = 0.0) -> Float32:
        try:
            packed = struct.pack("<f", value)
        except OverflowError:
            raise ValueError(f"{value} is out of range for float32") from None
        return cls.from_bits(struct.unpack("<I", packed)[0])

    @classmethod
    def from_bits(cls, bits: int) -> Float32:
        """The float32 of the given 32-bit pattern."""
        number = super().__new__(cls, struct.unpack("<f", struct.pack("<I", bits))[0])
        number.bits = bits
        return number

    def __repr__(self) -> str:
        if math.isfinite(self):
            # The shortest text that reads back as the same float32.
            for digits in range(1, 10):
                text = f"{float(self):.{digits}g}"
                if struct.pack("<f", float(text)) == struct.pack("<I", self.bits):
                    return f"Float32({text})"
        return f"Float32({float(self)!r})"

    __str__ = float.__repr__


class Float64(float):
    type: ClassVar[str] = "float64"
    __slots__ = ()

    def __repr__(self) -> str:
        return f"Float64({float(self)!r})"

    __str__ = float.__repr__


class Bool(int):
    """A bool to store. Python's bool cannot be subclassed: values of this
    type read as plain ``bool``, and a plain ``bool`` stores as one."""

    type: ClassVar[str] = "bool"
    __slots__ = ()

    def __new__(cls, value: object = False) -> Bool:
        return super().__new__(cls, bool(value))

    def __repr__(self) -> str:
        return f"Bool({bool(self)})"

    def __str__(self) -> str:
        return str(bool(self))


class String(str):
    """A wide (UTF-16) string. Units that are no valid UTF-16 (an unpaired
    surrogate) are lone code points of the str, and are stored back as they were."""

    type: ClassVar[str] = "string"
    __slots__ = ()

    def __repr__(self) -> str:
        return f"String({str.__str__(self)!r})"

    __str__ = str.__str__


class Narrow(bytes):
    """A narrow string: bytes as the registry holds them, UTF-8 or not."""

    type: ClassVar[str] = "narrow"
    __slots__ = ()

    def __repr__(self) -> str:
        return f"Narrow({bytes(self)!r})"

    __str__ = bytes.__repr__


class Binary(bytes):
    type: ClassVar[str] = "binary"
    __slots__ = ()

    def __repr__(self) -> str:
        return f"Binary({bytes(self)!r})"

    __str__ = bytes.__repr__


class Digest(bytes):
    """A digest: 32 bytes."""

    type: ClassVar[str] = "digest"
    __slots__ = ()

    def __new__(cls, value: bytes = bytes(32)) -> Digest:
        if len(value) != 32:
            raise ValueError(f"a digest is 32 bytes, not {len(value)}")
        return super().__new__(cls, value)

    def __repr__(self) -> str:
        return f"Digest(bytes.fromhex({bytes(self).hex()!r}))"

    __str__ = bytes.__repr__


# The element classes of arrays; bool elements are plain bools.
_ELEMENTS: dict[str, Any] = {
    cls.type: cls
    for cls in (Int8, UInt8, Int16, UInt16, Int32, UInt32, Int64, UInt64, Float32, Float64,
                String, Narrow)
}
_ELEMENTS["bool"] = bool


def _element_type(name: str) -> str:
    for suffix in ("-array", "[]"):
        if name.endswith(suffix):
            name = name[: -len(suffix)]
    if name not in _ELEMENTS:
        raise ValueError(f"unknown array type {name!r} (known: {', '.join(_ELEMENTS)})")
    return name


class Array(list):
    """An array of one element type: ``Array("int16", [1, 2])``. The type is
    given as the tool names it ("int16", "int16-array" or "int16[]"); every
    element is checked against it."""

    __slots__ = ("element_type",)
    element_type: str

    def __init__(self, type: str, items: Iterable[Any] = ()) -> None:
        self.element_type = _element_type(type)
        cls = _ELEMENTS[self.element_type]
        super().__init__(_coerce(cls, item) for item in items)

    @property
    def type(self) -> str:
        """The array's type as the tool names it, for example "int16-array"."""
        return self.element_type + "-array"

    def __repr__(self) -> str:
        return f"Array({self.element_type!r}, {list(self)!r})"


def _coerce(cls: Any, item: Any) -> Any:
    """`item` as an element of class `cls` (unchanged when it already is one)."""
    if type(item) is cls:
        return item
    accepted = _ACCEPTED.get(cls)
    if accepted is not None and not isinstance(item, accepted):
        raise TypeError(f"a {_type_name(cls)} array holds {accepted[0].__name__}, "
                        f"not {type(item).__name__}")
    return bool(item) if cls is bool else cls(item)


def _type_name(cls: Any) -> str:
    return "bool" if cls is bool else cls.type


# What each element class is made from, where its constructor would take
# more (float("1.5"), str(5)); integers go through operator.index.
_ACCEPTED: dict[Any, tuple[type, ...]] = {
    bool: (bool, Bool),
    Float32: (float, int),
    Float64: (float, int),
    String: (str,),
    Narrow: (bytes, bytearray),
}

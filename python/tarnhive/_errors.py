"""The exceptions of the tarnhive package.

Failures of the registry library carry its status code: ``code`` (the
number), ``name`` (for example ``"kSTOREDAMAGED"``) and ``text`` (what it
means). Failures the package finds itself (a value that does not exist, a
lock not had in time) have ``None`` there.
"""

from __future__ import annotations

from typing import Optional

__all__ = ["Error", "NotFound", "Damaged", "DiskFull", "LockTimeout"]


class Error(Exception):
    """A registry operation failed; nothing of it was applied."""

    code: Optional[int] = None
    name: Optional[str] = None
    text: Optional[str] = None

    def __init__(self, message: str, code: Optional[int] = None, name: Optional[str] = None,
                 text: Optional[str] = None) -> None:
        super().__init__(message)
        self.code = code
        self.name = name
        self.text = text


class NotFound(Error, KeyError):
    """A bucket or value does not exist (the library's warning kWBUCKETNOTFOUND)."""

    # KeyError would print the message quoted.
    __str__ = Exception.__str__


class Damaged(Error):
    """The registry's files are damaged."""


class DiskFull(Error):
    """The registry file is over its size limit even after compaction."""


class LockTimeout(Error, TimeoutError):
    """The registry lock, which another process holds, was not had in time."""


# Status codes with a class of their own.
_DAMAGED = {-314532, -314527, -314528, -314514}  # damaged, corrupt, child or bucket missing
_NOT_FOUND = {314501}
_DISK_FULL = {-314529}


def native_error(kind: str, code: Optional[int], name: Optional[str], text: Optional[str],
                 message: str) -> Exception:
    """The exception for a failure reported by the native module.

    ``kind`` is ``"input"`` (bad input: ValueError), ``"missing"`` (NotFound),
    ``"timeout"`` (LockTimeout) or ``"library"`` (chosen by the code).
    """
    if kind == "input":
        return ValueError(message)
    if kind == "missing" or code in _NOT_FOUND:
        cls: type[Error] = NotFound
    elif kind == "timeout":
        cls = LockTimeout
    elif code in _DAMAGED:
        cls = Damaged
    elif code in _DISK_FULL:
        cls = DiskFull
    else:
        cls = Error
    return cls(message, code, name, text)

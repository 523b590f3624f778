"""The registry, its buckets and its updates."""

from __future__ import annotations

import os
import threading
import time
from collections.abc import Iterator, Mapping
from typing import Any, NamedTuple, Optional, Union

from . import _tarnhive
from ._errors import Error
from ._values import (Array, Binary, Bool, Digest, Float32, Float64, Int8, Int16, Int32, Int64,
                      Narrow, String, UInt8, UInt16, UInt32, UInt64, _Integer)

__all__ = ["open", "Registry", "Bucket", "Update", "Change"]

Value = Union[int, float, bool, str, bytes, list]
PathLike = Union[str, "os.PathLike[str]"]

_INTEGERS = (Int8, UInt8, Int16, UInt16, Int32, UInt32, Int64, UInt64)
_WRAP: dict[str, Any] = {cls.type: cls for cls in _INTEGERS}
_WRAP.update({"float32": Float32.from_bits, "float64": Float64, "bool": bool, "string": String,
              "narrow": Narrow, "binary": Binary, "digest": Digest})


def _wrap(type_name: str, payload: Any) -> Any:
    if type_name.endswith("-array"):
        element = type_name[: -len("-array")]
        array = Array(element)
        array.extend(_WRAP[element](item) for item in payload)
        return array
    return _WRAP[type_name](payload)


def _payload(value: Any) -> Any:
    """A typed value's payload for the native module (float32 as its bits)."""
    if isinstance(value, Float32):
        return value.bits
    if isinstance(value, (bool, Bool)):
        return bool(value)
    if isinstance(value, int):
        return int(value)
    if isinstance(value, float):
        return float(value)
    if isinstance(value, str):
        return str(value)
    return bytes(value)


def _list_kind(items: list) -> str:
    """The type of a plain list: its elements' common type, or "int-array" (the
    kind the value has, else int64-array) and "array" (empty: the kind the
    value has)."""
    if not items:
        return "array"
    kinds = {type(item) for item in items}
    if len(kinds) == 1:
        (kind,) = kinds
        if hasattr(kind, "type"):
            return kind.type + "-array"
    for check, kind_name in ((bool, "bool-array"), (int, "int-array"), (float, "float64-array"),
                             (str, "string-array"), (bytes, "narrow-array")):
        if all(isinstance(item, check) and (check is bool or not isinstance(item, bool))
               for item in items):
            return kind_name
    raise TypeError("a list of mixed types: give its type with tarnhive.Array(type, [...])")


def _encode(value: Any) -> tuple[str, Any]:
    """The type to store (or the open kinds of _list_kind) and the payload."""
    if isinstance(value, Array):
        checked = Array(value.element_type, value)
        return checked.type, [_payload(item) for item in checked]
    if isinstance(value, (list, tuple)):
        kind = _list_kind(list(value))
        if kind.endswith("-array") and kind not in ("int-array",):
            return _encode(Array(kind, value))
        return kind, [_payload(item) for item in value]
    if isinstance(value, (bool, Bool)):
        return "bool", bool(value)
    if isinstance(value, _Integer):
        return value.type, int(value)
    if isinstance(value, int):
        return "int", value
    if isinstance(value, Float32):
        return "float32", value.bits
    if isinstance(value, float):
        return "float64", float(value)
    if isinstance(value, str):
        return "string", str(value)
    if isinstance(value, Digest):
        return "digest", bytes(value)
    if isinstance(value, Narrow):
        return "narrow", bytes(value)
    if isinstance(value, (bytes, bytearray, memoryview)):
        return "binary", bytes(value)
    raise TypeError(f"a {type(value).__name__} cannot be stored; use one of the tarnhive types")


class Bucket(Mapping[str, Any]):
    """A bucket as read: a read-only mapping of value names to values.

    Names compare ignoring case, as the registry compares them. Child
    buckets are not values: see Registry.children.
    """

    __slots__ = ("path", "_values", "_folded")

    def __init__(self, path: str, values: list[tuple[str, str, Any]]) -> None:
        self.path = path
        self._values = {name: _wrap(type_name, payload) for name, type_name, payload in values}
        self._folded = {name.lower(): name for name in self._values}

    def __getitem__(self, name: str) -> Any:
        if name in self._values:
            return self._values[name]
        return self._values[self._folded[name.lower()]]

    def __contains__(self, name: object) -> bool:
        return isinstance(name, str) and (name in self._values or name.lower() in self._folded)

    def __iter__(self) -> Iterator[str]:
        return iter(self._values)

    def __len__(self) -> int:
        return len(self._values)

    def __repr__(self) -> str:
        return f"Bucket({self.path!r}, {self._values!r})"


class Update:
    """Changes made under the registry lock and committed together.

    Use it as a context manager (``with registry.update() as u:``): entering
    takes the machine-wide lock and opens an update; leaving commits when the
    block succeeded and discards every change when it raised. The lock is
    released either way. Reads show what is committed: the update's changes
    appear to every process, this one included, when it commits.
    """

    def __init__(self, registry: Registry, timeout: Optional[float]) -> None:
        self._registry = registry
        self._timeout = timeout
        self._native: Optional[_tarnhive.Change] = None

    def __enter__(self) -> Update:
        self._registry._start(self)
        try:
            self._native = self._registry._native.begin(self._timeout)
        except BaseException:
            self._registry._end(self)
            raise
        return self

    def __exit__(self, kind: Any, error: Any, trace: Any) -> None:
        native, self._native = self._native, None
        try:
            if native is not None:
                if kind is None:
                    native.commit()
                else:
                    native.discard()
        finally:
            self._registry._end(self)

    def _open(self) -> _tarnhive.Change:
        if self._native is None:
            raise _status_error("the update is not open: use it in a with statement", _NO_UPDATE)
        return self._native

    def set(self, path: str, name: str, value: Value) -> None:
        """Sets the value `name` of bucket `path`, making the bucket (and its
        parents) when missing.

        The type is the value's class (tarnhive.Int16, Array, ...); a plain
        int takes the integer type the value already has, else int64; a plain
        float is float64, str string, bytes binary, bool bool, and a plain
        list an array of its elements' type. A number out of its type's range
        raises ValueError, and nothing is set.
        """
        kind, payload = _encode(value)
        self._open().set(path, name, kind, payload)

    def delete(self, path: str, name: Optional[str] = None) -> None:
        """Deletes the value `name` of bucket `path`, or without a name the
        bucket and all its descendants. NotFound when there is no such
        bucket or value."""
        self._open().delete(path, name)


class Change(NamedTuple):
    """One bucket changed by one commit, as Registry.watch yields it."""

    commit: int
    """The commit's number in the change feed: the buckets of one commit
    share it, and every later commit of the registry has a greater one."""
    bucket: str
    """The bucket's full name."""
    written: bool
    """True when the commit wrote the bucket, False when it deleted it."""
    net: bool
    """True when the commit is the net change of several commits that a
    compaction folded before this process read them: each bucket they
    wrote or deleted comes once."""


def _follow(feed: _tarnhive.Feed, timeout: Optional[float]) -> Iterator[Change]:
    deadline = None if timeout is None else time.monotonic() + timeout
    while True:
        remaining = None if deadline is None else max(0.0, deadline - time.monotonic())
        if not feed.wait(remaining):
            return
        changes = feed.read()
        # Commits that touched only other buckets leave the time running.
        if not changes:
            continue
        for commit, bucket, written, net in changes:
            yield Change(commit, bucket, written, net)
        if timeout is not None:
            deadline = time.monotonic() + timeout


class Registry:
    """The registry of this process (see tarnhive.open)."""

    def __init__(self, native: _tarnhive.Registry, ini: Optional[str]) -> None:
        self._native = native
        self._ini = ini
        self._updating: Optional[object] = None
        self._guard = threading.Lock()

    @property
    def directory(self) -> str:
        """The registry directory."""
        return self._native.directory()

    def get(self, path: str) -> Optional[Bucket]:
        """The bucket's values as last committed by any process, or None when
        it does not exist."""
        found = self._native.values(path)
        return None if found is None else Bucket(*found)

    def __contains__(self, path: object) -> bool:
        return isinstance(path, str) and self._native.contains(path)

    def children(self, path: str = "/") -> list[str]:
        """The full names of the bucket's children, sorted."""
        return self._native.children(path)

    def walk(self, path: str = "/") -> Iterator[Bucket]:
        """The bucket and every bucket below it, sorted by full name."""
        for name, values in self._native.subtree(path):
            yield Bucket(name, values)

    def update(self, timeout: Optional[float] = None) -> Update:
        """An update, to use in a with statement. `timeout` bounds the wait
        for the registry lock in seconds (None: as long as it takes);
        LockTimeout when it passes. A process has one update open at a time."""
        return Update(self, timeout)

    def watch(self, path: str = "/", timeout: Optional[float] = None) -> Iterator[Change]:
        """The changes that commits of any process, this one included, make
        to the bucket `path` or below it, from now on: each bucket written or
        deleted by a commit as a Change, once, commit by commit in order (by
        name within a commit).

        The iteration waits for commits for ever, or with `timeout` (seconds)
        ends when no change has come for that long. Ctrl-C stops the wait
        (KeyboardInterrupt). The bucket need not exist yet.
        """
        return _follow(self._native.watch(path), timeout)

    def export(self, path: str = "/") -> str:
        """The subtree as JSON, the same text as ``tarnhive export``."""
        return self._native.export_text(path)

    def import_(self, data: Union[str, bytes], replace: bool = False, path: Optional[str] = None,
                timeout: Optional[float] = None) -> None:
        """Applies an export in one commit, as ``tarnhive import`` does.

        `path` is the bucket the document applies to (None: its own root),
        and every bucket of the document must lie under it; with `replace`,
        the buckets and values under it that the document lacks are deleted.
        A malformed document raises ValueError and changes nothing.
        """
        text = data.decode("utf-8") if isinstance(data, (bytes, bytearray)) else data
        marker = object()
        self._start(marker)
        try:
            self._native.import_text(text, path, replace, timeout)
        finally:
            self._end(marker)

    def _start(self, update: object) -> None:
        with self._guard:
            self._check_idle()
            self._updating = update

    def _end(self, update: object) -> None:
        with self._guard:
            if self._updating is update:
                self._updating = None

    def _check_idle(self) -> None:
        if self._updating is not None:
            raise _status_error("an update is already open in this process", _UPDATE_ACTIVE)

    def __repr__(self) -> str:
        return f"<tarnhive.Registry {self.directory!r}>"


def _status_error(message: str, code: int) -> Error:
    name, text = _tarnhive.status_text(code)
    return Error(message, code, name, text)


_UPDATE_ACTIVE = -314525  # kUPDATEACTIVE
_NO_UPDATE = -314526  # kNOUPDATE
_INTERNAL_ERROR = -314510  # kINTERNALERROR


_opened: Optional[Registry] = None
_opening = threading.Lock()


def open(directory: Optional[PathLike] = None, ini: Optional[PathLike] = None) -> Registry:
    """The registry of this process.

    `directory` is the registry directory (None: the library's default) and
    `ini` the options file (None: the default file). A process has one
    registry for the life of the library: a later call for the same
    directory and file returns the same Registry, one for another raises
    Error (kINTERNALERROR).
    """
    global _opened
    wanted_ini = None if ini is None else os.path.realpath(os.fspath(ini))
    with _opening:
        if _opened is None:
            native = _tarnhive.Registry("" if directory is None else os.fspath(directory),
                                        wanted_ini or "")
            _opened = Registry(native, wanted_ini)
            return _opened
        native = _opened._native
        wanted = native.default_directory() if directory is None else os.fspath(directory)
        if (os.path.realpath(wanted) != os.path.realpath(native.directory())
                or wanted_ini != _opened._ini):
            raise _status_error(f"this process has the registry {native.directory()} open"
                                f"{' with ' + _opened._ini if _opened._ini else ''}; a process"
                                " opens one registry for the life of the library",
                                _INTERNAL_ERROR)
        return _opened

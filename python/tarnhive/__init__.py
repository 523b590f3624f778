"""The veskTarnhive registry from Python: a machine-wide, persistent tree of
buckets holding typed values, shared by every process of the machine.

    import tarnhive
    reg = tarnhive.open("/srv/registry")
    with reg.update() as u:
        u.set("/Acme/Editor", "zoom", tarnhive.Float32(1.25))
    print(reg.get("/Acme/Editor")["zoom"])
    for change in reg.watch("/Acme", timeout=60):
        print(change.commit, change.bucket, change.written)

Values read back as the class of their registry type (Int16, Float32,
String, Narrow, Array, ...), each a subclass of the Python type it behaves
as, so that writing back what was read keeps it exactly. Failures of the
library raise tarnhive.Error or one of its subclasses.
"""

from ._errors import Damaged, DiskFull, Error, LockTimeout, NotFound
from ._registry import Bucket, Change, Registry, Update, open
from ._values import (Array, Binary, Bool, Digest, Float32, Float64, Int8, Int16, Int32, Int64,
                      Narrow, String, UInt8, UInt16, UInt32, UInt64)

__all__ = [
    "open", "Registry", "Bucket", "Update", "Change",
    "Error", "NotFound", "Damaged", "DiskFull", "LockTimeout",
    "Int8", "UInt8", "Int16", "UInt16", "Int32", "UInt32", "Int64", "UInt64",
    "Float32", "Float64", "Bool", "String", "Narrow", "Binary", "Digest", "Array",
]

"""kvtsim: container files of the pool manager from Python.

A container file is a chain of pools; each pool has an identifier, a
directory of the pools its data may refer to, and a data area of stored
values: integers, floats, strings, arrays and locators (references to a
position in a pool, also of another file). Files are opened together in a
Document, whose pools find each other by identifier.

    import numpy, kvtsim

    with kvtsim.Document("DEMO") as doc:
        f = doc.open("values.sim", "w")
        with f.current.appender() as out:
            out.write_i32(3)
            out.write_array(numpy.array([0.5, 1.5, 2.5]))

    with kvtsim.Document("DEMO") as doc:
        r = doc.open("values.sim")[0].reader()
        values = r.read_array("f8", r.read_i32())

A damaged file (cut by a crash, say) opens with Document.salvage(), which
keeps its whole pools and reports what it left out.

Classes: Document, File, Pool, Locator, Reader, Writer. Functions:
file_type(), upgrade_required(), inspect(). Exceptions: kvtsim.errors
(all derived from kvtsim.Error). Many files at once: kvtsim.dask.
"""

import enum as _enum
import os as _os

from . import _core
from ._core import Document, File, Locator, Pool, Reader, Writer, __version__
from ._info import DirectoryEntry, FileInfo, PoolInfo, SalvageReport
from .errors import *  # noqa: F401,F403  (the exception classes)
from .errors import _make as _make_error

__all__ = ["Document", "File", "Pool", "Locator", "Reader", "Writer", "DirectoryEntry",
           "FileInfo", "PoolInfo", "SalvageReport", "FileType", "file_type", "upgrade_required", "inspect",
           "__version__"] + errors.__all__  # noqa: F405

_core._set_error_factory(_make_error)
for _cls in (Document, File, Pool, Locator, Reader, Writer):
    _cls.__module__ = __name__


class FileType(_enum.IntEnum):
    """What the first 9 bytes of a file say (see file_type())."""

    NOT_SIM = 0  #: shorter than 9 bytes, no format signature, or an unknown version
    SIM = 1      #: a container file of format version 3 to 6
    OLD_SIM = 2  #: a container file of format version 1 or 2


def file_type(path):
    """The FileType of the file at path, from its first 9 bytes (format
    signature and version), without loading anything. Raises kvtsim.OSError
    when the file cannot be read."""
    return FileType(_core._file_type(path))


def upgrade_required(path):
    """True when the format version of the file at path is not the one this
    library writes. Raises NotSimFileError for a file shorter than 9 bytes
    and kvtsim.OSError when it cannot be read."""
    return _core._upgrade_required(path)


def inspect(path, signature=None):
    """The pools of the container file at path as a FileInfo: the facts
    `kvtsim-pool ls --json` prints, read the same way (the file is opened
    read-only in a document of its own). signature is the user signature
    (default: the one stored in the file's first pool)."""
    if signature is None:
        signature = _core._stored_signature(path)
    with Document(signature) as doc:
        f = doc.open(path, "r")
        return FileInfo(file=_os.fsdecode(path), signature=bytes(doc.signature),
                        pools=tuple(pool.info for pool in f))

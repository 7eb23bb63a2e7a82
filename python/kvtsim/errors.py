"""The exceptions of kvtsim.

Every failure of the library reaches Python as an instance of Error: one
subclass per error kind of the library, carrying the kind's arguments as
attributes and where the library raised it (source_file, source_line).
Operating-system errors are kvtsim.OSError, which is also the built-in
OSError (and FileNotFoundError, PermissionError, ... by errno), with errno,
strerror and filename. Objects used after their document or file closed
raise ClosedError; calls the binding refuses raise UsageError (both are
ValueError too).

    try:
        doc.open("results.sim")
    except FileNotFoundError:
        ...
    except kvtsim.CorruptHeaderError as e:
        print("damaged:", e)
"""

import builtins
import os

__all__ = [
    "Error", "UsageError", "ClosedError", "OSError", "MemoryExhaustedError", "CheckFailedError",
    "AllocReadOnlyError", "BrokenStreamError", "CantCreateFileError", "CantDerefLocatorError",
    "CantExternalizeLocError", "CantGetFileError", "CorruptDirectoryError",
    "CorruptHeaderError", "IOBoundsError", "ImmutablePoolError", "InvalidGUIDError",
    "NeedUpgradeError", "NewPoolReadOnlyError", "NotSimFileError", "PoolAlreadyInDocError",
    "RequestTooBigError", "ShortBufferError", "ShortPoolError", "UserSigMismatchError",
    "ValidationFailureError", "WriteReadOnlyError",
]


class Error(Exception):
    """Base of every exception kvtsim raises.

    kind is the library's name of the error kind (for example
    "KVTSimExcIOBounds"); source_file and source_line tell where the library
    raised it (None and 0 for errors of the binding itself).
    """

    kind = None
    source_file = None
    source_line = 0


class UsageError(Error, ValueError):
    """A call refused before it reached the library: it would break another
    open object (a second appender on a pool, allocating under an open
    appender) or mix two documents."""


class ClosedError(UsageError):
    """A document, file, pool, locator or stream used after it was closed."""


class OSError(Error, builtins.OSError):
    """An operating-system call on a file failed: errno, strerror and
    filename as for the built-in OSError, and operation ("open", "read",
    ...)."""

    operation = None


class MemoryExhaustedError(Error, MemoryError):
    """The system could not supply memory; requested is the size asked for."""

    requested = None


class CheckFailedError(Error):
    """A check of the library failed: a value from a file or a call lies
    outside what the library holds. expression is the failed condition."""

    expression = None


class AllocReadOnlyError(Error):
    """Extending a file opened read-only."""


class BrokenStreamError(Error):
    """An appender found its pool's end moved by another allocation."""


class CantCreateFileError(Error):
    """Opening with "w" a file the document holds already; filename names it."""

    filename = None


class CantDerefLocatorError(Error):
    """Reading or writing at a locator whose pool is not loaded in the document."""


class CantExternalizeLocError(Error):
    """Storing a locator to a pool that the writing pool's directory does not list."""


class CantGetFileError(Error):
    """Closing a file the document does not hold."""


class CorruptDirectoryError(Error):
    """A pool's directory cannot be read whole (a damaged or cut file)."""


class CorruptHeaderError(Error):
    """A pool's header cannot be read whole or holds no valid length."""


class IOBoundsError(Error):
    """Writing bytes [start, end) of a pool whose data ends at limit."""

    start = end = limit = None


class ImmutablePoolError(Error):
    """Allocating in a pool that cannot grow: frozen, or in a read-only file."""


class InvalidGUIDError(Error):
    """A pool identifier with a zero byte."""


class NeedUpgradeError(Error):
    """A pool of another format version: found_version, current_version, filename."""

    current_version = found_version = filename = None


class NewPoolReadOnlyError(Error):
    """Adding a pool to a file opened read-only."""


class NotSimFileError(Error):
    """Not a container file: no format signature, or too short."""


class PoolAlreadyInDocError(Error):
    """A pool whose identifier is already loaded in the document."""


class RequestTooBigError(Error):
    """A stream request (requested bytes) larger than what can serve it
    (capacity): its buffer, or the bytes the file still holds."""

    requested = capacity = None


class ShortBufferError(Error):
    """A stream request ending at byte needed, past the limit available."""

    needed = available = None


class ShortPoolError(Error):
    """Copying a pool whose file holds fewer bytes than its length."""


class UserSigMismatchError(Error):
    """A pool carrying another user signature than the document's."""


class ValidationFailureError(Error):
    """A document without its implementation."""


class WriteReadOnlyError(Error):
    """Writing to a file opened read-only."""


# OSError by errno, as the built-in OSError chooses its subclasses; defined
# here (not made on the fly) so that they pickle, for Dask among others.
class FileNotFoundError(OSError, builtins.FileNotFoundError):
    pass


class FileExistsError(OSError, builtins.FileExistsError):
    pass


class PermissionError(OSError, builtins.PermissionError):
    pass


class IsADirectoryError(OSError, builtins.IsADirectoryError):
    pass


class NotADirectoryError(OSError, builtins.NotADirectoryError):
    pass


class InterruptedError(OSError, builtins.InterruptedError):
    pass


_BY_KIND = {
    "KVTBasAssertException": CheckFailedError,
    "KVTBasMemoryExhausted": MemoryExhaustedError,
    "KVTSimUttOSError": OSError,
    "Closed": ClosedError,
    "Usage": UsageError,
}
for _cls in (AllocReadOnlyError, BrokenStreamError, CantCreateFileError, CantDerefLocatorError,
             CantExternalizeLocError, CantGetFileError, CorruptDirectoryError,
             CorruptHeaderError, IOBoundsError, ImmutablePoolError, InvalidGUIDError,
             NeedUpgradeError, NewPoolReadOnlyError, NotSimFileError, PoolAlreadyInDocError,
             RequestTooBigError, ShortBufferError, ShortPoolError, UserSigMismatchError,
             ValidationFailureError, WriteReadOnlyError):
    _BY_KIND["KVTSimExc" + _cls.__name__[:-len("Error")]] = _cls

_OS_ERRORS = {
    builtins.FileNotFoundError: FileNotFoundError,
    builtins.FileExistsError: FileExistsError,
    builtins.PermissionError: PermissionError,
    builtins.IsADirectoryError: IsADirectoryError,
    builtins.NotADirectoryError: NotADirectoryError,
    builtins.InterruptedError: InterruptedError,
}


def _text(value):
    return value.decode("utf-8", "replace") if isinstance(value, bytes) else value


def _os_error(arguments):
    number = arguments["errno"]
    strerror = _text(arguments["strerror"])
    filename = os.fsdecode(arguments["filename"])
    # The built-in OSError picks the subclass for the errno.
    cls = _OS_ERRORS.get(type(builtins.OSError(number, strerror)), OSError)
    error = cls(number, strerror, filename)
    error.operation = arguments["operation"]
    return error


def _make(kind, message, arguments, source_file, source_line):
    """Builds the exception for an error of the library or the binding."""
    cls = _BY_KIND.get(kind, Error)
    if cls is OSError:
        error = _os_error(arguments)
    else:
        text = _text(message)
        if cls is CheckFailedError:
            text = "check failed: " + _text(arguments["expression"])
        if source_file is not None:
            text += f" (raised at {source_file}:{source_line})"
        error = cls(text)
        for name, value in arguments.items():
            setattr(error, name, os.fsdecode(value) if name == "filename" else _text(value))
    error.kind = None if cls in (ClosedError, UsageError) else kind
    error.source_file = source_file
    error.source_line = source_line
    return error

"""What kvtsim.inspect() and Pool.info tell: the facts `kvtsim-pool ls --json`
prints, as Python objects."""

from dataclasses import dataclass
from typing import NamedTuple, Optional, Tuple


@dataclass(frozen=True)
class PoolInfo:
    """One pool of a file, as stored.

    index: place in the file (0 first); location: byte offset of the pool
    record in the file; length: record length (48-byte header, 32 bytes per
    directory entry, data); data_length: bytes of data; past_end: whether
    the length runs past the end of the file (a writer stopped before it
    wrote space it had allocated; reads there come back short);
    bytes_in_file: bytes of the record the file holds; state: "open" or
    "frozen" as stored (a normally closed file stores its last pool open);
    entries: directory entries; identifier: the pool's 32 characters.
    """

    index: int
    location: int
    length: int
    data_length: int
    past_end: bool
    bytes_in_file: int
    state: str
    entries: int
    identifier: str


@dataclass(frozen=True)
class FileInfo:
    """A container file: its path, the user signature of its pools, its pools."""

    file: str
    signature: bytes
    pools: Tuple[PoolInfo, ...]


class DirectoryEntry(NamedTuple):
    """An entry of a pool's directory: the identifier of the pool it names,
    and that Pool when it is loaded in the document (else None)."""

    identifier: str
    pool: Optional[object]


@dataclass(frozen=True)
class SalvageReport:
    """What Document.salvage() kept of a file and what it left out.

    file_size: bytes of the file when it was read; pools_kept: pools kept,
    from the first pool on; kept_bytes: bytes at the start of the file that
    they cover (a last kept pool whose stored length reaches past the end of
    the file counts up to the end); pools_closed_up: kept pools whose length
    is not the one their header gives (stored open ahead of other pools, or
    with a stored length torn by a cut write).

    When part of the file was left out (left_out), the first pool left out
    is pool first_left_out_index at byte first_left_out_offset, and reason
    is the kvtsim.Error subclass that open() raises for it (such as
    CorruptHeaderError), reason_kind the library's name of that error kind
    and reason_text its message; all three are None when nothing was left
    out.
    """

    file_size: int
    pools_kept: int
    kept_bytes: int
    pools_closed_up: int
    reason: Optional[type]
    reason_kind: Optional[str]
    reason_text: Optional[str]

    @property
    def left_out(self) -> bool:
        """True when part of the file was left out."""
        return self.kept_bytes < self.file_size

    @property
    def bytes_left_out(self) -> int:
        """Bytes of the file left out: file_size - kept_bytes."""
        return self.file_size - self.kept_bytes

    @property
    def first_left_out_index(self) -> int:
        """Index of the first pool left out (pools_kept)."""
        return self.pools_kept

    @property
    def first_left_out_offset(self) -> int:
        """Byte offset of the first pool left out (kept_bytes)."""
        return self.kept_bytes


def _salvage_report(file_size, pools_kept, kept_bytes, pools_closed_up, reason_kind, reason_text):
    """The SalvageReport of the library's report (reason_kind None when
    nothing was left out)."""
    from . import errors

    if reason_kind is None:
        return SalvageReport(file_size, pools_kept, kept_bytes, pools_closed_up, None, None, None)
    return SalvageReport(file_size, pools_kept, kept_bytes, pools_closed_up,
                         errors._BY_KIND.get(reason_kind, errors.Error), reason_kind,
                         reason_text.decode("utf-8", "replace"))

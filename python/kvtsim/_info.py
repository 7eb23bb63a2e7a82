"""What kvtsim.inspect() and Pool.info tell: the facts `kvtsim-pool ls --json`
prints, as Python objects."""

from dataclasses import dataclass
from typing import NamedTuple, Optional, Tuple


@dataclass(frozen=True)
class PoolInfo:
    """One pool of a file, as stored.

    index: place in the file (0 first); location: byte offset of the pool
    record in the file; length: record length (48-byte header, 32 bytes per
    directory entry, data); data_length: bytes of data; state: "open" or
    "frozen" as stored (a normally closed file stores its last pool open);
    entries: directory entries; identifier: the pool's 32 characters.
    """

    index: int
    location: int
    length: int
    data_length: int
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

"""Every error kind a Python user can meet arrives as its class, with the
kind's arguments as attributes, and leaves the document usable."""

import os
import pickle
import shutil
import struct


import kvtsim
from conftest import SIGNATURE, make_file, patch, raised


FIRST = b"0123456789abcdef" * 64
POOLS = [FIRST, b"second"]


def test_damaged_and_foreign_files(doc, tmp_path):
    path = make_file(str(tmp_path / "good.sim"), POOLS)
    cut = str(tmp_path / "cut.sim")
    shutil.copy(path, cut)
    os.truncate(cut, 30)  # inside the first header
    error = raised(kvtsim.CorruptHeaderError, doc.open, cut)
    assert error.kind == "KVTSimExcCorruptHeader" and error.source_line > 0
    assert error.source_file.endswith(".cpp") and "KVTSimExcCorruptHeader" in str(error)
    errors = {}
    for offset, data, cls in ((44, struct.pack("<i", 1 << 20), kvtsim.CorruptDirectoryError),
                              (8, b"\x05", kvtsim.NeedUpgradeError),
                              (0, b"\x88", kvtsim.NotSimFileError)):
        shutil.copy(path, cut)
        patch(cut, offset, data)
        errors[cls] = raised(cls, doc.open, cut)
    error = errors[kvtsim.NeedUpgradeError]
    assert (error.current_version, error.found_version, error.filename) == (6, 5, cut)
    raised(kvtsim.UserSigMismatchError, kvtsim.Document("ELSE").open, path)
    # A byte copy carries the same pool identifiers as the file already open.
    doc.open(path)
    shutil.copy(path, cut)
    raised(kvtsim.PoolAlreadyInDocError, doc.open, cut)
    assert len(doc.files) == 1 and len(doc.files[0]) == 2


def test_operating_system_errors_are_oserrors(tmp_path):
    missing = str(tmp_path / "missing.sim")
    error = raised(FileNotFoundError, kvtsim.Document(SIGNATURE).open, missing)
    assert isinstance(error, kvtsim.OSError) and isinstance(error, kvtsim.Error)
    assert (error.errno, error.filename, error.operation) == (2, missing, "open")
    assert error.kind == "KVTSimUttOSError" and "No such file" in error.strerror
    error = raised(IsADirectoryError, kvtsim.Document(SIGNATURE).open, str(tmp_path))
    assert error.filename == str(tmp_path)
    raised(FileNotFoundError, kvtsim.file_type, missing)
    raised(FileNotFoundError, kvtsim.inspect, missing)


def test_reads_past_the_limit_and_writes_the_file_or_pool_does_not_take(tmp_path):
    path = make_file(str(tmp_path / "a.sim"), POOLS)
    with kvtsim.Document(SIGNATURE) as doc:
        f = doc.open(path)
        raised(kvtsim.ImmutablePoolError, f[1].allocate, 1)
        raised(kvtsim.ImmutablePoolError, f[1].appender)
        raised(kvtsim.NewPoolReadOnlyError, f.new_pool)
        raised(kvtsim.WriteReadOnlyError, f[0].start.write, b"x")
        assert f[0].read(4) == b"0123"
        with f[1].reader() as r:  # 6 bytes of data
            r.read_i32()
            error = raised(kvtsim.ShortBufferError, r.read_f64)
            assert (error.needed, error.available, r.position) == (12, 6, 4)
        raised(kvtsim.ShortBufferError, f[0].reader(offset=2000).read_u16)
    with kvtsim.Document(SIGNATURE) as doc:
        f = doc.open(path, "r+")
        raised(kvtsim.ImmutablePoolError, f[0].appender)  # frozen: not the last pool
        raised(kvtsim.InvalidGUIDError, f.new_pool, "0" * 31 + "\0")
        raised(ValueError, f.new_pool, "too short")
        raised(kvtsim.PoolAlreadyInDocError, f.new_pool, f[0].identifier)
        assert len(f) == 2


def test_refused_calls_that_would_break_an_appender(doc, tmp_path):
    f = doc.open(str(tmp_path / "a.sim"), "w")
    with f.current.appender() as out:
        out.write_i32(1)
        raised(kvtsim.UsageError, f.current.appender)
        raised(kvtsim.UsageError, f.allocate, 8)
        out.write_i32(2)
    f.allocate(4)  # allowed again once the appender is closed
    assert f.current.read(8) == struct.pack("<ii", 1, 2)


def test_pools_that_end_past_the_end_of_their_file(tmp_path):
    path = make_file(str(tmp_path / "a.sim"), POOLS)
    # Cut inside the first pool's data: its stored length now passes the end.
    first = kvtsim.inspect(path).pools[0]
    os.truncate(path, first.location + first.length - 100)
    with kvtsim.Document(SIGNATURE) as doc, kvtsim.Document(SIGNATURE) as other:
        pool = doc.open(path)[0]
        assert pool.data_length == 1024
        with pool.reader(chunk=4096) as r:  # served through the stream's buffer
            error = raised(kvtsim.RequestTooBigError, r.read_bytes, 1024)
            assert error.requested == 1024 and r.position == 0
        with pool.reader(chunk=64) as r:  # read straight into the array
            r.read_bytes(10)
            error = raised(kvtsim.RequestTooBigError, r.read_array, "i2", 507)
            assert (error.requested, error.capacity) == (1014, 914) and r.position == 10
            assert r.read_bytes(914) == FIRST[10:924]
        raised(kvtsim.ShortPoolError, other.open(str(tmp_path / "b.sim"), "w").copy_pool, pool)


def test_a_damaged_stored_reference_fails_a_check(tmp_path, capfd):
    with kvtsim.Document(SIGNATURE) as doc:
        pool = doc.open(str(tmp_path / "a.sim"), "w").current
        with pool.appender() as out:
            out.write_bytes(struct.pack("<Qi", 0, 5))  # directory slot 5 of 1
        error = raised(kvtsim.CheckFailedError, pool.reader().read_locator)
        assert error.expression == "slotInDirectory < mMapSlotList.Length()"
        assert error.kind == "KVTBasAssertException"
    assert capfd.readouterr().err == ""  # the exception carries the text


def test_errors_pickle_with_their_attributes(tmp_path):
    errors = [raised(FileNotFoundError, kvtsim.inspect, str(tmp_path / "none"))]
    with kvtsim.Document(SIGNATURE) as doc:
        pool = doc.open(str(tmp_path / "a.sim"), "w").current
        errors.append(raised(kvtsim.IOBoundsError, pool.start.write, b"x"))
    errors.append(raised(kvtsim.ClosedError, lambda: pool.data_length))
    for error in errors:
        copy = pickle.loads(pickle.dumps(error))
        assert type(copy) is type(error) and str(copy) == str(error)
        assert vars(copy) == vars(error)
    assert isinstance(errors[2], ValueError) and errors[2].kind is None

"""Objects used after their document or file closed raise ClosedError: no
crash, nothing on stderr. Writers are flushed before their file closes."""

import gc

import numpy

import kvtsim
from conftest import SIGNATURE, raised


def uses(doc_file, pool, locator, reader, writer):
    """Calls that need the document, each with the arguments it takes."""
    return [
        lambda: doc_file.open("x.sim"), lambda: doc_file.files, lambda: doc_file.flush(),
        lambda: pool.file.current, lambda: len(pool.file), lambda: pool.file.new_pool(),
        lambda: pool.identifier, lambda: pool.data_length, lambda: pool.info,
        lambda: pool.directory, lambda: pool.allocate(1), lambda: pool.reader(),
        lambda: pool.appender(), lambda: pool.read(),
        lambda: locator.identifier, lambda: locator.pool, lambda: locator.read(1),
        lambda: locator.write(b"x"), lambda: locator.reader(), lambda: locator.writer(),
        lambda: reader.read_f64(), lambda: reader.read_locator(), lambda: reader.read_array("f8", 1),
        lambda: writer.write_f64(1.0), lambda: writer.write_locator(locator), lambda: writer.flush(),
    ]


def test_everything_of_a_closed_document_raises_closed_error(tmp_path, capfd):
    doc = kvtsim.Document(SIGNATURE)
    f = doc.open(str(tmp_path / "a.sim"), "w")
    pool = f.current
    locator = pool.allocate(16)
    reader = pool.reader()
    writer = pool.writer()
    calls = uses(doc, pool, locator, reader, writer)
    doc.close()
    doc.close()  # closing again does nothing
    for call in calls:
        raised(kvtsim.ClosedError, call)
    # Values stay values: compared, hashed, moved and shown without the document.
    assert locator + 4 - 4 == locator and hash(locator) == hash(locator + 0)
    assert "closed" in repr(pool) and "closed" in repr(f) and "closed" in repr(locator)
    assert f.closed and writer.closed and reader.closed
    del doc, f, pool, locator, reader, writer, calls
    gc.collect()
    assert capfd.readouterr().err == ""


def test_a_file_closed_on_its_own_and_a_replaced_pool(tmp_path, capfd):
    with kvtsim.Document(SIGNATURE) as doc:
        kept = doc.open(str(tmp_path / "kept.sim"), "w")
        gone = doc.open(str(tmp_path / "gone.sim"), "w")
        pool = gone.current
        locator = pool.allocate(8)
        gone.close()
        for call in (lambda: len(gone), lambda: pool.data_length, lambda: pool.reader(),
                     gone.new_pool, gone.close):
            raised(kvtsim.ClosedError, call)
        # The locator's pool is no longer loaded: the library's own error.
        raised(kvtsim.CantDerefLocatorError, locator.read, 8)
        assert locator.pool is None and doc.files == [kept]
        # An empty first pool replaced by a new one is gone too.
        empty = kept.current
        fresh = kept.new_pool()
        assert len(kept) == 1 and kept[0] == fresh
        raised(kvtsim.ClosedError, lambda: empty.identifier)
    assert capfd.readouterr().err == ""


def test_writers_reach_the_file_before_it_closes(tmp_path, capfd):
    path = str(tmp_path / "a.sim")
    doc = kvtsim.Document(SIGNATURE)
    f = doc.open(path, "w")
    at = f.allocate(8)
    appender = f.current.appender()
    appender.write_array(numpy.arange(4, dtype="i4"))
    overwrite = at.writer()
    overwrite.write_f64(0.5)
    dropped = f.new_pool().appender()  # never closed, never referenced again
    assert appender.closed  # by new_pool, which froze its pool
    dropped.write_string("kept anyway")
    del dropped
    gc.collect()
    doc.close()
    assert appender.closed and overwrite.closed
    raised(kvtsim.ClosedError, appender.write_i32, 1)
    appender.close()  # closing a closed writer does nothing
    with kvtsim.Document(SIGNATURE) as doc:
        f = doc.open(path)
        r = f[0].reader()
        assert r.read_f64() == 0.5
        assert list(r.read_array("i4", 4)) == [0, 1, 2, 3]
        assert f[1].reader().read_string() == "kept anyway"
    assert capfd.readouterr().err == ""


def test_a_document_dropped_without_close_is_closed(tmp_path, capfd):
    path = str(tmp_path / "a.sim")
    doc = kvtsim.Document(SIGNATURE)
    with doc.open(path, "w").current.appender() as out:
        out.write_u64(7)
    doc.open(path).new_pool()
    del doc, out
    gc.collect()
    info = kvtsim.inspect(path)
    assert [(p.state, p.data_length) for p in info.pools] == [("frozen", 8), ("open", 0)]
    assert capfd.readouterr().err == ""

"""Locators as values, bytes at locators, and stored locators followed into
another file of the document."""

import numpy

import kvtsim
from conftest import SIGNATURE, raised


def write_mesh_and_results(mesh, results, coordinates):
    """mesh: one pool of node records (id, x, y); results: one pool of
    (value, locator of a node) pairs, then a null locator."""
    with kvtsim.Document(SIGNATURE) as doc:
        nodes = doc.open(mesh, "w").current
        records = []
        with nodes.appender() as out:
            for i, (x, y) in enumerate(coordinates):
                records.append(out.locator)
                out.write_i32(i)
                out.write_f64(x)
                out.write_f64(y)
        step = doc.open(results, "w").current  # made after the mesh pool: may refer to it
        with step.appender() as out:
            out.write_i32(len(records))
            for i, record in enumerate(records):
                out.write_f64(100.0 + i)
                out.write_locator(record)
            out.write_locator(None)


def test_locators_are_values(doc, tmp_path):
    f = doc.open(str(tmp_path / "a.sim"), "w")
    a = f.allocate(64)
    b = a + 16
    other = f.new_pool().start
    assert b - a == 16 and a - b == -16 and (b - 16) == a and 16 + a == b
    assert a < b <= b and b > a and a != b and a == f[0].start
    assert {a: "a", b: "b"}[f[0].start + 16] == "b"
    assert a != other and b.pool == f[0] and other.pool == f[1]
    assert (a.offset, b.identifier) == (0, f[0].identifier)
    raised(TypeError, lambda: a < other)
    raised(ValueError, lambda: a - other)
    raised(ValueError, lambda: a - 1)
    raised(ValueError, lambda: a + 2**64)
    top = a + 2**63 + (2**63 - 1)
    assert top.offset == 2**64 - 1 and top - (2**64 - 1) == a
    raised(ValueError, lambda: top + 1)
    assert sorted([b, a, a + 3]) == [a, a + 3, b]


def test_bytes_at_locators_stay_inside_the_pool(doc, tmp_path):
    pool = doc.open(str(tmp_path / "a.sim"), "w").current
    at = pool.allocate(8)
    at.write(b"abcdefgh")
    assert (at + 4).read(100) == b"efgh"  # stops at the end of the data
    error = raised(kvtsim.IOBoundsError, (at + 4).write, b"12345")
    assert (error.start, error.end, error.limit) == (4, 9, 8)
    with pool.writer(offset=2) as w:
        w.write_bytes(b"XY")
        error = raised(kvtsim.ShortBufferError, w.write_bytes, b"too long")
        assert (error.needed, error.available) == (10, 6)
    assert pool.read() == b"abXYefgh"
    raised(ValueError, pool.writer, limit=9)
    raised(ValueError, at.reader, limit=9)


def test_stored_locators_lead_into_another_file_once_it_is_open(doc, tmp_path):
    mesh, results = str(tmp_path / "mesh.sim"), str(tmp_path / "results.sim")
    coordinates = [(0.0, 0.0), (1.0, 0.5), (0.25, 2.0)]
    write_mesh_and_results(mesh, results, coordinates)
    stored = doc.open(results)[0]
    early = stored.reader(offset=12).read_locator()  # the first node's, read before the mesh opens
    assert early.pool is None and len(early.identifier) == 32
    raised(kvtsim.CantDerefLocatorError, early.reader)
    raised(kvtsim.CantDerefLocatorError, early.read, 4)
    mesh_file = doc.open(mesh)
    assert early.identifier == mesh_file[0].identifier and early.pool == mesh_file[0]
    with stored.reader() as r:
        pairs = [(r.read_f64(), r.read_locator()) for _ in range(r.read_i32())]
        assert r.read_locator() is None
    assert stored.read()[-12:] == bytes(8) + b"\xff\xff\xff\xff"  # a null locator: slot -1
    for i, (value, node) in enumerate(pairs):
        assert value == 100.0 + i and node.pool == mesh_file[0]
        with node.reader(limit=20) as n:
            assert (n.read_i32(), n.read_f64(), n.read_f64()) == (i,) + coordinates[i]
    mesh_file.close()
    raised(kvtsim.CantDerefLocatorError, early.read, 4)


def test_references_are_refused_where_the_directory_cannot_hold_them(tmp_path):
    with kvtsim.Document(SIGNATURE) as doc, kvtsim.Document(SIGNATURE) as other:
        first = doc.open(str(tmp_path / "first.sim"), "w").current
        later = doc.open(str(tmp_path / "later.sim"), "w").current  # unknown to first's directory
        foreign = other.open(str(tmp_path / "foreign.sim"), "w").current.start
        with first.appender() as out:
            raised(kvtsim.CantExternalizeLocError, out.write_locator, later.start)
            raised(kvtsim.UsageError, out.write_locator, foreign)
            out.write_locator(first.start)  # into its own pool: directory slot 0
            assert out.position == 12
        assert first.read() == bytes(8) + bytes(4)


def test_writer_and_reader_positions_give_record_locators(doc, tmp_path):
    values = numpy.linspace(0.0, 1.0, 5)
    pool = doc.open(str(tmp_path / "a.sim"), "w").current
    with pool.appender() as out:
        out.write_string("header")
        array_at = out.locator
        out.write_array(values)
    assert array_at == pool.start + 12
    with array_at.reader() as r:
        assert numpy.array_equal(r.read_array("f8", 5), values)
        assert r.locator == pool.end and r.remaining == 0


def test_narrow_directories_list_only_the_pools_referred_to(tmp_path):
    mesh, results = str(tmp_path / "mesh.sim"), str(tmp_path / "results.sim")
    with kvtsim.Document(SIGNATURE) as doc, kvtsim.Document(SIGNATURE) as other:
        m = doc.open(mesh, "w")
        nodes = m.current
        with nodes.appender() as out:
            out.write_i32(7)
        elements = m.new_pool()
        with elements.appender() as out:
            out.write_i32(8)
        target = elements.identifier
        extra = doc.create_generated(str(tmp_path), "extra", references=[])
        assert [e.pool for e in extra.current.directory] == [extra.current]
        r = doc.open(results, "w", references=[elements])
        steps = []
        for i in range(3):
            step = r.current if i == 0 else r.new_pool(references=[nodes, elements])
            with step.appender() as out:
                out.write_locator(elements.start)
                raised(kvtsim.CantExternalizeLocError, out.write_locator, extra.current.start)
            steps.append(step)
        assert [e.pool for e in steps[0].directory] == [steps[0], elements]
        assert [e.pool for e in steps[2].directory] == [steps[2], nodes, elements]
        # The header holds the listed pools only, not the six the document knows.
        assert (steps[0].info.entries, steps[0].info.length) == (2, 48 + 2 * 32 + 12)
        raised(ValueError, lambda: doc.open(str(tmp_path / "r.sim"), "r+", references=[nodes]))
        raised(ValueError, lambda: r.new_pool(references=[other.open(str(tmp_path / "o.sim"), "w").current]))
        raised(TypeError, r.new_pool, references=[nodes.start])
    with kvtsim.Document(SIGNATURE) as doc:
        doc.open(mesh)
        # Slot 1 of the first step's directory and slot 2 of the later ones
        # name the same pool: every stored locator leads to it.
        for step in doc.open(results):
            found = step.reader().read_locator()
            assert found.pool.identifier == target and found.reader().read_i32() == 8

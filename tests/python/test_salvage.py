"""Document.salvage(): a damaged file gives back its whole pools and a
report of what was left out, where open() refuses it."""

import os
import pickle

import pytest

import kvtsim
from conftest import SIGNATURE, make_file, patch, raised

POOLS = [b"first pool " * 40, b"second pool " * 30, b"third"]


def cut(path, size):
    os.truncate(path, size)
    return path


def locations(path):
    return [pool.location for pool in kvtsim.inspect(path).pools]


def test_an_undamaged_file_loses_nothing(doc, tmp_path):
    path = make_file(str(tmp_path / "whole.sim"), POOLS)
    f, report = doc.salvage(path)
    assert f.read_only and [p.read() for p in f] == POOLS
    assert report == kvtsim.SalvageReport(os.path.getsize(path), 3, os.path.getsize(path), 0,
                                          None, None, None)
    assert not report.left_out and report.bytes_left_out == 0
    # A file the document holds already comes back as it is.
    assert doc.salvage(path)[0] == f == doc.open(path)
    raised(kvtsim.NewPoolReadOnlyError, f.new_pool)


@pytest.mark.parametrize("into, error, kind", [
    (20, kvtsim.CorruptHeaderError, "KVTSimExcCorruptHeader"),
    (48 + 10, kvtsim.CorruptDirectoryError, "KVTSimExcCorruptDirectory")])
def test_a_file_cut_inside_a_pool_keeps_the_pools_before_it(doc, tmp_path, into, error, kind):
    path = make_file(str(tmp_path / "cut.sim"), POOLS)
    third = locations(path)[2]
    cut(path, third + into)
    raised(error, doc.open, path)
    f, report = doc.salvage(path)
    assert [p.read() for p in f] == POOLS[:2]
    assert (report.file_size, report.pools_kept, report.kept_bytes) == (third + into, 2, third)
    assert report.left_out and report.bytes_left_out == into
    assert (report.first_left_out_index, report.first_left_out_offset) == (2, third)
    assert report.reason is error and report.reason_kind == kind
    assert report.reason_text and report.pools_closed_up == 0
    assert pickle.loads(pickle.dumps(report)) == report
    # Salvaged again, the file comes back with the report it had.
    assert doc.salvage(path) == (f, report)


def test_a_pool_stored_open_ahead_of_others_is_closed_up(doc, tmp_path):
    path = make_file(str(tmp_path / "open.sim"), POOLS)
    # As if its writer stopped after starting the third pool, before storing
    # the second one's length.
    patch(path, locations(path)[1] + 20, b"0" * 16)
    f, report = doc.salvage(path)
    assert [p.read() for p in f] == POOLS
    assert report.pools_closed_up == 1 and not report.left_out and report.reason is None


def test_a_file_without_a_whole_pool_of_the_document(tmp_path):
    path = cut(make_file(str(tmp_path / "short.sim"), POOLS), 30)
    with kvtsim.Document(SIGNATURE) as doc:
        f, report = doc.salvage(path)
        assert len(f) == 0
        assert (report.pools_kept, report.kept_bytes, report.bytes_left_out) == (0, 0, 30)
        assert report.reason is kvtsim.CorruptHeaderError
    # Pools of another user signature are not kept either.
    path = make_file(str(tmp_path / "other.sim"), POOLS)
    with kvtsim.Document("ABCD") as doc:
        f, report = doc.salvage(path)
        assert len(f) == 0 and report.bytes_left_out == os.path.getsize(path)
        assert report.reason is kvtsim.UserSigMismatchError


def test_files_that_do_not_open_at_all(tmp_path):
    with kvtsim.Document(SIGNATURE) as doc:
        error = raised(FileNotFoundError, doc.salvage, str(tmp_path / "missing.sim"))
        assert isinstance(error, kvtsim.OSError) and error.filename == str(tmp_path / "missing.sim")
        assert doc.files == []
    raised(kvtsim.ClosedError, doc.salvage, str(tmp_path / "missing.sim"))

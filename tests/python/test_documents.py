"""Documents, files as sequences of pools, open modes, generated and
temporary files, copying pools, and what a pool tells about itself."""

import json
import os
import subprocess

import pytest

import kvtsim
from conftest import SIGNATURE, make_file, raised


def test_a_file_is_a_sequence_of_pools(doc, tmp_path):
    path = make_file(str(tmp_path / "seq.sim"), [b"zero", b"one!", b"two."])
    f = doc.open(path)
    assert len(f) == 3 and f.read_only and f.path == path
    assert [p.read() for p in f] == [b"zero", b"one!", b"two."]
    assert f[-1] == f[2] == f.current and f[-1].index == 2
    ids = [p.identifier for p in f]
    assert all(len(i) == 32 for i in ids) and len(set(ids)) == 3
    assert f[ids[1]] == f[1] and ids[1] in f and "0" * 32 not in f
    raised(IndexError, lambda: f[3])
    raised(IndexError, lambda: f[-4])
    raised(KeyError, lambda: f["f" * 32])
    assert {f[0]: "first"}[doc.open(path)[0]] == "first"  # the same file, the same pool


def test_modes_read_update_and_write(tmp_path):
    path = make_file(str(tmp_path / "modes.sim"), [b"first"])
    with kvtsim.Document(SIGNATURE) as doc:
        f = doc.open(path, "r+")
        assert not f.read_only
        with f.current.appender() as out:
            out.write_bytes(b" more")
        with f.new_pool().appender() as out:
            out.write_bytes(b"second")
    with kvtsim.Document(SIGNATURE) as doc:
        f = doc.open(path)
        assert [p.read() for p in f] == [b"first more", b"second"]
        raised(kvtsim.NewPoolReadOnlyError, f.new_pool)
    with kvtsim.Document(SIGNATURE) as doc:
        f = doc.open(path, "w")  # empties it
        assert len(f) == 1 and f.current.data_length == 0
    raised(ValueError, lambda: kvtsim.Document(SIGNATURE).open(path, "a"))


def test_a_file_opened_twice_is_the_same_file(doc, tmp_path):
    path = make_file(str(tmp_path / "twice.sim"), [b"x"])
    first = doc.open(path, "r")
    again = doc.open(os.path.join(str(tmp_path), ".", "twice.sim"), "r+")
    assert again == first and again.read_only and len(doc.files) == 1
    assert raised(kvtsim.CantCreateFileError, doc.open, path, "w").filename == path
    first.close()
    assert again.closed and doc.files == []


def test_context_manager_closes_also_on_an_error(tmp_path):
    path = str(tmp_path / "closed.sim")
    with pytest.raises(RuntimeError):
        with kvtsim.Document(SIGNATURE) as doc:
            with doc.open(path, "w").current.appender() as out:
                out.write_bytes(b"kept")
            raise RuntimeError("the caller's own error")
    assert doc.closed
    # Closing wrote the header back: the file is whole and its data there.
    assert kvtsim.inspect(path).pools[0].data_length == 4


def test_generated_and_temporary_files(tmp_path):
    directory = str(tmp_path)
    with kvtsim.Document(SIGNATURE) as doc:
        names = [os.path.basename(doc.create_generated(directory, "run").path) for _ in range(3)]
        assert names == ["run", "run-1", "run-2"]
        temporary = doc.create_temporary(directory)
        assert os.path.dirname(temporary.path) == directory and os.path.exists(temporary.path)
        with temporary.current.appender() as out:
            out.write_f64(2.5)
        assert temporary.current.reader().read_f64() == 2.5
        temporary.close()
        assert not os.path.exists(temporary.path)
        default = doc.create_temporary()
        assert os.path.exists(default.path)
    assert not os.path.exists(default.path)


def test_copying_pools_between_documents(tmp_path):
    source = make_file(str(tmp_path / "source.sim"), [b"alpha", b"beta!"])
    target = str(tmp_path / "target.sim")
    with kvtsim.Document(SIGNATURE) as src, kvtsim.Document(SIGNATURE) as dst:
        pools = src.open(source)
        out = dst.open(target, "w")
        copy = out.copy_pool(pools[1])
        identifier = copy.identifier
        assert identifier == pools[1].identifier and copy.read() == b"beta!"
        assert len(out) == 1  # the empty first pool was replaced by the copy
        raised(kvtsim.PoolAlreadyInDocError, out.copy_pool, pools[1])
        with pytest.raises(kvtsim.PoolAlreadyInDocError):
            dst.open(source).current  # the copied identifier is loaded already
    assert [p.identifier for p in kvtsim.inspect(target).pools] == [identifier]


def test_pool_directory_and_facts(tmp_path):
    mesh = str(tmp_path / "mesh.sim")
    results = str(tmp_path / "results.sim")
    with kvtsim.Document(SIGNATURE) as doc:
        m = doc.open(mesh, "w")
        r = doc.open(results, "w")
        step = r.current
        directory = step.directory
        assert [e.identifier for e in directory] == [step.identifier, m[0].identifier]
        assert directory[0].pool == step and directory[1].pool == m[0]
        with step.appender() as out:
            out.write_bytes(b"12345678")
        info = step.info
        assert (info.index, info.location, info.data_length, info.entries) == (0, 0, 8, 2)
        assert info.length == 48 + 32 * 2 + 8 and info.identifier == step.identifier
    with kvtsim.Document(SIGNATURE) as doc:
        # Only the results file: the mesh pool is named but not loaded.
        entries = doc.open(results)[0].directory
        assert entries[1].pool is None and len(entries[1].identifier) == 32


def test_inspect_tells_what_ls_json_prints(tool, demo, tmp_path):
    # A copy of the mesh cut inside its first pool's data: the pool runs past
    # the end of the file, which both must say.
    cut = tmp_path / "cut.sim"
    cut.write_bytes(open(demo[0], "rb").read()[:100])
    files = [*demo, str(cut)]
    listing = json.loads(subprocess.run([tool, "ls", "--json", *files], check=True,
                                        capture_output=True, text=True).stdout)
    assert listing["files"][-1]["pools"][0]["past_end"]
    for path, listed in zip(files, listing["files"]):
        info = kvtsim.inspect(path)
        assert info.file == listed["file"] and info.signature.decode() == listing["signature"]
        assert [vars(p) for p in info.pools] == listed["pools"]
    assert kvtsim.inspect(demo[0], signature=b"DEMO") == kvtsim.inspect(demo[0])


def test_file_type_and_upgrade_required(tmp_path):
    current = make_file(str(tmp_path / "current.sim"), [b""])
    samples = {
        "old.sim": (b"\x89SIM\r\n\x1a\n\x02", kvtsim.FileType.OLD_SIM, True),
        "v5.sim": (b"\x89SIM\r\n\x1a\n\x05", kvtsim.FileType.SIM, True),
        "text.txt": (b"plain text, not a container", kvtsim.FileType.NOT_SIM, True),
    }
    assert kvtsim.file_type(current) is kvtsim.FileType.SIM
    assert not kvtsim.upgrade_required(current)
    for name, (data, kind, upgrade) in samples.items():
        (tmp_path / name).write_bytes(data)
        assert kvtsim.file_type(tmp_path / name) is kind
        assert kvtsim.upgrade_required(tmp_path / name) is upgrade
    (tmp_path / "short").write_bytes(b"\x89SIM")
    assert kvtsim.file_type(tmp_path / "short") is kvtsim.FileType.NOT_SIM
    raised(kvtsim.NotSimFileError, kvtsim.upgrade_required, tmp_path / "short")

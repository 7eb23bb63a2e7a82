"""Shared fixtures of the kvtsim tests.

The tests run with the interpreter the package was built for and find the
package through PYTHONPATH (CTest sets both, and KVTSIM_POOL, the path of
kvtsim-pool).
"""

import os
import subprocess

import pytest

import kvtsim

SIGNATURE = "TEST"


@pytest.fixture
def tool():
    """The kvtsim-pool program; tests that need it are skipped without it."""
    path = os.environ.get("KVTSIM_POOL")
    if not path or not os.path.exists(path):
        pytest.skip("KVTSIM_POOL does not name the kvtsim-pool program")
    return path


@pytest.fixture
def doc():
    """A document of user signature SIGNATURE, closed after the test."""
    with kvtsim.Document(SIGNATURE) as document:
        yield document


@pytest.fixture
def demo(tool, tmp_path):
    """The demo document written by kvtsim-pool: (mesh path, results path)."""
    subprocess.run([tool, "demo", str(tmp_path / "demo")], check=True, capture_output=True)
    return str(tmp_path / "demo" / "mesh.sim"), str(tmp_path / "demo" / "results.sim")


def raised(cls, call, *args, **kwargs):
    """The exception of class cls that call(*args, **kwargs) raises."""
    with pytest.raises(cls) as caught:
        call(*args, **kwargs)
    return caught.value


def patch(path, offset, data):
    """Overwrites bytes of a file."""
    with open(path, "r+b") as f:
        f.seek(offset)
        f.write(data)


def make_file(path, pools):
    """A file with one pool per entry of pools, each holding those bytes."""
    with kvtsim.Document(SIGNATURE) as doc:
        f = doc.open(path, "w")
        for i, data in enumerate(pools):
            pool = f.current if i == 0 else f.new_pool()
            with pool.appender() as out:
                out.write_bytes(data)
    return path

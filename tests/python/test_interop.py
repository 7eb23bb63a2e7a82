"""Files written from Python pass `kvtsim-pool check`; the demo document the
tool writes in C++ reads back in Python, references between its files
followed."""

import re
import subprocess

import numpy

import kvtsim
from conftest import SIGNATURE


def test_files_written_in_python_pass_the_checker(tool, tmp_path):
    mesh, results = str(tmp_path / "mesh.sim"), str(tmp_path / "results.sim")
    with kvtsim.Document(SIGNATURE) as doc:
        nodes = doc.open(mesh, "w").current
        with nodes.appender() as out:
            out.write_i32(3)
            out.write_array(numpy.arange(6, dtype="f8"))
        steps = doc.open(results, "w")
        for step in range(5):
            pool = steps.current if step == 0 else steps.new_pool("%032x" % (step + 1))
            with pool.appender() as out:
                out.write_string(f"step {step}")
                out.write_locator(nodes.start + 4)
                out.write_array(numpy.full(100, step, "<f4"))
    with kvtsim.Document(SIGNATURE) as doc:
        f = doc.open(results, "r+")  # reopened and extended
        with f.current.appender() as out:
            out.write_u64(2**63)
        doc.create_generated(str(tmp_path), "extra")
    checked = subprocess.run([tool, "check", mesh, results, str(tmp_path / "extra")],
                             capture_output=True, text=True)
    assert checked.returncode == 0, checked.stdout + checked.stderr
    assert "3 files, 7 pools: no problems" in checked.stdout


def decode_demo(mesh, results):
    """(quantity, value, element, node names) for every result of the demo."""
    found = []
    with kvtsim.Document("DEMO") as doc:
        doc.open(mesh)
        for step in doc.open(results):
            r = step.reader()
            r.read_string()  # the step's label
            for _ in range(r.read_i32()):
                quantity, value, element = r.read_string(), r.read_f64(), r.read_locator()
                e = element.reader()
                name, nodes = e.read_string(), []
                for _ in range(e.read_i32()):
                    node = e.read_locator().reader()
                    node.read_i32()  # id
                    nodes.append(node.read_string())
                found.append((quantity, value, name, tuple(nodes)))
    return found


def test_the_demo_written_in_cpp_reads_in_python(tool, tmp_path):
    printed = subprocess.run([tool, "demo", str(tmp_path / "demo")], check=True,
                             capture_output=True, text=True).stdout
    # The tool prints each result as it reads it back, the value in the
    # shortest text that reads back exactly: compare with those lines.
    line = re.compile(r'^\s+(\w+) = (\S+) on element "([^"]+)" .* with nodes (.*)$')
    expected = []
    for match in filter(None, map(line.match, printed.splitlines())):
        nodes = tuple(re.findall(r'"([^"]+)"', match.group(4)))
        expected.append((match.group(1), float(match.group(2)), match.group(3), nodes))
    assert len(expected) == 5
    assert decode_demo(str(tmp_path / "demo" / "mesh.sim"),
                       str(tmp_path / "demo" / "results.sim")) == expected

"""Stored values through readers and writers: every scalar type and array
dtype, strings, bytes, and the exact bytes they take in the file."""

import math
import struct

import numpy
import pytest

import kvtsim
from conftest import SIGNATURE, raised

SCALARS = {
    "i16": ("<h", [-32768, -1, 0, 1, 32767]),
    "u16": ("<H", [0, 1, 65535]),
    "i32": ("<i", [-2**31, -2, 0, 2**31 - 1]),
    "u32": ("<I", [0, 1, 2**32 - 1]),
    "i64": ("<q", [-2**63, -1, 0, 2**63 - 1]),
    "u64": ("<Q", [0, 5_000_000_000, 2**64 - 1]),
    "f32": ("<f", [0.0, -0.0, 1.5, float("inf"), -float("inf"), 1e-45, 3.4028234663852886e38]),
    "f64": ("<d", [0.0, -0.0, 1.7125, float("inf"), 5e-324, 1.7976931348623157e308]),
}


def write_pool(path, fill):
    """A new file whose first pool holds what fill(appender) writes."""
    with kvtsim.Document(SIGNATURE) as doc:
        pool = doc.open(path, "w").current
        with pool.appender() as out:
            fill(out)


def stored_bytes(path):
    with kvtsim.Document(SIGNATURE) as doc:
        return doc.open(path)[0].read()


def test_every_scalar_type_round_trips_in_little_endian(tmp_path):
    path = str(tmp_path / "scalars.sim")

    def fill(out):
        for name, (_, values) in SCALARS.items():
            for v in values:
                getattr(out, "write_" + name)(v)

    write_pool(path, fill)
    expected = b"".join(struct.pack(fmt, v) for fmt, values in SCALARS.values() for v in values)
    assert stored_bytes(path) == expected
    with kvtsim.Document(SIGNATURE) as doc, doc.open(path)[0].reader() as r:
        for name, (fmt, values) in SCALARS.items():
            got = [getattr(r, "read_" + name)() for _ in values]
            # Compared as stored bytes, so that -0.0 and 0.0 differ.
            assert [struct.pack(fmt, g) for g in got] == [struct.pack(fmt, v) for v in values]
        assert r.remaining == 0


def test_nan_payloads_are_kept(tmp_path):
    path = str(tmp_path / "nan.sim")
    nan_bits = 0x7FF4000000000123  # a signalling NaN with a payload
    write_pool(path, lambda out: out.write_array(numpy.array([nan_bits], "<u8").view("<f8")))
    assert stored_bytes(path) == struct.pack("<Q", nan_bits)
    with kvtsim.Document(SIGNATURE) as doc, doc.open(path)[0].reader() as r:
        back = r.read_array("f8", 1)
    assert math.isnan(back[0]) and back.view("<u8")[0] == nan_bits


def test_values_pools_do_not_store_are_refused_writing_nothing(doc, tmp_path):
    pool = doc.open(str(tmp_path / "a.sim"), "w").current
    with pool.appender() as out:
        for write, value in ((out.write_i16, 32768), (out.write_u32, -1),
                             (out.write_u64, 2**64), (out.write_i32, 1.5)):
            raised(TypeError, write, value)
        for bad in (numpy.array([True]), numpy.array([1j]), numpy.array([1], "i1"),
                    numpy.array([1.0], "f2"), numpy.array(["x"])):
            raised(TypeError, out.write_array, bad)
        raised(ValueError, out.write_string, "a\0b")
        assert out.position == 0
        out.write_i32(1)
    with pool.reader() as r:
        raised(TypeError, r.read_array, "c16", 1)
        assert r.position == 0


@pytest.mark.parametrize("dtype", ["i2", "u2", "i4", "u4", "i8", "u8", "f4", "f8"])
def test_arrays_of_every_dtype_are_stored_little_endian_whatever_their_order(tmp_path, dtype):
    path = str(tmp_path / "arrays.sim")
    info = numpy.iinfo(dtype) if dtype[0] in "iu" else numpy.finfo(dtype)
    values = numpy.array([info.min, 0, 1, info.max], dtype)
    big = values.astype(">" + dtype)
    two_d = numpy.arange(6, dtype="<" + dtype).reshape(2, 3)

    def fill(out):
        out.write_array(values)
        out.write_array(big)
        out.write_array(two_d.T)  # not contiguous: written in C order of the transpose

    write_pool(path, fill)
    stored = stored_bytes(path)
    little = values.astype("<" + dtype).tobytes()
    assert stored == little + little + numpy.ascontiguousarray(two_d.T).astype("<" + dtype).tobytes()
    with kvtsim.Document(SIGNATURE) as doc, doc.open(path)[0].reader() as r:
        native = r.read_array(dtype, 4)
        as_big = r.read_array(">" + dtype, 4)
        assert native.dtype == numpy.dtype(dtype) and as_big.dtype == numpy.dtype(">" + dtype)
        assert numpy.array_equal(native, values) and numpy.array_equal(as_big, values)
        assert numpy.array_equal(r.read_array(dtype, 6), two_d.T.reshape(-1))


def test_arrays_across_chunks_and_larger_than_the_buffer(tmp_path):
    path = str(tmp_path / "big.sim")
    values = numpy.random.default_rng(7).standard_normal(100_003)
    with kvtsim.Document(SIGNATURE) as doc:
        with doc.open(path, "w").current.appender(chunk=1000) as out:
            out.write_i32(7)  # puts every later value off the chunk boundaries
            for piece in numpy.array_split(values, 7):
                out.write_array(piece)
    with kvtsim.Document(SIGNATURE) as doc:
        pool = doc.open(path)[0]
        for chunk in (16, 1000, 1 << 20):
            with pool.reader(chunk=chunk) as r:
                assert r.read_i32() == 7
                head = r.read_array("f8", 10)
                rest = r.read_array("f8", values.size - 10)
                assert numpy.array_equal(numpy.concatenate([head, rest]), values)


def test_strings_are_utf8_with_length_and_padding(tmp_path):
    path = str(tmp_path / "strings.sim")
    texts = ["", "a", "Temperatur in °C", "温度", "naïve 🌡️ text", "abcd"]
    write_pool(path, lambda out: [out.write_string(t) for t in texts])
    expected = b""
    for t in texts:
        raw = t.encode("utf-8")
        expected += struct.pack("<i", len(raw)) + raw + b"\0" * (-len(raw) % 4)
    assert stored_bytes(path) == expected
    with kvtsim.Document(SIGNATURE) as doc, doc.open(path)[0].reader() as r:
        assert [r.read_string() for _ in texts] == texts
        assert r.position == len(expected)


def test_bytes_and_readinto(tmp_path):
    path = str(tmp_path / "bytes.sim")
    payload = bytes(range(256)) * 40
    write_pool(path, lambda out: (out.write_bytes(payload), out.write_bytes(memoryview(b"xyz"))))
    with kvtsim.Document(SIGNATURE) as doc, doc.open(path)[0].reader(chunk=64) as r:
        assert r.read_bytes(100) == payload[:100]
        target = bytearray(len(payload) - 100)
        assert r.readinto(target) == len(target) and bytes(target) == payload[100:]
        assert r.read_bytes(3) == b"xyz"
        raised(BufferError, r.readinto, b"read-only")

"""NumPy arrays through readers and writers.

Arrays are stored as their values one after another, each in its stored
form: little-endian, whatever the byte order of the array in memory. The
byte order is settled here, by NumPy, for the whole array at once; the
extension moves the bytes.
"""

import numpy

def stored_dtype(dtype):
    """dtype as a stored type in file order (little-endian); TypeError for a
    type that pools do not store (int16, uint16, int32, uint32, int64,
    uint64, float32 and float64)."""
    dt = numpy.dtype(dtype)
    integer = dt.kind in "iu" and dt.itemsize in (2, 4, 8)
    floating = dt.kind == "f" and dt.itemsize in (4, 8)
    if dt.fields is None and dt.subdtype is None and (integer or floating):
        return dt.newbyteorder("<")
    raise TypeError(f"pools store int16, uint16, int32, uint32, int64, uint64, float32 and "
                    f"float64 values, not {dt}")


def read_array(reader, dtype, count):
    """Reads count stored values of dtype (for example "f8", numpy.int32, or
    ">f8" for a big-endian result) into a new one-dimensional array."""
    wanted = numpy.dtype(dtype)
    values = numpy.empty(int(count), stored_dtype(wanted))
    reader.readinto(values)
    return values if values.dtype == wanted else values.astype(wanted)


def write_array(writer, array):
    """Writes the values of array (any shape, in C order) in their stored form."""
    values = numpy.asarray(array)
    stored = stored_dtype(values.dtype)
    writer.write_bytes(numpy.ascontiguousarray(values, dtype=stored).reshape(-1))


def attach(reader_class, writer_class):
    reader_class.read_array = read_array
    writer_class.write_array = write_array

"""Runs the three examples into DIRECTORY (emptied first) and checks that the
picture is a valid PNG of non-trivial size and content. Exit status 0 when
all is well.

    python3 run_examples.py DIRECTORY
"""

import os
import shutil
import subprocess
import sys
import zlib

HERE = os.path.dirname(os.path.abspath(__file__))


def check_png(path):
    """Raises AssertionError unless path is a whole PNG picture worth looking at."""
    data = open(path, "rb").read()
    assert data[:8] == b"\x89PNG\r\n\x1a\n", "no PNG signature"
    width, height = int.from_bytes(data[16:20], "big"), int.from_bytes(data[20:24], "big")
    assert data[12:16] == b"IHDR" and width >= 400 and height >= 200, (width, height)
    # Every chunk's CRC must hold, and the picture must end with IEND.
    position, chunks = 8, []
    while position < len(data):
        length = int.from_bytes(data[position:position + 4], "big")
        kind = data[position + 4:position + 8]
        body = data[position + 8:position + 8 + length]
        crc = int.from_bytes(data[position + 8 + length:position + 12 + length], "big")
        assert zlib.crc32(kind + body) == crc, f"bad CRC in chunk {kind!r}"
        chunks.append(kind)
        position += 12 + length
    assert chunks[-1] == b"IEND" and b"IDAT" in chunks
    # A plot, not a blank page: many distinct colours.
    import matplotlib.image
    pixels = matplotlib.image.imread(path)
    colours = len({tuple(p) for p in pixels.reshape(-1, pixels.shape[-1])[::7]})
    assert colours > 200, f"only {colours} colours"
    assert len(data) > 20_000, f"only {len(data)} bytes"
    return width, height, colours


def main(directory):
    shutil.rmtree(directory, ignore_errors=True)
    os.makedirs(directory)
    png = os.path.join(directory, "results.png")
    for script, args in (("write_results.py", [directory]), ("read_results.py", [directory]),
                         ("plot_results.py", [directory, png])):
        subprocess.run([sys.executable, os.path.join(HERE, script), *args], check=True, cwd=HERE)
    width, height, colours = check_png(png)
    print(f"{png}: a valid PNG, {width} x {height}, {colours} colours sampled")


if __name__ == "__main__":
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    main(sys.argv[1])

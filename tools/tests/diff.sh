# diff compares two files pool by pool; two runs of the same program are
# equal although their identifiers differ. Exit 0 equal, 1 different, 2 error.
source "$(dirname "$0")/lib.sh"

make_demo
expect_status 0 demo "$work/again"
for name in mesh results; do
  expect_out 0 diff "$work/demo/$name.sim" "$work/again/$name.sim" "diff: equal (2 pools)"
done
[ "$(pool_field "$mesh" 0 identifier)" != "$(pool_field "$work/again/mesh.sim" 0 identifier)" ] ||
  fail "two demo runs should generate different identifiers"

# One data byte: the offset, and with --as the values there. Node 1's id is
# the int at data offset 4 of mesh pool 0.
data=$(($(pool_field "$mesh" 0 entries) * 32 + 48))
patched "$work/again/mesh.sim" "$work/flipped.sim" $((data + 4)) 'A'
expect_out 1 diff "$mesh" "$work/flipped.sim" --as i32 "pool 0: data differ at offset 4 (0x4); i32 at offset 4: 1 in A, 65 in B"
expect_line "$out" "diff: 1 of 2 pools differ"
[ "$(wc -l <"$out")" -eq 2 ] || fail "diff prints only the differing pool"
expect_status 1 diff -q "$mesh" "$work/flipped.sim"
[ ! -s "$out" ] || fail "diff -q prints nothing"

# Directory entries count by the pool they name: pool 1 of the mesh names
# pool 0 in slot 1; a changed identifier names no pool of the file.
second=$(pool_field "$mesh" 1 location)
patched "$mesh" "$work/entry.sim" $((second + 48 + 32)) 'X'
expect_out 1 diff "$mesh" "$work/entry.sim" "pool 1: directory slot 1 differs: A names pool 0 of A, B names a pool not in B"

# The same pools in another order: equal by identifier, not by position.
expect_status 0 cp "$mesh" 1 "$work/reversed.sim"
expect_status 0 cp "$mesh" 0 "$work/reversed.sim"
expect_status 0 diff --by id "$mesh" "$work/reversed.sim"
expect_out 1 diff "$mesh" "$work/reversed.sim" "pool 0: directories differ: 1 entry and 2 entries"
expect_out 1 diff --by id "$mesh" "$work/flipped.sim" "(A pool 0, not in B): only in A"

# Files of one pool of doubles, the second value changed: the values at the
# offset, and different pool counts and trailing bytes.
python3 - "$work" <<'PY'
import struct, sys
def pool(values):
    data = struct.pack("<%dd" % len(values), *values)
    header = (b"\x89SIM\r\n\x1a\n" + bytes([6]) + bytes(7) + b"DEMO" + b"0" * 16 +
              struct.pack("<IIi", 2, 0, 1))
    return header + b"0123456789abcdef0123456789abcdef" + data
open(sys.argv[1] + "/a.sim", "wb").write(pool([1.5, 2.5, 3.5]))
open(sys.argv[1] + "/b.sim", "wb").write(pool([1.5, 0.1, 3.5]))
PY
expect_out 1 diff "$work/a.sim" "$work/b.sim" --as f64 "pool 0: data differ at offset 8 (0x8); f64 at offset 8: 2.5 in A, 0.1 in B"
# A file cut in pool 0's data, then written on: compared as far as it holds.
head -c $((data + 10)) "$mesh" >"$work/cut.sim"
printf 'tail' >>"$work/cut.sim"
expect_out 1 diff "$mesh" "$work/cut.sim" "pool 0: data differ at offset 10 (0xa)"
expect_line "$out" "pool 1: only in A"
expect_line "$out" "pool counts differ: A has 2 pools, B has 1 pool"
head -c "$second" "$mesh" >"$work/one.sim"
{ cat "$work/one.sim"; printf 'tail'; } >"$work/one-tail.sim"
expect_out 1 diff "$work/one.sim" "$work/one-tail.sim" "bytes after the last pool differ (A has 0, B has 4), from byte 0 of them"
expect_line "$out" "diff: 0 of 1 pool differ"

expect_err 2 diff "$mesh" "$work/missing.sim" "$work/missing.sim: KVTSimUttOSError: open: No such file or directory"
expect_status 2 diff "$mesh" "$mesh" --by name

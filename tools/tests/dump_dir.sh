# dump prints a pool's known bytes; dir shows where directory entries load.
source "$(dirname "$0")/lib.sh"

make_demo
# The nodes pool starts with the node count (4) and node 1, "inlet" at (0, 0).
expect_status 0 dump "$mesh" 0 --length 40
cat >"$work/expected" <<'TXT'
00000000: 0400 0000 0100 0000 0500 0000 696e 6c65  ............inle
00000010: 7400 0000 0000 0000 0000 0000 0000 0000  t...............
00000020: 0000 0000 0200 0000                      ........
TXT
diff "$work/expected" "$out" || fail "dump of the nodes pool"

# The elements pool: count 2, then "tri-a"; a short last line is padded.
expect_status 0 dump "$mesh" 1 --offset 4 --length 12
printf '%s\n' '00000004: 0500 0000 7472 692d 6100 0000            ....tri-a...' >"$work/expected"
diff "$work/expected" "$out" || fail "dump with offset and length"

# A whole data area, read back from the dump, is the file's bytes after the
# pool's header and directory.
expect_status 0 dump "$results" 1
python3 - "$out" "$results" "$(pool_field "$results" 1 location)" "$(pool_field "$results" 1 entries)" <<'PY' || fail "dump differs from the stored bytes"
import sys
dumped = b"".join(bytes.fromhex(line[10:49].replace(" ", "")) for line in open(sys.argv[1]))
start = int(sys.argv[3]) + 48 + 32 * int(sys.argv[4])
assert dumped == open(sys.argv[2], "rb").read()[start:], (len(dumped), start)
PY

# A frozen pool cut short by the end of the file is dumped up to there.
head -c 150 "$mesh" >"$work/cut.sim"
expect_status 2 dump "$work/cut.sim" 0
expect_line "$err" "the file ends 70 bytes into pool 0's data"
expect_line "$out" "00000040: "

expect_status 2 dump "$mesh" 1 --offset 1000
expect_line "$err" "offset 1000 is past the end of pool 1"
expect_status 2 dump "$mesh" 1 --length -1

# results.sim pool 0 lists both mesh pools; they load only with --with.
expect_status 0 dir "$results" 0
expect_line "$out" "$results pool 0: 3 directory entries"
[ "$(grep -c '  no$' "$out")" -eq 2 ] || fail "mesh pools shown as loaded without mesh.sim"
expect_status 0 dir "$results" 0 --with "$mesh"
expect_line "$out" "   1  $(pool_field "$mesh" 0 identifier)  yes ($mesh pool 0)"
expect_line "$out" "   2  $(pool_field "$mesh" 1 identifier)  yes ($mesh pool 1)"

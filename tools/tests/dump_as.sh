# dump --as reads a pool's bytes as stored values of one type.
source "$(dirname "$0")/lib.sh"

make_demo
# Node 2 "outlet" is at (10.5, 0): its coordinates follow its id and name.
expect_status 0 dump "$mesh" 0 --as f64 --offset 52 --length 16
printf '%s\n' '00000034:                      10.5                         0' >"$work/expected"
diff "$work/expected" "$out" || fail "dump --as f64"
# Step 1's first result: "pressure" and 1013.25.
expect_status 0 dump "$results" 0 --as f64 --offset 28 --length 8
expect_line "$out" '0000001c:                   1013.25'

# Integers, 16 bytes a line, and bytes too few for one value at the end.
expect_status 0 dump "$mesh" 0 --as i32 --length 23
cat >"$work/expected" <<'TXT'
00000000:            4            1            5   1701604969
00000010:          116
00000014: (3 bytes left over: 00 00 00)
TXT
diff "$work/expected" "$out" || fail "dump --as i32"
expect_status 0 dump "$mesh" 0 --as u16 --length 2
printf '%s\n' '00000000:      4' >"$work/expected"
diff "$work/expected" "$out" || fail "dump --as u16"

# Every stored value in the data area reads back exactly: the printed
# doubles, parsed again, are the file's bytes.
expect_status 0 dump "$results" 1 --as f64
python3 - "$out" "$results" "$(pool_field "$results" 1 location)" "$(pool_field "$results" 1 entries)" <<'PY' || fail "f64 text does not round-trip"
import struct, sys
values, tail = [], b""
for line in open(sys.argv[1]):
    offset, rest = line.split(":", 1)
    if "left over" in rest:
        tail = bytes.fromhex(rest.split(":")[1].strip(" )\n").replace(" ", ""))
    else:
        values += [float(v) for v in rest.split()]
start = int(sys.argv[3]) + 48 + 32 * int(sys.argv[4])
data = open(sys.argv[2], "rb").read()[start:]
assert struct.pack("<%dd" % len(values), *values) + tail == data, (len(values), len(data))
PY

expect_status 2 dump "$mesh" 0 --as f16
expect_line "$err" "--as: f16 not in"

# dump prints a pool's known bytes, raw or as stored values of one type; dir
# shows where directory entries load, in text or as JSON. Pools are named by
# index or identifier, offsets and lengths in decimal or 0x hexadecimal.
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

# A leading zero is not octal.
expect_out 0 dump "$mesh" 0 --offset 0010 --length 1 "0000000a: "
expect_out 0 dump "$mesh" 0 --offset 08 --length 1 "00000008: "
expect_out 0 dump "$mesh" 0 --offset 0x10 --length 0X2 "00000010: "
[ "$(wc -l <"$out")" -eq 1 ] || fail "--length 0X2 dumps one line"
expect_err 2 dump "$mesh" 0 --offset 0x "'0x' is not a whole number of bytes"
expect_status 2 dump "$mesh" 0 --length -3
expect_status 2 dump "$mesh" 0 --offset 0x10000000000000000
expect_err 2 dump "$mesh" 1 --offset 1000 "offset 1000 is past the end of pool 1"

# An identifier names its pool in either case; one the file lacks is said so.
id=$(pool_field "$mesh" 1 identifier)
expect_status 0 dump "$mesh" "$id" --length 16
cp "$out" "$work/lower"
expect_status 0 dump "$mesh" "$(printf '%s' "$id" | tr a-f A-F)" --length 16
cmp -s "$work/lower" "$out" || fail "an upper-case identifier names the same pool"
expect_err 2 dir "$mesh" 0123456789abcdef0123456789abcdef "no pool has identifier 0123456789abcdef0123456789abcdef in this file (2 pools"
expect_err 2 dir "$mesh" nothing "no pool 'nothing': give an index or a 32-character identifier"

# A frozen pool cut short by the end of the file is dumped up to there.
head -c 150 "$mesh" >"$work/cut.sim"
expect_err 2 dump "$work/cut.sim" 0 "the file ends 70 bytes into pool 0's data"
expect_line "$out" "00000040: "

# --as: node 2 "outlet" is at (10.5, 0), its coordinates after its id and name.
expect_status 0 dump "$mesh" 0 --as f64 --offset 52 --length 16
printf '%s\n' '00000034:                      10.5                         0' >"$work/expected"
diff "$work/expected" "$out" || fail "dump --as f64"
# Step 1's first result: "pressure" and 1013.25.
expect_out 0 dump "$results" 0 --as f64 --offset 28 --length 8 '0000001c:                   1013.25'
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
expect_err 2 dump "$mesh" 0 --as f16 "--as: f16 not in"

# A whole data area, raw and as doubles parsed again, is the file's bytes
# after the pool's header and directory.
data_start=$(($(pool_field "$results" 1 location) + 48 + 32 * $(pool_field "$results" 1 entries)))
expect_status 0 dump "$results" 1
cp "$out" "$work/raw"
expect_status 0 dump "$results" 1 --as f64
python3 - "$work/raw" "$out" "$results" "$data_start" <<'PY' || fail "dump differs from the stored bytes"
import struct, sys
data = open(sys.argv[3], "rb").read()[int(sys.argv[4]):]
dumped = b"".join(bytes.fromhex(line[10:49].replace(" ", "")) for line in open(sys.argv[1]))
assert dumped == data, (len(dumped), len(data))
values, tail = [], b""
for line in open(sys.argv[2]):
    offset, rest = line.split(":", 1)
    if "left over" in rest:
        tail = bytes.fromhex(rest.split(":")[1].strip(" )\n").replace(" ", ""))
    else:
        values += [float(v) for v in rest.split()]
assert struct.pack("<%dd" % len(values), *values) + tail == data, (len(values), len(data))
PY

# results.sim pool 0 lists both mesh pools; they load only with --with.
expect_out 0 dir "$results" 0 "$results pool 0: 3 directory entries"
[ "$(grep -c '  no$' "$out")" -eq 2 ] || fail "mesh pools shown as loaded without mesh.sim"
expect_out 0 dir "$results" 0 --with "$mesh" "   1  $(pool_field "$mesh" 0 identifier)  yes ($mesh pool 0)"
expect_line "$out" "   2  $(pool_field "$mesh" 1 identifier)  yes ($mesh pool 1)"

# dir: each slot, loaded or not, and where.
expect_status 0 dir --json "$results" 1 --with "$mesh"
python3 - "$out" "$results" "$mesh" "$(pool_field "$results" 1 identifier)" <<'PY' || fail "dir --json"
import json, sys
d = json.load(open(sys.argv[1]))
results, mesh, own = sys.argv[2:5]
assert d["file"] == results and d["pool"] == "1", d
assert [(e["slot"], e["loaded"], e["file"], e["pool"]) for e in d["entries"]] == \
    [(0, True, results, 1), (1, True, mesh, 0), (2, True, mesh, 1)], d["entries"]
assert d["entries"][0]["identifier"] == own
PY
expect_status 0 dir --json "$results" 0
python3 - "$out" <<'PY' || fail "dir --json without the mesh"
import json, sys
entries = json.load(open(sys.argv[1]))["entries"]
assert [(e["loaded"], e["file"], e["pool"]) for e in entries[1:]] == [(False, None, None)] * 2
PY


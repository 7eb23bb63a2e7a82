# ls --json is valid JSON describing every pool; the text form has one line
# per pool. A pool whose stored length runs past the end of the file is marked.
source "$(dirname "$0")/lib.sh"

make_demo
expect_status 0 ls --json "$mesh" "$results"
python3 - "$out" "$mesh" "$results" <<'PY' || fail "ls --json does not describe the files"
import json, os, sys
listing = json.load(open(sys.argv[1]))
assert listing["signature"] == "DEMO", listing["signature"]
files = listing["files"]
assert [f["file"] for f in files] == sys.argv[2:4], files
assert [len(f["pools"]) for f in files] == [2, 2]
ids = set()
for f in files:
    pools = f["pools"]
    # The chain: each pool starts where the previous one ends, the last ends the file.
    end = 0
    for i, p in enumerate(pools):
        assert p["index"] == i and p["location"] == end, p
        assert p["data_length"] == p["length"] - 48 - 32 * p["entries"], p
        assert not p["past_end"] and p["bytes_in_file"] == p["length"], p
        end += p["length"]
        ids.add(p["identifier"])
    assert end == os.path.getsize(f["file"])
    # A normally closed file stores its last pool open.
    assert [p["state"] for p in pools] == ["frozen", "open"], pools
# The mesh pools list every pool made before them; each results pool lists
# itself and the two mesh pools only.
assert [p["entries"] for f in files for p in f["pools"]] == [1, 2, 3, 3]
assert len(ids) == 4 and all(len(i) == 32 for i in ids)
PY

expect_status 0 ls "$mesh" "$results"
[ "$(grep -c ' frozen \| open ' "$out")" -eq 4 ] || fail "ls does not print one line per pool"

# The first pool of mesh.sim cut to 100 bytes: its stored length still claims
# the whole record, of which the file holds 100 bytes.
length=$(pool_field "$mesh" 0 length)
head -c 100 "$mesh" >"$work/cut.sim"
expect_status 0 ls "$work/cut.sim"
expect_line "$out" " $((length - 80))* frozen "
expect_line "$out" "* $work/cut.sim pool 0: its stored length runs past the end of the file, which holds 100 of its $length bytes"
[ "$(pool_field "$work/cut.sim" 0 past_end)" = True ] || fail "past_end not set"
[ "$(pool_field "$work/cut.sim" 0 bytes_in_file)" = 100 ] || fail "bytes_in_file is not 100"
expect_status 0 ls "$mesh"
if grep -qF '*' "$out"; then fail "a whole pool is marked"; fi

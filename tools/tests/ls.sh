# ls --json is valid JSON describing every pool; the text form has one line
# per pool. A pool whose stored length runs past the end of the file is
# marked; files that are no container files are refused.
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
if grep -qF '*' "$out"; then fail "a whole pool is marked"; fi

# The first pool of mesh.sim cut to 100 bytes: its stored length still claims
# the whole record, of which the file holds 100 bytes.
length=$(pool_field "$mesh" 0 length)
head -c 100 "$mesh" >"$work/cut.sim"
expect_out 0 ls "$work/cut.sim" " $((length - 80))* frozen "
expect_line "$out" "* $work/cut.sim pool 0: its stored length runs past the end of the file, which holds 100 of its $length bytes"
[ "$(pool_field "$work/cut.sim" 0 past_end)" = True ] || fail "past_end not set"
[ "$(pool_field "$work/cut.sim" 0 bytes_in_file)" = 100 ] || fail "bytes_in_file is not 100"

expect_err 2 ls "$work/missing.sim" "$work/missing.sim: KVTSimUttOSError: open: No such file or directory"
expect_err 2 --sig ABCD ls "$mesh" "$mesh: KVTSimExcUserSigMismatch: pool 0 at offset 0 stores user signature 'DEMO', not the document's 'ABCD': give --sig DEMO to open it"

# A signature that is not printable is shown, and given to --sig, in 0x form.
second=$(pool_field "$mesh" 1 location)
patched "$mesh" "$work/sig.sim" $((second + 16)) '\000BCD'
expect_err 2 ls "$work/sig.sim" "sig.sim: KVTSimExcUserSigMismatch: pool 1 at offset $second stores user signature '0x00424344', not the document's 'DEMO': give --sig 0x00424344 to open"
overwrite "$work/sig.sim" 16 '\000BCD'
expect_out 0 ls --json "$work/sig.sim" '"signature": "0x00424344"'
expect_out 0 ls --sig 0x00424344 "$work/sig.sim" "$(pool_field "$mesh" 1 identifier)"
expect_err 2 ls --sig 0X00424345 "$work/sig.sim" "KVTSimExcUserSigMismatch"
expect_err 2 ls --sig 0x0042434 "$work/sig.sim" "a user signature is exactly 4 bytes, not 9"

# A text file and an empty file are no container files, as type classifies
# them, with or without --sig.
: >"$work/empty.sim"
printf 'plain text\n' >"$work/short.txt"
{ printf 'a text file long enough to hold a pool header\n'; cat "$0"; } >"$work/long.txt"
for sig in "" "--sig DEMO"; do
  expect_err 2 ls $sig "$work/empty.sim" "kvtsim-pool ls: $work/empty.sim: empty file: not a container file"
  [ ! -s "$out" ] || fail "ls of an empty file prints no table"
  for text in short.txt long.txt; do
    expect_err 2 ls $sig "$mesh" "$work/$text" "kvtsim-pool ls: $work/$text: KVTSimExcNotSimFile: not a container file (type calls it NotSim)"
  done
done
expect_out 0 type "$work/long.txt" "long.txt: NotSim"
